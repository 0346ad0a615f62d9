// The menu entry on links and images. The chosen address goes to the program's messaging host, which passes it on over
// the session bus. The browser's own downloads are never touched.
"use strict";

const HOST = "pelloraproject.pellora";
const ENTRY = "pellora-download";
const TITLE = "&Download with Pellora!";  // with its access key

chrome.runtime.onInstalled.addListener(() => {
  chrome.contextMenus.removeAll(() => {
    chrome.contextMenus.create({id: ENTRY, title: TITLE, contexts: ["link", "image"]});
  });
});

chrome.contextMenus.onClicked.addListener((info) => {
  if (info.menuItemId === ENTRY) {
    return passOn(info.linkUrl || info.srcUrl || "", info.pageUrl || "");
  }
});

// True if the program has taken the address. Otherwise the user gets a notification with the reason.
async function passOn(url, page) {
  const scheme = url.slice(0, url.indexOf(":") + 1).toLowerCase();
  // Which of these Pellora takes depends on its settings: its host says why one is refused.
  if (!["http:", "https:", "ftp:", "ftps:", "sftp:"].includes(scheme)) {
    notify(`Pellora does not download ${scheme ? `${scheme.slice(0, -1)} links, so this` : "such links, so it"} is left to the browser.`);
    return false;
  }
  let answer;
  try {
    answer = await chrome.runtime.sendNativeMessage(HOST, {url, referrer: page});
  } catch (error) {
    answer = {ok: false, error: `Pellora cannot be reached (${error.message}); start it once, with its browser integration on.`};
  }
  if (!answer || !answer.ok) {
    notify((answer && answer.error) || "Pellora did not answer.");
    return false;
  }
  return true;
}

function notify(message) {
  chrome.notifications.create({
    type: "basic",
    iconUrl: chrome.runtime.getURL("icons/128.png"),
    title: "Pellora",
    message,
  });
}
