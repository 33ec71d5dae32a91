// SPDX-FileCopyrightText: 2026 The Velomira Usage Monitor authors
// SPDX-License-Identifier: MIT
#include "service/upload.h"

#include "base/iso8601.h"

#include <algorithm>
#include <utility>

namespace service {

namespace {

constexpr std::size_t kLongestDeviceId = 128; // characters
constexpr std::size_t kLongestAppName = 1024;
constexpr std::size_t kLongestText = 16384;
constexpr std::size_t kLongestTime = 64;
// A portion is bounded in both, as long titles are rare.
constexpr std::size_t kRowsOfAPortion = 2000;
constexpr std::size_t kBytesOfAPortion = 2UL << 20U;
// As much as nearly every upload comes to is kept from the first pass, since many wait for their
// turn at a time.
constexpr std::size_t kBytesToKeep = 256UL << 10U;

using Kind = JsonStream::Kind;

constexpr std::string_view kNoText = "is missing or not a string";
constexpr std::string_view kNoNumber = "is missing or not a whole number of 64 bits";
constexpr std::string_view kNoTime = "is missing or not a time such as 2026-11-21T09:30:00Z";

/// One member that is looked for: of one that stands twice the first counts.
class Member final
{
public:
    explicit Member(std::string_view key)
        : m_key(key)
    {
    }

    /// Whether the member `key` is this one, for the first time.
    [[nodiscard]] bool isFirst(std::string_view key)
    {
        return key == m_key && !std::exchange(m_seen, true);
    }

    [[nodiscard]] bool readString(JsonStream& json, std::string* text, std::size_t most)
    {
        m_valid = json.next() == Kind::String;
        if (m_valid)
            m_characters = json.readString(text, most);
        else
            json.skip();
        return m_valid;
    }

    /// Null counts as if it were not there.
    [[nodiscard]] bool readOptional(JsonStream& json, std::string* text, std::size_t most)
    {
        const bool isNull = json.next() == Kind::Null;
        const bool isText = readString(json, text, most);
        m_valid = isNull || isText;
        return isText;
    }

    void readInteger(JsonStream& json, std::int64_t& number)
    {
        std::optional<std::int64_t> read;
        if (json.next() == Kind::Number)
            read = json.readInteger();
        else
            json.skip();
        m_valid = read.has_value();
        number = read.value_or(0);
    }

    /// `text` is overwritten.
    void readTime(JsonStream& json, std::int64_t& seconds, std::string& text)
    {
        const bool isText = readString(json, &text, kLongestTime);
        const auto read = isText && m_characters == text.size() ? platform::secondsFromUtcText(text)
                                                                : std::nullopt;
        m_valid = read.has_value();
        seconds = read.value_or(0);
    }

    void invalidate() { m_valid = false; }

    void validate() { m_valid = true; }

    /// What is wrong with it, if nothing was before; `path` stands in front of its key.
    void blame(std::optional<Fault>& fault, const std::string& path, std::string_view what) const
    {
        if (isRight() || fault)
            return;
        const std::string member = path + std::string(m_key);
        fault = Fault{.status = 422,
                      .message = member + ' ' + std::string(what),
                      .members = {{.member = member, .text = std::string(what)}}};
    }

    void mayLack() { m_mayLack = true; }

    [[nodiscard]] bool isRight() const { return m_seen ? m_valid : m_mayLack; }

    [[nodiscard]] std::size_t characters() const { return m_characters; }

private:
    std::string_view m_key;
    std::size_t m_characters = 0;
    bool m_seen = false;
    bool m_valid = false;
    bool m_mayLack = false;
};

/// The members of a row.
struct RowMembers
{
    Member name{"app_name"};
    Member title{"window_title"};
    Member url{"url"};
    Member duration{"duration_seconds"};
    Member start{"start_time"};

    RowMembers()
    {
        title.mayLack();
        url.mayLack();
    }

    /// What is wrong with the row of that number.
    [[nodiscard]] std::optional<Fault> faultOf(std::size_t number) const
    {
        std::optional<Fault> fault;
        const bool isRight = name.isRight() && title.isRight() && url.isRight() &&
                             duration.isRight() && start.isRight();
        if (isRight)
            return fault;
        const std::string path = pathOf(number) + '.';
        name.blame(fault, path, kNoText);
        title.blame(fault, path, "is not a string");
        url.blame(fault, path, "is not a string");
        duration.blame(fault, path, kNoNumber);
        start.blame(fault, path, kNoTime);
        return fault;
    }

    static std::string pathOf(std::size_t number) { return "activities." + std::to_string(number); }
};

/// Reads one row, into `row` if that is not null; what is wrong with it.
std::optional<Fault>
readRow(JsonStream& json, std::size_t number, UploadedActivity* row, std::string& key)
{
    if (json.next() != Kind::Object) {
        json.skip();
        const std::string path = RowMembers::pathOf(number);
        return Fault{.status = 422,
                     .message = path + " is not an object",
                     .members = {{.member = path, .text = "is not an object"}}};
    }
    RowMembers members;
    std::int64_t seconds = 0;
    std::int64_t time = 0;
    const auto readText = [&](Member& member, std::optional<std::string>* text) {
        std::string* const into = text == nullptr ? nullptr : &text->emplace();
        if (!member.readOptional(json, into, kLongestText) && text != nullptr)
            text->reset();
    };
    json.enter();
    while (json.nextKey(key)) {
        if (members.name.isFirst(key))
            static_cast<void>(members.name.readString(
                json, row == nullptr ? nullptr : &row->appName, kLongestAppName));
        else if (members.title.isFirst(key))
            readText(members.title, row == nullptr ? nullptr : &row->windowTitle);
        else if (members.url.isFirst(key))
            readText(members.url, row == nullptr ? nullptr : &row->url);
        else if (members.duration.isFirst(key))
            members.duration.readInteger(json, seconds);
        else if (members.start.isFirst(key))
            members.start.readTime(json, time, key); // which is known by now
        else
            json.skip();
    }
    if (row != nullptr) {
        row->durationSeconds = seconds;
        row->startTime = time;
    }
    return members.faultOf(number);
}

std::size_t bytesOf(const UploadedActivity& row)
{
    return sizeof row + row.appName.size() + (row.windowTitle ? row.windowTitle->size() : 0) +
           (row.url ? row.url->size() : 0);
}

} // namespace

UploadReader::UploadReader(JsonStream::Source source)
    : m_source(std::move(source))
{
}

Result<UploadHead, Fault> UploadReader::check()
{
    JsonStream json(m_source);
    json.skipByteOrderMark();
    const Fault invalid{.status = 400, .message = "The body is not valid JSON", .members = {}};
    const bool isObject = json.next() == Kind::Object;
    UploadHead head;
    Member device("device_id");
    Member timestamp("sync_timestamp");
    Member interval("interval_minutes");
    Member activities("activities");
    std::optional<Fault> rowFault;
    std::string key;
    if (isObject)
        json.enter();
    else
        json.skip();
    while (isObject && json.nextKey(key)) {
        if (device.isFirst(key)) {
            static_cast<void>(device.readString(json, &head.deviceId, 4 * kLongestDeviceId));
        } else if (timestamp.isFirst(key)) {
            timestamp.readTime(json, head.syncTimestamp, key);
        } else if (interval.isFirst(key)) {
            interval.readInteger(json, head.intervalMinutes);
        } else if (activities.isFirst(key) && json.next() == Kind::Array) {
            activities.validate();
            rowFault = readRows(json);
        } else {
            json.skip();
        }
    }
    if (!json.isAtEnd())
        return invalid;
    if (!isObject)
        return Fault{.status = 422, .message = "The body is not a JSON object", .members = {}};
    std::optional<Fault> fault;
    device.blame(fault, {}, kNoText);
    if (!fault && device.characters() > kLongestDeviceId) {
        device.invalidate();
        device.blame(fault, {}, "is longer than 128 characters");
    }
    timestamp.blame(fault, {}, kNoTime);
    interval.blame(fault, {}, kNoNumber);
    activities.blame(fault, {}, "is missing or not an array");
    if (!fault)
        fault = std::move(rowFault);
    if (fault)
        return *std::move(fault);
    return head;
}

/// The array of the first pass; the first fault in it.
std::optional<Fault> UploadReader::readRows(JsonStream& json)
{
    m_firstRow = json.offset();
    json.enter();
    std::optional<Fault> first;
    std::string key;
    std::size_t bytes = 0;
    for (; json.nextElement(); ++m_rowCount) {
        const bool keeps = bytes < kBytesToKeep && m_rowCount < kRowsOfAPortion;
        UploadedActivity* const row = keeps ? &m_kept.emplace_back() : nullptr;
        auto fault = readRow(json, m_rowCount, row, key);
        if (fault && !first)
            first = std::move(fault);
        bytes += row != nullptr ? bytesOf(*row) : 0;
    }
    m_ended = m_kept.size() == m_rowCount;
    if (!m_ended)
        m_kept = {};
    return first;
}

std::vector<UploadedActivity> UploadReader::next()
{
    std::vector<UploadedActivity> rows = std::exchange(m_kept, {});
    if (m_ended)
        return rows;
    if (!m_rows) {
        m_rows.emplace(m_source, m_firstRow);
        m_rows->enter();
    }
    rows.reserve(std::min(m_rowCount, kRowsOfAPortion));
    std::string key;
    std::size_t bytes = 0;
    while (!m_ended && rows.size() < kRowsOfAPortion && bytes < kBytesOfAPortion) {
        m_ended = !m_rows->nextElement();
        if (m_ended)
            break;
        UploadedActivity& row = rows.emplace_back();
        static_cast<void>(readRow(*m_rows, 0, &row, key)); // check() found nothing
        bytes += bytesOf(row);
    }
    return rows;
}

} // namespace service
