// SPDX-FileCopyrightText: 2026 The Velomira Usage Monitor authors
// SPDX-License-Identifier: MIT
#pragma once

#include "platform/url_opener.h"

#include <QObject>

#include <functional>

namespace platform::gui {

/// Addresses through the desktop's own choice of programs. What the desktop needs to find the
/// program is started in a process of its own.
/// Main thread, with an application.
class DesktopUrlOpener final : public QObject, public UrlOpener
{
    Q_OBJECT

public:
    void open(const QString& url) override;

Q_SIGNALS:
    /// An address of our own scheme, on a later turn of the main loop: it need not find its way
    /// back through the desktop, which may not know the scheme.
    void ownUrlOpened(const QString& url);
};

} // namespace platform::gui
