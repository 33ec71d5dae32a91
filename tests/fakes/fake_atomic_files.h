// SPDX-FileCopyrightText: 2026 The Velomira Usage Monitor authors
// SPDX-License-Identifier: MIT
#pragma once

#include "platform/atomic_file.h"

#include <QStringList>

#include <functional>
#include <mutex>
#include <optional>
#include <utility>

namespace fakes {

/// A file in memory, with faults on demand. Readable from any thread.
class FakeAtomicFiles final : public platform::AtomicFiles
{
public:
    /// What a step of a replacement answers instead of working; empty for working.
    struct Faults
    {
        QString begin, copy, append, commit, keepDamagedCopy;
        bool sourceChanged = false; // with `copy` or `commit`, once
    };

    [[nodiscard]] std::unique_ptr<platform::AtomicFile> at(const QString& path) override
    {
        return std::make_unique<File>(*this, path);
    }

    void makePrivateFolder(const QString& path) override { folders.append(path); }

    [[nodiscard]] QByteArray content() const { return locked(m_content); }

    [[nodiscard]] int commits() const { return locked(m_commits); }

    [[nodiscard]] int damagedCopies() const { return locked(m_damagedCopies); }

    [[nodiscard]] qint64 bytesCopied() const { return locked(m_bytesCopied); }

    [[nodiscard]] qint64 bytesAppended() const { return locked(m_bytesAppended); }

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
        ++m_version;
    }

    /// Whether a commit keeps what it replaces, as not every file system lets us.
    bool keepsPrevious = false;
    /// Called on the saving thread before each commit.
    std::function<void()> beforeCommit;
    QStringList folders;

private:
    class Replacement final : public platform::FileReplacement
    {
    public:
        explicit Replacement(FakeAtomicFiles& files, QByteArray content = {})
            : m_files(files)
            , m_content(std::move(content))
        {
        }

        [[nodiscard]] bool shareFromCurrent(const platform::FileIdentity&, std::int64_t) override
        {
            return false;
        }

        [[nodiscard]] platform::Outcome copyFromCurrent(const platform::FileIdentity& expected,
                                                        std::int64_t offset,
                                                        std::int64_t bytes) override
        {
            const std::scoped_lock lock(m_files.m_mutex);
            if (auto failed = fault(m_files.m_faults.copy))
                return *failed;
            if (m_files.identity() != expected) {
                m_sourceChanged = true;
                return platform::Error{QStringLiteral("changed")};
            }
            m_content += m_files.m_content.mid(offset, bytes);
            m_files.m_bytesCopied += bytes;
            return platform::success();
        }

        [[nodiscard]] bool sourceChanged() const override { return m_sourceChanged; }

        [[nodiscard]] platform::Outcome append(std::string_view content) override
        {
            const std::scoped_lock lock(m_files.m_mutex);
            if (auto failed = fault(m_files.m_faults.append))
                return *failed;
            m_content.append(content.data(), static_cast<qsizetype>(content.size()));
            m_files.m_bytesAppended += static_cast<qint64>(content.size());
            return platform::success();
        }

        [[nodiscard]] platform::Result<platform::FileIdentity>
        commit(const std::optional<platform::FileIdentity>& expected) override
        {
            if (m_files.beforeCommit)
                m_files.beforeCommit();
            const std::scoped_lock lock(m_files.m_mutex);
            if (auto failed = fault(m_files.m_faults.commit))
                return *failed;
            m_files.m_previous.reset();
            if (m_files.keepsPrevious && m_files.identity() == expected)
                m_files.m_previous = m_files.m_content;
            m_files.m_content = m_content;
            ++m_files.m_version;
            ++m_files.m_commits;
            return m_files.identity();
        }

    private:
        std::optional<platform::Error> fault(const QString& text)
        {
            if (text.isEmpty())
                return std::nullopt;
            const platform::Error error{text};
            if (std::exchange(m_files.m_faults.sourceChanged, false)) {
                m_sourceChanged = true;
                m_files.m_faults = {};
            }
            return error;
        }

        FakeAtomicFiles& m_files;
        QByteArray m_content;
        bool m_sourceChanged = false;
    };

    class File final : public platform::AtomicFile
    {
    public:
        File(FakeAtomicFiles& files, QString path)
            : m_files(files)
            , m_path(std::move(path))
        {
        }

        [[nodiscard]] QString path() const override { return m_path; }

        [[nodiscard]] platform::Result<std::unique_ptr<platform::FileReplacement>>
        beginReplacement() override
        {
            const std::scoped_lock lock(m_files.m_mutex);
            if (!m_files.m_faults.begin.isEmpty())
                return platform::Error{m_files.m_faults.begin};
            return std::unique_ptr<platform::FileReplacement>(new Replacement(m_files));
        }

        [[nodiscard]] std::unique_ptr<platform::FileReplacement>
        recyclePrevious(std::int64_t bytes) override
        {
            const std::scoped_lock lock(m_files.m_mutex);
            const auto previous = std::exchange(m_files.m_previous, std::nullopt);
            if (!previous)
                return nullptr;
            return std::make_unique<Replacement>(m_files, previous->first(bytes));
        }

        void discardPrevious() override
        {
            const std::scoped_lock lock(m_files.m_mutex);
            m_files.m_previous.reset();
        }

        [[nodiscard]] platform::Outcome keepDamagedCopy() override
        {
            const std::scoped_lock lock(m_files.m_mutex);
            if (!m_files.m_faults.keepDamagedCopy.isEmpty())
                return platform::Error{m_files.m_faults.keepDamagedCopy};
            ++m_files.m_damagedCopies;
            return platform::success();
        }

        void removeLeftovers() override {}

    private:
        FakeAtomicFiles& m_files;
        QString m_path;
    };

    template <typename T> T locked(const T& value) const
    {
        const std::scoped_lock lock(m_mutex);
        return value;
    }

    [[nodiscard]] platform::FileIdentity identity() const
    {
        return {.device = 1, .inode = m_version, .bytes = m_content.size()};
    }

    mutable std::mutex m_mutex;
    QByteArray m_content;
    std::optional<QByteArray> m_previous;
    quint64 m_version = 0;
    int m_commits = 0;
    int m_damagedCopies = 0;
    qint64 m_bytesCopied = 0;
    qint64 m_bytesAppended = 0;
    Faults m_faults;
};

} // namespace fakes
