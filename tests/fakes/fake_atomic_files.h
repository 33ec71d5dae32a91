// SPDX-FileCopyrightText: 2026 The Velomira Usage Monitor authors
// SPDX-License-Identifier: MIT
#pragma once

#include "platform/atomic_file.h"

#include <QByteArray>
#include <QStringList>

#include <algorithm>
#include <array>
#include <functional>
#include <mutex>
#include <optional>
#include <utility>

namespace fakes {

/// A file in memory, with faults on demand. Readable from any thread.
class FakeAtomicFiles final : public platform::AtomicFiles
{
public:
    /// What a step answers instead of working; empty for working.
    struct Faults
    {
        QString begin = QString();
        QString write = QString();
        QString commit = QString();
        QString flush = QString();
        QString keepDamagedCopy = QString();
        bool copy = false;
        bool changesWhileCopied = false;
    };

    [[nodiscard]] std::unique_ptr<platform::AtomicFile> at(const QString& path) override
    {
        return std::make_unique<File>(*this, path);
    }

    void makePrivateFolder(const QString& path) override { folders.append(path); }

    [[nodiscard]] QByteArray content() const { return locked(m_content); }

    [[nodiscard]] int commits() const { return locked(m_commits); }

    [[nodiscard]] int flushes() const { return locked(m_flushes); }

    /// What the last flush has left on the disk.
    [[nodiscard]] QByteArray flushedContent() const { return locked(m_flushed); }

    [[nodiscard]] int damagedCopies() const { return locked(m_damagedCopies); }

    [[nodiscard]] int discards() const { return locked(m_discards); }

    [[nodiscard]] int tidyings() const { return locked(m_tidyings); }

    [[nodiscard]] qint64 bytesCopied() const { return locked(m_bytesCopied); }

    [[nodiscard]] qint64 bytesWritten() const { return locked(m_bytesWritten); }

    void setFaults(const Faults& faults)
    {
        const std::scoped_lock lock(m_mutex);
        m_faults = faults;
    }

    /// Changes the file as another program would.
    void changeFromOutside(const QByteArray& content)
    {
        const std::scoped_lock lock(m_mutex);
        m_content = content;
        m_isTouched = true;
    }

    /// How many files take turns; with one, nothing is kept to be written again.
    int files = 1;
    /// Called on the saving thread before each commit.
    std::function<void()> beforeCommit;
    QStringList folders;

private:
    class File final : public platform::AtomicFile
    {
    public:
        File(FakeAtomicFiles& files, QString path)
            : m_files(files)
            , m_path(std::move(path))
        {
        }

        [[nodiscard]] QString path() const override { return m_path; }

        [[nodiscard]] QStringList leftovers() const override { return {}; }

        void removeLeftovers() override
        {
            const std::scoped_lock lock(m_files.m_mutex);
            ++m_files.m_tidyings;
        }

        [[nodiscard]] platform::Result<Draft> begin(bool) override
        {
            const std::scoped_lock lock(m_files.m_mutex);
            if (!m_files.m_faults.begin.isEmpty())
                return platform::Error{m_files.m_faults.begin};
            m_draft = (m_draft + 1) % std::max(m_files.files, 2);
            if (m_files.files == 1)
                m_turns.at(m_draft).clear();
            m_isDrafted = true;
            return Draft{.file = m_draft, .bytes = m_turns.at(m_draft).size()};
        }

        [[nodiscard]] platform::Outcome write(std::int64_t offset,
                                              std::string_view content) override
        {
            const std::scoped_lock lock(m_files.m_mutex);
            if (!m_files.m_faults.write.isEmpty())
                return platform::Error{m_files.m_faults.write};
            m_turns.at(m_draft).replace(
                offset, content.size(), QByteArray(content.data(), content.size()));
            m_files.m_bytesWritten += static_cast<qint64>(content.size());
            return platform::success();
        }

        [[nodiscard]] platform::Outcome copyFromCurrent(std::int64_t offset,
                                                        std::int64_t bytes) override
        {
            const std::scoped_lock lock(m_files.m_mutex);
            if (m_files.m_faults.copy)
                return platform::Error{QStringLiteral("cannot copy")};
            if (m_files.m_faults.changesWhileCopied)
                m_files.m_isTouched = true;
            m_turns.at(m_draft).replace(offset, bytes, m_files.m_content.mid(offset, bytes));
            m_files.m_bytesCopied += bytes;
            return platform::success();
        }

        [[nodiscard]] bool isCurrentUntouched() const override
        {
            return !m_files.locked(m_files.m_isTouched);
        }

        [[nodiscard]] platform::Outcome commit(std::int64_t bytes) override
        {
            if (m_files.beforeCommit)
                m_files.beforeCommit();
            const std::scoped_lock lock(m_files.m_mutex);
            if (!m_files.m_faults.commit.isEmpty())
                return platform::Error{m_files.m_faults.commit};
            m_turns.at(m_draft).truncate(bytes);
            m_files.m_content = m_turns.at(m_draft);
            m_files.m_isTouched = false;
            m_isDrafted = false;
            ++m_files.m_commits;
            return platform::success();
        }

        void abandon() override
        {
            if (std::exchange(m_isDrafted, false))
                m_turns.at(m_draft).clear();
        }

        [[nodiscard]] platform::Outcome flush() override
        {
            const std::scoped_lock lock(m_files.m_mutex);
            if (!m_files.m_faults.flush.isEmpty())
                return platform::Error{m_files.m_faults.flush};
            m_files.m_flushed = m_files.m_content;
            ++m_files.m_flushes;
            return platform::success();
        }

        void discardOthers() override
        {
            const std::scoped_lock lock(m_files.m_mutex);
            ++m_files.m_discards;
        }

        [[nodiscard]] platform::Outcome keepDamagedCopy() override
        {
            const std::scoped_lock lock(m_files.m_mutex);
            if (!m_files.m_faults.keepDamagedCopy.isEmpty())
                return platform::Error{m_files.m_faults.keepDamagedCopy};
            ++m_files.m_damagedCopies;
            return platform::success();
        }

    private:
        FakeAtomicFiles& m_files;
        QString m_path;
        std::array<QByteArray, kFiles> m_turns;
        int m_draft = -1;
        bool m_isDrafted = false;
    };

    template <typename T> T locked(const T& value) const
    {
        const std::scoped_lock lock(m_mutex);
        return value;
    }

    mutable std::mutex m_mutex;
    QByteArray m_content;
    QByteArray m_flushed;
    bool m_isTouched = false;
    int m_commits = 0;
    int m_flushes = 0;
    int m_damagedCopies = 0;
    int m_tidyings = 0;
    int m_discards = 0;
    qint64 m_bytesCopied = 0;
    qint64 m_bytesWritten = 0;
    Faults m_faults;
};

} // namespace fakes
