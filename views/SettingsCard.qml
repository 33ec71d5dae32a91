// SPDX-FileCopyrightText: 2026 The Velomira Usage Monitor authors
// SPDX-License-Identifier: MIT
import Quillstep.Views

// A card as wide as the settings window allows.
Card {
}
