// The menu entries: what is under the mouse, and all links of the page or of the selection. The chosen address goes to
// Pellora without cookies; several ones are first shown on another page, with a filter.
"use strict";

const ENTRY = "pellora-download";
const ENTRY_PAGE = "pellora-page";
const ENTRY_SELECTION = "pellora-selection";
const LONGEST_LIST = 800000;  // characters of all links together, below what storage.session holds

function createMenus() {
  chrome.contextMenus.removeAll(() => {
    // An access key follows "&". No two entries fit the same place: browsers would put them into a submenu.
    chrome.contextMenus.create({id: ENTRY, title: text("menuDownload"), contexts: ["link", "image", "audio", "video"]});
    chrome.contextMenus.create({id: ENTRY_PAGE, title: text("menuPage"), contexts: ["page"]});
    chrome.contextMenus.create({id: ENTRY_SELECTION, title: text("menuSelection"), contexts: ["selection"]});
  });
}

function menuClicked(info, tab) {
  if (info.menuItemId === ENTRY) return passOn(info.linkUrl || info.srcUrl || "", info.pageUrl || "");
  if (info.menuItemId === ENTRY_PAGE) return listLinks(info, tab, false);
  if (info.menuItemId === ENTRY_SELECTION) return listLinks(info, tab, true);
  return false;
}

// True if the program has taken the address. Otherwise the user gets a notification with the reason.
async function passOn(url, page) {
  const scheme = schemeOf(url);
  if (!SCHEMES.includes(scheme)) {
    notify(scheme ? text("otherScheme", scheme.slice(0, -1)) : text("noScheme"));
    return false;
  }
  const answer = await ask({url, referrer: page});
  if (!answer.ok) {
    notify(answer.error || text("noAnswer"));
    return false;
  }
  countRunning();
  return true;
}

// Runs in the page.
function linksOf(selectedOnly, schemes, longest) {
  const selection = getSelection();
  const links = new Map();
  let length = 0;
  for (const link of document.links) {
    if (!schemes.includes(link.protocol) || links.has(link.href)) continue;
    if (selectedOnly && !selection.containsNode(link, true)) continue;
    const words = (link.textContent || link.title || "").replace(/\s+/g, " ").trim().slice(0, 200);
    length += link.href.length + words.length;
    if (length > longest) break;
    links.set(link.href, words);
  }
  return [...links].map(([url, words]) => ({url, words}));
}

// All but the newest: the session's storage holds ten millions of characters.
async function forgetLists() {
  const kept = await chrome.storage.session.get();
  const lists = Object.keys(kept).filter((key) => key.startsWith("links-"));
  lists.sort((one, other) => kept[other].made - kept[one].made);
  await chrome.storage.session.remove(lists.slice(4));
}

// The click on the menu lets the extension read the page. Chromium may tell the page's process of that only after the
// first try: one of twenty clicks would say that the page is closed to extensions.
async function readLinks(script, tries) {
  try {
    const [frame] = await chrome.scripting.executeScript(script);
    return frame.result || [];
  } catch (error) {
    if (tries === 1) throw error;
  }
  await new Promise((resolve) => setTimeout(resolve, 100));
  return readLinks(script, tries - 1);
}

async function listLinks(info, tab, selectedOnly) {
  let links = [];
  try {
    links = await readLinks({
      target: {tabId: tab.id, frameIds: [info.frameId || 0]},
      func: linksOf,
      args: [selectedOnly, SCHEMES, LONGEST_LIST],
    }, 5);
  } catch (error) {
    notify(text("pageClosed"));
    return false;
  }
  if (links.length === 0) {
    notify(text(selectedOnly ? "noLinksSelected" : "noLinks"));
    return false;
  }
  const key = `links-${crypto.randomUUID()}`;
  await forgetLists();
  await chrome.storage.session.set({[key]: {page: info.frameUrl || info.pageUrl || "", links, made: Date.now()}});
  await chrome.tabs.create({url: chrome.runtime.getURL(`links.html#${key}`), index: tab.index + 1, openerTabId: tab.id});
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
