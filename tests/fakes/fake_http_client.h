// SPDX-FileCopyrightText: 2026 The Velomira Usage Monitor authors
// SPDX-License-Identifier: MIT
#pragma once

#include "platform/http_client.h"

#include <QPromise>

#include <deque>
#include <memory>
#include <string>

namespace fakes {

/// Keeps the requests, with the bodies that were to be streamed as a whole, and answers them in
/// their order with what the test has queued; a request without a queued outcome waits for
/// answer().
class FakeHttpClient final : public platform::HttpClient
{
public:
    FakeHttpClient() = default;
    FakeHttpClient(const FakeHttpClient&) = delete;
    FakeHttpClient& operator=(const FakeHttpClient&) = delete;

    /// What still waits fails, as with a real client.
    ~FakeHttpClient() override
    {
        while (!m_waiting.empty())
            answer(
                platform::TransferFailure{.text = QStringLiteral("cancelled"), .description = {}});
    }

    [[nodiscard]] QFuture<platform::HttpOutcome> send(const platform::HttpRequest& request) override
    {
        requests.append(request);
        if (request.streamedBody)
            requests.last().body = wholeOf(*request.streamedBody);
        auto promise = std::make_unique<QPromise<platform::HttpOutcome>>();
        promise->start();
        QFuture<platform::HttpOutcome> future = promise->future();
        m_waiting.push_back(std::move(promise));
        pump();
        return future;
    }

    /// Answers the oldest request that waits, or the next one.
    void answer(const platform::HttpOutcome& outcome)
    {
        m_outcomes.push_back(outcome);
        pump();
    }

    [[nodiscard]] std::size_t waiting() const { return m_waiting.size(); }

    QList<platform::HttpRequest> requests;

private:
    static QByteArray wholeOf(const platform::StreamedBody& body)
    {
        const platform::StreamedBody::Parts parts = body.begin();
        std::string whole;
        while (parts(whole)) {
        }
        return QByteArray::fromStdString(whole);
    }

    void pump()
    {
        while (!m_waiting.empty() && !m_outcomes.empty()) {
            m_waiting.front()->addResult(m_outcomes.front());
            m_waiting.front()->finish();
            m_waiting.pop_front();
            m_outcomes.pop_front();
        }
    }

    std::deque<std::unique_ptr<QPromise<platform::HttpOutcome>>> m_waiting;
    std::deque<platform::HttpOutcome> m_outcomes;
};

} // namespace fakes
