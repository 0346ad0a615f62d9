// Which of the browser's downloads are taken over: functions of what is known of one, without the browser.
"use strict";

const DEFAULTS = {takeOver: false, above: 10, types: ""};  // above: MB, null: not by size; types: endings of names

// Needed for taking over alone, and asked for when it is switched on.
const TAKE_OVER_PERMISSIONS = {permissions: ["downloads"], origins: ["http://*/*", "https://*/*"]};

function headerOf(headers, name) {
  const found = (headers || []).filter((header) => header.name.toLowerCase() === name);
  return found.length > 0 ? found[found.length - 1].value || "" : "";
}

// What a request has sent and got, as far as it counts here.
function recordOf(request, response) {
  const got = (name) => headerOf(response.responseHeaders, name);
  const sent = (name) => headerOf(request.requestHeaders, name);
  const length = got("content-length").trim();
  return {
    url: response.url,
    method: request.method,
    status: response.statusCode,
    size: /^\d{1,15}$/.test(length) ? Number(length) : -1,
    type: got("content-type").split(";")[0].trim().toLowerCase(),
    encoded: !["", "identity"].includes(got("content-encoding").trim().toLowerCase()),
    // Firefox, which has to pause a download to hold it, can resume it then.
    resumable: got("accept-ranges").trim().toLowerCase() === "bytes" &&
      (/^\s*"/.test(got("etag")) || got("last-modified") !== ""),
    attached: /^\s*attachment/i.test(got("content-disposition")),
    referrer: sent("referer"),
    cookie: sent("cookie"),
    userAgent: sent("user-agent"),
    login: sent("authorization") !== "",
    time: response.timeStamp,
  };
}

// Pages and pictures that the browser shows never become downloads: what they have sent is not kept.
function mayBeDownload(kind, record) {
  return kind === "other" || record.attached || !/^(text\/html|application\/xhtml\+xml|image\/.*)$/.test(record.type);
}

function endingOf(path) {
  const name = path.split(/[\\/]/).pop();
  return name.includes(".") ? name.split(".").pop().toLowerCase() : "";
}

function wantedTypes(types) {
  return types.toLowerCase().split(/[\s,;]+/).map((word) => word.replace(/^\*?\./, "")).filter((word) => word !== "");
}

function isWanted(settings, fileName, size) {
  const bySize = typeof settings.above === "number" && size > settings.above * 1000000;
  return bySize || wantedTypes(settings.types).includes(endingOf(fileName));
}

// Why the browser keeps the download, for the tests and the curious; empty if it is to be taken over. `record` is what
// is known of its request, or undefined.
function whyKept(settings, item, record, givenBack) {
  const url = item.finalUrl || item.url;
  if (!settings.takeOver) return "off";
  if (!/^https?:/i.test(url) || !/^https?:/i.test(item.url)) return "scheme";
  if (item.incognito) return "private";
  if (item.byExtensionId) return "another extension's";
  if (item.state && item.state !== "in_progress") return "over";
  if (givenBack) return "given back";
  if (!record || record.method !== "GET") return "method";
  if (record.status !== 200 || record.size < 0 || record.encoded) return "length";
  if (!record.resumable) return "cannot resume";
  if (record.login) return "login";
  return isWanted(settings, item.filename || new URL(url).pathname, record.size) ? "" : "not wanted";
}
