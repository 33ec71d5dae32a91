// SPDX-FileCopyrightText: 2026 The Velomira Usage Monitor authors
// SPDX-License-Identifier: MIT
#include "views/desktop_style.h"

#include "base/text_scale.h"

#include <QEvent>
#include <QFile>
#include <QFontDatabase>
#include <QFontInfo>
#include <QGuiApplication>

namespace views {

DesktopStyle::DesktopStyle(QObject* parent)
    : QObject(parent)
{
    qGuiApp->installEventFilter(this);
}

double DesktopStyle::textScale()
{
    return platform::textScale(QFontInfo(QGuiApplication::font()).pointSizeF());
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
