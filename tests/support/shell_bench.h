// SPDX-FileCopyrightText: 2026 The Velomira Usage Monitor authors
// SPDX-License-Identifier: MIT
#pragma once

#include "account/auth_service.h"
#include "activity/data_store.h"
#include "app/quillstep_app.h"
#include "platform/http_client.h"
#include "sync/sync_service.h"
#include "tests/fakes/fake_app_activation.h"
#include "tests/fakes/fake_desktop_notice.h"
#include "tests/fakes/fake_environment.h"
#include "tests/fakes/fake_login_item.h"
#include "tests/fakes/fake_main_queue.h"
#include "tests/fakes/fake_status_item.h"
#include "tests/fakes/fake_url_opener.h"
#include "tests/support/activity_samples.h"
#include "tests/support/recording_windows.h"
#include "tracking/tracking_engine.h"

#include <QCoroTask>
#include <QString>

namespace support {

enum class Session : std::uint8_t {
    SignedOut,
    SignedIn,      ///< from an earlier run, so without a user record
    KeyringIsSlow, ///< likewise, but the keyring has not answered yet
};

/// The application on fakes.
class ShellBench
{
public:
    explicit ShellBench(Session session = Session::SignedOut)
        : m_session(session)
    {
        app.windows().setFactory(&windows);
    }

    ShellBench(const ShellBench&) = delete;
    ShellBench& operator=(const ShellBench&) = delete;

    ~ShellBench() { app.windows().closeAll(); }

    /// Hands the addresses that the application asked to be opened back to it, as the desktop does.
    void deliverUrls()
    {
        for (const QString& url : std::exchange(urlOpener.opened, {}))
            app.openUrl(url);
    }

    /// Signs in as the service's `user`, a JSON object's text.
    void signIn(const QByteArray& user)
    {
        fake.httpClient.answer(platform::HttpResponse{
            .status = 200,
            .body = QByteArray(R"({"success":true,"token":"T","user":)") + user + "}"});
        QCoro::waitFor(auth.login(QStringLiteral("a@b.example"), QStringLiteral("p")));
    }

    /// Leaves the session of another run in the keyring.
    void storeSession(const QByteArray& token)
    {
        fake.secretStore.secrets[fakes::FakeSecretStore::key(account::AuthService::secretName())] =
            token;
    }

    /// The user unlocks the keyring, which holds the session of an earlier run.
    void unlockKeyring()
    {
        storeSession("T");
        Q_EMIT fake.secretStore.becameReadable();
    }

    fakes::FakeEnvironment fake;
    fakes::FakeMainQueue mainQueue;
    fakes::FakeUrlOpener urlOpener;
    fakes::FakeAppActivation activation;
    fakes::FakeLoginItem loginItem;
    fakes::FakeDesktopNotice desktopNotice;
    fakes::FakeStatusItem item;
    RecordingWindows windows;

private:
    // Before the services that read the keyring.
    Session m_session;

    platform::SecretStore& preparedSecrets()
    {
        if (m_session != Session::SignedOut)
            storeSession("T");
        fake.secretStore.holdsReads = m_session == Session::KeyringIsSlow;
        return fake.secretStore;
    }

public:
    activity::DataStore store{{.applicationSupport = QStringLiteral("/data"),
                               .files = fake.atomicFiles,
                               .diagnostics = fake.diagnostics}};
    account::AuthService auth{{.serviceUrl = QStringLiteral("https://service.example"),
                               .userDefaults = fake.userDefaults,
                               .secretStore = preparedSecrets(),
                               .httpClient = fake.httpClient}};
    syncing::SyncService sync{
        fake.facilities, QStringLiteral("https://service.example"), auth, store};
    tracking::TrackingEngine engine{fake.facilities, store};
    shell::Services services{
        .dataStore = store, .authService = auth, .syncService = sync, .trackingEngine = engine};
    platform::Desktop desktop{.statusItem = item,
                              .loginItem = loginItem,
                              .mainQueue = mainQueue,
                              .urlOpener = urlOpener,
                              .activation = activation,
                              .notice = desktopNotice,
                              .letGoOfSpareMemory = [] {
                              }};
    app::QuillstepApp app{{.environment = fake.facilities,
                           .services = services,
                           .desktop = desktop,
                           .finishSettings = [this] {
                               return settingsReachTheDisk;
                           }}};
    bool settingsReachTheDisk = true;
};

} // namespace support
