// SPDX-FileCopyrightText: 2026 The Velomira Usage Monitor authors
// SPDX-License-Identifier: MIT
#include "backends/qt/settings_file_defaults.h"

#include "backends/posix/file_descriptor.h"
#include "backends/posix/posix_atomic_file.h"
#include "base/mailbox.h"

#include <QFile>
#include <QFileInfo>
#include <QLoggingCategory>
#include <QRunnable>
#include <QSettings>
#include <QStringDecoder>

#include <algorithm>
#include <atomic>
#include <fcntl.h>
#include <sys/stat.h>
#include <utility>

namespace platform::qt {

namespace {

// For developers; off by default. No value is named.
Q_LOGGING_CATEGORY(lcSettings, "velomira.settings", QtCriticalMsg)

constexpr int kPatienceAtTheEndMs = 2000;
constexpr int kThreadExpiryMs = 5000;
constexpr mode_t kOwnerOnly = S_IRUSR | S_IWUSR;

/// Whether what is behind the "=" ends where the line does: in no quotes, and not continued.
bool endsOnItsLine(QByteArrayView value)
{
    bool isQuoted = false;
    bool isEscaped = false;
    for (const char c : value) {
        if (c == '"' && !isEscaped)
            isQuoted = !isQuoted;
        isEscaped = c == '\\' && !isEscaped;
    }
    return !isQuoted && !isEscaped;
}

bool isIniLine(QByteArrayView line)
{
    if (line.isEmpty() || line.startsWith(';') || line.startsWith('#'))
        return true;
    if (line.startsWith('['))
        return line.endsWith(']');
    const qsizetype equals = line.indexOf('=');
    return equals > 0 && endsOnItsLine(line.sliced(equals + 1));
}

/// Whether `text` is an INI file as QSettings writes it or a person might: UTF-8 without control
/// characters, in lines of which each is empty, a comment (";" or "#"), a section in brackets or a
/// name, "=" and a value that ends on its line. QSettings itself reads something out of any bytes.
bool isIniText(QByteArray text)
{
    const auto isControl = [](char c) {
        return static_cast<unsigned char>(c) < 0x20 && c != '\t' && c != '\r' && c != '\n';
    };
    if (!text.isValidUtf8() || std::ranges::any_of(text, isControl))
        return false;
    if (text.startsWith("\xEF\xBB\xBF"))
        text.remove(0, 3);
    const QByteArrayList lines = text.replace('\r', '\n').split('\n');
    return std::ranges::all_of(
        lines, [](const QByteArray& line) { return isIniLine(QByteArrayView(line).trimmed()); });
}

/// Whether the INI file at `path` can be read, or is not there yet.
bool isLegible(const QString& path)
{
    const QFileInfo info(path);
    if (!info.exists())
        return !info.isSymLink(); // one that leads nowhere cannot be written through either
    // Anything but a regular file is not opened: a pipe would hold whoever does.
    QFile file(path);
    return info.isFile() && file.open(QIODevice::ReadOnly) && isIniText(file.readAll());
}

/// `text` as something that QSettings keeps without loss. It drops U+FEFF wherever it takes up a
/// text anew, so one that has any is kept as its UTF-8 bytes.
QVariant toSetting(const QString& text)
{
    if (text.contains(QChar(0xFEFF)))
        return text.toUtf8();
    return text.isNull() ? QLatin1String("") : text; // a null text would be no value
}

/// The text behind what QSettings has read; none for lists and whatever else is not one text.
std::optional<QString> fromSetting(const QVariant& setting)
{
    if (setting.typeId() == QMetaType::QString)
        return setting.toString();
    if (setting.typeId() != QMetaType::QByteArray)
        return std::nullopt;
    QStringDecoder decoder(QStringDecoder::Utf8, QStringDecoder::Flag::ConvertInitialBom);
    const QString text = decoder(setting.toByteArray());
    return decoder.hasError() ? std::nullopt : std::optional(text);
}

QMap<QString, QString> readSettings(const QString& path)
{
    QMap<QString, QString> values;
    if (!isLegible(path)) {
        qCWarning(lcSettings,
                  "Settings count as empty: %ls is damaged",
                  qUtf16Printable(QFileInfo(path).fileName()));
        return values;
    }
    const QSettings file(path, QSettings::IniFormat);
    const QStringList keys = file.allKeys();
    for (const QString& key : keys) {
        if (const std::optional<QString> text = fromSetting(file.value(key)))
            values.insert(key, *text);
    }
    return values;
}

/// QSettings leaves the mode of a file that exists as it is, and opens a new one to everybody.
void makePrivateFile(const QString& path)
{
    const QByteArray name = QFile::encodeName(path);
    const posix::FileDescriptor created(
        ::open(name.constData(), O_WRONLY | O_CREAT | O_EXCL | O_CLOEXEC, kOwnerOnly));
    if (!created.isOpen())
        ::chmod(name.constData(), kOwnerOnly);
}

} // namespace

/// Writes settings in the background: those that this process has touched, into what the file holds
/// by then. QSettings replaces the file whole, under a lock that other processes heed. One that is
/// not legible is first kept aside, and everything is written then.
/// It is run by a pool, one run after the other; submit() and hasSaved() are for any thread.
class SettingsFileDefaults::Writer final : public QRunnable
{
public:
    explicit Writer(QString path)
        : m_path(std::move(path))
    {
        setAutoDelete(false);
    }

    /// Leaves `state` for the next run, in place of what waits. True when none is on its way, so
    /// that one is to be started. Never blocks.
    [[nodiscard]] bool submit(State state) { return m_inbox.put(std::move(state)); }

    /// Writes what waits, if anything. May block on the disk, and for as long as another process
    /// holds the file's lock.
    void run() override
    {
        const std::optional<State> state = m_inbox.take();
        if (!state)
            return;
        const bool isSaved = write(*state);
        m_hasSaved.store(isSaved, std::memory_order_release);
        if (!isSaved && !std::exchange(m_hasWarned, true))
            qCWarning(lcSettings,
                      "Settings last only until the end: %ls cannot be written",
                      qUtf16Printable(m_path));
    }

    /// Whether everything that was run for has reached the disk.
    [[nodiscard]] bool hasSaved() const { return m_hasSaved.load(std::memory_order_acquire); }

private:
    [[nodiscard]] bool write(const State& state) const
    {
        posix::PosixAtomicFiles().makePrivateFolder(QFileInfo(m_path).path());
        QSet<QString> keys = state.touched;
        if (!isLegible(m_path)) {
            if (!posix::PosixAtomicFile(m_path).moveDamagedAside())
                return false;
            keys += QSet(state.values.keyBegin(), state.values.keyEnd());
        }
        makePrivateFile(m_path);
        QSettings file(m_path, QSettings::IniFormat);
        for (const QString& key : std::as_const(keys)) {
            if (const auto found = state.values.constFind(key); found != state.values.cend())
                file.setValue(key, toSetting(*found));
            else
                file.remove(key);
        }
        file.sync();
        return file.status() == QSettings::NoError;
    }

    QString m_path;
    Mailbox<State> m_inbox;
    std::atomic<bool> m_hasSaved = true;
    bool m_hasWarned = false; // of the runs, which follow each other
};

SettingsFileDefaults::SettingsFileDefaults(const QString& filePath)
{
    if (filePath.isEmpty())
        return;
    m_state.values = readSettings(filePath);
    m_writer = std::make_unique<Writer>(filePath);
    m_thread = std::make_unique<QThreadPool>();
    m_thread->setMaxThreadCount(1);
    m_thread->setExpiryTimeout(kThreadExpiryMs);
}

SettingsFileDefaults::~SettingsFileDefaults()
{
    if (m_thread != nullptr && !m_thread->waitForDone(kPatienceAtTheEndMs)) {
        // The thread still uses them, and nothing ends it sooner than the process.
        [[maybe_unused]] const auto* const writer = m_writer.release();
        [[maybe_unused]] const auto* const thread = m_thread.release();
    }
}

std::optional<QString> SettingsFileDefaults::string(const QString& key) const
{
    const auto found = m_state.values.constFind(key);
    return found == m_state.values.cend() ? std::nullopt : std::optional(*found);
}

void SettingsFileDefaults::setString(const QString& key, const QString& value)
{
    m_state.values.insert(key, value.isValidUtf16() ? value : QString::fromUtf8(value.toUtf8()));
    writeBack(key);
}

void SettingsFileDefaults::remove(const QString& key)
{
    m_state.values.remove(key);
    writeBack(key);
}

bool SettingsFileDefaults::finish(std::chrono::milliseconds limit)
{
    return m_thread == nullptr ||
           (m_thread->waitForDone(static_cast<int>(limit.count())) && m_writer->hasSaved());
}

void SettingsFileDefaults::writeBack(const QString& key)
{
    if (m_writer == nullptr)
        return;
    m_state.touched.insert(key);
    if (m_writer->submit(m_state))
        m_thread->start(m_writer.get());
}

} // namespace platform::qt
