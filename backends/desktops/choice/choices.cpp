// SPDX-FileCopyrightText: 2026 The Velomira Usage Monitor authors
// SPDX-License-Identifier: MIT
#include "backends/desktops/choice/choices.h"

#include "backends/desktops/choice/sources.h"
#include "backends/xdg/application_names.h"
#include "backends/xdg/known_browsers.h"

#include <QStringList>

#include <algorithm>
#include <limits>
#include <utility>

namespace platform::desktop {

// For developers; off by default.
Q_LOGGING_CATEGORY(lcWindows, "velomira.windows", QtCriticalMsg)

WindowChoice::WindowChoice(xdg::ApplicationNames& names)
    : m_names(names)
{
}

void WindowChoice::add(FrontWindowSource& source, const QString& limitation)
{
    listenTo(source, limitation);
    choose();
}

void WindowChoice::addWhenNeeded(std::function<FrontWindowSource*()> make,
                                 const QString& limitation)
{
    m_promises.push_back({.make = std::move(make), .limitation = limitation});
    choose();
}

void WindowChoice::listenTo(FrontWindowSource& source, const QString& limitation)
{
    m_candidates.push_back({.source = &source, .limitation = limitation});
    connect(&source, &FrontWindowSource::presenceChanged, this, [this, &source] {
        qCInfo(lcWindows) << source.name() << "is" << nameOf(source.presence());
        choose();
    });
}

void WindowChoice::setLocked(bool isLocked)
{
    m_isLocked = isLocked;
    m_latest.reset();
}

WindowChoice::Candidate WindowChoice::firstPresent() const
{
    const auto found = std::ranges::find_if(m_candidates, [](const Candidate& candidate) {
        return candidate.source->presence() != Presence::Absent;
    });
    return found == m_candidates.end() ? Candidate() : *found;
}

bool WindowChoice::isUndecided() const
{
    const FrontWindowSource* const source = firstPresent().source;
    return source != nullptr && source->presence() == Presence::Asking;
}

QString WindowChoice::nameOfChosen() const
{
    return hasAnswer() ? m_chosen.source->name() : QString();
}

QString WindowChoice::advice() const
{
    QStringList pieces;
    for (const Candidate& candidate : m_candidates) {
        if (candidate.source->presence() == Presence::Here)
            break; // what comes after it is not needed
        if (const QString piece = candidate.source->advice(); !piece.isEmpty())
            pieces.append(piece);
    }
    return pieces.join(QLatin1Char(' '));
}

QString WindowChoice::notice() const
{
    if (isUndecided() || (hasAnswer() && m_chosen.limitation.isEmpty()))
        return {};
    const QString limitation =
        hasAnswer() ? m_chosen.limitation
                    : QStringLiteral("This desktop does not tell which window is in front, so "
                                     "nothing is recorded.");
    return (QStringList{limitation, advice()}.join(QLatin1Char(' '))).trimmed();
}

void WindowChoice::choose()
{
    Candidate first = firstPresent();
    while (first.source == nullptr && !m_promises.empty()) {
        const Promise promise = std::move(m_promises.front());
        m_promises.pop_front();
        if (FrontWindowSource* const made = promise.make())
            listenTo(*made, promise.limitation);
        first = firstPresent();
    }
    if (first.source != nullptr && first.source->presence() != Presence::Here)
        first = {};
    if (std::exchange(m_chosen, first).source != first.source) {
        m_latest.reset(); // each source numbers its windows by itself
        qCInfo(lcWindows) << "the window in front is told by"
                          << (hasAnswer() ? nameOfChosen() : QStringLiteral("nobody"));
    }
    Q_EMIT changed();
}

std::optional<Application> WindowChoice::frontmostApplication()
{
    std::optional<FrontWindow> front;
    if (FrontWindowSource* const source = m_isLocked ? nullptr : m_chosen.source) {
        source->update(); // whereupon it may be no longer the chosen one
        front = source->frontWindow();
    }
    if (!front) {
        m_latest.reset();
        return std::nullopt;
    }
    // While nothing has changed the texts are the same ones, which compare at once.
    if (const int edition = m_names.edition();
        !m_latest || *front != m_front || edition != m_edition) {
        xdg::ApplicationIdentity identity =
            m_names.identify(front->identifiers, front->processIdentifier);
        if (identity.identifier)
            identity.identifier = browsers::withDialect(*identity.identifier);
        m_latest = {.application = {.localizedName = front->name ? front->name : identity.name,
                                    .bundleIdentifier = identity.identifier,
                                    .processIdentifier = front->processIdentifier,
                                    .window = front->window},
                    .title = front->title.value_or(QString())};
        m_front = *std::move(front);
        m_edition = edition;
    }
    return m_latest->application;
}

std::optional<QString> WindowChoice::focusedWindowTitle(const Application& application)
{
    const bool isOfLatest = m_latest && m_latest->application.window == application.window;
    return isOfLatest ? m_front.title : std::nullopt;
}

void IdleChoice::add(IdleSource& source)
{
    m_sources.push_back(&source);
    const auto log = [&source] {
        qCInfo(lcWindows) << "idle time by" << source.name() << "is" << nameOf(source.presence());
    };
    QObject::connect(&source, &IdleSource::presenceChanged, &source, log);
    log();
}

IdleSource* IdleChoice::present() const
{
    const auto found = std::ranges::find_if(
        m_sources, [](const IdleSource* source) { return source->presence() != Presence::Absent; });
    return found == m_sources.end() ? nullptr : *found;
}

bool IdleChoice::isUndecided() const
{
    const IdleSource* const source = present();
    return source != nullptr && source->presence() == Presence::Asking;
}

QString IdleChoice::nameOfChosen() const
{
    const IdleSource* const source = present();
    return source != nullptr && source->presence() == Presence::Here ? source->name() : QString();
}

double IdleChoice::secondsSinceLastInput()
{
    IdleSource* const source = present();
    return source != nullptr ? source->secondsSinceLastInput()
                             : std::numeric_limits<double>::quiet_NaN();
}

} // namespace platform::desktop
