// The page with the extension's options. What is changed is kept at once.
"use strict";

const takeOver = document.getElementById("takeOver");
const above = document.getElementById("above");
const types = document.getElementById("types");

function say(message) {
  document.getElementById("message").textContent = message;
}

function enable() {
  above.disabled = types.disabled = !takeOver.checked;
}

function save() {
  const size = above.value.trim() === "" ? null : Number(above.value);
  if (size !== null && !(size >= 0)) return undefined;
  return chrome.storage.local.set({takeOver: takeOver.checked, above: size, types: types.value});
}

// Browsers ask the user only in a click, and no longer after the first wait.
takeOver.addEventListener("click", () => {
  say("");
  const wish = takeOver.checked ? chrome.permissions.request(TAKE_OVER_PERMISSIONS)
                                : chrome.permissions.remove(TAKE_OVER_PERMISSIONS).then(() => false);
  wish.catch(() => false).then((granted) => {
    if (takeOver.checked && !granted) say(text("notAllowed"));
    takeOver.checked = granted;
    enable();
    return save();
  });
});
above.addEventListener("change", save);
types.addEventListener("change", save);

async function show() {
  const settings = await chrome.storage.local.get(DEFAULTS);
  const allowed = await chrome.permissions.contains(TAKE_OVER_PERMISSIONS);
  takeOver.checked = settings.takeOver && allowed;
  above.value = settings.above === null ? "" : String(settings.above);
  types.value = settings.types;
  takeOver.disabled = false;
  enable();
  const answer = await ask({command: "list"});
  const state = answer.absent ? text("notRunning") : answer.error;
  document.getElementById("program").textContent = answer.ok ? text("connected") : state;
}

translate(document);
show();
