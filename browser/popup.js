// What the button shows: the downloads that are not finished, asked for every second while it is open.
"use strict";

const EVERY = 1000;  // ms

const rows = new Map();  // by id

function element(name, className, parent) {
  const made = document.createElement(name);
  if (className) made.className = className;
  parent.append(made);
  return made;
}

function makeRow(id) {
  const item = element("li", "", document.getElementById("downloads"));
  const row = {
    item,
    name: element("span", "name", item),
    done: element("div", "done", element("div", "track", item)),
    figures: element("span", "figures soft", item),
    button: element("button", "", item),
    command: "",
  };
  row.button.addEventListener("click", async () => {
    row.button.disabled = true;
    const answer = await ask({command: row.command, id});
    if (!answer.ok && !answer.absent) say(answer.error);
    await refresh();
  });
  return row;
}

function figuresOf(download) {
  const parts = [];
  if (download.size > 0) {
    parts.push(`${Math.floor(download.percent)} %`, text("ofSize", sizeText(download.received), sizeText(download.size)));
  } else if (download.received > 0) {
    parts.push(sizeText(download.received));
  }
  if (download.state === "active" && download.speed > 0) parts.push(`${sizeText(download.speed)}/s`);
  if (download.reason) parts.push(download.reason);
  else if (download.state !== "active") parts.push(text(`state_${download.state}`));
  return parts.join(" · ");
}

function fill(row, download) {
  const runs = download.state === "active";
  row.name.textContent = row.name.title = download.name;
  row.done.style.width = `${Math.max(0, Math.min(100, download.percent))}%`;
  row.figures.textContent = figuresOf(download);
  row.command = runs ? "pause" : "resume";
  row.button.className = row.command;
  row.button.title = text(row.command);
  row.button.setAttribute("aria-label", `${text(row.command)}: ${download.name}`);
  row.button.disabled = download.state === "queued";
}

function say(message) {
  document.getElementById("message").textContent = message;
}

function show(downloads) {
  const ids = new Set(downloads.map((download) => download.id));
  for (const [id, row] of rows) {
    if (ids.has(id)) continue;
    row.item.remove();
    rows.delete(id);
  }
  for (const download of downloads) {
    if (!rows.has(download.id)) rows.set(download.id, makeRow(download.id));
    fill(rows.get(download.id), download);
  }
}

async function refresh() {
  const answer = await ask({command: "list"});
  const downloads = answer.ok ? answer.downloads : [];
  show(downloads);
  showCount(answer.ok ? answer.running : 0);
  const more = document.getElementById("more");
  more.hidden = !answer.more;
  more.textContent = text("more", answer.more || 0);
  document.getElementById("open").textContent = text(answer.absent ? "startPellora" : "openPellora");
  document.getElementById("open").hidden = Boolean(answer.unreachable);
  if (answer.absent) say(text("notRunning"));
  else if (!answer.ok) say(answer.error);
  else say(downloads.length === 0 ? text("nothingRuns") : "");
}

async function refreshForEver() {
  await refresh();
  setTimeout(refreshForEver, EVERY);
}

document.getElementById("open").addEventListener("click", async () => {
  const answer = await ask({command: "open"});
  if (!answer.ok) return say(answer.error);
  return refresh();
});
document.getElementById("options").addEventListener("click", () => chrome.runtime.openOptionsPage());
translate(document);
refreshForEver();
