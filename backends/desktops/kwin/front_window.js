// SPDX-FileCopyrightText: 2026 The Velomira Usage Monitor authors
// SPDX-License-Identifier: MIT
//
// Runs inside KWin, 5.27 and 6, and reports the window in front to one connection of the session
// bus. What stands between @ is filled in before KWin reads this. A report goes out only when the
// one before has been answered, and at most four a second; the last change always arrives. When
// nobody answers, the peer has ended: the script then removes itself.
(function () {
    "use strict";

    const peer = { service: "@SERVICE@", path: "@PATH@", interface: "@INTERFACE@" };
    const token = "@TOKEN@";
    const scriptName = "@NAME@";
    const spacingMs = 250;
    const settlingMs = 150;
    const patienceMs = 10000;
    const longestText = 16384;

    // KWin 6 renamed clients to windows.
    const isNewer = workspace.windowActivated !== undefined;
    const activated = isNewer ? workspace.windowActivated : workspace.clientActivated;
    const watchedSignals = ["captionChanged", "desktopFileNameChanged", "windowClassChanged"];
    // Windows of the desktop itself rather than of an application.
    const ownKinds = ["desktopWindow", "dock", "splash", "notification", "criticalNotification",
        "onScreenDisplay", "appletPopup", "lockScreen"];
    const nothing = ["", "", "", "", "", 0];

    let watched = null;
    let lastReport = "";
    let isWaiting = false;
    let hasChanged = false;
    let isSettled = false;

    const spacing = new QTimer();
    spacing.singleShot = true;
    spacing.interval = spacingMs;
    const settling = new QTimer();
    settling.singleShot = true;
    settling.interval = settlingMs;
    const patience = new QTimer();
    patience.singleShot = true;
    patience.interval = patienceMs;

    function text(value) {
        if (value === undefined || value === null)
            return "";
        const all = String(value);
        if (all.length <= longestText)
            return all;
        const last = all.charCodeAt(longestText - 1);
        return all.slice(0, last >= 0xd800 && last < 0xdc00 ? longestText - 1 : longestText);
    }

    function isOfDesktop(window) {
        return ownKinds.some((kind) => window[kind] === true)
            || text(window.resourceClass).toLowerCase() === "kscreenlocker_greet";
    }

    // Each value becomes a plain one: what is not does not go through D-Bus.
    function factsOfFront() {
        const window = isNewer ? workspace.activeWindow : workspace.activeClient;
        if (!window || isOfDesktop(window))
            return nothing;
        return [text(window.internalId), text(window.caption), text(window.resourceClass),
            text(window.resourceName), text(window.desktopFileName), window.pid | 0];
    }

    function facts() {
        try {
            return factsOfFront();
        } catch (e) { // it is just being closed
            return nothing;
        }
    }

    function answered() {
        isWaiting = false;
        patience.stop();
        if (hasChanged && !spacing.active)
            report();
    }

    function report() {
        hasChanged = isWaiting || spacing.active;
        if (hasChanged)
            return;
        const now = facts();
        const key = JSON.stringify(now);
        if (key === lastReport)
            return;
        // Between two windows there is none for a moment, which would keep the second one waiting.
        if (now === nothing && lastReport && !isSettled) {
            settling.start();
            return;
        }
        lastReport = key;
        isWaiting = true;
        spacing.start();
        patience.start();
        callDBus(peer.service, peer.path, peer.interface, "report", token,
            ...now, answered);
    }

    function watch(window) {
        for (const name of watchedSignals) {
            try {
                if (watched)
                    watched[name].disconnect(report);
            } catch (e) { // it has gone
            }
            try {
                if (window)
                    window[name].connect(report);
            } catch (e) { // this version has no such signal
            }
        }
        watched = window;
        report();
    }

    spacing.timeout.connect(() => {
        if (hasChanged && !isWaiting)
            report();
    });
    settling.timeout.connect(() => {
        isSettled = true;
        report();
        isSettled = false;
    });
    patience.timeout.connect(() => {
        callDBus("org.kde.KWin", "/Scripting", "org.kde.kwin.Scripting", "unloadScript", scriptName);
    });
    activated.connect(watch);
    watch(isNewer ? workspace.activeWindow : workspace.activeClient);
})();
