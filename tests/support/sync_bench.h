// SPDX-FileCopyrightText: 2026 The Velomira Usage Monitor authors
// SPDX-License-Identifier: MIT
#pragma once

#include "account/auth_service.h"
#include "activity/data_store.h"
#include "sync/sync_service.h"
#include "tests/fakes/fake_environment.h"
#include "tests/support/activity_samples.h"

#include <QCoroTask>
#include <QString>

namespace support {

/// The uploader and what it works with, on fakes, signed in with the token "T".
struct SyncBench
{
    /// With `client` in place of the fake one.
    explicit SyncBench(QString url = QStringLiteral("https://service.example"),
                       platform::HttpClient* client = nullptr)
        : serviceUrl(std::move(url))
        , http(client != nullptr ? *client : fake.httpClient)
    {
    }

    /// Adds `count` samples of one window, a second apart.
    void addSamples(int count, const char* title = "a title")
    {
        for (int i = 0; i < count; ++i)
            store.addLog(samples::log("Editor", title, 785000000.0 + next++));
    }

    /// One attempt, to its end.
    void sync() { QCoro::waitFor(service.sync()); }

    [[nodiscard]] std::size_t stored() const { return store.activities().size(); }

    fakes::FakeEnvironment fake;
    QString serviceUrl;
    platform::HttpClient& http;
    double next = 0;
    platform::Environment environment{
        .idleTime = fake.idleTime,
        .frontmostApplication = fake.frontmostApplication,
        .windowTitle = fake.windowTitle,
        .scriptRunner = fake.scriptRunner,
        .repeatingTimers = fake.repeatingTimers,
        .clock = fake.clock,
        .diagnostics = fake.diagnostics,
        .atomicFiles = fake.atomicFiles,
        .userDefaults = fake.userDefaults,
        .secretStore = storeWithToken(),
        .httpClient = http,
        .applicationSupport = QStringLiteral("/data"),
        .enterBackground = [] {},
    };
    activity::DataStore store{{.applicationSupport = environment.applicationSupport,
                               .files = fake.atomicFiles,
                               .diagnostics = fake.diagnostics}};
    account::AuthService auth{{.serviceUrl = serviceUrl,
                               .userDefaults = fake.userDefaults,
                               .secretStore = fake.secretStore,
                               .httpClient = http}};
    syncing::SyncService service{environment, serviceUrl, auth, store};

private:
    platform::SecretStore& storeWithToken()
    {
        fake.secretStore.secrets[fakes::FakeSecretStore::key(account::AuthService::secretName())] =
            "T";
        return fake.secretStore;
    }
};

} // namespace support
