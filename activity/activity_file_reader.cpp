// SPDX-FileCopyrightText: 2026 The Velomira Usage Monitor authors
// SPDX-License-Identifier: MIT
#include "activity/activity_file_reader.h"

#include "activity/activity_log_json.h"

#include <QFile>
#include <QFileInfo>

#include <algorithm>
#include <cstring>
#include <span>
#include <string_view>
#include <utility>
#include <vector>

namespace activity {

Q_LOGGING_CATEGORY(lcStore, "velomira.store", QtCriticalMsg)

namespace {

constexpr std::string_view kByteOrderMark = "\xEF\xBB\xBF";

constexpr bool isSpace(char c)
{
    return c == ' ' || c == '\n' || c == '\r' || c == '\t';
}

/// Follows strings and braces through records to the places where one ends.
class RecordScanner final
{
public:
    /// True when `c` closes a record.
    bool take(char c)
    {
        if (m_escaped) {
            m_escaped = false;
        } else if (m_inString) {
            m_escaped = c == '\\';
            m_inString = c != '"';
        } else if (c == '"') {
            m_inString = true;
        } else if (c == '{' || c == '[') {
            ++m_depth;
        } else if ((c == '}' || c == ']') && --m_depth == 0) {
            return true;
        }
        return false;
    }

    /// True between records at what cannot be part of the list of records.
    [[nodiscard]] bool leaves(char c) const
    {
        return m_depth == 0 && c != '{' && c != ',' && !isSpace(c);
    }

private:
    std::size_t m_depth = 0;
    bool m_inString = false;
    bool m_escaped = false;
};

/// A window that moves over the text of a long JSON array and finds where its elements end. It
/// grows only for a single element that is longer than it.
/// One thread at a time; functions that need more text block on the device.
class JsonInput final
{
public:
    /// `device` must be open and outlive this object; `window` is the size to start with.
    JsonInput(QIODevice& device, std::size_t window)
        : m_device(device)
        , m_fewCharacters(window / 2)
        , m_window(window + ActivityDecoder::padding())
    {
    }

    void skipByteOrderMark()
    {
        while (available() < kByteOrderMark.size() && readMore()) {
        }
        if (std::string_view(m_window.data() + m_next, available()).starts_with(kByteOrderMark))
            m_next += kByteOrderMark.size();
    }

    /// The next character that is not white space, without taking it; none at the end.
    [[nodiscard]] std::optional<char> nextToken()
    {
        for (;;) {
            while (m_next < m_end && isSpace(m_window[m_next]))
                ++m_next;
            if (m_next < m_end)
                return m_window[m_next];
            if (!readMore())
                return std::nullopt;
        }
    }

    /// Takes `count` characters that have been looked at.
    void consume(std::size_t count = 1) { m_next += count; }

    /// Where, counted from the next character, the last record that is wholly in the window
    /// probably ends; 0 when there is no likely place. Constant time for ordinary text.
    [[nodiscard]] std::size_t likelyEndOfRecords()
    {
        if (available() < m_fewCharacters)
            readMore();
        const std::string_view text(m_window.data() + m_next, available());
        if (m_atEnd) {
            const std::size_t close = text.find_last_of("}]");
            if (close == std::string_view::npos)
                return 0;
            return text[close] == ']' ? close : close + 1;
        }
        const std::size_t between = text.rfind("},{");
        return between == std::string_view::npos ? 0 : between + 1;
    }

    /// Where the last record that is wholly in the window ends, by looking at every character;
    /// reads on until at least one is. 0 when the text ends before a record does.
    [[nodiscard]] std::size_t endOfRecords()
    {
        RecordScanner scanner;
        std::size_t lastEnd = 0;
        for (std::size_t i = 0;; ++i) {
            while (i >= available()) {
                if (lastEnd > 0 || !readMore())
                    return lastEnd;
            }
            const char c = m_window[m_next + i];
            if (scanner.leaves(c))
                return lastEnd;
            if (scanner.take(c))
                lastEnd = i + 1;
        }
    }

    /// The next `length` characters in square brackets and with room behind them, as a parser wants
    /// them. At least one character must have been taken before. The brackets overwrite the
    /// neighbours until restore(), before which no other function may be called.
    [[nodiscard]] std::span<const char> asArray(std::size_t length)
    {
        char* const before = m_window.data() + m_next - 1;
        char* const behind = before + 1 + length;
        m_before = *before;
        m_behind = *behind;
        m_bracketed = length;
        *before = '[';
        *behind = ']';
        return {before, length + 2};
    }

    void restore()
    {
        m_window[m_next - 1] = m_before;
        m_window[m_next + m_bracketed] = m_behind;
    }

    /// True when the device reported an error.
    [[nodiscard]] bool failed() const { return m_failed; }

private:
    [[nodiscard]] std::size_t available() const { return m_end - m_next; }

    /// Reads more text behind what the window holds; false at the end.
    bool readMore()
    {
        if (m_atEnd)
            return false;
        const std::size_t taken =
            m_next > 0 ? m_next - 1 : 0; // asArray() needs one character in front
        std::memmove(m_window.data(), m_window.data() + taken, m_end - taken);
        m_next -= taken;
        m_end -= taken;
        if (m_end + ActivityDecoder::padding() == m_window.size())
            m_window.resize(2 * m_window.size());
        const std::size_t room = m_window.size() - ActivityDecoder::padding() - m_end;
        const qint64 read = m_device.read(m_window.data() + m_end, static_cast<qint64>(room));
        if (read <= 0) {
            m_atEnd = true;
            m_failed = read < 0;
            return false;
        }
        m_end += static_cast<std::size_t>(read);
        return true;
    }

    QIODevice& m_device;
    std::size_t m_fewCharacters; // available, below which it is time to read on
    std::vector<char> m_window;  // with room for the padding behind m_end
    std::size_t m_next = 0;
    std::size_t m_end = 0;
    bool m_atEnd = false;
    bool m_failed = false;
    char m_before = 0;
    char m_behind = 0;
    std::size_t m_bracketed = 0;
};

/// Takes the array apart into stretches of whole records, so that neither the text nor its parsed
/// form is ever in memory as a whole.
class FileReader final
{
public:
    FileReader(QIODevice& device, TextPool& pool, std::size_t window)
        : m_input(device, window)
        , m_decoder(pool)
    {
    }

    std::optional<ActivityList> read()
    {
        m_input.skipByteOrderMark();
        if (m_input.nextToken() != '[')
            return std::nullopt;
        m_input.consume();
        if (m_input.nextToken() == ']')
            m_input.consume();
        else if (!readRecords())
            return std::nullopt;
        if (m_input.nextToken() || m_input.failed()) // something behind the array
            return std::nullopt;
        return m_list;
    }

private:
    bool readRecords()
    {
        for (;;) {
            if (m_input.nextToken() != '{' || !readStretch())
                return false;
            const std::optional<char> separator = m_input.nextToken();
            if (separator != ',' && separator != ']')
                return false;
            m_input.consume();
            if (separator == ']')
                return true;
        }
    }

    /// Decodes one or more records from the next token on and leaves the separator behind them.
    bool readStretch()
    {
        // A guess that is cheap to make and safe to be wrong: text that ends inside a string or an
        // object is not an array, however it is completed.
        const std::size_t guess = m_input.likelyEndOfRecords();
        if (guess > 0 && decode(guess))
            return true;
        const std::size_t exact = m_input.endOfRecords();
        return exact > 0 && exact != guess && decode(exact);
    }

    bool decode(std::size_t length)
    {
        if (!m_decoder.decodeArray(m_input.asArray(length), m_list)) {
            m_input.restore();
            return false;
        }
        m_input.restore();
        m_input.consume(length);
        return true;
    }

    JsonInput m_input;
    ActivityDecoder m_decoder;
    ActivityList m_list;
};

constexpr qint64 kPiece = 64L * 1024;

std::optional<StoredActivities> read(const QString& path)
{
    QFile file(path);
    // Anything but a regular file is not opened: a pipe would hold the start up.
    if (!QFileInfo(path).isFile() || !file.open(QIODevice::ReadOnly | QIODevice::Unbuffered))
        return std::nullopt;
    StoredActivities stored;
    std::optional<ActivityList> list = readActivityFile(file, stored.pool);
    if (!list)
        return std::nullopt;
    stored.list = std::move(*list);
    return stored;
}

/// True when the file `later` holds what `earlier` does and more at the end of the list. Their
/// times say nothing: after a power cut a file may have the time of a change and lack the change.
bool goesOnFrom(const QString& later, const QString& earlier)
{
    QFile longer(later);
    QFile shorter(earlier);
    if (!longer.open(QIODevice::ReadOnly) || !shorter.open(QIODevice::ReadOnly) ||
        longer.size() <= shorter.size())
        return false;
    for (qint64 left = shorter.size() - 1; left > 0;) { // all but the closing bracket
        const QByteArray piece = shorter.read(std::min(left, kPiece));
        if (piece.isEmpty() || longer.read(piece.size()) != piece)
            return false;
        left -= piece.size();
    }
    return true;
}

} // namespace

std::optional<ActivityList> readActivityFile(QIODevice& device, TextPool& pool, std::size_t window)
{
    return FileReader(device, pool, window).read();
}

StoredActivities readStoredActivities(const QString& path, const platform::AtomicFile& file)
{
    std::optional<StoredActivities> stored = read(path);
    for (const QString& leftover : file.leftovers()) {
        if (stored && !goesOnFrom(leftover, path))
            continue;
        if (auto better = read(leftover)) {
            qCInfo(lcStore) << "going on from a file that an earlier process left beside the list";
            better->isRepaired = true;
            return std::move(*better);
        }
    }
    if (stored)
        return std::move(*stored);
    StoredActivities nothing;
    // A link to where nothing is may lead to a disk that is missing now. Should it come back with a
    // list of its own, that one is kept, not replaced.
    nothing.isUnreadable = QFileInfo::exists(path) || QFileInfo(path).isSymLink();
    if (nothing.isUnreadable)
        qCWarning(lcStore) << "the list on the disk cannot be read; the first save keeps a copy";
    return nothing;
}

} // namespace activity
