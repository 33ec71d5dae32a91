// SPDX-FileCopyrightText: 2026 The Velomira Usage Monitor authors
// SPDX-License-Identifier: MIT
#include "views/models/settings_model.h"

#include "account/auth_records.h"
#include "account/auth_service.h"
#include "base/build_config.h"
#include "base/exact_utf8.h"
#include "platform/diagnostics.h"
#include "platform/login_item.h"
#include "platform/url_opener.h"
#include "platform/user_defaults.h"

#include <QTimeZone>

#include <cmath>
#include <utility>

namespace views {

namespace {

const QString kSyncInterval = QStringLiteral("syncInterval");
const QString kLastRecordCount = QStringLiteral("lastSyncRecordCount");
const QString kTotalSynced = QStringLiteral("totalRecordsSynced");
constexpr qint64 kDefaultSyncInterval = 5;

const QString kLoggedIn = QStringLiteral("Logged In");
const QString kNever = QStringLiteral("Never");
const QString kFailedToEnable = QStringLiteral("Failed to enable launch at login: ");
const QString kFailedToDisable = QStringLiteral("Failed to disable launch at login: ");

} // namespace

SettingsModel::SettingsModel(const Dependencies& account, Facilities facilities)
    : AccountModel(account, QStringLiteral("Sync Active"))
    , m_to(std::move(facilities))
    , m_launchAtLogin(m_to.loginItem.isEnabled())
{
}

QString SettingsModel::accountName() const
{
    const auto& user = account().authService.currentUser();
    return user ? account::displayName(user) : kLoggedIn;
}

QString SettingsModel::accountEmail() const
{
    const auto& user = account().authService.currentUser();
    return user ? user->email.value_or(QString()) : QString();
}

QString SettingsModel::formatLastSync() const
{
    return lastSyncText(QTimeZone::systemTimeZone()).value_or(kNever);
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
    return platform::fromExactUtf8(platform::kVersion);
}

void SettingsModel::openWebSite()
{
    m_to.urlOpener.open(serviceWebSite(m_to.serviceUrl));
}

} // namespace views
