// SPDX-FileCopyrightText: 2026 The Velomira Usage Monitor authors
// SPDX-License-Identifier: MIT
#include "platform/linux/wayland/sway_focus.h"

#include <QTest>

#include <string>

using platform::wayland::SwayFocus;
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

std::string newsOf(const std::string& change, const std::string& container)
{
    return "{\"change\":\"" + change + "\",\"container\":" + container + "}";
}

std::string replaced(std::string text, const std::string& what, const std::string& with)
{
    return text.replace(text.find(what), what.size(), with);
}

const SwayWindow kEditorWindow{
    .container = 5, .processIdentifier = 42, .appId = "editor", .title = "a.txt"};

} // namespace

class TestSwayFocus final : public QObject
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
        const std::string focus = newsOf("focus", kEditor);
        for (std::size_t size = 0; size < tree.size(); ++size)
            QVERIFY(!messages.focusedWindow(tree.substr(0, size)));
        for (std::size_t size = 0; size < focus.size(); ++size)
            QVERIFY(!messages.windowEvent(focus.substr(0, size)));
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
        QTest::newRow("id as text") << QByteArray("\"id\":5") << QByteArray("\"id\":\"5\"");
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
        const auto withoutName =
            messages.focusedWindow(treeWith(replaced(kEditor, "\"a.txt\"", "null")));
        QVERIFY(withoutName);
        QCOMPARE(withoutName->title, std::string());
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
                                 R"({"change":1,"container":{"id":1}})",
                                 R"({"change":"focus","container":[]})",
                                 R"({"nodes":{"focused":true}})",
                                 R"({"nodes":[1,null,"x",[]]})"})
            QTest::newRow(json) << QByteArray(json);
    }

    void wholesAreNotWhatTheyShouldBe()
    {
        QFETCH(const QByteArray, json);
        SwayMessages messages;
        QVERIFY(!messages.focusedWindow(json.toStdString()));
        QVERIFY(!messages.windowEvent(json.toStdString()));
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
        const auto window = messages.focusedWindow(
            treeWith(replaced(replaced(kEditor, "a.txt", std::string(20000, 't')),
                              "editor",
                              std::string(1025, 'a'))));
        QVERIFY(window);
        QCOMPARE(window->title.size(), std::size_t(16384));
        QCOMPARE(window->appId, std::string());
    }

    void eventsMoveTheFocus()
    {
        SwayFocus focus = started();
        QVERIFY(take(focus, SwayMessageType::GetTree, treeWith(kEditor)));
        QVERIFY(focus.focused() != nullptr && *focus.focused() == kEditorWindow);
        QVERIFY(!take(focus, SwayMessageType::GetTree, treeWith(kEditor)));
        QVERIFY(take(focus, SwayMessageType::WindowEvent, newsOf("focus", kXTerm)));
        QCOMPARE(focus.focused()->container, std::int64_t(6));
        // Of another window than the one with the focus.
        QVERIFY(!take(focus, SwayMessageType::WindowEvent, newsOf("title", kEditor)));
        QVERIFY(!take(focus, SwayMessageType::WindowEvent, newsOf("close", kEditor)));
        QVERIFY(take(focus,
                     SwayMessageType::WindowEvent,
                     newsOf("title", replaced(kXTerm, "root", "home"))));
        QCOMPARE(focus.focused()->title, std::string("home"));
        QVERIFY(take(focus, SwayMessageType::WindowEvent, newsOf("close", kXTerm)));
        QVERIFY(focus.focused() == nullptr);
        QVERIFY(!take(focus, SwayMessageType::Subscribe, R"({"success":true})"));
        QVERIFY(!take(focus, SwayMessageType(77), treeWith(kEditor)));
    }

    void theTreeIsAskedForOnceAtATime()
    {
        SwayFocus focus;
        focus.start();
        QVERIFY(focus.takeQuestion());
        QVERIFY(!focus.takeQuestion());
        for (int i = 0; i < 3; ++i) {
            QVERIFY(!take(focus, SwayMessageType::WorkspaceEvent, R"({"change":"focus"})"));
            QVERIFY(!focus.takeQuestion());
        }
        QVERIFY(!take(focus, SwayMessageType::GetTree, "{}"));
        QVERIFY(focus.takeQuestion());
        QVERIFY(!take(focus, SwayMessageType::GetTree, "{}"));
        QVERIFY(!focus.takeQuestion());
        QVERIFY(!take(focus, SwayMessageType::WorkspaceEvent, R"({"change":"rename"})"));
        QVERIFY(!take(focus, SwayMessageType::WorkspaceEvent, "garbage"));
        QVERIFY(!focus.takeQuestion());
        QVERIFY(!take(focus, SwayMessageType::WorkspaceEvent, R"({"change":"reload"})"));
        QVERIFY(focus.takeQuestion());
    }

    void aNewConnectionKnowsNothing()
    {
        SwayFocus focus = started();
        QVERIFY(take(focus, SwayMessageType::GetTree, treeWith(kEditor)));
        focus.start();
        QVERIFY(focus.focused() == nullptr);
        QVERIFY(focus.takeQuestion());
    }

    void messagesMayComeInPieces()
    {
        const QByteArray bytes = SwayFrames::frame(SwayMessageType::GetTree, "first") +
                                 SwayFrames::frame(SwayMessageType::WindowEvent, {}) +
                                 SwayFrames::frame(SwayMessageType::WorkspaceEvent, "third");
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

private:
    static SwayFocus started()
    {
        SwayFocus focus;
        focus.start();
        static_cast<void>(focus.takeQuestion());
        return focus;
    }

    static bool take(SwayFocus& focus, SwayMessageType type, std::string_view payload)
    {
        return focus.take({.type = type, .payload = payload});
    }
};

QTEST_GUILESS_MAIN(TestSwayFocus)
#include "tst_sway_focus.moc"
