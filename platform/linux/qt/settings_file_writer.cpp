// SPDX-FileCopyrightText: 2026 The Velomira Usage Monitor authors
// SPDX-License-Identifier: MIT
#include "platform/linux/qt/settings_file_writer.h"

#include "platform/linux/posix/file_descriptor.h"
#include "platform/linux/posix/posix_atomic_file.h"
#include "platform/linux/qt/settings_file.h"

#include <QFile>
#include <QFileInfo>
#include <QLoggingCategory>
#include <QSettings>

#include <fcntl.h>
#include <sys/stat.h>
#include <utility>

namespace platform::qt {

namespace {

Q_LOGGING_CATEGORY(lcSettings, "velomira.settings", QtCriticalMsg)

constexpr mode_t kOwnerOnly = S_IRUSR | S_IWUSR;

/// QSettings leaves the mode of a file that exists as it is, and opens a new one to everybody.
void makePrivateFile(const QString& path)
{
    const QByteArray name = QFile::encodeName(path);
    const posix::FileDescriptor created(
        ::open(name.constData(), O_WRONLY | O_CREAT | O_EXCL | O_CLOEXEC, kOwnerOnly));
    if (!created.isOpen())
        ::chmod(name.constData(), kOwnerOnly);
}

void put(QSettings& file, const QString& key, const SettingsState& state)
{
    const auto found = state.values.constFind(key);
    if (found == state.values.cend())
        file.remove(key);
    else
        file.setValue(key, toSetting(*found));
}

} // namespace

SettingsFileWriter::SettingsFileWriter(QString path)
    : m_path(std::move(path))
{
    setAutoDelete(false);
}

bool SettingsFileWriter::submit(SettingsState state)
{
    return m_inbox.put(std::move(state));
}

void SettingsFileWriter::run()
{
    if (const std::optional<SettingsState> state = m_inbox.take()) {
        const bool isSaved = write(*state);
        m_hasSaved.store(isSaved, std::memory_order_release);
        if (!isSaved)
            warnOnce();
    }
}

bool SettingsFileWriter::write(const SettingsState& state) const
{
    posix::PosixAtomicFiles().makePrivateFolder(QFileInfo(m_path).path());
    QSet<QString> keys = state.touched;
    if (!isLegibleSettingsFile(m_path)) {
        if (!posix::PosixAtomicFile(m_path).moveDamagedAside())
            return false;
        keys += QSet(state.values.keyBegin(), state.values.keyEnd());
    }
    makePrivateFile(m_path);
    QSettings file(m_path, QSettings::IniFormat);
    for (const QString& key : std::as_const(keys))
        put(file, key, state);
    file.sync();
    return file.status() == QSettings::NoError;
}

void SettingsFileWriter::warnOnce()
{
    if (!m_hasWarned.exchange(true, std::memory_order_acq_rel))
        qCWarning(lcSettings,
                  "Settings last only until the end: %ls cannot be written",
                  qUtf16Printable(m_path));
}

} // namespace platform::qt
