// The number of running downloads on the button. It is asked for after a download was handed over and when the popup is
// open, and then every half minute until none is running.
"use strict";

const BADGE_ALARM = "badge";

function showCount(running) {
  chrome.action.setBadgeText({text: running > 0 ? String(running) : ""});
  if (running > 0) {
    chrome.alarms.create(BADGE_ALARM, {delayInMinutes: 0.5, periodInMinutes: 0.5});
  } else {
    chrome.alarms.clear(BADGE_ALARM);
  }
}

async function countRunning() {
  const answer = await ask({command: "list"});
  showCount(answer.ok ? answer.running : 0);
}
