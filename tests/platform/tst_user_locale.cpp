// SPDX-FileCopyrightText: 2026 The Velomira Usage Monitor authors
// SPDX-License-Identifier: MIT
#include "platform/duration_text.h"
#include "platform/relative_time_text.h"
#include "platform/user_locale.h"

#include <QTest>

#include <utility>
#include <vector>

namespace {

using Variables = std::vector<std::pair<const char*, const char*>>;

QByteArray localeOf(const Variables& variables)
{
    QProcessEnvironment environment;
    for (const auto& [name, value] : variables)
        environment.insert(QLatin1String(name), QLatin1String(value));
    return platform::userTimeLocale(environment);
}

} // namespace

class TestUserLocale final : public QObject
{
    Q_OBJECT

private Q_SLOTS:

    void theFirstVariableThatSaysSomethingCounts()
    {
        const QByteArray all =
            localeOf({{"LC_ALL", "ja_JP.UTF-8"}, {"LC_TIME", "de_DE"}, {"LANG", "fr_FR"}});
        QCOMPARE(all, QByteArray("ja_JP"));
        QCOMPARE(localeOf({{"LC_ALL", ""}, {"LC_TIME", "de_DE.UTF-8"}, {"LANG", "fr_FR"}}),
                 QByteArray("de_DE"));
        QCOMPARE(localeOf({{"LC_TIME", ""}, {"LC_MESSAGES", "de_DE"}, {"LANG", "fr_FR"}}),
                 QByteArray("fr_FR"));
        QCOMPARE(localeOf({{"LANG", "de"}}), QByteArray("de"));
    }

    void withoutALanguageItIsEnglish()
    {
        QCOMPARE(localeOf({}), QByteArray("en_US"));
        QCOMPARE(localeOf({{"LANG", ""}}), QByteArray("en_US"));
        QCOMPARE(localeOf({{"LANG", "C"}}), QByteArray("en_US"));
        QCOMPARE(localeOf({{"LANG", "C.UTF-8"}}), QByteArray("en_US"));
        QCOMPARE(localeOf({{"LC_ALL", "POSIX"}, {"LANG", "de_DE"}}), QByteArray("en_US"));
    }

    void anythingGivesATextInTheEnd()
    {
        for (const char* odd :
             {"de_DE@euro", "sr_RS.UTF-8@latin", "xx", "???", "../../x", "en_US_POSIX", "@", "."}) {
            const QByteArray locale = localeOf({{"LANG", odd}});
            QVERIFY2(platform::DurationText(locale).text(3).contains(u'3'), odd);
            const platform::RelativeTimeText times(locale);
            QVERIFY2(times.text(-300, 0, QTimeZone::utc()).contains(u'5'), odd);
        }
        QCOMPARE(platform::DurationText(localeOf({{"LANG", "de_DE@euro"}})).text(60),
                 QStringLiteral("1 Min."));
    }
};

QTEST_GUILESS_MAIN(TestUserLocale)
#include "tst_user_locale.moc"
