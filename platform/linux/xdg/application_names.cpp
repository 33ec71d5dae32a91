// SPDX-FileCopyrightText: 2026 The Velomira Usage Monitor authors
// SPDX-License-Identifier: MIT
#include "platform/linux/xdg/application_names.h"

namespace platform::xdg {

namespace {
/// More windows than people switch between.
constexpr int kRememberedAnswers = 64;
} // namespace

ApplicationNames::ApplicationNames(QStringList folders)
    : ApplicationNames(std::move(folders), Options())
{
}

ApplicationNames::ApplicationNames(QStringList folders, Options options)
    : m_folders(std::move(folders))
    , m_options(std::move(options))
    , m_answers(kRememberedAnswers)
{
    startReading(false);
}

ApplicationNames::~ApplicationNames()
{
    m_reader.join();
}

ApplicationIdentity ApplicationNames::identify(const QStringList& identifiers, std::int32_t pid)
{
    keepUpToDate();
    const Question question(identifiers, pid);
    if (const ApplicationIdentity* known = m_answers.object(question))
        return *known;
    const ApplicationIdentity identity =
        matchApplication(identifiers, readProcessFacts(pid, m_options.procFolder), *m_index);
    m_answers.insert(question, std::make_unique<ApplicationIdentity>(identity).release());
    return identity;
}

int ApplicationNames::edition()
{
    keepUpToDate();
    return m_edition;
}

void ApplicationNames::startReading(bool onlyIfChanged)
{
    if (m_reader.joinable())
        m_reader.join(); // it has delivered
    std::packaged_task<IndexPointer()> task(
        [this, before = onlyIfChanged ? m_index.get() : nullptr]() -> IndexPointer {
            if (before != nullptr && before->isUpToDate())
                return nullptr;
            return std::make_unique<const DesktopEntryIndex>(m_folders, &m_watch);
        });
    m_reading = task.get_future();
    m_reader = std::thread(std::move(task));
}

void ApplicationNames::keepUpToDate()
{
    if (m_reading.valid()) {
        if (m_index && m_reading.wait_for(std::chrono::seconds(0)) != std::future_status::ready)
            return;
        if (IndexPointer index = m_reading.get()) {
            m_index = std::move(index);
            m_answers.clear();
            ++m_edition;
        }
        m_checkedAt = Clock::now();
        m_lookedAt = m_checkedAt;
        return;
    }
    const Clock::time_point now = Clock::now();
    if (now - m_checkedAt < m_options.checkInterval)
        return;
    m_checkedAt = now;
    if (m_watch.hasChanged())
        startReading(false);
    else if (!m_watch.isComplete() || now - m_lookedAt >= m_options.lookInterval)
        startReading(true);
}

} // namespace platform::xdg
