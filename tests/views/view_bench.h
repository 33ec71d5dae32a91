// SPDX-FileCopyrightText: 2026 The Velomira Usage Monitor authors
// SPDX-License-Identifier: MIT
#pragma once

#include "account/auth_service.h"
#include "activity/data_store.h"
#include "platform/desktop.h"
#include "shell/app_menu.h"
#include "shell/window_router.h"
#include "sync/sync_service.h"
#include "tests/fakes/fake_app_activation.h"
#include "tests/fakes/fake_desktop_notice.h"
#include "tests/fakes/fake_environment.h"
#include "tests/fakes/fake_login_item.h"
#include "tests/fakes/fake_main_queue.h"
#include "tests/fakes/fake_status_item.h"
#include "tests/fakes/fake_url_opener.h"
#include "tests/support/activity_samples.h"
#include "tracking/tracking_engine.h"
#include "views/models/account_model.h"

#include <QCoroTask>

#include <optional>

namespace support {

/// Everything that a window needs, on fakes: nobody is signed in, nothing is stored.
struct ViewBench
{
    /// Signs in as `user`, or as somebody without a record.
    void signIn(const std::optional<QByteArray>& user = R"({"id":1,"name":"Ada Lovelace",)"
                                                        R"("email":"ada@example.com"})")
    {
        const QByteArray record = user ? R"(,"user":)" + *user : QByteArray();
        fake.httpClient.answer(platform::HttpResponse{
            .status = 200, .body = R"({"success":true,"token":"T")" + record + "}"});
        QCoro::waitFor(auth.login(QStringLiteral("ada@example.com"), QStringLiteral("secret")));
    }

    /// Stores a record of `seconds` at `time` (seconds since 2001).
    void add(const char* app, double seconds, std::optional<const char*> url = {})
    {
        activity::ActivityLog log = samples::log(app, "a title", fake.clock.time);
        log.duration = seconds;
        if (url)
            log.url = activity::SharedText(*url);
        store.addLog(log);
    }

    fakes::FakeEnvironment fake;
    fakes::FakeMainQueue mainQueue;
    fakes::FakeUrlOpener urlOpener;
    fakes::FakeAppActivation activation;
    fakes::FakeLoginItem loginItem;
    fakes::FakeStatusItem statusItem;
    QString serviceUrl = QStringLiteral("https://service.example:8443");
    activity::DataStore store{{.applicationSupport = QStringLiteral("/data"),
                               .files = fake.atomicFiles,
                               .diagnostics = fake.diagnostics}};
    account::AuthService auth{{.serviceUrl = serviceUrl,
                               .userDefaults = fake.userDefaults,
                               .secretStore = fake.secretStore,
                               .httpClient = fake.httpClient}};
    syncing::SyncService sync{fake.facilities, serviceUrl, auth, store};
    tracking::TrackingEngine tracking{fake.facilities, store};
    fakes::FakeDesktopNotice desktopNotice;
    shell::Services services{
        .dataStore = store, .authService = auth, .syncService = sync, .trackingEngine = tracking};
    platform::Desktop desktop{.statusItem = statusItem,
                              .loginItem = loginItem,
                              .mainQueue = mainQueue,
                              .urlOpener = urlOpener,
                              .activation = activation,
                              .notice = desktopNotice,
                              .letGoOfSpareMemory = [] {
                              }};
    shell::WindowRouter windows{activation};
    shell::AppMenu menu{services, windows, mainQueue};
    bool isShowingLogin = true;
    /// What the models of the dashboard and the settings have in common.
    views::AccountModel::Dependencies account{.authService = auth,
                                              .syncService = sync,
                                              .windows = windows,
                                              .mainQueue = mainQueue,
                                              .clock = fake.clock};
};

} // namespace support
