// The menu entry on links and images. What is chosen goes to the program's messaging host, which hands it on over the
// session bus. The browser's own download is never touched.
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
    return handOver(info.linkUrl || info.srcUrl || "", info.pageUrl || "");
  }
});

// True if the program has taken the address. What hinders it is said in one sentence.
async function handOver(url, page) {
  const scheme = url.slice(0, url.indexOf(":") + 1).toLowerCase();
  if (scheme !== "http:" && scheme !== "ftp:") {
    say(`Pellora takes http and ftp addresses only, so ${scheme ? `this ${scheme.slice(0, -1)} link` : "this"} is left to the browser.`);
    return false;
  }
  let answer;
  try {
    answer = await chrome.runtime.sendNativeMessage(HOST, {url, referrer: page});
  } catch (error) {
    answer = {ok: false, error: `Pellora cannot be reached (${error.message}); start it once, with its browser integration on.`};
  }
  if (!answer || !answer.ok) {
    say((answer && answer.error) || "Pellora did not answer.");
    return false;
  }
  return true;
}

function say(message) {
  chrome.notifications.create({
    type: "basic",
    iconUrl: chrome.runtime.getURL("icons/128.png"),
    title: "Pellora",
    message,
  });
}
