// SPDX-FileCopyrightText: 2026 The Velomira Usage Monitor authors
// SPDX-License-Identifier: MIT
#pragma once

#include "platform/url_opener.h"

#include <QStringList>

namespace fakes {

class FakeUrlOpener final : public platform::UrlOpener
{
public:
    void open(const QString& url) override { opened.append(url); }

    QStringList opened;
};

} // namespace fakes
