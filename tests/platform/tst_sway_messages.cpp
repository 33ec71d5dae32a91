// SPDX-FileCopyrightText: 2026 The Velomira Usage Monitor authors
// SPDX-License-Identifier: MIT
#include "platform/linux/wayland/sway_frames.h"
#include "platform/linux/wayland/sway_messages.h"

#include <QTest>

#include <string>

using platform::wayland::SwayFrames;
using platform::wayland::SwayMessages;
using platform::wayland::SwayMessageType;
using platform::wayland::SwayWindow;

namespace {

const std::string kEditor =
    "{\"id\":5,\"type\":\"con\",\"focused\":true,\"pid\":42,\"app_id\":\"editor\","
    "\"name\":\"a.txt\",\"nodes\":[],\"floating_nodes\":[]}";

const std::string kXTerm =
    "{\"id\":6,\"type\":\"con\",\"focused\":true,\"pid\":43,\"app_id\":null,\"name\":\"root\","
    "\"window_properties\":{\"class\":\"XTerm\",\"instance\":\"xterm\"}}";

std::string treeWith(const std::string& node)
{
    return "{\"id\":1,\"type\":\"root\",\"focused\":false,\"nodes\":[{\"id\":2,\"type\":\"output\","
           "\"focused\":false,\"nodes\":[{\"id\":3,\"type\":\"workspace\",\"focused\":false,"
           "\"nodes\":[{\"id\":4,\"focused\":false,\"pid\":41,\"name\":\"other\"}],"
           "\"floating_nodes\":[" +
           node + "]}]}]}";
}

std::string replaced(std::string text, const std::string& what, const std::string& with)
{
    return text.replace(text.find(what), what.size(), with);
}

const SwayWindow kEditorWindow{.processIdentifier = 42, .appId = "editor"};

} // namespace

class TestSwayMessages final : public QObject
{
    Q_OBJECT

private Q_SLOTS:

    void theFocusedWindowIsFoundInTheTree()
    {
        SwayMessages messages;
        QCOMPARE(messages.focusedWindow(treeWith(kEditor)), std::optional(kEditorWindow));
        const auto xterm = messages.focusedWindow(treeWith(kXTerm));
        QVERIFY(xterm);
        QCOMPARE(xterm->appId, std::string("XTerm"));
        QCOMPARE(xterm->processIdentifier, 43);
    }

    void aWorkspaceIsNoWindow()
    {
        SwayMessages messages;
        QVERIFY(!messages.focusedWindow(treeWith(R"({"id":5,"focused":true,"type":"workspace"})")));
        QVERIFY(!messages.focusedWindow(treeWith(R"({"id":5,"focused":false})")));
    }

    void everyTruncationYieldsNothing()
    {
        SwayMessages messages;
        const std::string tree = treeWith(kEditor);
        for (std::size_t size = 0; size < tree.size(); ++size)
            QVERIFY(!messages.focusedWindow(tree.substr(0, size)));
    }

    void wrongTypesYieldNothing_data()
    {
        QTest::addColumn<QByteArray>("what");
        QTest::addColumn<QByteArray>("with");
        QTest::newRow("pid as text") << QByteArray("42") << QByteArray("\"42\"");
        QTest::newRow("pid 0") << QByteArray("42") << QByteArray("0");
        QTest::newRow("pid negative") << QByteArray("42") << QByteArray("-1");
        QTest::newRow("pid too large") << QByteArray("42") << QByteArray("2147483648");
        QTest::newRow("pid beyond 64 bits")
            << QByteArray("42") << QByteArray("18446744073709551658");
        QTest::newRow("pid with a fraction") << QByteArray("42") << QByteArray("42.5");
        QTest::newRow("pid as list") << QByteArray("42") << QByteArray("[42]");
        QTest::newRow("focused as number") << QByteArray("true") << QByteArray("1");
    }

    void wrongTypesYieldNothing()
    {
        QFETCH(const QByteArray, what);
        QFETCH(const QByteArray, with);
        SwayMessages messages;
        const std::string node = replaced(kEditor, what.toStdString(), with.toStdString());
        QVERIFY(!messages.focusedWindow(treeWith(node)));
    }

    void wrongTypesOfTextsAreNoTexts()
    {
        SwayMessages messages;
        const auto withoutAppId =
            messages.focusedWindow(treeWith(replaced(kEditor, "\"editor\"", "[1]")));
        QVERIFY(withoutAppId);
        QCOMPARE(withoutAppId->appId, std::string());
        const auto withoutClass =
            messages.focusedWindow(treeWith(replaced(kXTerm, "\"XTerm\"", "{}")));
        QVERIFY(withoutClass);
        QCOMPARE(withoutClass->appId, std::string());
    }

    void wholesAreNotWhatTheyShouldBe_data()
    {
        QTest::addColumn<QByteArray>("json");
        for (const char* json : {"",
                                 "null",
                                 "[]",
                                 "{}",
                                 "\"focus\"",
                                 "7",
                                 R"({"nodes":{"focused":true}})",
                                 R"({"nodes":[1,null,"x",[]]})"})
            QTest::newRow(json) << QByteArray(json);
    }

    void wholesAreNotWhatTheyShouldBe()
    {
        QFETCH(const QByteArray, json);
        SwayMessages messages;
        QVERIFY(!messages.focusedWindow(json.toStdString()));
    }

    void aDeepTreeIsRefused()
    {
        std::string tree;
        for (int i = 0; i < 100000; ++i)
            tree += "{\"nodes\":[";
        SwayMessages messages;
        QVERIFY(!messages.focusedWindow(tree));
    }

    void oneProgramsBrokenTextHidesNoOther()
    {
        SwayMessages messages;
        const std::string tree = replaced(treeWith(kEditor), "\"other\"", "\"\xff\xfe\"");
        QCOMPARE(messages.focusedWindow(tree), std::optional(kEditorWindow));
    }

    void longTextsAreBounded()
    {
        SwayMessages messages;
        const auto window =
            messages.focusedWindow(treeWith(replaced(kEditor, "editor", std::string(1025, 'a'))));
        QVERIFY(window);
        QCOMPARE(window->appId, std::string());
    }

    void messagesMayComeInPieces()
    {
        const QByteArray bytes = SwayFrames::frame(SwayMessageType::GetTree, "first") +
                                 SwayFrames::frame(SwayMessageType(0x80000003), {}) +
                                 SwayFrames::frame(SwayMessageType(0x80000000), "third");
        for (qsizetype piece = 1; piece <= bytes.size(); ++piece) {
            SwayFrames frames;
            std::vector<std::string> found;
            for (qsizetype at = 0; at < bytes.size(); at += piece) {
                frames.append(QByteArrayView(bytes).sliced(at, std::min(piece, bytes.size() - at)));
                while (const auto message = frames.next())
                    found.push_back(std::to_string(std::uint32_t(message->type) & 0xFFU) + ' ' +
                                    std::string(message->payload));
            }
            QCOMPARE(found, (std::vector<std::string>{"4 first", "3 ", "0 third"}));
        }
    }

    void whatIsNoMessageBreaksOff()
    {
        SwayFrames frames;
        frames.append(SwayFrames::frame(SwayMessageType::GetTree, "first"));
        frames.append("HTTP/1.1 400 Bad Request");
        QVERIFY(frames.next());
        QVERIFY(!frames.next());
        QVERIFY(frames.isBroken());
        frames.append(SwayFrames::frame(SwayMessageType::GetTree, "second"));
        QVERIFY(!frames.next());
    }

    void aMessageThatIsTooLongBreaksOff()
    {
        QByteArray header = SwayFrames::frame(SwayMessageType::GetTree, {});
        const std::uint32_t length = SwayFrames::kLongestPayload + 1;
        header.replace(6, sizeof length, reinterpret_cast<const char*>(&length), sizeof length);
        SwayFrames frames;
        frames.append(header);
        QVERIFY(!frames.next());
        QVERIFY(frames.isBroken());
    }

    void theLongestMessageIsTaken()
    {
        SwayFrames frames;
        const QByteArray payload(SwayFrames::kLongestPayload, 'x');
        frames.append(SwayFrames::frame(SwayMessageType::GetTree, payload));
        const auto message = frames.next();
        QVERIFY(message);
        QCOMPARE(qsizetype(message->payload.size()), payload.size());
    }
};

QTEST_GUILESS_MAIN(TestSwayMessages)
#include "tst_sway_messages.moc"
