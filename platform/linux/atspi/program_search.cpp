// SPDX-FileCopyrightText: 2026 The Velomira Usage Monitor authors
// SPDX-License-Identifier: MIT
#include "platform/linux/atspi/program_search.h"

#include "platform/linux/atspi/accessibility_bus.h"
#include "platform/linux/atspi/accessible_reply.h"

#include <QTimer>

namespace platform::atspi {

namespace {
constexpr qsizetype kMostPrograms = 256;
constexpr int kAtOnce = 16;
} // namespace

ProgramSearch::ProgramSearch(AccessibilityBus& bus, std::int32_t process)
    : m_bus(bus)
    , m_process(process)
{
}

void ProgramSearch::start()
{
    const bool isAsked = m_bus.askForPrograms(this, [this](const QDBusMessage& reply) {
        m_programs = objectsIn(reply, kMostPrograms).value_or(QList<AccessibleObject>());
        next();
    });
    if (!isAsked)
        QTimer::singleShot(0, this, &ProgramSearch::next);
}

void ProgramSearch::next()
{
    while (!m_found && m_open < kAtOnce && !m_programs.isEmpty())
        askForProcess(m_programs.takeLast());
    if (m_found || m_open == 0)
        Q_EMIT finished(m_found);
}

void ProgramSearch::askForProcess(const AccessibleObject& program)
{
    const bool isAsked =
        m_bus.askProcess(program.service, this, [this, program](const QDBusMessage& reply) {
            --m_open;
            if (m_found)
                return; // that has been told
            if (numberIn(reply) == static_cast<quint32>(m_process))
                m_found = program;
            next();
        });
    m_open += isAsked ? 1 : 0;
}

} // namespace platform::atspi
