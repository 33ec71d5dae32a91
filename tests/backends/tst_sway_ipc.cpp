// SPDX-FileCopyrightText: 2026 The Velomira Usage Monitor authors
// SPDX-License-Identifier: MIT
#include "backends/desktops/wayland/sway_ipc.h"
#include "tests/support/test_program.h"

#include <QLocalServer>
#include <QLocalSocket>
#include <QSignalSpy>
#include <QTemporaryDir>
#include <QTest>

#include <memory>
#include <string>

using platform::wayland::focusedSwayWindow;
using platform::wayland::SwayIpc;
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

constexpr std::uint32_t kGetTree = 4;

/// A message as sway sends it, that says that it has `length` bytes.
QByteArray message(const std::string& payload, std::uint32_t length, std::uint32_t type = kGetTree)
{
    QByteArray bytes("i3-ipc");
    for (const std::uint32_t number : {length, type})
        bytes.append(reinterpret_cast<const char*>(&number), sizeof number);
    return bytes.append(payload.data(), qsizetype(payload.size()));
}

QByteArray message(const std::string& payload)
{
    return message(payload, std::uint32_t(payload.size()));
}

/// A sway that answers what it is told to.
class FakeSway final
{
public:
    FakeSway() { m_server.listen(m_folder.filePath(QStringLiteral("sway"))); }

    [[nodiscard]] QString path() const { return m_server.fullServerName(); }

    /// Takes the question that has just been asked.
    void takeQuestion()
    {
        QTRY_VERIFY(m_server.hasPendingConnections());
        m_asker.reset(m_server.nextPendingConnection());
        QTRY_COMPARE(m_asker->bytesAvailable(), qint64(14));
        QCOMPARE(m_asker->readAll(), message({}));
    }

    void send(const QByteArray& bytes)
    {
        m_asker->write(bytes);
        m_asker->flush();
    }

    [[nodiscard]] bool hasBeenLeft() const
    {
        return m_asker->state() == QLocalSocket::UnconnectedState;
    }

private:
    QTemporaryDir m_folder;
    QLocalServer m_server;
    std::unique_ptr<QLocalSocket> m_asker;
};

const SwayWindow kEditorWindow{.processIdentifier = 42, .appId = "editor"};

} // namespace

class TestSwayIpc final : public QObject
{
    Q_OBJECT

private Q_SLOTS:

    void theFocusedWindowIsFoundInTheTree()
    {
        QCOMPARE(focusedSwayWindow(treeWith(kEditor)), std::optional(kEditorWindow));
        const auto xterm = focusedSwayWindow(treeWith(kXTerm));
        QVERIFY(xterm);
        QCOMPARE(xterm->appId, std::string("XTerm"));
        QCOMPARE(xterm->processIdentifier, 43);
    }

    void aWorkspaceIsNoWindow()
    {
        QVERIFY(!focusedSwayWindow(treeWith(R"({"id":5,"focused":true,"type":"workspace"})")));
        QVERIFY(!focusedSwayWindow(treeWith(R"({"id":5,"focused":false})")));
    }

    void everyTruncationYieldsNothing()
    {
        const std::string tree = treeWith(kEditor);
        for (std::size_t size = 0; size < tree.size(); ++size)
            QVERIFY(!focusedSwayWindow(tree.substr(0, size)));
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
        const std::string node = replaced(kEditor, what.toStdString(), with.toStdString());
        QVERIFY(!focusedSwayWindow(treeWith(node)));
    }

    void wrongTypesOfTextsAreNoTexts()
    {
        const auto withoutAppId =
            focusedSwayWindow(treeWith(replaced(kEditor, "\"editor\"", "[1]")));
        QVERIFY(withoutAppId);
        QCOMPARE(withoutAppId->appId, std::string());
        const auto withoutClass = focusedSwayWindow(treeWith(replaced(kXTerm, "\"XTerm\"", "{}")));
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
        QVERIFY(!focusedSwayWindow(json.toStdString()));
    }

    void aDeepTreeIsRefused()
    {
        std::string tree;
        for (int i = 0; i < 100000; ++i)
            tree += "{\"nodes\":[";
        QVERIFY(!focusedSwayWindow(tree));
    }

    void oneProgramsBrokenTextHidesNoOther()
    {
        const std::string tree = replaced(treeWith(kEditor), "\"other\"", "\"\xff\xfe\"");
        QCOMPARE(focusedSwayWindow(tree), std::optional(kEditorWindow));
    }

    void longTextsAreBounded()
    {
        const auto window =
            focusedSwayWindow(treeWith(replaced(kEditor, "editor", std::string(1025, 'a'))));
        QVERIFY(window);
        QCOMPARE(window->appId, std::string());
    }

    void anAnswerMayComeInPieces_data()
    {
        QTest::addColumn<int>("piece");
        for (const int piece : {1, 5, 6, 13, 14, 15, 100, 100000})
            QTest::addRow("of %d", piece) << piece;
    }

    void anAnswerMayComeInPieces()
    {
        QFETCH(const int, piece);
        FakeSway sway;
        SwayIpc ipc(sway.path());
        QSignalSpy answered(&ipc, &SwayIpc::answered);
        ipc.ask();
        sway.takeQuestion();
        const QByteArray bytes = message(treeWith(kEditor));
        for (qsizetype at = 0; at < bytes.size(); at += piece) {
            QCOMPARE(answered.count(), 0);
            sway.send(bytes.mid(at, piece));
            QCoreApplication::processEvents();
        }
        QTRY_COMPARE(answered.count(), 1);
        QCOMPARE(answered.at(0).at(0).value<std::optional<SwayWindow>>(),
                 std::optional(kEditorWindow));
        QTRY_VERIFY(sway.hasBeenLeft());
    }

    void whatIsNoAnswerBreaksOff_data()
    {
        QTest::addColumn<QByteArray>("bytes");
        QTest::newRow("another protocol") << QByteArray("HTTP/1.1 400 Bad Request");
        QTest::newRow("another message") << message("{}", 2, 0x80000000U);
        QTest::newRow("too long") << message({}, SwayIpc::kLongestPayload + 1);
    }

    void whatIsNoAnswerBreaksOff()
    {
        QFETCH(const QByteArray, bytes);
        FakeSway sway;
        SwayIpc ipc(sway.path());
        QSignalSpy answered(&ipc, &SwayIpc::answered);
        ipc.ask();
        sway.takeQuestion();
        sway.send(bytes);
        QTRY_VERIFY(sway.hasBeenLeft());
        QCOMPARE(answered.count(), 0);
        ipc.ask();
        sway.takeQuestion();
        sway.send(message(treeWith(kEditor)));
        QTRY_COMPARE(answered.count(), 1);
    }

    void theLongestAnswerIsTaken()
    {
        FakeSway sway;
        SwayIpc ipc(sway.path());
        QSignalSpy answered(&ipc, &SwayIpc::answered);
        ipc.ask();
        sway.takeQuestion();
        std::string tree = treeWith(kEditor);
        tree.append(SwayIpc::kLongestPayload - tree.size(), ' ');
        sway.send(message(tree));
        QTRY_COMPARE(answered.count(), 1);
        QCOMPARE(answered.at(0).at(0).value<std::optional<SwayWindow>>(),
                 std::optional(kEditorWindow));
    }
};

QUILLSTEP_TEST(TestSwayIpc)
#include "tst_sway_ipc.moc"
