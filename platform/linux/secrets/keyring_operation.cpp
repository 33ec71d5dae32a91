// SPDX-FileCopyrightText: 2026 The Velomira Usage Monitor authors
// SPDX-License-Identifier: MIT
#include "platform/linux/secrets/keyring_operation.h"

#include "platform/build_config.h"
#include "platform/linux/secrets/session_bus.h"

#include <QLoggingCategory>

#include <string>
#include <utility>

namespace platform::secrets {

namespace {

// For developers; off by default. Messages of the service name no secret.
Q_LOGGING_CATEGORY(lcSecrets, "velomira.secrets", QtCriticalMsg)

/// For a call that was given up to end by itself, before the next operation of its name begins.
constexpr std::chrono::milliseconds kGrace(500);

} // namespace

const SecretSchema* secretSchema()
{
    static const SecretSchema* const schema =
        secret_schema_new(std::string(kBundleIdentifier).c_str(),
                          SECRET_SCHEMA_NONE,
                          "service",
                          SECRET_SCHEMA_ATTRIBUTE_STRING,
                          "account",
                          SECRET_SCHEMA_ATTRIBUTE_STRING,
                          nullptr);
    return schema;
}

GlibOwned<GHashTable> attributesOf(const SecretName& name)
{
    return GlibOwned<GHashTable>(secret_attributes_build(secretSchema(),
                                                         "service",
                                                         name.service.toUtf8().constData(),
                                                         "account",
                                                         name.account.toUtf8().constData(),
                                                         nullptr));
}

KeyringOperation::KeyringOperation(SecretName name, Kind kind, std::chrono::milliseconds limit)
    : m_name(std::move(name))
    , m_kind(kind)
    , m_cancellable(g_cancellable_new())
{
    m_limit.setSingleShot(true);
    m_limit.setTimerType(Qt::PreciseTimer);
    connect(&m_limit, &QTimer::timeout, this, [this] { failAndCancel(Failure::TimedOut); });
    m_limit.start(limit);
    m_grace.setSingleShot(true);
    connect(&m_grace, &QTimer::timeout, this, &KeyringOperation::end);
}

void KeyringOperation::begin()
{
    m_hasBegun = true;
    if (!hasSessionBus()) {
        failAndCancel(Failure::NoBus);
        return;
    }
    g_bus_get(G_BUS_TYPE_SESSION, nullptr, continueAsync, next([this](GAsyncResult* result) {
                  m_bus = finishConnecting(result);
                  if (m_bus != nullptr)
                      connected();
                  else
                      failAndCancel(Failure::NoBus);
              }));
}

void KeyringOperation::giveUp()
{
    failAndCancel(Failure::Other);
}

void KeyringOperation::connected()
{
    secret_service_open(SECRET_TYPE_SERVICE,
                        nullptr,
                        SECRET_SERVICE_NONE,
                        cancellable(),
                        continueAsync,
                        next([this](GAsyncResult* result) {
                            GError* error = nullptr;
                            m_service.reset(secret_service_open_finish(result, &error));
                            if (m_service != nullptr)
                                opened();
                            else
                                failWith(error);
                        }));
}

void KeyringOperation::failWith(GError* error)
{
    const GlibOwned<GError> owned(error);
    if (error != nullptr)
        qCWarning(lcSecrets, "The keyring refused: %s", error->message);
    failAndCancel(isNoService(error) ? Failure::NoService : Failure::Other);
}

gpointer KeyringOperation::next(Continuation step)
{
    ++m_calls;
    return asyncData([self = shared_from_this(), step = std::move(step)](GAsyncResult* result) {
        if (!self->isAnswered())
            step(result);
        self->endStep();
    });
}

void KeyringOperation::failAndCancel(Failure failure)
{
    if (m_isAnswered)
        return;
    const auto self = shared_from_this(); // whoever gets the answer may drop this
    m_isAnswered = true;
    g_cancellable_cancel(cancellable());
    if (m_calls > 0)
        m_grace.start(kGrace);
    fail(failure);
    if (m_calls == 0)
        end();
}

void KeyringOperation::endStep()
{
    if (--m_calls > 0)
        return;
    failAndCancel(Failure::Other); // does nothing when there is an answer
    end();
}

void KeyringOperation::end()
{
    m_grace.stop();
    if (!std::exchange(m_hasEnded, true))
        Q_EMIT ended();
}

} // namespace platform::secrets
