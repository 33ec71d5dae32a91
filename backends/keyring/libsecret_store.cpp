// SPDX-FileCopyrightText: 2026 The Velomira Usage Monitor authors
// SPDX-License-Identifier: MIT
#include "backends/keyring/libsecret_store.h"

#include "backends/dbus/ask.h"
#include "backends/dbus/bus_name_owner.h"
#include "backends/keyring/keyring.h"

#include <QAbstractEventDispatcher>
#include <QDBusConnection>
#include <QDBusMessage>
#include <QDBusObjectPath>
#include <QDBusVariant>
#include <QElapsedTimer>
#include <QEventLoop>
#include <QObject>
#include <QPromise>
#include <QString>
#include <QTimer>
#include <QVariantMap>

#include <algorithm>
#include <array>
#include <cstddef>
#include <utility>

namespace platform::secrets {

namespace {

const QString kCollection = QStringLiteral("org.freedesktop.Secret.Collection");
const QString kServiceInterface = QStringLiteral("org.freedesktop.Secret.Service");

/// A service that answers sooner than this may not be what was slow: it is believed now and then,
/// so that reading in vain does not go round and round.
constexpr qint64 kSlowMs = 200;
constexpr qint64 kNowAndThenMs = 60'000;

/// Whether the signal PropertiesChanged with `arguments` says that a keyring is unlocked now.
bool saysUnlocked(const QVariantList& arguments)
{
    const QVariant isLocked =
        qdbus_cast<QVariantMap>(arguments.value(1)).value(QStringLiteral("Locked"));
    return isLocked.typeId() == QMetaType::Bool && !isLocked.toBool();
}

/// For a call that was given up to end by itself, before the next operation of its name begins.
constexpr std::chrono::milliseconds kGrace(500);

/// For a person, in the order of KeyringState.
constexpr std::array kPhrases = {"unlocked",
                                 "locked",
                                 "no default keyring",
                                 "no session bus",
                                 "no service on the session bus",
                                 "does not answer",
                                 "answers with an error"};

} // namespace

/// Waits, once, for the keyring to be unlocked or to appear. It listens to signals of the session
/// bus; it starts no service, never prompts and does not poll.
/// Main thread, with an event loop; waits for nobody.
class KeyringWatch final : public QObject
{
    Q_OBJECT

public:
    /// On a bus that is not connected nothing ever comes.
    explicit KeyringWatch(QDBusConnection sessionBus)
        : m_bus(std::move(sessionBus))
        , m_owner(m_bus, kSecretService)
    {
        connect(&m_owner, &desktop::BusNameOwner::changed, this, &KeyringWatch::followOwner);
        // From any sender: Qt would wait for the bus to tell who a name belongs to. And nothing of
        // what the service tells of single items, which name the user's other secrets.
        const char* const slot = SLOT(hear(QDBusMessage));
        const QString any;
        m_bus.connect(any,
                      any,
                      dbus::kPropertiesInterface,
                      QStringLiteral("PropertiesChanged"),
                      {kCollection},
                      {},
                      this,
                      slot);
        m_bus.connect(any, any, kServiceInterface, QStringLiteral("CollectionChanged"), this, slot);
    }

    /// Starts to wait, unless it does, for what hindered `answer` to pass; it may have passed by
    /// now.
    void start(const Answer& answer)
    {
        if (std::exchange(m_isWaiting, true))
            return;
        m_hindrance = answer.state;
        m_keyring = answer.keyring;
        // Later: whoever hears of it may start anew.
        QMetaObject::invokeMethod(this, &KeyringWatch::look, Qt::QueuedConnection);
    }

Q_SIGNALS:
    /// The keyring may be readable now. The watch has stopped.
    void becameReadable();

private:
    Q_SLOT void hear(const QDBusMessage& signal)
    {
        if (!m_isWaiting || signal.service() != m_owner.owner())
            return;
        if (signal.interface() != kServiceInterface) {
            if (signal.signature() == QLatin1StringView("sa{sv}as") &&
                saysUnlocked(signal.arguments()))
                report();
        } else if (signal.signature() == QLatin1StringView("o")) {
            ask(signal.arguments().constFirst().value<QDBusObjectPath>().path());
        }
    }

    void followOwner()
    {
        const bool isNew = std::exchange(m_hasLookedForOwner, true) && !m_owner.owner().isEmpty();
        if (isNew && m_isWaiting)
            report();
        else
            look();
    }

    /// Whether it has passed by now.
    void look()
    {
        if (!m_isWaiting || m_owner.owner().isEmpty())
            return;
        if (m_hindrance == KeyringState::NoService)
            report();
        else if (!m_keyring.isEmpty())
            ask(m_keyring);
    }

    /// Whether the keyring at the object path `keyring` is locked, however long that takes.
    void ask(const QString& keyring)
    {
        QElapsedTimer timer;
        timer.start();
        dbus::ask<QDBusVariant>(
            m_bus,
            dbus::readOf(kSecretService, keyring, kCollection, QStringLiteral("Locked")),
            this,
            [this, timer](const QDBusPendingReply<QDBusVariant>& isLocked) {
                takeAnswer(isLocked, timer.elapsed());
            },
            dbus::kForEver);
    }

    void takeAnswer(const QDBusPendingReply<QDBusVariant>& isLocked, qint64 milliseconds)
    {
        if (!m_isWaiting)
            return;
        if (m_hindrance == KeyringState::Slow) {
            const bool isBelieved = milliseconds >= kSlowMs || !m_lastSlow.isValid() ||
                                    m_lastSlow.hasExpired(kNowAndThenMs);
            if (dbus::isAbsence(isLocked.error()) || !isBelieved)
                return; // the owner of the name is watched, too
            m_lastSlow.start();
            report();
        } else if (m_hindrance == KeyringState::Locked && isLocked.isValid() &&
                   isLocked.value().variant() == QVariant(false)) {
            report();
        }
    }

    void report()
    {
        qCInfo(lcSecrets, "The keyring may be readable now");
        m_isWaiting = false;
        // The last thing done here: whoever hears of it may start anew.
        Q_EMIT becameReadable();
    }

    QDBusConnection m_bus;
    desktop::BusNameOwner m_owner;
    bool m_hasLookedForOwner = false;
    bool m_isWaiting = false;
    KeyringState m_hindrance = KeyringState::Failed;
    QString m_keyring;        // that is locked or slow
    QElapsedTimer m_lastSlow; // since a slow service was last believed to be well
};

/// One question to the keyring, which comes to its answer within its limit, counted from when it
/// was asked for. The answer and the end are two moments: a call that was given up may take a while
/// to let go.
class LibsecretStore::Operation final : public std::enable_shared_from_this<Operation>
{
public:
    Operation(LibsecretStore* store, std::shared_ptr<Question> question, Deliver deliver)
        : m_store(store)
        , m_question(std::move(question))
        , m_deliver(std::move(deliver))
    {
        m_timer.setSingleShot(true);
        m_timer.setTimerType(Qt::PreciseTimer);
        QObject::connect(&m_timer, &QTimer::timeout, &m_timer, [this] { timeIsUp(); });
        m_timer.start(isChange() ? store->m_limits.change : store->m_limits.look);
    }

    [[nodiscard]] const SecretName& name() const { return m_question->name; }

    [[nodiscard]] bool isChange() const
    {
        return m_question->kind == Question::Kind::Save ||
               m_question->kind == Question::Kind::Remove;
    }

    [[nodiscard]] bool isAnswered() const { return m_isAnswered; }

    [[nodiscard]] bool mayBegin() const { return !m_hasBegun && !m_isAnswered; }

    /// Asks, once. Lasts for as long as its calls do.
    static QCoro::Task<> begin(std::shared_ptr<Operation> self)
    {
        self->m_hasBegun = true;
        Answer answer = co_await ask(self->m_question);
        self->answer(std::move(answer));
        self->end();
    }

    /// Answers with `why`, unless it has its answer, and lets go of the call under way.
    void giveUp(KeyringState why)
    {
        if (m_isAnswered)
            return;
        const auto self = shared_from_this(); // whoever gets the answer may drop this
        answer({.state = why,
                .keyring = why == KeyringState::Slow ? QString(kDefaultKeyring) : QString()});
        g_cancellable_cancel(m_question->cancellable.get());
        if (m_hasBegun)
            m_timer.start(kGrace);
        else
            end();
    }

    /// The store goes.
    void leave()
    {
        m_store = nullptr;
        giveUp(KeyringState::Failed);
    }

private:
    void timeIsUp()
    {
        if (m_isAnswered) {
            end();
            return;
        }
        qCWarning(lcSecrets, "The keyring has not answered within the limit");
        giveUp(KeyringState::Slow);
    }

    void answer(Answer answer)
    {
        if (std::exchange(m_isAnswered, true))
            return;
        m_timer.stop();
        m_deliver(std::move(answer)); // whoever gets it may let go of the store
        if (m_store != nullptr && isChange())
            Q_EMIT m_store->changeAnswered(QPrivateSignal());
    }

    /// Nothing of this reaches the keyring any more.
    void end()
    {
        m_timer.stop();
        if (auto* const store = std::exchange(m_store, nullptr))
            store->forget(this);
    }

    LibsecretStore* m_store; // none once it has ended or the store has gone
    std::shared_ptr<Question> m_question;
    Deliver m_deliver;
    QTimer m_timer; // of the limit, and of the grace
    bool m_hasBegun = false;
    bool m_isAnswered = false;
};

LibsecretStore::LibsecretStore(const QDBusConnection& sessionBus, SecretLimits limits)
    : m_limits(limits)
    , m_watch(std::make_unique<KeyringWatch>(sessionBus))
{
    connect(m_watch.get(), &KeyringWatch::becameReadable, this, &SecretStore::becameReadable);
}

// NOLINTNEXTLINE(bugprone-exception-escape): only where there is no memory
LibsecretStore::~LibsecretStore()
{
    m_watch.reset();
    const auto operations = std::exchange(m_operations, {});
    for (const auto& operation : operations)
        operation->leave();
}

template <typename T>
QFuture<T> LibsecretStore::enqueue(std::shared_ptr<Question> question,
                                   std::function<T(Answer)> resultOf)
{
    const auto* const dispatcher = QAbstractEventDispatcher::instance();
    if (dispatcher == nullptr || !dispatcher->inherits("QEventDispatcherGlib"))
        qCWarning(lcSecrets, "The keyring cannot answer: Qt's event loop is not GLib's");
    auto promise = std::make_shared<QPromise<T>>();
    promise->start();
    const auto deliver = [promise, resultOf = std::move(resultOf)](Answer answer) {
        promise->addResult(resultOf(std::move(answer)));
        promise->finish();
    };
    m_operations.push_back(std::make_shared<Operation>(this, std::move(question), deliver));
    beginReady();
    return promise->future();
}

QFuture<std::optional<QByteArray>> LibsecretStore::read(const SecretName& name)
{
    using Secret = std::optional<QByteArray>;
    const auto question = std::make_shared<Question>(Question::Kind::Read, name);
    return enqueue<Secret>(question, [this](Answer answer) {
        const bool mayPass =
            answer.state != KeyringState::Unlocked && answer.state != KeyringState::NoBus;
        if (mayPass && m_watch != nullptr)
            m_watch->start(answer);
        return std::move(answer.secret);
    });
}

QFuture<bool> LibsecretStore::save(const SecretName& name, const QByteArray& secret)
{
    auto question = std::make_shared<Question>(Question::Kind::Save, name);
    question->secret = secret;
    return change(std::move(question));
}

QFuture<bool> LibsecretStore::remove(const SecretName& name)
{
    return change(std::make_shared<Question>(Question::Kind::Remove, name));
}

QFuture<QString> LibsecretStore::keyringState()
{
    const auto question = std::make_shared<Question>(Question::Kind::Look, SecretName());
    return enqueue<QString>(question, [](const Answer& answer) {
        return QString::fromLatin1(kPhrases.at(static_cast<std::size_t>(answer.state)));
    });
}

/// Ends the changes of the same name that are not through, in favour of this one.
QFuture<bool> LibsecretStore::change(std::shared_ptr<Question> question)
{
    const auto operations = m_operations; // they leave the list
    for (const auto& operation : operations) {
        if (operation->name() == question->name && operation->isChange())
            operation->giveUp(KeyringState::Failed);
    }
    return enqueue<bool>(std::move(question), [](const Answer& answer) {
        return answer.state == KeyringState::Unlocked;
    });
}

bool LibsecretStore::finish(std::chrono::milliseconds limit)
{
    QEventLoop loop;
    connect(this, &LibsecretStore::changeAnswered, &loop, [this, &loop] {
        if (!hasPendingChange())
            loop.quit();
    });
    QTimer::singleShot(limit, &loop, &QEventLoop::quit);
    if (hasPendingChange())
        loop.exec();
    return !hasPendingChange();
}

/// Begins every operation that none of the same name is before.
void LibsecretStore::beginReady()
{
    const auto operations = m_operations;
    for (auto i = operations.begin(); i != operations.end(); ++i) {
        const bool isNext = std::none_of(operations.begin(), i, [&i](const auto& before) {
            return before->name() == (*i)->name();
        });
        if (isNext && (*i)->mayBegin())
            Operation::begin(*i);
    }
}

void LibsecretStore::forget(const Operation* operation)
{
    std::erase_if(m_operations, [operation](const auto& one) { return one.get() == operation; });
    beginReady();
}

bool LibsecretStore::hasPendingChange() const
{
    return std::ranges::any_of(m_operations, [](const auto& operation) {
        return operation->isChange() && !operation->isAnswered();
    });
}

} // namespace platform::secrets

#include "libsecret_store.moc"
