// SPDX-FileCopyrightText: 2026 The Velomira Usage Monitor authors
// SPDX-License-Identifier: MIT
#include "tests/system/tray_panel.h"

#include <QDir>
#include <QFile>
#include <QFileInfo>
#include <QTest>

namespace support {

namespace {

constexpr int kPatienceMs = 20000;
const QString kXfconfService = QStringLiteral("org.xfce.Xfconf");

constexpr const char* kLxqt = R"([General]
__userfile__=true
panels=panel1

[panel1]
position=Bottom
panelSize=32
iconSize=22
plugins=taskbar, statusnotifier

[taskbar]
alignment=Left
type=taskbar

[statusnotifier]
alignment=Right
type=statusnotifier
)";

constexpr const char* kXfce = R"(<?xml version="1.0" encoding="UTF-8"?>
<channel name="xfce4-panel" version="1.0">
  <property name="configver" type="int" value="2"/>
  <property name="panels" type="array">
    <value type="int" value="1"/>
    <property name="panel-1" type="empty">
      <property name="position" type="string" value="p=8;x=640;y=784"/>
      <property name="length" type="uint" value="100"/>
      <property name="position-locked" type="bool" value="true"/>
      <property name="size" type="uint" value="32"/>
      <property name="background-style" type="uint" value="1"/>
      <property name="background-rgba" type="array">
        <value type="double" value="%1"/>
        <value type="double" value="%1"/>
        <value type="double" value="%1"/>
        <value type="double" value="1"/>
      </property>
      <property name="plugin-ids" type="array">
        <value type="int" value="1"/>
        <value type="int" value="2"/>
      </property>
    </property>
  </property>
  <property name="plugins" type="empty">
    <property name="plugin-1" type="string" value="tasklist"/>
    <property name="plugin-2" type="string" value="systray"/>
  </property>
</channel>
)";

constexpr const char* kTint2 = R"(rounded = 0
background_color = %1 100
panel_items = TS
panel_size = 100% 32
panel_position = bottom center horizontal
panel_background_id = 1
systray_icon_size = 22
)";

platform::Outcome write(const QString& path, const QString& text)
{
    QFile file(path);
    if (!QDir().mkpath(QFileInfo(path).path()) || !file.open(QIODevice::WriteOnly) ||
        file.write(text.toUtf8()) < 0)
        return platform::Error{QStringLiteral("cannot write %1").arg(path)};
    return platform::success();
}

} // namespace

QStringList TrayPanel::programs()
{
    return {QStringLiteral("lxqt-panel"), QStringLiteral("xfce4-panel"), QStringLiteral("tint2")};
}

TrayPanel::TrayPanel(TrayDesktop& desktop, Kind kind, bool isDark)
    : m_desktop(desktop)
    , m_kind(kind)
    , m_isDark(isDark)
{
}

TrayPanel::~TrayPanel()
{
    if (m_panel != nullptr)
        m_desktop.x11.stopProgram(m_panel);
    if (m_xfconf != nullptr)
        m_desktop.x11.stopProgram(m_xfconf);
}

platform::Outcome TrayPanel::start()
{
    const QString config = m_desktop.x11.home() + QStringLiteral("/config/");
    QString program;
    QStringList arguments;
    platform::Outcome prepared = platform::success();
    switch (m_kind) {
    case Kind::Lxqt:
        program = QStringLiteral("lxqt-panel");
        prepared = write(config + QStringLiteral("lxqt/panel.conf"), QString::fromLatin1(kLxqt));
        break;
    case Kind::Xfce:
        program = QStringLiteral("xfce4-panel");
        arguments = {QStringLiteral("--disable-wm-check")};
        prepared =
            write(config + QStringLiteral("xfce4/xfconf/xfce-perchannel-xml/xfce4-panel.xml"),
                  QString::fromLatin1(kXfce).arg(m_isDark ? 0.1 : 0.97));
        if (prepared && m_xfconf == nullptr)
            prepared = startXfconf();
        break;
    case Kind::Tint2:
        program = QStringLiteral("tint2");
        prepared = write(config + QStringLiteral("tint2/tint2rc"),
                         QString::fromLatin1(kTint2).arg(
                             m_isDark ? QStringLiteral("#101010") : QStringLiteral("#f8f8f8"), 1));
        break;
    }
    if (!prepared)
        return prepared;
    const auto started = m_desktop.x11.startProgram(program, arguments, m_desktop.environment());
    if (!started)
        return started.error();
    m_panel = started.value();
    return platform::success();
}

// Where the panel's settings are; usually the bus starts it, in the desktop's home.
platform::Outcome TrayPanel::startXfconf()
{
    QFile file(QStringLiteral("/usr/share/dbus-1/services/") + kXfconfService +
               QStringLiteral(".service"));
    QString program;
    if (file.open(QIODevice::ReadOnly)) {
        for (const QByteArray& line : file.readAll().split('\n'))
            program = line.startsWith("Exec=") ? QString::fromUtf8(line.mid(5)) : program;
    }
    const auto started = m_desktop.x11.startProgram(program, {}, m_desktop.environment());
    if (!started)
        return started.error();
    m_xfconf = started.value();
    const bool isThere = QTest::qWaitFor(
        [this] {
            return !m_desktop.bus
                        .call(kXfconfService,
                              QStringLiteral("/org/xfce/Xfconf"),
                              QStringLiteral("org.freedesktop.DBus.Peer.Ping"),
                              {})
                        .startsWith(QStringLiteral("Error"));
        },
        kPatienceMs);
    if (!isThere)
        return platform::Error{QStringLiteral("xfconf does not come up")};
    return platform::success();
}

void TrayPanel::kill()
{
    m_panel->kill();
    m_desktop.x11.stopProgram(m_panel);
    m_panel = nullptr;
}

} // namespace support
