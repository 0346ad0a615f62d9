// Taking over the browser's downloads, if the user has switched it on. The download is held, Pellora makes its own
// request, and only after that was answered like the browser's is the browser's download cancelled. In every other case
// it continues. What the user cancels meanwhile, Pellora drops too.
//
// Chromium holds a download by the question for its name. Firefox has no such question: there it is paused. The downloads
// API says neither the method nor what a request has sent: that is remembered from the request itself.
"use strict";

const REMEMBERED = 60000;  // ms from an answer to its download
const GIVEN_BACK = 300000;  // ms in which a new download of the same address is the user's second try
const PATIENCE = 27000;  // ms; Pellora answers sooner, and after 30 s Chromium may end this script

const requests = new Map();  // by id, until they are answered: what they have sent
const redirected = new Set();  // ids of requests that have begun with another method than GET

// At each start, and when the permissions come. Browsers take a listener to requests only if the extension may see some:
// one that was added before does not count, and is added anew.
function listenForDownloads() {
  const filter = {urls: TAKE_OVER_PERMISSIONS.origins, types: ["main_frame", "sub_frame", "other"]};
  const options = Object.values(chrome.webRequest.OnSendHeadersOptions || {});
  // Chromium shows cookies and pages only so.
  const sent = options.includes("extraHeaders") ? ["requestHeaders", "extraHeaders"] : ["requestHeaders"];
  listenAnew(chrome.webRequest.onSendHeaders, requestSent, filter, sent);
  listenAnew(chrome.webRequest.onHeadersReceived, responseBegun, filter, ["responseHeaders"]);
  listenAnew(chrome.webRequest.onCompleted, requestOver, filter);
  listenAnew(chrome.webRequest.onErrorOccurred, requestOver, filter);
  if (!chrome.downloads) return;  // it is there only with its permission
  if (chrome.downloads.onDeterminingFilename) {
    listenAnew(chrome.downloads.onDeterminingFilename, nameWanted);
  } else {
    listenAnew(chrome.downloads.onCreated, downloadBegun);
  }
}

function listenAnew(event, listener, ...conditions) {
  event.removeListener(listener);
  event.addListener(listener, ...conditions);
}

function requestSent(request) {
  if (request.incognito) return;
  if (request.method !== "GET") redirected.add(request.requestId);
  const method = redirected.has(request.requestId) ? "not GET" : "GET";
  requests.set(request.requestId, {method, requestHeaders: request.requestHeaders});
}

function requestOver(request) {
  requests.delete(request.requestId);
  redirected.delete(request.requestId);
}

function responseBegun(response) {
  const request = requests.get(response.requestId);
  if (!request || response.statusCode < 200 || (response.statusCode >= 300 && response.statusCode < 400)) return;
  const record = recordOf(request, response);
  if (mayBeDownload(response.type, record)) remember(record);
}

// What an earlier run of this script has left.
async function forgetOld() {
  const now = Date.now();
  const kept = await chrome.storage.session.get();
  const old = (key, value) => (key.startsWith("request ") && now - value.seen > REMEMBERED) ||
                              (key.startsWith("back ") && now - value > GIVEN_BACK);
  await chrome.storage.session.remove(Object.keys(kept).filter((key) => old(key, kept[key])));
}

// One record for each address. Two requests with different methods cannot be distinguished by their downloads.
const remembered = new Map();

function remember(record) {
  const now = Date.now();
  for (const [url, earlier] of remembered) {
    if (now - earlier.seen > REMEMBERED) forget(url);
  }
  const earlier = remembered.get(record.url);
  if (earlier && earlier.method !== "GET") record.method = earlier.method;
  record.seen = now;
  remembered.set(record.url, record);
  chrome.storage.session.set({[`request ${record.url}`]: record});
}

function forget(url) {
  remembered.delete(url);
  chrome.storage.session.remove(`request ${url}`);
}

async function recall(url) {
  const key = `request ${url}`;
  const record = remembered.get(url) || (await chrome.storage.session.get(key))[key];
  return record && Date.now() - record.seen <= REMEMBERED ? record : undefined;
}

async function wasGivenBack(url) {
  const key = `back ${url}`;
  const since = (await chrome.storage.session.get(key))[key];
  return since !== undefined && Date.now() - since <= GIVEN_BACK;
}

// What Pellora is asked to take over; null if the browser keeps it.
async function begunDownload(item) {
  const settings = await chrome.storage.local.get(DEFAULTS);
  const url = item.finalUrl || item.url;
  const back = await wasGivenBack(url);
  let record = await recall(url);
  // Firefox may tell of a download before it tells of the request.
  for (let tries = 0; tries < 20 && !record && whyKept(settings, item, record, back) === "method"; ++tries) {
    await new Promise((resolve) => setTimeout(resolve, 50));
    record = await recall(url);
  }
  if (whyKept(settings, item, record, back) !== "") return null;
  return {
    command: "take-over",
    url,
    referrer: record.referrer || item.referrer || "",
    cookie: record.cookie,
    userAgent: record.userAgent || navigator.userAgent,
    size: record.size,
    type: record.type,
  };
}

// Pellora's answer: `ok` if Pellora has it. One that comes too late counts no more.
async function handOver(begun) {
  const asked = ask(begun);
  const late = new Promise((resolve) => setTimeout(resolve, PATIENCE, {ok: false, late: true}));
  const answer = await Promise.race([asked, late]);
  if (answer.late) asked.then(release);
  if (!answer.ok) await chrome.storage.session.set({[`back ${begun.url}`]: Date.now()});
  return answer;
}

async function release(answer) {
  if (answer.ok && answer.id) await ask({command: "release", id: answer.id});
}

// The user has cancelled or removed the browser's download, or let it run to its end. `wasHeld` is false if Firefox had to
// pause it before any byte had come, and then calls it cancelled.
async function isOver(id, wasHeld) {
  const items = await chrome.downloads.search({id});
  if (items.length === 0 || items[0].state === "complete") return true;
  return wasHeld && items[0].error === "USER_CANCELED" && !items[0].paused;
}

// Pellora has it now: one of the two goes.
async function settle(id, url, answer, wasHeld) {
  if (!(await isOver(id, wasHeld))) return drop(id, url);
  forget(url);
  return release(answer);
}

async function drop(id, url) {
  await chrome.downloads.cancel(id);
  await chrome.downloads.erase({id});
  forget(url);
  countRunning();
}

// Chromium. It waits for `suggest` for ever, so that is called whatever happens.
function nameWanted(item, suggest) {
  holdForName(item).catch(() => {}).finally(() => {
    try {
      suggest();
    } catch (error) {
      // The download is gone.
    }
  });
  return true;
}

async function holdForName(item) {
  const begun = await begunDownload(item);
  if (!begun) return;
  const answer = await handOver(begun);
  if (answer.ok) await settle(item.id, begun.url, answer, true);
}

// Firefox.
async function downloadBegun(item) {
  const begun = await begunDownload(item);
  if (!begun) return;
  try {
    await chrome.downloads.pause(item.id);
  } catch (error) {
    return;  // it is complete
  }
  const paused = await isPaused(item.id);
  let answer = {ok: false};
  try {
    answer = await handOver(begun);
  } finally {
    await (answer.ok ? settle(item.id, begun.url, answer, paused) : giveBack(item.id, begun, paused));
  }
}

// False of one that was paused before any byte had come, too: that one cannot resume.
async function isPaused(id) {
  const [item] = await chrome.downloads.search({id}).catch(() => []);
  return item !== undefined && item.paused;
}

async function giveBack(id, {url, referrer}, wasPaused) {
  if (wasPaused && !(await isPaused(id))) return;  // the user has cancelled it, or resumed it already
  try {
    await chrome.downloads.resume(id);
  } catch (error) {
    // It cannot resume after all: it begins anew, as the browser's download. A server may refuse it without its page.
    // The former one is in the browser's list until then, so that nothing is lost if the browser refuses.
    const headers = referrer ? [{name: "Referer", value: referrer}] : [];
    await chrome.downloads.download({url, headers});
    await chrome.downloads.erase({id});
  }
}
