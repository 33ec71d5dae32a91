// SPDX-FileCopyrightText: 2026 The Velomira Usage Monitor authors
// SPDX-License-Identifier: MIT
#include "base/terminal_text.h"
#include "tests/support/test_program.h"

#include <QTest>

#include <algorithm>
#include <utility>

using platform::terminalText;

namespace {

/// Said once more, as ranges of code points.
bool mustGo(char32_t c)
{
    const std::pair<char32_t, char32_t> ranges[] = {{0x0, 0x1F},
                                                    {0x7F, 0x9F},
                                                    {0x61C, 0x61C},
                                                    {0x200E, 0x200F},
                                                    {0x2028, 0x2029},
                                                    {0x202A, 0x202E},
                                                    {0x2066, 0x2069}};
    return std::ranges::any_of(
        ranges, [c](const auto& range) { return c >= range.first && c <= range.second; });
}

} // namespace

class TestTerminalText final : public QObject
{
    Q_OBJECT

private Q_SLOTS:

    void everyCodePointIsItselfOrASpace()
    {
        // Of the planes beyond the first a sample.
        for (char32_t c = 0; c <= 0x10FFFF; c += c <= 0xFFFF ? 1 : 97) {
            if (c >= 0xD800 && c <= 0xDFFF)
                continue;
            const QByteArray expected = mustGo(c) ? " " : QString::fromUcs4(&c, 1).toUtf8();
            const QByteArray text =
                terminalText(QStringLiteral("a%1b").arg(QString::fromUcs4(&c, 1)));
            if (text != 'a' + expected + 'b')
                QFAIL(qPrintable(QStringLiteral("U+%1").arg(uint(c), 4, 16, QLatin1Char('0'))));
        }
    }

    void eachOfSeveralIsASpaceOfItsOwn()
    {
        QCOMPARE(terminalText(u"\u001b]0;x\u0007\u009b31m \u202e\u2066\u2028y"), " ]0;x  31m    y");
    }

    void halfAPairIsAQuestionMark()
    {
        QCOMPARE(terminalText(QString(QChar(0xD800))), "?");
        QCOMPARE(terminalText(QString(QChar(0xDC00)) + u'\n'), "? ");
    }

    void anEmptyTextIsEmpty() { QCOMPARE(terminalText({}), ""); }
};

QUILLSTEP_TEST(TestTerminalText)
#include "tst_terminal_text.moc"
