// SPDX-FileCopyrightText: 2026 The Velomira Usage Monitor authors
// SPDX-License-Identifier: MIT
#include "service/operator/commands.h"
#include "tests/support/test_program.h"

#include <QTest>

using namespace service;

class TestOperator : public QObject
{
    Q_OBJECT

private Q_SLOTS:

    void aDeviceIsSilentAfterThreeOfItsIntervals()
    {
        Device device{.id = 2,
                      .deviceId = "x",
                      .name = "a\tlaptop",
                      .firstSeen = 0,
                      .lastSeen = 1'000'000,
                      .intervalMinutes = 5,
                      .clockSkewSeconds = -2};
        QCOMPARE(deviceLine(device, 1'000'000 + 15 * 60),
                 std::string("2\ta?laptop\t1970-01-01T00:00:00Z\t1970-01-12T13:46:40Z\tevery 5 min"
                             "\tclock -2 s\treporting\n"));
        QVERIFY(deviceLine(device, 1'000'000 + 18 * 60).ends_with("\tsilent\n"));
        device.firstSeen = device.lastSeen = std::nullopt;
        QCOMPARE(deviceLine(device, 0), std::string("2\ta?laptop\tnever\tnever\t-\t-\tsilent\n"));
    }

    void anExportedRowIsALineOfJson()
    {
        Device laptop;
        laptop.id = 3;
        laptop.name = "lap\"top";
        const std::vector<Device> devices = {laptop};
        QCOMPARE(exportLine({.startTime = 1'795'253'400,
                             .digest = 1,
                             .durationSeconds = 31,
                             .device = 3,
                             .appName = "a\nb",
                             .windowTitle = "",
                             .url = std::nullopt},
                            devices),
                 std::string(R"({"start":"2026-11-21T09:30:00Z","seconds":31,"device":3,)"
                             R"("device_name":"lap\"top","app":"a\nb","title":"","url":null})"
                             "\n"));
    }

    void aLinkHasTheAddressThatUsersKnow()
    {
        CommandLine line;
        line.port = 8787;
        QCOMPARE(linkTo(line, "/x"), std::string("http://127.0.0.1:8787/x"));
        line.address = "::1";
        QCOMPARE(linkTo(line, "/x"), std::string("http://[::1]:8787/x"));
        line.publicUrl = "https://usage.example.org/";
        QCOMPARE(linkTo(line, "/x"), std::string("https://usage.example.org/x"));
    }

    void settingsAreDescribedWithTheirPlaces()
    {
        CommandLine line;
        line.given = {{.name = "port", .value = "1", .source = "f:2"},
                      {.name = "log", .value = "json", .source = "command line"}};
        QCOMPARE(describeSettings(line),
                 std::string("port = 1 (f:2)\nlog = json (command line)\n"));
    }
};

QUILLSTEP_TEST(TestOperator)
#include "tst_operator.moc"
