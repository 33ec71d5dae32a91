// SPDX-FileCopyrightText: 2026 The Velomira Usage Monitor authors
// SPDX-License-Identifier: MIT
#pragma once

#include "platform/desktop_notice.h"

#include <QString>

namespace fakes {

/// Says what a test wants it to say.
class FakeDesktopNotice final : public platform::DesktopNotice
{
public:
    [[nodiscard]] QString notice() const override { return m_notice; }

    void setNotice(const QString& notice)
    {
        m_notice = notice;
        Q_EMIT noticeChanged();
    }

private:
    QString m_notice;
};

} // namespace fakes
