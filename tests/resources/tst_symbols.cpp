// SPDX-FileCopyrightText: 2026 The Velomira Usage Monitor authors
// SPDX-License-Identifier: MIT
#include "tests/resources/symbol_faults.h"
#include "tests/support/test_program.h"
#include "tools/artwork/drawing.h"
#include "tools/artwork/symbol_names.h"

#include <QDir>
#include <QFile>
#include <QTest>

using artwork::kSymbolNames;
using resources::symbolFaults;

namespace {

const QString kFolder = QStringLiteral(RESOURCES "/symbols");

QByteArray svg(const char* content, const char* box = "0 0 24 24")
{
    return QByteArrayLiteral("<svg xmlns=\"http://www.w3.org/2000/svg\" viewBox=\"") + box + "\">" +
           content + "</svg>";
}

} // namespace

class TestSymbols : public QObject
{
    Q_OBJECT

private Q_SLOTS:

    void everyNamedSymbolIsDrawnWithoutFault_data()
    {
        QTest::addColumn<QString>("path");
        for (const QLatin1String name : kSymbolNames)
            QTest::newRow(name.data()) << kFolder + QLatin1Char('/') + name + QLatin1String(".svg");
    }

    void everyNamedSymbolIsDrawnWithoutFault()
    {
        QFETCH(const QString, path);
        QFile file(path);
        QVERIFY2(file.open(QIODevice::ReadOnly), qPrintable(path + QLatin1String(" is missing")));
        QCOMPARE(symbolFaults(file.readAll()), QStringList());
    }

    void noOtherSymbolsLieAbout()
    {
        QStringList expected;
        for (const QLatin1String name : kSymbolNames)
            expected += name + QLatin1String(".svg");
        expected.sort();
        QCOMPARE(QDir(kFolder)
                     .entryList(QDir::AllEntries | QDir::Hidden | QDir::NoDotAndDotDot,
                                QDir::Name | QDir::LocaleAware)
                     .size(),
                 expected.size());
        QStringList found = QDir(kFolder).entryList(QDir::Files);
        found.sort();
        QCOMPARE(found, expected);
    }

    void symbolsOfDifferentNamesLookDifferent()
    {
        QList<QImage> seen;
        for (const QLatin1String name : kSymbolNames) {
            const auto drawing = artwork::Drawing::fromFile(kFolder + QLatin1Char('/') + name +
                                                            QLatin1String(".svg"));
            QVERIFY2(drawing, name.data());
            const QImage image = drawing.value().painted({13, 13});
            QVERIFY2(!seen.contains(image), name.data());
            seen += image;
        }
    }

    void everyFaultIsFound_data()
    {
        QTest::addColumn<QByteArray>("drawing");
        QTest::addColumn<QString>("fault");
        const auto row = [](const char* name, const QByteArray& drawing, const char* fault) {
            QTest::newRow(name) << drawing << QString::fromLatin1(fault);
        };
        const char* const square = "<rect x='2' y='2' width='20' height='20'/>";
        row("no XML", "square", "not an SVG image");
        row("no viewBox", "<svg xmlns='http://www.w3.org/2000/svg'/>", "not an SVG image");
        row("cut off", svg(square).chopped(8), "not an SVG image");
        row("other box", svg(square, "0 0 24 25"), "its viewBox is not 0 0 24 24");
        row("nothing", svg(""), "it is empty");
        row("only white space", svg("<path d='M2 2L22 22' fill='none'/>"), "it is empty");
        row("too large", svg("<circle cx='12' cy='12' r='12.5'/>"), "it paints outside its box");
        row("red",
            svg("<circle cx='12' cy='12' r='10' fill='#f00'/>"),
            "it has another colour than black");
        row("knocked out with white",
            svg("<circle cx='12' cy='12' r='10'/><circle cx='12' cy='12' r='5' fill='#fff'/>"),
            "it has another colour than black");
        row("faint", svg("<circle cx='12' cy='12' r='10' opacity='0.5'/>"), "it is nowhere opaque");
        row("low", svg("<rect x='2' y='6' width='20' height='16'/>"), "it is off centre");
        row("to the left", svg("<rect x='0' y='2' width='20' height='20'/>"), "it is off centre");
        row("small", svg("<circle cx='12' cy='12' r='7'/>"), "it is too small");
        row("broken path", svg("<path d='M2 2H22V22H2Z'/><path d='M2 2 L 5 x'/>"), "Qt says: ");
    }

    void everyFaultIsFound()
    {
        QFETCH(const QByteArray, drawing);
        QFETCH(const QString, fault);
        const QStringList faults = symbolFaults(drawing);
        QCOMPARE(faults.size(), 1);
        QVERIFY2(faults.first().startsWith(fault), qPrintable(faults.first()));
    }
};

QUILLSTEP_TEST(TestSymbols)
#include "tst_symbols.moc"
