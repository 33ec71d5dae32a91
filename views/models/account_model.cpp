// SPDX-FileCopyrightText: 2026 The Velomira Usage Monitor authors
// SPDX-License-Identifier: MIT
#include "views/models/account_model.h"

#include "account/auth_service.h"
#include "platform/clock.h"
#include "platform/main_queue.h"
#include "shell/window_router.h"
#include "sync/sync_service.h"

#include <QStringList>
#include <QTextBoundaryFinder>
#include <QTimeZone>
#include <QUrl>

#include <utility>

namespace views {

using account::AuthService;
using syncing::SyncService;

namespace {

/// The first character of `text` as readers count them (UAX #29); empty for the empty text.
QString firstCharacter(const QString& text)
{
    QTextBoundaryFinder finder(QTextBoundaryFinder::Grapheme, text);
    const qsizetype end = finder.toNextBoundary();
    return end > 0 ? text.left(end) : QString();
}

} // namespace

QString getInitials(const std::optional<account::UserResponse>& user)
{
    if (user && user->name) {
        QString initials;
        for (const QString& word : user->name->split(u' ', Qt::SkipEmptyParts).mid(0, 2))
            initials += firstCharacter(word);
        return initials.toUpper();
    }
    if (user && user->email)
        return firstCharacter(*user->email).toUpper();
    return QStringLiteral("U");
}

QString serviceHost(const QString& serviceUrl)
{
    return QUrl(serviceUrl).host();
}

QString serviceWebSite(const QString& serviceUrl)
{
    const QUrl service(serviceUrl);
    QUrl site;
    site.setScheme(service.scheme());
    site.setHost(service.host());
    if (service.scheme() == QLatin1StringView("http"))
        site.setPort(service.port());
    return site.toString();
}

AccountModel::AccountModel(const Dependencies& dependencies, QString activeText)
    : m_to(dependencies)
    , m_activeText(std::move(activeText))
{
    connect(&m_to.authService, &AuthService::isAuthenticatedChanged, this, &AccountModel::redraw);
    connect(&m_to.authService, &AuthService::currentUserChanged, this, &AccountModel::redraw);
    connect(&m_to.syncService, &SyncService::isSyncingChanged, this, &AccountModel::redraw);
    connect(&m_to.syncService, &SyncService::lastSyncErrorChanged, this, &AccountModel::redraw);
}

void AccountModel::redraw()
{
    Q_EMIT changed();
}

bool AccountModel::isAuthenticated() const
{
    return m_to.authService.isAuthenticated();
}

QString AccountModel::initials() const
{
    return getInitials(m_to.authService.currentUser());
}

AccountModel::SyncState AccountModel::stateOf(bool isSyncing,
                                              const std::optional<QString>& lastSyncError)
{
    if (isSyncing)
        return SyncState::Syncing;
    return lastSyncError ? SyncState::Error : SyncState::Active;
}

AccountModel::SyncState AccountModel::syncState() const
{
    return stateOf(m_to.syncService.isSyncing(), m_to.syncService.lastSyncError());
}

QString AccountModel::syncText() const
{
    switch (syncState()) {
    case SyncState::Syncing:
        return QStringLiteral("Syncing...");
    case SyncState::Error:
        return QStringLiteral("Sync Error");
    case SyncState::Active:
        break;
    }
    return m_activeText;
}

QString AccountModel::syncError() const
{
    return hasSyncError() ? m_to.syncService.lastSyncError().value_or(QString()) : QString();
}

std::optional<QString> AccountModel::lastSyncText(const QTimeZone& zone) const
{
    const auto last = m_to.syncService.lastSyncTime();
    return last ? std::optional(m_relativeTimeText.text(*last, m_to.clock.now(), zone))
                : std::nullopt;
}

void AccountModel::logout()
{
    m_to.authService.logout();
}

void AccountModel::openLogin()
{
    m_to.windows.show(shell::kLoginWindow);
}

void AccountModel::sync()
{
    m_to.mainQueue.async([&service = m_to.syncService] { service.sync(); });
}

} // namespace views
