// SPDX-FileCopyrightText: 2026 The Velomira Usage Monitor authors
// SPDX-License-Identifier: MIT
#include "app/diagnosis.h"

#include "account/auth_service.h"
#include "activity/activity_file_reader.h"
#include "activity/data_store.h"
#include "base/build_config.h"
#include "platform/http_client.h"
#include "platform/secret_store.h"

#include <QCoroFuture>
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

} // namespace

QCoro::Task<QStringList> diagnosis(const platform::Environment* environment, QStringList desktop)
{
    const QString url = fromView(platform::kServiceUrl);
    QStringList lines{QStringLiteral("version: ") + fromView(platform::kVersion)};
    lines += desktop;
    lines += activityFileReport(*environment);
    const auto session = co_await environment->secretStore.read(account::AuthService::secretName());
    const bool isSignedIn =
        session && !account::AuthService::owesRemoval(environment->userDefaults);
    lines += QStringLiteral("account: signed ") +
             (isSignedIn ? QStringLiteral("in") : QStringLiteral("out"));
    lines += QStringLiteral("service: ") + url;
    const platform::HttpRequest question{
        .method = platform::HttpMethod::Get,
        .url = url,
        .headers = {},
        .body = {},
        .idleLimit = kTimeToAnswer,
        .longAnswer = platform::LongAnswer::IsCut,
    };
    const platform::HttpOutcome answer = co_await environment->httpClient.send(question);
    const auto* const failure = std::get_if<platform::TransferFailure>(&answer);
    lines +=
        QStringLiteral("service answers: ") + (failure ? failure->text : QStringLiteral("yes"));
    lines += QStringLiteral("more: start it with QT_LOGGING_RULES=\"velomira.*=true\" in the "
                            "environment, and it tells on standard error what it decides");
    co_return lines;
}

} // namespace app
