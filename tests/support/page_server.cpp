// SPDX-FileCopyrightText: 2026 The Velomira Usage Monitor authors
// SPDX-License-Identifier: MIT
#include "tests/support/page_server.h"

namespace support {

namespace {

constexpr const char* kPage =
    R"(<!DOCTYPE html><html><head><meta charset="utf-8"><title>%1</title></head><body>%1</body></html>)";
constexpr int kOk = 200;

} // namespace

PageServer::PageServer()
{
    m_server.willAlwaysAnswer([this](QTcpSocket& connection) {
        const QString target = QString::fromUtf8(m_server.requests().constLast().target);
        const QString name = target.section(u'?', 0, 0).mid(1);
        ScriptedServer::reply(kOk,
                              QString::fromLatin1(kPage).arg(name).toUtf8(),
                              "Content-Type: text/html\r\n")(connection);
    });
}

QString PageServer::page(const QString& name) const
{
    return m_server.url() + u'/' + name;
}

} // namespace support
