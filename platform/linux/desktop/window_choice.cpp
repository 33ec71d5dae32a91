// SPDX-FileCopyrightText: 2026 The Velomira Usage Monitor authors
// SPDX-License-Identifier: MIT
#include "platform/linux/desktop/window_choice.h"

#include "platform/linux/browsers/known_browsers.h"
#include "platform/linux/desktop/reported_windows.h"

#include <QStringList>

#include <algorithm>
#include <utility>

namespace platform::desktop {

struct WindowChoice::Candidate
{
    Candidate(FrontWindowSource& reporting, xdg::ApplicationNames& names, QString unseen)
        : source(reporting)
        , limitation(std::move(unseen))
        , application(reporting, names)
        , title(reporting)
    {
    }

    FrontWindowSource& source;
    QString limitation;
    ReportedFrontmostApplication application;
    ReportedWindowTitle title;
};

WindowChoice::WindowChoice(xdg::ApplicationNames& names)
    : m_names(names)
{
}

WindowChoice::~WindowChoice() = default;

void WindowChoice::add(FrontWindowSource& source, const QString& limitation)
{
    m_candidates.push_back(std::make_unique<Candidate>(source, m_names, limitation));
    connect(&source, &FrontWindowSource::presenceChanged, this, &WindowChoice::choose);
    choose();
}

void WindowChoice::addWhenNeeded(std::function<FrontWindowSource&()> make,
                                 const QString& limitation)
{
    m_promises.push_back({.make = std::move(make), .limitation = limitation});
    choose();
}

void WindowChoice::setLastResort(const QString& name, const QString& limitation, LastResort backend)
{
    m_lastResortName = name;
    m_lastResortLimitation = limitation;
    m_lastResort = std::move(backend);
    choose();
}

bool WindowChoice::isUndecided() const
{
    for (const auto& candidate : m_candidates) {
        if (candidate->source.presence() != Presence::Absent)
            return candidate->source.presence() == Presence::Asking;
    }
    return false;
}

QString WindowChoice::advice() const
{
    QStringList pieces;
    for (const auto& candidate : m_candidates) {
        if (candidate->source.presence() == Presence::Here)
            break; // what comes after it is not needed
        if (const QString piece = candidate->source.advice(); !piece.isEmpty())
            pieces.append(piece);
    }
    return pieces.join(QLatin1Char(' '));
}

QString WindowChoice::notice() const
{
    if (isUndecided() || (hasAnswer() && m_limitation.isEmpty()))
        return {};
    const QString limitation =
        hasAnswer() ? m_limitation
                    : QStringLiteral("This desktop does not tell which window is in front, so "
                                     "nothing is recorded.");
    return (QStringList{limitation, advice()}.join(QLatin1Char(' '))).trimmed();
}

void WindowChoice::choose()
{
    m_chosen = {};
    m_chosenName.clear();
    m_limitation.clear();
    const auto present = std::ranges::find_if(m_candidates, [](const auto& candidate) {
        return candidate->source.presence() != Presence::Absent;
    });
    if (present == m_candidates.end() && !m_promises.empty()) {
        const Promise promise = std::move(m_promises.front());
        m_promises.pop_front();
        add(promise.make(), promise.limitation); // chooses anew
        return;
    }
    if (present == m_candidates.end()) {
        if (m_lastResort && !m_triedLastResort)
            m_triedLastResort = m_lastResort().value_or(WindowBackend());
        if (m_triedLastResort && m_triedLastResort->application != nullptr) {
            m_chosen = *m_triedLastResort;
            m_chosenName = m_lastResortName;
            m_limitation = m_lastResortLimitation;
        }
    } else if (Candidate& candidate = **present; candidate.source.presence() == Presence::Here) {
        m_chosen = {.application = &candidate.application, .title = &candidate.title};
        m_chosenName = candidate.source.name();
        m_limitation = candidate.limitation;
    }
    Q_EMIT changed();
}

std::optional<Application> WindowChoice::frontmostApplication()
{
    m_latest.reset();
    if (m_isLocked || m_chosen.application == nullptr)
        return std::nullopt;
    std::optional<Application> front = m_chosen.application->frontmostApplication();
    if (!front)
        return std::nullopt;
    if (front->bundleIdentifier)
        front->bundleIdentifier = browsers::withDialect(*front->bundleIdentifier);
    m_latest = {.application = *front, .title = QString()};
    return front;
}

std::optional<QString> WindowChoice::focusedWindowTitle(const Application& application)
{
    if (m_isLocked || m_chosen.title == nullptr)
        return std::nullopt;
    std::optional<QString> title = m_chosen.title->focusedWindowTitle(application);
    if (m_latest && m_latest->application == application)
        m_latest->title = title.value_or(QString());
    return title;
}

} // namespace platform::desktop
