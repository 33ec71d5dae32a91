// SPDX-FileCopyrightText: 2026 The Velomira Usage Monitor authors
// SPDX-License-Identifier: MIT
#pragma once

#include <QObject>
#include <QString>

namespace views {

/// What the windows take over from the desktop. Main thread.
class DesktopStyle final : public QObject
{
    Q_OBJECT
    Q_PROPERTY(double textScale READ textScale NOTIFY fontChanged FINAL)
    Q_PROPERTY(QString fontFamily READ fontFamily NOTIFY fontChanged FINAL)
    Q_PROPERTY(QString fixedFontFamily READ fixedFontFamily NOTIFY fontChanged FINAL)
    Q_PROPERTY(bool reducesMotion READ reducesMotion CONSTANT FINAL)
    Q_PROPERTY(bool hasLogo READ hasLogo CONSTANT FINAL)

public:
    explicit DesktopStyle(QObject* parent = nullptr);

    /// See platform::textScale(). A dense screen is not in it: pixels are device-independent.
    [[nodiscard]] static double textScale();
    [[nodiscard]] static QString fontFamily();
    [[nodiscard]] static QString fixedFontFamily();

    /// True when nothing is to move for show. Qt 6.4 does not know what the desktop says about it,
    /// so the user says it with QUILLSTEP_REDUCED_MOTION=1 in the environment.
    [[nodiscard]] static bool reducesMotion();

    /// Whether the program was built with the logo.
    [[nodiscard]] static bool hasLogo();

    bool eventFilter(QObject* watched, QEvent* event) override;

Q_SIGNALS:
    void fontChanged();
};

} // namespace views
