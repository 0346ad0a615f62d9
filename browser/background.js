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

chrome.contextMenus.onClicked.addListener((info, tab) => {
  if (info.menuItemId === ENTRY) {
    return handOver(info.linkUrl || info.srcUrl || "", info.pageUrl || "", tab);
  }
});

// True if the program has taken the address. What hinders it is said in one sentence.
async function handOver(url, page, tab) {
  const scheme = url.slice(0, url.indexOf(":") + 1).toLowerCase();
  if (scheme !== "http:" && scheme !== "ftp:") {
    say(`Pellora takes http and ftp addresses only, so ${scheme ? `this ${scheme.slice(0, -1)} link` : "this"} is left to the browser.`);
    return false;
  }
  let answer;
  try {
    answer = await chrome.runtime.sendNativeMessage(HOST, {url, referrer: page, cookie: await cookiesOf(url, tab)});
  } catch (error) {
    answer = {ok: false, error: `Pellora cannot be reached (${error.message}); start it once, with its browser integration on.`};
  }
  if (!answer || !answer.ok) {
    say((answer && answer.error) || "Pellora did not answer.");
    return false;
  }
  return true;
}

// As a Cookie header has them; empty where the browser gives none. A private window has a store of its own: what is
// clicked there never gets the cookies of the other windows.
async function cookiesOf(url, tab) {
  try {
    const stores = await chrome.cookies.getAllCookieStores();
    const store = stores.find(({tabIds}) => tab && tabIds.includes(tab.id));
    if (!store) {
      return "";
    }
    const cookies = await chrome.cookies.getAll({url, storeId: store.id});
    return cookies.map((cookie) => `${cookie.name}=${cookie.value}`).join("; ");
  } catch (error) {
    return "";
  }
}

function say(message) {
  chrome.notifications.create({
    type: "basic",
    iconUrl: chrome.runtime.getURL("icons/128.png"),
    title: "Pellora",
    message,
  });
}
