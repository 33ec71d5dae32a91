// SPDX-FileCopyrightText: 2026 The Velomira Usage Monitor authors
// SPDX-License-Identifier: MIT
#include "backends/keyring/libsecret_store.h"

#include "backends/keyring/keyring.h"
#include "backends/keyring/keyring_watch.h"

#include <QAbstractEventDispatcher>
#include <QEventLoop>
#include <QPromise>
#include <QTimer>

#include <algorithm>
#include <array>
#include <cstddef>
#include <utility>

namespace platform::secrets {

namespace {

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
        answer({.state = why, .keyring = why == KeyringState::Slow ? kDefaultKeyring : ""});
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

LibsecretStore::LibsecretStore(SecretLimits limits)
    : m_limits(limits)
    , m_watch(std::make_unique<KeyringWatch>())
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
