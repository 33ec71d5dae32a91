// SPDX-FileCopyrightText: 2026 The Velomira Usage Monitor authors
// SPDX-License-Identifier: MIT
// A stand-in for a shell from version 45 on: the real module of our extension over made-up windows.
// Usage: gjs -m shell.js RESOURCES EXTENSION
//
// Owns the shell's bus name and writes "ready". Then reads orders from standard input, a line each,
// and writes a line after each, which is "done" but for the last: "enable", "disable", "focus" with
// the facts of a window in JSON, "unfocus", "title" with a text, "listeners", answered by how many
// the display and all windows have. Ends with standard input.
import Gio from 'gi://Gio';
import GLib from 'gi://GLib';
import Meta from 'gi://Meta';
import Shell from 'gi://Shell';

let listeners = 0;

class Emitter {
    #handlers = new Map();
    #last = 0;

    connect(name, handler) {
        listeners++;
        this.#handlers.set(++this.#last, {name, handler});
        return this.#last;
    }

    disconnect(id) {
        if (!this.#handlers.delete(id))
            throw new Error(`nobody has connected as ${id}`);
        listeners--;
    }

    emit(name) {
        [...this.#handlers.values()].filter(each => each.name === name).forEach(each => each.handler());
    }
}

class Window extends Emitter {
    constructor(facts) {
        super();
        this.facts = facts;
    }

    get_stable_sequence() {
        return this.facts.number;
    }

    get_title() {
        return this.facts.title ?? null;
    }

    get_wm_class() {
        return this.facts.wmClass ?? null;
    }

    get_pid() {
        return this.facts.pid ?? 0;
    }

    get_window_type() {
        return Meta.WindowType[this.facts.type ?? 'NORMAL'];
    }

    is_override_redirect() {
        return this.facts.isOverrideRedirect ?? false;
    }
}

class App {
    constructor(facts) {
        this.facts = facts;
    }

    get_id() {
        return this.facts.app;
    }

    get_name() {
        return this.facts.name;
    }
}

const display = new Emitter();
display.focus_window = null;
globalThis.global = {display};
Shell.WindowTracker.get_default = () => ({
    get_window_app: window => window.facts.app ? new App(window.facts) : null,
});

function focus(window) {
    display.focus_window = window;
    display.emit('notify::focus-window');
}

function obey(extension, order, rest) {
    switch (order) {
    case 'enable':
        extension.enable();
        break;
    case 'disable':
        extension.disable();
        break;
    case 'focus':
        focus(new Window(JSON.parse(rest)));
        break;
    case 'unfocus':
        focus(null);
        break;
    case 'title':
        display.focus_window.facts.title = rest;
        display.focus_window.emit('notify::title');
        break;
    case 'listeners':
        return `${listeners}`;
    default:
        throw new Error(`unknown order ${order}`);
    }
    return 'done';
}

const loop = GLib.MainLoop.new(null, false);
const input = new Gio.DataInputStream({base_stream: new Gio.UnixInputStream({fd: 0})});

function readOrders(extension) {
    input.read_line_async(GLib.PRIORITY_DEFAULT, null, (_input, result) => {
        const [bytes] = input.read_line_finish(result);
        if (bytes === null) {
            loop.quit();
            return;
        }
        const line = new TextDecoder().decode(bytes);
        const [order] = line.split(' ', 1);
        try {
            print(obey(extension, order, line.slice(order.length + 1)));
        } catch (error) {
            print(`${error}`);
        }
        readOrders(extension);
    });
}

const [resources, file] = ARGV;
Gio.Resource.load(resources)._register();
const {default: Extension} = await import(`file://${file}`);
Gio.bus_own_name_on_connection(Gio.DBus.session, 'org.gnome.Shell', Gio.BusNameOwnerFlags.NONE,
    () => print('ready'), null);
readOrders(new Extension({uuid: 'usage-monitor@velomira.com'}));
loop.run();
