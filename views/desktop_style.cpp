// SPDX-FileCopyrightText: 2026 The Velomira Usage Monitor authors
// SPDX-License-Identifier: MIT
#include "views/desktop_style.h"

#include <QEvent>
#include <QFile>
#include <QFont>
#include <QFontDatabase>
#include <QFontInfo>
#include <QGuiApplication>

#include <algorithm>

namespace views {

namespace {

constexpr double kSmallestUsualPoints = 9;
constexpr double kLargestUsualPoints = 11;
constexpr double kSmallestScale = 0.75;
constexpr double kLargestScale = 3;

} // namespace

double textScale(const QFont& font)
{
    const double points = QFontInfo(font).pointSizeF();
    const double usual = std::clamp(points, kSmallestUsualPoints, kLargestUsualPoints);
    return std::clamp(points / usual, kSmallestScale, kLargestScale);
}

DesktopStyle::DesktopStyle(QObject* parent)
    : QObject(parent)
{
    qGuiApp->installEventFilter(this);
}

double DesktopStyle::textScale()
{
    return views::textScale(QGuiApplication::font());
}

QString DesktopStyle::fontFamily()
{
    return QGuiApplication::font().family();
}

QString DesktopStyle::fixedFontFamily()
{
    return QFontDatabase::systemFont(QFontDatabase::FixedFont).family();
}

bool DesktopStyle::reducesMotion()
{
    return qEnvironmentVariableIntValue("QUILLSTEP_REDUCED_MOTION") != 0;
}

bool DesktopStyle::hasLogo()
{
    return QFile::exists(QStringLiteral(":/logo.png"));
}

bool DesktopStyle::eventFilter(QObject* watched, QEvent* event)
{
    if (watched == qGuiApp && event->type() == QEvent::ApplicationFontChange)
        Q_EMIT fontChanged();
    return false;
}

} // namespace views
