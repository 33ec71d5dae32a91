// SPDX-FileCopyrightText: 2026 The Velomira Usage Monitor authors
// SPDX-License-Identifier: MIT
#include "platform/environment.h"

#include <QtGlobal>

namespace platform {

namespace {

const Environment*& installed()
{
    static const Environment* environment = nullptr;
    return environment;
}

} // namespace

void install(const Environment& environment)
{
    Q_ASSERT(installed() == nullptr); // the services of a process share one environment
    installed() = &environment;
}

const Environment& environment()
{
    if (installed() == nullptr)
        qFatal("No platform environment is installed");
    return *installed();
}

} // namespace platform
