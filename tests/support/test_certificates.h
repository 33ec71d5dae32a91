// SPDX-FileCopyrightText: 2026 The Velomira Usage Monitor authors
// SPDX-License-Identifier: MIT
#pragma once

#include "base/result.h"

#include <QSslCertificate>
#include <QSslConfiguration>
#include <QString>
#include <QTemporaryDir>

namespace support {

/// Certificates made for one test with openssl(1).
/// Main thread; making one takes some hundredths of a second.
class TestCertificates final
{
public:
    /// Makes an authority that issues the certificates.
    [[nodiscard]] platform::Outcome create();

    /// What a server called `name` (a DNS name or an address) needs; valid for `days` from now, in
    /// the past for less than none.
    [[nodiscard]] platform::Result<QSslConfiguration> server(const QString& name, int days = 1);

    /// What a client needs that trusts the authority and nobody else.
    [[nodiscard]] QSslConfiguration trustingClient() const;

private:
    [[nodiscard]] platform::Outcome openssl(const QStringList& arguments);

    [[nodiscard]] QString path(const QString& name) const { return m_folder.filePath(name); }

    QTemporaryDir m_folder;
    int m_made = 0;
};

} // namespace support
