// SPDX-FileCopyrightText: 2026 The Velomira Usage Monitor authors
// SPDX-License-Identifier: MIT
#include "activity/activity_file_reader.h"

#include "activity/activity_decoder.h"
#include "activity/json_input.h"

#include <string_view>

namespace activity {

namespace {

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

} // namespace

std::optional<ActivityList> readActivityFile(QIODevice& device, TextPool& pool, std::size_t window)
{
    return FileReader(device, pool, window).read();
}

} // namespace activity
