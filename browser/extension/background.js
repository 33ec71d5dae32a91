// SPDX-FileCopyrightText: 2026 The Velomira Usage Monitor authors
// SPDX-License-Identifier: MIT
// Tells the native host which page is on show in the browser window that has the focus, and nothing of private
// windows. One script for the family of Chromium, where it is a worker, and for Firefox, where it is an event page:
// both may be unloaded and started anew between any two events, so it knows nothing that it cannot ask again.
"use strict";

const api = globalThis.browser ?? chrome;
const HOST = "com.velomira.usage_monitor";

// What the host lets through; what is longer is not told at all, because a part of it would be something else.
const LONGEST_ADDRESS = 8192;
const LONGEST_TITLE = 2048;
// Between two reports. The events of a page that loads are told of as soon as that; in a series that does not wait for its
// end, as of a title that changes a thousand times a second, the pause is ever longer by so much.
const PAUSE_MS = 50;
const LONGER_BY_MS = [0, 0, 50, 150, 350];
// Chromium may tell of a change of the focus before its own account of the windows is up to date: the waits before it is
// looked at again.
const SETTLING_MS = [150, 250, 400];
// For so long nothing but events changes what is known. Then the browser is asked again, lest one was missed.
const KNOWN_MS = 1000;
// Between attempts to start a host. It ends when no usage monitor runs, or at once; then there is nothing to do but
// to try again, ever more rarely. One that has lived is started again soon. A browser that nobody uses unloads this
// script, and the attempts with it, until something happens.
const FIRST_WAIT_MS = 2000;
const LONGEST_WAIT_MS = 60000;
const LIVED_MS = 10000;

let port = null;
let told = "";
let wait = 0;
let nextAttempt = 0;
let isReporting = false;
let isDue = false;
let isUrgent = false;
let reported = -Infinity; // when the last report was made
let row = 0; // how many reports had to wait since one had not
let hurry = () => {}; // ends what a pause is longer by
// The window that has the focus, as the last event said; none was heard at first. Until the account of the browser agrees,
// `settling` is the timer of the next look at it.
let announced;
let settling = 0;
// The window that has the focus and its active tab; null when it is to be asked.
let known = null;

function connect() {
    if (port || Date.now() < nextAttempt) {
        return;
    }
    const start = Date.now();
    const opened = api.runtime.connectNative(HOST);
    port = opened;
    told = "";
    opened.onDisconnect.addListener(() => {
        void api.runtime.lastError; // read, or it counts as an error that nobody expected
        port = null;
        const hasLived = Date.now() - start >= LIVED_MS;
        wait = hasLived || wait === 0 ? FIRST_WAIT_MS : Math.min(2 * wait, LONGEST_WAIT_MS);
        nextAttempt = Date.now() + wait;
        setTimeout(report, wait + 1);
    });
}

function tell(page) {
    const text = JSON.stringify(page);
    if (port && text !== told) {
        told = text;
        port.postMessage(page);
    }
}

function fits(text, longest) {
    return text.length <= longest && !/[\p{Surrogate}\0]/u.test(text);
}

// Pages of the web and files; the browser's own pages and what is no place at all (data:, blob:) have no address. A
// name and password in it are not told.
function addressOf(tab) {
    const address = (tab.url ?? "").replace(/^(https?:\/\/)[^/\\?#]*@/, "$1");
    return /^(https?|file):/.test(address) && fits(address, LONGEST_ADDRESS) ? address : "";
}

function titleOf(tab) {
    const title = tab.title ?? "";
    return fits(title, LONGEST_TITLE) ? title : "";
}

function pageOf(tab) {
    return tab && !tab.incognito
        ? { focused: true, address: addressOf(tab), title: titleOf(tab) }
        : { focused: false };
}

function isKnown() {
    return known !== null && performance.now() < known.until;
}

async function tabInFront() {
    known = null;
    let windowId = api.windows.WINDOW_ID_NONE;
    let tab;
    try {
        const last = await api.windows.getLastFocused();
        if (last.focused) {
            windowId = last.id;
            [tab] = await api.tabs.query({ active: true, windowId });
        }
    } catch {
        // no window is open, or it has just gone
    }
    const isWhole = tab || windowId === api.windows.WINDOW_ID_NONE;
    if (!isWhole || isDue) {
        return tab; // an event that came meanwhile may be newer than the answers
    }
    if (windowId === announced) {
        clearTimeout(settling);
        settling = 0;
    }
    if (settling === 0) {
        known = { windowId, tab, until: performance.now() + KNOWN_MS };
    }
    return tab;
}

// No timer where there is nothing to wait for: most events come alone.
async function endOfPause() {
    const rest = reported + PAUSE_MS - performance.now();
    if (rest <= 0) {
        row = 0;
        return;
    }
    await new Promise((resume) => setTimeout(resume, rest));
    if (isUrgent) {
        row = 0;
    } else if (LONGER_BY_MS[row] > 0) {
        await new Promise((resume) => {
            hurry = resume;
            setTimeout(resume, LONGER_BY_MS[row]);
        });
    }
    row = Math.min(row + 1, LONGER_BY_MS.length - 1);
}

// Reports once for all the events that come while it does, and for those of the pause after it once more.
async function report() {
    isDue = true;
    if (isUrgent) {
        hurry();
    }
    if (isReporting) {
        return;
    }
    isReporting = true;
    while (isDue) {
        await endOfPause();
        isDue = false;
        isUrgent = false;
        connect();
        if (port) {
            tell(pageOf(isKnown() ? known.tab : await tabInFront()));
        }
        reported = performance.now();
    }
    isReporting = false;
}

// Another window or tab may be in front.
function look() {
    known = null;
    isUrgent = true;
    report();
}

function settle([wait, ...later]) {
    settling = wait ? setTimeout(() => (settle(later), look()), wait) : 0;
}

api.runtime.onInstalled.addListener(look);
api.runtime.onStartup.addListener(look);
api.windows.onFocusChanged.addListener((windowId) => {
    told = ""; // that another window shows the same page is news
    announced = windowId;
    clearTimeout(settling);
    settle(SETTLING_MS);
    look();
});
api.windows.onRemoved.addListener(look);
api.tabs.onActivated.addListener(look);
api.tabs.onAttached.addListener(look);
api.tabs.onReplaced?.addListener(look);
api.tabs.onUpdated.addListener((id, change, tab) => {
    if (!tab.active || (change.url === undefined && change.title === undefined && change.status !== "complete")) {
        return;
    }
    if (!isKnown()) {
        known = null;
    } else if (tab.windowId !== known.windowId) {
        return; // the active tab of a window behind
    } else if (tab.id === known.tab.id) {
        known.tab = tab;
    } else {
        known = null;
    }
    isUrgent ||= change.url !== undefined;
    report();
});
look();
