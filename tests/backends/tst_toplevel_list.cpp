// SPDX-FileCopyrightText: 2026 The Velomira Usage Monitor authors
// SPDX-License-Identifier: MIT
#include "backends/desktops/wayland/toplevel_windows.h"
#include "tests/support/test_program.h"

#include <QTest>

#include <array>
#include <string>

using namespace std::string_literals;
using platform::wayland::ToplevelList;

class TestToplevelList final : public QObject
{
    Q_OBJECT

private Q_SLOTS:

    void nothingCountsBeforeItIsComplete()
    {
        ToplevelList list;
        QVERIFY(list.add(key(0)));
        list.setAppId(key(0), "one");
        list.setTitle(key(0), "First");
        list.setActivated(key(0), true);
        QVERIFY(list.front() == nullptr);
        list.apply(key(0));
        QVERIFY(list.front() != nullptr);
        QCOMPARE(list.front()->appId, "one"s);
        QCOMPARE(list.front()->title, std::optional("First"s));
        list.setTitle(key(0), "Second");
        list.setActivated(key(0), false);
        QCOMPARE(list.front()->title, std::optional("First"s));
        list.apply(key(0));
        QVERIFY(list.front() == nullptr);
    }

    void ofSeveralTheLastThatGotTheFocusIsInFront()
    {
        ToplevelList list;
        for (const std::size_t index : {0U, 1U, 2U})
            open(list, index, true);
        QCOMPARE(list.front()->appId, "2"s);
        activate(list, 0, true); // it has it already
        QCOMPARE(list.front()->appId, "2"s);
        activate(list, 2, false);
        QCOMPARE(list.front()->appId, "1"s);
        activate(list, 2, true);
        QCOMPARE(list.front()->appId, "2"s);
        list.remove(key(2));
        list.remove(key(1));
        QCOMPARE(list.front()->appId, "0"s);
        list.clear();
        QVERIFY(list.front() == nullptr);
    }

    void numbersAreNeverGivenTwice()
    {
        ToplevelList list;
        open(list, 0, true);
        const std::uint64_t first = list.front()->number;
        QVERIFY(first != 0);
        list.remove(key(0));
        open(list, 0, true);
        QVERIFY(list.front()->number > first);
        list.clear();
        open(list, 0, true);
        QVERIFY(list.front()->number > first + 1);
    }

    void whatIsNotListedIsDropped()
    {
        ToplevelList list;
        list.setTitle(key(0), "First");
        list.setAppId(key(0), "one");
        list.setActivated(key(0), true);
        list.apply(key(0));
        list.remove(key(0));
        QVERIFY(list.front() == nullptr);
        QCOMPARE(list.size(), std::size_t(0));
    }

    void thereIsALimit()
    {
        ToplevelList list;
        std::string keys(ToplevelList::kMost + 1, ' ');
        for (std::size_t i = 0; i < ToplevelList::kMost; ++i)
            QVERIFY(list.add(&keys[i]));
        QVERIFY(!list.add(&keys.back()));
        list.remove(&keys[0]);
        QVERIFY(list.add(&keys.back()));
        QVERIFY(!list.add(&keys.back()));
    }

    void textsAreBounded()
    {
        ToplevelList list;
        open(list, 0, true);
        list.setAppId(key(0), std::string(1024, 'a'));
        list.setTitle(key(0), std::string(16383, 't') + "é");
        list.apply(key(0));
        QCOMPARE(list.front()->appId.size(), std::size_t(1024));
        QCOMPARE(list.front()->title->size(), std::size_t(16383));
        list.setAppId(key(0), std::string(1025, 'a'));
        list.apply(key(0));
        QCOMPARE(list.front()->appId, ""s);
    }

    void aWindowKeepsItsProcess()
    {
        ToplevelList list;
        list.setFrontProcess(41); // of no window
        open(list, 0, true);
        QCOMPARE(list.front()->processIdentifier, 0);
        list.setFrontProcess(42);
        list.setTitle(key(0), "Second");
        list.apply(key(0));
        QCOMPARE(list.front()->processIdentifier, 42);
        open(list, 1, true);
        QCOMPARE(list.front()->processIdentifier, 0);
        activate(list, 1, false);
        QCOMPARE(list.front()->processIdentifier, 42);
        list.remove(key(0));
        open(list, 0, true);
        QCOMPARE(list.front()->processIdentifier, 0);
    }

private:
    /// What windows are told by here; only the address counts.
    static const void* key(std::size_t index)
    {
        static const std::array<char, 8> keys{};
        return &keys.at(index);
    }

    static void open(ToplevelList& list, std::size_t index, bool activated)
    {
        QVERIFY(list.add(key(index)));
        list.setAppId(key(index), std::to_string(index));
        activate(list, index, activated);
    }

    static void activate(ToplevelList& list, std::size_t index, bool activated)
    {
        list.setActivated(key(index), activated);
        list.apply(key(index));
    }
};

QUILLSTEP_TEST(TestToplevelList)
#include "tst_toplevel_list.moc"
