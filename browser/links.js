// The links of a page, from which the user chooses. They are in the session's storage under the key in this page's
// address, so that it can be loaded again.
"use strict";

let page = "";
let entries = [];  // {link, row, box, state}
let sending = false;

function addRow(link) {
  const row = document.createElement("tr");
  const box = document.createElement("input");
  box.type = "checkbox";
  box.id = `link-${entries.length}`;
  box.checked = looksLikeFile(link);
  box.addEventListener("change", showCounts);
  const label = document.createElement("label");
  label.htmlFor = box.id;
  const words = document.createElement("span");
  words.textContent = link.words || nameIn(link.url);
  const address = document.createElement("div");
  address.className = "soft";
  address.textContent = link.url;
  label.append(words, address);
  for (const content of [box, label, ""]) {
    const cell = document.createElement("td");
    cell.append(content);
    row.append(cell);
  }
  document.getElementById("links").append(row);
  return {link, row, box, state: row.lastChild, taken: false};
}

function shown() {
  return entries.filter((entry) => !entry.row.hidden);
}

function chosen() {
  return shown().filter((entry) => entry.box.checked && !entry.taken);
}

function showCounts() {
  const open = shown().filter((entry) => !entry.taken);
  const checked = chosen().length;
  const all = document.getElementById("all");
  all.checked = open.length > 0 && checked === open.length;
  all.indeterminate = checked > 0 && checked < open.length;
  document.getElementById("count").textContent = text("shownOf", shown().length, entries.length);
  const button = document.getElementById("download");
  button.textContent = text("downloadChosen", checked);
  button.disabled = sending || checked === 0;
}

function filterRows() {
  const filter = document.getElementById("filter").value;
  for (const entry of entries) entry.row.hidden = !matches(filter, entry.link);
  showCounts();
}

async function send(entry) {
  const answer = await ask({command: "add", url: entry.link.url, referrer: page, quiet: true});
  entry.taken = answer.ok;
  entry.box.disabled = answer.ok;
  entry.state.textContent = answer.ok ? text("taken") : answer.error;
  entry.state.className = answer.ok ? "soft" : "bad";
}

// One after the other: the first may have to start the program.
async function sendChosen() {
  const wanted = chosen();
  sending = true;
  showCounts();
  for (const entry of wanted) await send(entry);
  sending = false;
  showCounts();
  countRunning();
}

async function show() {
  const key = location.hash.slice(1);
  const found = (await chrome.storage.session.get(key))[key];
  if (!found) {
    document.getElementById("page").textContent = text("linksGone");
    return;
  }
  page = found.page;
  document.getElementById("page").textContent = page;
  for (const link of found.links) entries.push(addRow(link));
  showCounts();
}

document.getElementById("filter").addEventListener("input", filterRows);
document.getElementById("all").addEventListener("click", (event) => {
  for (const entry of shown()) {
    if (!entry.taken) entry.box.checked = event.target.checked;
  }
  showCounts();
});
document.getElementById("download").addEventListener("click", sendChosen);
translate(document);
document.title = text("linksTitle");
showCounts();
show();
