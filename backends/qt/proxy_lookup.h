// SPDX-FileCopyrightText: 2026 The Velomira Usage Monitor authors
// SPDX-License-Identifier: MIT
#pragma once

#include <QFuture>
#include <QHash>
#include <QList>
#include <QNetworkProxy>
#include <QNetworkProxyFactory>
#include <QString>
#include <QUrl>

namespace platform::qt {

/// The proxies that the desktop or the environment (https_proxy, no_proxy) prescribes, asked for in
/// the background: the system's answer may take a download. There is none to this machine.
/// Main thread.
class ProxyLookup final : public QNetworkProxyFactory
{
public:
    /// Asks for the way to `url`. Once the future is finished, queryProxy() knows it.
    [[nodiscard]] QFuture<void> ask(const QUrl& url);

    /// What ask() has found for the host; the direct way before that.
    [[nodiscard]] QList<QNetworkProxy> queryProxy(const QNetworkProxyQuery& query) override;

private:
    QHash<QString, QFuture<QList<QNetworkProxy>>> m_answers;
};

} // namespace platform::qt
