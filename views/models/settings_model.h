// SPDX-FileCopyrightText: 2026 The Velomira Usage Monitor authors
// SPDX-License-Identifier: MIT
#pragma once

#include "views/models/account_model.h"

#include <QString>

namespace platform {
class Diagnostics;
class LoginItem;
class UrlOpener;
class UserDefaults;
} // namespace platform

namespace views {

/// What the settings window shows and what its controls do.
///
/// The counters are not observed: they are read when something that is observed changes.
/// Main thread; what it is given must outlive it.
// With its namespace: moc writes the name down as it stands here, and qmllint looks for it.
class SettingsModel final : public views::AccountModel
{
    Q_OBJECT
    Q_PROPERTY(QString accountName READ accountName NOTIFY changed FINAL)
    Q_PROPERTY(QString accountEmail READ accountEmail NOTIFY changed FINAL)
    Q_PROPERTY(QString lastSync READ formatLastSync NOTIFY changed FINAL)
    Q_PROPERTY(QString lastRecordCount READ lastRecordCount NOTIFY changed FINAL)
    Q_PROPERTY(QString totalSynced READ totalSynced NOTIFY changed FINAL)
    Q_PROPERTY(QString interval READ interval NOTIFY changed FINAL)
    Q_PROPERTY(double intervalSlider READ intervalSlider NOTIFY changed FINAL)
    Q_PROPERTY(bool launchAtLogin READ launchAtLogin WRITE changeLaunchAtLogin NOTIFY
                   launchAtLoginChanged FINAL)
    Q_PROPERTY(QString serviceHost READ serviceHost CONSTANT FINAL)
    Q_PROPERTY(QString version READ version CONSTANT FINAL)

public:
    /// What only the settings need.
    struct Facilities
    {
        platform::UserDefaults& userDefaults;
        platform::LoginItem& loginItem;
        platform::Diagnostics& diagnostics;
        platform::UrlOpener& urlOpener;
        QString serviceUrl;
    };

    SettingsModel(const Dependencies& account, Facilities facilities);

    /// What the user is called; "Logged In" without a user record.
    [[nodiscard]] QString accountName() const;
    /// Empty when the record has none.
    [[nodiscard]] QString accountEmail() const;

    /// When the last upload was, seen from now; "Never" before the first.
    [[nodiscard]] QString formatLastSync() const;
    [[nodiscard]] QString lastRecordCount() const;
    [[nodiscard]] QString totalSynced() const;

    /// In minutes; 5 until the user has chosen.
    [[nodiscard]] qint64 syncInterval() const;
    /// The same in decimal digits, and as a position of the slider.
    [[nodiscard]] QString interval() const;
    [[nodiscard]] double intervalSlider() const;

    [[nodiscard]] bool launchAtLogin() const { return m_launchAtLogin; }

    /// Shows `enabled` in the switch and has it come true. When the desktop refuses, the switch
    /// goes back to what is so, and a line of the diagnostics says why.
    void changeLaunchAtLogin(bool enabled);

    [[nodiscard]] QString serviceHost() const;
    /// Of the program.
    [[nodiscard]] static QString version();

    /// Stores the position of the slider as the interval, its fraction cut off. The running timer
    /// keeps its interval until it is set up anew.
    Q_INVOKABLE void moveIntervalSlider(double position);

    Q_INVOKABLE void openWebSite();

Q_SIGNALS:
    void launchAtLoginChanged();

private:
    void setLaunchAtLogin(bool enabled);
    [[nodiscard]] QString counter(const QString& key) const;

    Facilities m_to;
    bool m_launchAtLogin;
};

} // namespace views
