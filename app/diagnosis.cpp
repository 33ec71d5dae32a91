// SPDX-FileCopyrightText: 2026 The Velomira Usage Monitor authors
// SPDX-License-Identifier: MIT
#include "app/diagnosis.h"

#include "account/auth_service.h"
#include "activity/activity_file_reader.h"
#include "activity/data_store.h"
#include "app/wait_for.h"
#include "platform/build_config.h"
#include "platform/http_client.h"
#include "platform/secret_store.h"

#include <QFile>
#include <QFileInfo>

namespace app {

namespace {

constexpr std::chrono::seconds kTimeToAnswer(3);

QString fromView(std::string_view text)
{
    return QString::fromUtf8(text.data(), static_cast<qsizetype>(text.size()));
}

QString contentReport(const QString& path)
{
    const QFileInfo info(path);
    if (!info.exists())
        return QStringLiteral("not there yet");
    QFile file(path);
    if (!info.isFile() || !file.open(QIODevice::ReadOnly | QIODevice::Unbuffered))
        return QStringLiteral("cannot be read: ") + file.errorString();
    activity::TextPool pool;
    const auto list = activity::readActivityFile(file, pool);
    if (!list)
        return QStringLiteral("damaged, %1 bytes; it will be kept beside the new one")
            .arg(info.size());
    return QStringLiteral("%1 records, %2 bytes").arg(list->size()).arg(info.size());
}

QString folderReport(const QString& folder)
{
    const QFileInfo info(folder);
    if (!info.exists())
        return QStringLiteral("not there yet");
    if (!info.isDir())
        return QStringLiteral("a file is in its place; move that away");
    return info.isWritable() ? QStringLiteral("writable") : QStringLiteral("not writable");
}

} // namespace

QStringList activityFileReport(const platform::Environment& environment)
{
    if (!environment.applicationSupport)
        return {QStringLiteral("data folder: unknown, set HOME or XDG_DATA_HOME")};
    const QString path = activity::DataStore::filePathIn(*environment.applicationSupport);
    return {
        QStringLiteral("data file: ") + path,
        QStringLiteral("data folder: ") + folderReport(QFileInfo(path).path()),
        QStringLiteral("stored activity: ") + contentReport(path),
    };
}

QStringList serviceReport(const platform::Environment& environment)
{
    const QString url = fromView(platform::kServiceUrl);
    const auto session = waitFor(environment.secretStore.read(account::AuthService::secretName()));
    const bool isSignedIn = session && !account::AuthService::owesRemoval(environment.userDefaults);
    const platform::HttpOutcome answer = waitFor(environment.httpClient.send({
        .method = platform::HttpMethod::Get,
        .url = url,
        .headers = {},
        .body = {},
        .idleLimit = kTimeToAnswer,
        .longAnswer = platform::LongAnswer::IsCut,
    }));
    const auto* const failure = std::get_if<platform::TransferFailure>(&answer);
    return {
        QStringLiteral("account: ") +
            (isSignedIn ? QStringLiteral("signed in") : QStringLiteral("signed out")),
        QStringLiteral("service: ") + url,
        QStringLiteral("service answers: ") + (failure ? failure->text : QStringLiteral("yes")),
    };
}

QStringList diagnosis(const platform::Environment& environment, const QStringList& desktop)
{
    QStringList lines{QStringLiteral("version: ") + fromView(platform::kVersion)};
    lines += desktop;
    lines += activityFileReport(environment);
    lines += serviceReport(environment);
    return lines;
}

} // namespace app
