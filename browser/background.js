// The part of the extension that has no window. Browsers end it after some seconds of rest and start it again for the next
// event, so every listener is added here at once, and nothing that must last is in a variable.
"use strict";

// Firefox loads these by the manifest.
if (typeof importScripts === "function") importScripts("host.js", "badge.js", "menus.js", "rules.js", "takeover.js");

chrome.runtime.onInstalled.addListener(createMenus);
chrome.contextMenus.onClicked.addListener(menuClicked);
chrome.alarms.onAlarm.addListener((alarm) => (alarm.name === BADGE_ALARM ? countRunning() : undefined));
chrome.permissions.onAdded.addListener(listenForDownloads);
listenForDownloads();
forgetOld();
