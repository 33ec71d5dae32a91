// SPDX-FileCopyrightText: 2026 The Velomira Usage Monitor authors
// SPDX-License-Identifier: MIT
// What a shell from version 45 on offers extensions to derive from, as far as ours needs it.
export class Extension {
    constructor(metadata) {
        this.metadata = metadata;
    }
}
