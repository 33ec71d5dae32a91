// SPDX-FileCopyrightText: 2026 The Velomira Usage Monitor authors
// SPDX-License-Identifier: MIT
import QtQuick

Rectangle {
    implicitHeight: 10
    implicitWidth: 10
    radius: 5
}
