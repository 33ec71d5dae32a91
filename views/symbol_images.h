// SPDX-FileCopyrightText: 2026 The Velomira Usage Monitor authors
// SPDX-License-Identifier: MIT
#pragma once

#include <QQuickImageProvider>

namespace views {

/// Draws the symbols of the resources in the colour and size asked for: "NAME?COLOUR", the colour
/// as QML writes it, "#rrggbb" or "#aarrggbb". An unknown name gives nothing, which QML complains
/// about.
class SymbolImages final : public QQuickImageProvider
{
public:
    SymbolImages();

    QImage requestImage(const QString& id, QSize* size, const QSize& requestedSize) override;
};

} // namespace views
