// SPDX-FileCopyrightText: 2026 The Velomira Usage Monitor authors
// SPDX-License-Identifier: MIT
#pragma once

#include <QObject>

class QQuickItem;

namespace views {

/// Takes back what assistive programs were told about a text field before it became one for a
/// secret: while one of them runs, Qt describes a field before all of its properties are set, and
/// keeps the description. Main thread.
class SecretFieldWatch final : public QObject
{
    Q_OBJECT

public:
    /// Is owned by `field`, a TextField of Qt Quick.
    explicit SecretFieldWatch(QQuickItem* field);

private Q_SLOTS:
    void describeAnew();
};

} // namespace views
