// SPDX-FileCopyrightText: 2026 The Velomira Usage Monitor authors
// SPDX-License-Identifier: MIT
#include "service/database/database_lane.h"

#include <utility>

namespace service {

DatabaseLane::DatabaseLane(DatabaseAddress address,
                           DatabaseSession::Purpose purpose,
                           int threads,
                           WriteTurns* turns)
    : m_address(std::move(address))
    , m_purpose(purpose)
    , m_turns(turns)
{
    for (int i = 0; i < threads; ++i)
        m_threads.emplace_back([this] { serve(); });
}

DatabaseLane::~DatabaseLane()
{
    {
        const std::lock_guard lock(m_mutex);
        m_ending = true;
        std::erase_if(m_items, [](const auto& item) { return item->mayBeDropped; });
    }
    m_wake.notify_all();
    m_threads.clear();
}

void DatabaseLane::perform(Work work)
{
    const auto item = std::make_shared<Item>(std::move(work));
    std::unique_lock lock(m_mutex);
    m_items.push_back(item);
    m_wake.notify_one();
    item->ended.wait(lock, [&] { return item->done; });
}

bool DatabaseLane::post(std::function<bool(DatabaseSession&)> job)
{
    {
        const std::lock_guard lock(m_mutex);
        if (m_items.size() >= kMostWaitingForAPost)
            return false;
        m_items.push_back(std::make_shared<Item>(
            [job = std::move(job)](DatabaseSession* session, const std::string&) {
                return session != nullptr && job(*session);
            },
            true));
    }
    m_wake.notify_one();
    return true;
}

DatabaseLane::Figures DatabaseLane::figures() const
{
    const std::lock_guard lock(m_mutex);
    Figures figures = m_figures;
    figures.waiting = m_items.size();
    return figures;
}

void DatabaseLane::serve()
{
    std::unique_ptr<DatabaseSession> session;
    unsigned failuresSeen = 0;
    std::unique_lock lock(m_mutex);
    for (;;) {
        m_wake.wait(lock, [&] { return !m_items.empty() || m_ending; });
        if (m_items.empty())
            return;
        const std::shared_ptr<Item> item = m_items.front();
        m_items.pop_front();
        // A server that restarted has ended the other threads' connections as well.
        if (std::exchange(failuresSeen, m_failures) != m_failures)
            session.reset();
        lock.unlock();
        std::unique_lock<WriteTurns> turn;
        if (m_turns != nullptr)
            turn = std::unique_lock(*m_turns);
        const Clock::time_point begin = Clock::now();
        const bool usable = attempt(session, item->work);
        if (turn)
            turn.unlock();
        lock.lock();
        m_figures.waited += begin - item->given;
        m_figures.worked += Clock::now() - begin;
        ++m_figures.jobs;
        if (!usable) {
            ++m_figures.failures;
            session.reset();
            failuresSeen = ++m_failures;
        }
        item->done = true;
        item->ended.notify_one();
    }
}

/// Whatever happens: who waits for the work has to be told that it has ended.
bool DatabaseLane::attempt(std::unique_ptr<DatabaseSession>& session, const Work& work) const
{
    try {
        if (session == nullptr) {
            auto opened = DatabaseSession::open(m_address, m_purpose);
            if (!opened)
                return work(nullptr, opened.error().text);
            session = std::move(opened).value();
        }
        return work(session.get(), {});
    } catch (
        ...) { // without memory, or of what nobody waits for; another session knows nothing of it
        return false;
    }
}

} // namespace service
