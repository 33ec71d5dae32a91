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
    startReading();
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

void ApplicationNames::startReading()
{
    if (m_reader.joinable())
        m_reader.join(); // it has delivered
    std::packaged_task<IndexPointer()> task(
        [folders = m_folders] { return std::make_unique<const DesktopEntryIndex>(folders); });
    m_reading = task.get_future();
    m_reader = std::thread(std::move(task));
}

void ApplicationNames::keepUpToDate()
{
    if (m_reading.valid()) {
        if (m_index && m_reading.wait_for(std::chrono::seconds(0)) != std::future_status::ready)
            return;
        m_index = m_reading.get();
        m_answers.clear();
        m_checkedAt = Clock::now();
        return;
    }
    if (Clock::now() - m_checkedAt < m_options.checkInterval)
        return;
    m_checkedAt = Clock::now();
    if (!m_index->isUpToDate())
        startReading();
}

} // namespace platform::xdg
