// SPDX-FileCopyrightText: 2026 The Velomira Usage Monitor authors
// SPDX-License-Identifier: MIT
#include "views/models/settings_model.h"

#include "account/auth_records.h"
#include "account/auth_service.h"
#include "app/shell/window_router.h"
#include "platform/app_activation.h"
#include "platform/build_config.h"
#include "platform/clock.h"
#include "platform/diagnostics.h"
#include "platform/login_item.h"
#include "platform/main_queue.h"
#include "platform/url_opener.h"
#include "platform/user_defaults.h"
#include "sync/sync_service.h"
#include "views/models/account_text.h"
#include "views/models/service_web_site.h"

#include <QTimeZone>

#include <cmath>
#include <utility>

namespace views {

namespace {

using account::AuthService;
using syncing::SyncService;

const QString kSyncInterval = QStringLiteral("syncInterval");
const QString kLastRecordCount = QStringLiteral("lastSyncRecordCount");
const QString kTotalSynced = QStringLiteral("totalRecordsSynced");
constexpr qint64 kDefaultSyncInterval = 5;

const QString kLoggedIn = QStringLiteral("Logged In");
const QString kNever = QStringLiteral("Never");
const QString kFailedToEnable = QStringLiteral("Failed to enable launch at login: ");
const QString kFailedToDisable = QStringLiteral("Failed to disable launch at login: ");

} // namespace

SettingsModel::SettingsModel(ViewContext context)
    : m_to(std::move(context))
    , m_launchAtLogin(m_to.loginItem.isEnabled())
{
    connect(&m_to.authService, &AuthService::isAuthenticatedChanged, this, &SettingsModel::changed);
    connect(&m_to.authService, &AuthService::currentUserChanged, this, &SettingsModel::changed);
    connect(&m_to.syncService, &SyncService::isSyncingChanged, this, &SettingsModel::changed);
    connect(&m_to.syncService, &SyncService::lastSyncErrorChanged, this, &SettingsModel::changed);
}

bool SettingsModel::isAuthenticated() const
{
    return m_to.authService.isAuthenticated();
}

QString SettingsModel::initials() const
{
    return getInitials(m_to.authService.currentUser());
}

QString SettingsModel::accountName() const
{
    const auto& user = m_to.authService.currentUser();
    return user ? account::displayName(user) : kLoggedIn;
}

QString SettingsModel::accountEmail() const
{
    const auto& user = m_to.authService.currentUser();
    return user ? user->email.value_or(QString()) : QString();
}

SyncStatus SettingsModel::status() const
{
    return syncStatus(m_to.syncService.isSyncing(),
                      m_to.syncService.lastSyncError(),
                      m_to.syncService.lastSyncTime());
}

bool SettingsModel::isSyncing() const
{
    return status().state == SyncStatus::State::Syncing;
}

bool SettingsModel::hasSyncError() const
{
    return status().state == SyncStatus::State::Error;
}

QString SettingsModel::syncError() const
{
    return status().error;
}

QString SettingsModel::formatLastSync() const
{
    const auto last = m_to.syncService.lastSyncTime();
    if (!last)
        return kNever;
    return m_relativeTimeText.text(*last, m_to.clock.now(), QTimeZone::systemTimeZone());
}

QString SettingsModel::counter(const QString& key) const
{
    return QString::number(m_to.userDefaults.integer(key).value_or(0));
}

QString SettingsModel::lastRecordCount() const
{
    return counter(kLastRecordCount);
}

QString SettingsModel::totalSynced() const
{
    return counter(kTotalSynced);
}

qint64 SettingsModel::syncInterval() const
{
    return m_to.userDefaults.integer(kSyncInterval).value_or(kDefaultSyncInterval);
}

QString SettingsModel::interval() const
{
    return QString::number(syncInterval());
}

double SettingsModel::intervalSlider() const
{
    return static_cast<double>(syncInterval());
}

void SettingsModel::moveIntervalSlider(double position)
{
    const auto minutes = static_cast<qint64>(std::trunc(position));
    if (m_to.userDefaults.integer(kSyncInterval) == minutes)
        return;
    m_to.userDefaults.setInteger(kSyncInterval, minutes);
    Q_EMIT changed();
}

void SettingsModel::changeLaunchAtLogin(bool enabled)
{
    if (enabled == m_launchAtLogin)
        return;
    m_launchAtLogin = enabled;
    Q_EMIT launchAtLoginChanged();
    setLaunchAtLogin(enabled);
}

void SettingsModel::setLaunchAtLogin(bool enabled)
{
    const platform::Outcome outcome = m_to.loginItem.setEnabled(enabled);
    if (outcome)
        return;
    m_to.diagnostics.line((enabled ? kFailedToEnable : kFailedToDisable) + outcome.error().text);
    // A change like any other: what is so is asked for once more.
    changeLaunchAtLogin(m_to.loginItem.isEnabled());
}

QString SettingsModel::serviceHost() const
{
    return views::serviceHost(m_to.serviceUrl);
}

QString SettingsModel::version()
{
    return QString::fromUtf8(platform::kVersion.data(), platform::kVersion.size());
}

void SettingsModel::logout()
{
    m_to.authService.logout();
}

void SettingsModel::openLogin()
{
    m_to.windows.openWindow(shell::kLoginWindow);
    m_to.activation.activateIgnoringOtherApps();
}

void SettingsModel::sync()
{
    m_to.mainQueue.async([&service = m_to.syncService] { service.sync(); });
}

void SettingsModel::openWebSite()
{
    m_to.urlOpener.open(serviceWebSite(m_to.serviceUrl));
}

} // namespace views
