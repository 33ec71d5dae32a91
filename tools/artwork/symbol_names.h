// SPDX-FileCopyrightText: 2026 The Velomira Usage Monitor authors
// SPDX-License-Identifier: MIT
#pragma once

#include <QLatin1String>

#include <array>

namespace artwork {

/// The symbols of the product: each is the drawing resources/symbols/NAME.svg, and there are no
/// others.
inline constexpr std::array kSymbolNames{
    QLatin1String("app.badge"),
    QLatin1String("arrow.clockwise"),
    QLatin1String("arrow.triangle.2.circlepath"),
    QLatin1String("arrow.up.right.square"),
    QLatin1String("brain.head.profile"),
    QLatin1String("chart.bar"),
    QLatin1String("chart.bar.fill"),
    QLatin1String("chart.bar.xaxis"),
    QLatin1String("clock"),
    QLatin1String("doc.text"),
    QLatin1String("exclamationmark.triangle.fill"),
    QLatin1String("gearshape.fill"),
    QLatin1String("globe"),
    QLatin1String("info.circle.fill"),
    QLatin1String("pause.fill"),
    QLatin1String("person.badge.key"),
    QLatin1String("person.circle.fill"),
    QLatin1String("person.slash"),
    QLatin1String("play.fill"),
    QLatin1String("power"),
    QLatin1String("rectangle.portrait.and.arrow.right"),
    QLatin1String("server.rack"),
    QLatin1String("timer"),
    QLatin1String("waveform.path.ecg"),
};

} // namespace artwork
