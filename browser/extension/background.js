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
// A page may change its title a thousand times a second.
const PAUSE_MS = 50;
// Chromium may tell of a change of the focus before its own account of the windows is up to date.
const SETTLING_MS = [150, 400, 800];
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
let isLooking = false;
let isDue = false;

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

async function pageInFront() {
    const none = { focused: false };
    try {
        const front = await api.windows.getLastFocused();
        if (!front.focused || front.incognito) {
            return none;
        }
        const [tab] = await api.tabs.query({ active: true, windowId: front.id });
        if (!tab || tab.incognito) {
            return none;
        }
        return { focused: true, address: addressOf(tab), title: titleOf(tab) };
    } catch {
        return none; // no window is open, or it has just gone
    }
}

// Looks once for all the events that come while it looks, and for those of the pause after it once more.
async function report() {
    isDue = true;
    if (isLooking) {
        return;
    }
    isLooking = true;
    while (isDue) {
        isDue = false;
        connect();
        if (port) {
            tell(await pageInFront());
        }
        await new Promise((resume) => setTimeout(resume, PAUSE_MS));
    }
    isLooking = false;
}

api.runtime.onInstalled.addListener(report);
api.runtime.onStartup.addListener(report);
api.windows.onFocusChanged.addListener(() => {
    told = ""; // that another window shows the same page is news
    report();
    for (const later of SETTLING_MS) {
        setTimeout(report, later);
    }
});
api.windows.onRemoved.addListener(report);
api.tabs.onActivated.addListener(report);
api.tabs.onAttached.addListener(report);
api.tabs.onReplaced?.addListener(report);
api.tabs.onUpdated.addListener((id, change, tab) => {
    if (tab.active && (change.url !== undefined || change.title !== undefined || change.status === "complete")) {
        report();
    }
});
report();
