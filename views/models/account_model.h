// SPDX-FileCopyrightText: 2026 The Velomira Usage Monitor authors
// SPDX-License-Identifier: MIT
#pragma once

#include "account/auth_records.h"
#include "base/time_texts.h"

#include <QObject>
#include <QString>

#include <optional>

class QTimeZone;

namespace account {
class AuthService;
}

namespace platform {
class Clock;
class MainQueue;
} // namespace platform

namespace shell {
class WindowRouter;
}

namespace syncing {
class SyncService;
}

namespace views {

/// Who is signed in, in short: the first characters of the first two words of the name, in
/// capitals; else that of the e-mail address; else "U". A part of the record that is present
/// counts, even if it is empty. Words are set off by U+0020 only, and a character is what a reader
/// takes for one. Empty when what is taken has none. Any thread.
[[nodiscard]] QString getInitials(const std::optional<account::UserResponse>& user);

/// The host name in `serviceUrl`, without the port.
[[nodiscard]] QString serviceHost(const QString& serviceUrl);

/// The address of the web site for people: the service's host, over https, without port and path.
/// Of a service without TLS, which only a build for this machine has, it is the service's own
/// address with its port: there is nothing else.
[[nodiscard]] QString serviceWebSite(const QString& serviceUrl);

/// What the dashboard and the settings both show and do: who is signed in, and how the uploads go.
/// Main thread; what it is given must outlive it.
class AccountModel : public QObject
{
    Q_OBJECT
    Q_PROPERTY(bool isAuthenticated READ isAuthenticated NOTIFY changed FINAL)
    Q_PROPERTY(QString initials READ initials NOTIFY changed FINAL)
    Q_PROPERTY(views::AccountModel::SyncState syncState READ syncState NOTIFY changed FINAL)
    Q_PROPERTY(QString syncText READ syncText NOTIFY changed FINAL)
    Q_PROPERTY(bool isSyncing READ isSyncing NOTIFY changed FINAL)
    Q_PROPERTY(bool hasSyncError READ hasSyncError NOTIFY changed FINAL)
    Q_PROPERTY(QString syncError READ syncError NOTIFY changed FINAL)

public:
    struct Dependencies
    {
        account::AuthService& authService;
        syncing::SyncService& syncService;
        shell::WindowRouter& windows;
        platform::MainQueue& mainQueue;
        const platform::Clock& clock;
    };

    /// What is to be said about the uploads. QML finds the colour of each by its number.
    // QML reads enumerations as int. NOLINTNEXTLINE(performance-enum-size)
    enum class SyncState {
        Syncing,
        Error,
        Active,
    };
    Q_ENUM(SyncState)

    /// An attempt that is under way comes first, then the failure of the last one, even one whose
    /// text is empty.
    [[nodiscard]] static SyncState stateOf(bool isSyncing,
                                           const std::optional<QString>& lastSyncError);

    [[nodiscard]] bool isAuthenticated() const;
    [[nodiscard]] QString initials() const;

    [[nodiscard]] SyncState syncState() const;
    /// The state in a word or two.
    [[nodiscard]] QString syncText() const;

    [[nodiscard]] bool isSyncing() const { return syncState() == SyncState::Syncing; }

    [[nodiscard]] bool hasSyncError() const { return syncState() == SyncState::Error; }

    /// Why the last attempt failed; empty in the other states.
    [[nodiscard]] QString syncError() const;

    Q_INVOKABLE void logout();
    Q_INVOKABLE void openLogin();
    Q_INVOKABLE void sync();

Q_SIGNALS:
    /// Something that is observed has changed.
    void changed();

protected:
    /// `activeText` is what it says when nothing is wrong with the uploads.
    AccountModel(const Dependencies& dependencies, QString activeText);

    /// Something that is observed has changed; tells changed().
    virtual void redraw();

    [[nodiscard]] const Dependencies& account() const { return m_to; }

    /// When the last upload was, seen from now by the clocks of `zone`: "5 min. ago"; none before
    /// the first.
    [[nodiscard]] std::optional<QString> lastSyncText(const QTimeZone& zone) const;

private:
    Dependencies m_to;
    QString m_activeText;
    platform::RelativeTimeText m_relativeTimeText;
};

} // namespace views
