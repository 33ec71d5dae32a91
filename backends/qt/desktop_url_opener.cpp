// SPDX-FileCopyrightText: 2026 The Velomira Usage Monitor authors
// SPDX-License-Identifier: MIT
#include "backends/qt/desktop_url_opener.h"

#include "backends/posix/this_process.h"
#include "base/build_config.h"

#include <QDesktopServices>
#include <QTimer>
#include <QUrl>

namespace platform::gui {

void DesktopUrlOpener::open(const QString& url)
{
    if (isOwnUrl(url)) {
        QTimer::singleShot(0, this, [this, url] { Q_EMIT ownUrlOpened(url); });
        return;
    }
    const posix::UsualCoreLimit limit;
    const posix::UsualTimerSlack slack;
    QDesktopServices::openUrl(QUrl(url));
}

} // namespace platform::gui
