// The program's messaging host, for all parts of the extension. The browser starts it for each message; it passes them on
// over the session bus.
"use strict";

const HOST = "pelloraproject.pellora";
// Which of these Pellora takes depends on its settings: its host says why one is refused.
const SCHEMES = ["http:", "https:", "ftp:", "ftps:", "sftp:"];

function text(name, ...values) {
  return chrome.i18n.getMessage(name, values.map(String));
}

function schemeOf(url) {
  return url.slice(0, url.indexOf(":") + 1).toLowerCase();
}

// Always an answer: {ok: true, ...}, or {ok: false, error}, with `absent` if the program is not running and with
// `unreachable` if there is no host.
async function ask(message) {
  try {
    const answer = await chrome.runtime.sendNativeMessage(HOST, message);
    return answer || {ok: false, error: text("noAnswer")};
  } catch (error) {
    return {ok: false, unreachable: true, error: text("unreachable", error.message)};
  }
}

// Puts the texts of the language into a page: data-text names what an element says, data-hint its tool tip, and data-ghost
// what an empty field shows.
function translate(root) {
  for (const element of root.querySelectorAll("[data-text]")) element.textContent = text(element.dataset.text);
  for (const element of root.querySelectorAll("[data-hint]")) element.title = text(element.dataset.hint);
  for (const element of root.querySelectorAll("[data-ghost]")) element.placeholder = text(element.dataset.ghost);
  document.documentElement.lang = chrome.i18n.getUILanguage();
}

// "1.5 MB". Units of 1000, as browsers and Pellora have them.
function sizeText(bytes) {
  const units = ["B", "kB", "MB", "GB", "TB"];
  let unit = 0;
  let value = bytes;
  while (value >= 1000 && unit + 1 < units.length) {
    value /= 1000;
    ++unit;
  }
  const digits = unit > 0 && value < 10 ? 1 : 0;
  return `${value.toLocaleString(chrome.i18n.getUILanguage(), {maximumFractionDigits: digits})} ${units[unit]}`;
}
