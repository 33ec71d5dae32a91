// SPDX-FileCopyrightText: 2026 The Velomira Usage Monitor authors
// SPDX-License-Identifier: MIT
#include "platform/environment.h"

#include <QtGlobal>

namespace platform {

namespace {
const Environment* g_installed = nullptr;
}

void install(const Environment& environment)
{
    Q_ASSERT(g_installed == nullptr); // the services of a process share one environment
    g_installed = &environment;
}

const Environment& environment()
{
    if (g_installed == nullptr)
        qFatal("No platform environment is installed");
    return *g_installed;
}

} // namespace platform
