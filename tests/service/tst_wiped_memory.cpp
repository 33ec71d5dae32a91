// SPDX-FileCopyrightText: 2026 The Velomira Usage Monitor authors
// SPDX-License-Identifier: MIT
// What a body said is overwritten before its memory is freed, however its request ends.
#include "tests/service/running_server.h"
#include "tests/service/service_requests.h"
#include "tests/support/test_program.h"

#include <QTest>

#include <atomic>
#include <cstdlib>
#include <malloc.h>
#include <memory>
#include <new>
#include <string.h>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

using requests::statusOf;
using support::RawHttpClient;

namespace {

constexpr std::string_view kSecret = "correct horse battery staple";
std::atomic<int> g_freedWithIt = 0;

} // namespace

// The clients' buffers are Qt's, which come from malloc() itself.
void* operator new(std::size_t size)
{
    void* const memory = std::malloc(size);
    if (memory == nullptr)
        throw std::bad_alloc();
    return memory;
}

void* operator new(std::size_t size, const std::nothrow_t&) noexcept
{
    return std::malloc(size);
}

void operator delete(void* memory) noexcept
{
    if (memory != nullptr &&
        ::memmem(memory, ::malloc_usable_size(memory), kSecret.data(), kSecret.size()) != nullptr) {
        ++g_freedWithIt;
        // Not found again in what gets this memory next.
        ::explicit_bzero(memory, ::malloc_usable_size(memory));
    }
    std::free(memory);
}

void operator delete(void* memory, std::size_t) noexcept
{
    operator delete(memory);
}

class TestWipedMemory final : public QObject
{
    Q_OBJECT

    static QByteArray body(qsizetype size)
    {
        const QByteArray secret(kSecret.data(), static_cast<qsizetype>(kSecret.size()));
        return secret.repeated(size / secret.size() + 1).left(size);
    }

    static QByteArray head(qsizetype length)
    {
        return "POST /secret HTTP/1.1\r\nContent-Length: " + QByteArray::number(length) +
               "\r\n\r\n";
    }

    static std::unique_ptr<RunningServer> server()
    {
        const auto ignore = [](service::Request&) {
            return service::Answer{.status = 200, .body = "{}"};
        };
        const auto fail = [](service::Request&) -> service::Answer {
            throw std::bad_alloc();
        };
        std::vector<service::Route> routes;
        routes.push_back(
            {.method = "POST", .pattern = "/secret", .bodyLimit = 64UL << 10U, .handler = ignore});
        routes.push_back(
            {.method = "POST", .pattern = "/long", .bodyLimit = 4UL << 20U, .handler = ignore});
        routes.push_back(
            {.method = "POST", .pattern = "/fail", .bodyLimit = 64UL << 10U, .handler = fail});
        return std::make_unique<RunningServer>(std::move(routes), service::HttpServer::Settings{});
    }

private Q_SLOTS:

    void init() { g_freedWithIt = 0; }

    void whatIsNotOverwrittenIsFound()
    {
        auto text = std::make_unique<std::string>(kSecret);
        text.reset();
        QCOMPARE(g_freedWithIt, 1);
    }

    void ofAWholeRequestNothingIsLeft_data()
    {
        QTest::addColumn<QByteArray>("path");
        QTest::addColumn<int>("size");
        QTest::addColumn<int>("status");
        QTest::newRow("small") << QByteArray("/secret") << 60 << 200;
        QTest::newRow("larger than the first buffer") << QByteArray("/secret") << 60'000 << 200;
        QTest::newRow("long") << QByteArray("/long") << 3'000'000 << 200;
        QTest::newRow("too long") << QByteArray("/secret") << 70'000 << 413;
        QTest::newRow("not dealt with") << QByteArray("/fail") << 60'000 << 500;
        QTest::newRow("nowhere") << QByteArray("/nowhere") << 5'000 << 404;
    }

    void ofAWholeRequestNothingIsLeft()
    {
        QFETCH(QByteArray, path);
        QFETCH(int, size);
        QFETCH(int, status);
        auto running = server();
        {
            RawHttpClient client(running->port());
            QCOMPARE(statusOf(client.post(path, body(size))), status);
        }
        QVERIFY(running->stop());
        running.reset();
        QCOMPARE(g_freedWithIt, 0);
    }

    void ofChunksNothingIsLeft()
    {
        auto running = server();
        RawHttpClient client(running->port());
        QVERIFY(client.send("POST /secret HTTP/1.1\r\nTransfer-Encoding: chunked\r\n\r\n"));
        for (int i = 0; i < 30; ++i)
            QVERIFY(client.send("3e8\r\n" + body(1000) + "\r\n"));
        QVERIFY(client.send("0\r\n\r\n"));
        QCOMPARE(statusOf(client.answer()), 200);
        QVERIFY(running->stop());
        running.reset();
        QCOMPARE(g_freedWithIt, 0);
    }

    void ofABodyThatIsBrokenOffNothingIsLeft()
    {
        for (const qsizetype sent : {qsizetype{60}, qsizetype{20'000}}) {
            auto running = server();
            {
                RawHttpClient client(running->port());
                QVERIFY(client.send(head(50'000) + body(sent)));
                client.finishSending();
                QCOMPARE(statusOf(client.answer()), 400);
            }
            QVERIFY(running->stop());
            running.reset();
            QCOMPARE(g_freedWithIt, 0);
        }
    }

    void whatComesWithTheNextRequestIsOverwrittenToo()
    {
        auto running = server();
        {
            RawHttpClient client(running->port());
            const QByteArray first = head(60) + body(60);
            // The last one stays without its end.
            QVERIFY(client.send(first + first + head(100) + body(60)));
            QCOMPARE(statusOf(client.answer()), 200);
            QCOMPARE(statusOf(client.answer()), 200);
            client.reset();
        }
        QVERIFY(running->stop());
        running.reset();
        QCOMPARE(g_freedWithIt, 0);
    }
};

QUILLSTEP_TEST(TestWipedMemory)
#include "tst_wiped_memory.moc"
