// SPDX-FileCopyrightText: 2026 The Velomira Usage Monitor authors
// SPDX-License-Identifier: MIT
#include "base/url_components.h"
#include "tests/support/test_program.h"
#include "tests/support/url_text.h"

#include <QTest>

#include <thread>
#include <vector>

using namespace std::string_literals;
using platform::splitUrl;
using platform::urlHostKey;
using platform::withoutUrlQuery;

namespace {

/// The components that `address` has, by name.
std::string components(std::string_view address)
{
    const auto parts = splitUrl(address);
    if (!parts)
        return "none";
    std::string text;
    const auto add = [&text](const char* name, std::optional<std::string_view> part) {
        if (part)
            text += (text.empty() ? "" : ", ") + std::string(name) + ' ' + std::string(*part);
    };
    add("scheme", parts->scheme);
    add("user", parts->user);
    add("password", parts->password);
    add("host", parts->host);
    add("port", parts->port);
    add("path", parts->path);
    add("query", parts->query);
    add("fragment", parts->fragment);
    return text;
}

const char* const kWhole = nullptr; // as host key: the text itself

void addAddressColumns()
{
    QTest::addColumn<std::string>("address");
    QTest::addColumn<std::string>("bare");
    QTest::addColumn<std::string>("key");
}

void row(const std::string& address, const std::string& bare, const char* key)
{
    QTest::addRow("%s", address.c_str())
        << address << bare << (key == kWhole ? address : std::string(key));
}

void unchanged(const std::string& address, const char* key = kWhole)
{
    row(address, address, key);
}

} // namespace

class TestUrlComponents final : public QObject
{
    Q_OBJECT

    /// The check of every table of addresses here.
    static void compareRow()
    {
        QFETCH(std::string, address);
        QFETCH(std::string, bare);
        QFETCH(std::string, key);
        QCOMPARE(withoutUrlQuery(address), bare);
        QCOMPARE(urlHostKey(address), key);
        QCOMPARE(withoutUrlQuery(bare), bare);
        if (const auto parts = splitUrl(address)) {
            QCOMPARE(support::joined(*parts), address);
            QVERIFY(!platform::hasUrlQuery(bare));
        } else {
            QCOMPARE(bare, address);
        }
    }

private Q_SLOTS:

    void componentsComeBackAsWritten()
    {
        QCOMPARE(
            components("HTTPS://Us%65r:p:w@Example.COM:0443/a/../%7eb?q=?&r#f?#g"),
            std::string("scheme HTTPS, user Us%65r, password p:w, host Example.COM, port 0443, "
                        "path /a/../%7eb, query q=?&r, fragment f?#g"));
    }

    void absentIsNotEmpty()
    {
        QCOMPARE(components(""), std::string("path "));
        QCOMPARE(components("//"), std::string("host , path "));
        QCOMPARE(components("//:@:"), std::string("user , password , host , port , path "));
        QCOMPARE(components("//@"), std::string("user , host , path "));
        QCOMPARE(components("?#"), std::string("path , query , fragment "));
        QCOMPARE(components("a:"), std::string("scheme a, path "));
        QCOMPARE(components("#?"), std::string("path , fragment ?"));
    }

    void colonsOfAPathAreNoSchemeAndNoPort()
    {
        QCOMPARE(components("a/b:c"), std::string("path a/b:c"));
        QCOMPARE(components(":a"), std::string("path :a"));
        QCOMPARE(components("h:80"), std::string("scheme h, path 80"));
        QCOMPARE(components("s:a:b"), std::string("scheme s, path a:b"));
        QCOMPARE(components("/a://b"), std::string("path /a://b"));
    }

    void schemeIsALetterAndLettersDigitsPlusMinusDot()
    {
        for (const char* const good : {"a:", "A+-.9:", "view-source:x", "h2:x"})
            QVERIFY2(splitUrl(good).has_value(), good);
        for (const char* const bad : {"9a:", "+a:", "-a:", "a b:", "a_b:", "\u00e4:", "a%41:"})
            QVERIFY2(!splitUrl(bad), bad);
    }

    void portIsDigitsOfAnyNumber()
    {
        for (const char* const good :
             {"//h:", "//h:0", "//h:00080", "//h:99999", "//h:12345678901234567890"})
            QVERIFY2(splitUrl(good).has_value(), good);
        for (const char* const bad : {"//h:8o", "//h:-1", "//h:+1", "//h: 1", "//h:1:2", "//h:%31"})
            QVERIFY2(!splitUrl(bad), bad);
    }

    void hostIsANameOrStandsInBrackets()
    {
        for (const char* const good : {"//a-b_c.d~!$&'()*+,;=",
                                       "//%41",
                                       "//[::1]",
                                       "//[v1.a:b]",
                                       "//[fe80::1%25eth0]",
                                       "//[fe80::1%25%41]",
                                       "//[fe80::1%eth0]",
                                       "//[]",
                                       "//\u4e2d.example",
                                       "//fa\u00df.de"})
            QVERIFY2(splitUrl(good).has_value(), good);
        for (const char* const bad : {"//a b",
                                      "//a\tb",
                                      "//a|b",
                                      "//a[b",
                                      "//a]b",
                                      "//[::1",
                                      "//::1]",
                                      "//[::1]x",
                                      "//[::1]x:80",
                                      "//[a b]",
                                      "//[a@b]",
                                      "//[[a]]",
                                      "//%4",
                                      "//%zz",
                                      "//\xff",
                                      "//\u4e2d b",
                                      "//\uff1fb",  // becomes a question mark
                                      "//\u05d0a"}) // two directions in one label
            QVERIFY2(!splitUrl(bad), bad);
    }

    void userInformationEndsAtTheLastAtSign()
    {
        QCOMPARE(components("s://a@b:c@d@h:1/"),
                 std::string("scheme s, user a@b, password c@d, host h, port 1, path /"));
        QCOMPARE(components("//[a:b]:c@[::1]:2"),
                 std::string("user [a, password b]:c, host [::1], port 2, path "));
    }

    void queryIsCutOutAndTheRestKept_data()
    {
        addAddressColumns();
        row("https://user:pw@Example.COM:8443/p?q#f",
            "https://user:pw@Example.COM:8443/p#f",
            "Example.COM");
        row("https://example.com/%7Ea/%2f?x=a|b[0]", "https://example.com/%7Ea/%2f", "example.com");
        row("http://[2001:DB8::1]:080/x?y", "http://[2001:DB8::1]:080/x", "2001:DB8::1");
        row("https://h:99999/?x", "https://h:99999/", "h");
        row("https://h:12345678901234567890/?x", "https://h:12345678901234567890/", "h");
        row("https://h:/?x", "https://h:/", "h");
        row("file:///p?q#t", "file:///p#t", kWhole);
        row("about:blank?x", "about:blank", kWhole);
        row("localhost:3000/x?y", "localhost:3000/x", kWhole);
        row("mailto:a@b.c?subject=x", "mailto:a@b.c", kWhole);
        row("data:text/html,a?b", "data:text/html,a", kWhole);
        row("HTTP://WWW.a.b/?x", "HTTP://WWW.a.b/", "WWW.a.b");
        row("http://h?x", "http://h", "h");
        row("http://h?", "http://h", "h");
        row("http://h?#", "http://h#", "h");
        row("http://h/a?b?c#d?e", "http://h/a#d?e", "h");
        row("http://h/a?b#", "http://h/a#", "h");
        row("http://h/a/../b/./?x", "http://h/a/../b/./", "h");
        row("http://h//a//?x", "http://h//a//", "h");
        row("//h/a?x", "//h/a", "h");
        row("/a/b?x", "/a/b", kWhole);
        row("a/b:c?x", "a/b:c", kWhole);
        row("?x", "", kWhole);
        row("?", "", kWhole);
        row("?x#f", "#f", kWhole);
        row("http://h/?\xff\x01 |", "http://h/", "h");
        row("http://user@/?x", "http://user@/", "");
        row("http://:80/?x", "http://:80/", "");
        row("http://@/?x", "http://@/", "");
        row("http://:/?x", "http://:/", kWhole);
        row("http://%61%62.c/?x", "http://%61%62.c/", "ab.c");
        row("http://%e4%b8%ad/?x", "http://%e4%b8%ad/", "\u4e2d");
        row("http://%ff/?x", "http://%ff/", kWhole);
        row("http://[fe80::1%25eth0]/?x", "http://[fe80::1%25eth0]/", "fe80::1%eth0");
        row("http://[]/?x", "http://[]/", "");
    }

    void queryIsCutOutAndTheRestKept() { compareRow(); }

    void addressWithoutAQueryIsReturnedUnchanged_data()
    {
        addAddressColumns();
        unchanged("https://example.com/a#f?g", "example.com");
        unchanged("https://example.com", "example.com");
        unchanged("");
        unchanged("#");
        unchanged("#?x");
        unchanged("http://h/a b\xff#c?d", "h"); // not repaired either
        unchanged("http://b\u00fccher.example/", "xn--bcher-kva.example");
        unchanged("http://a b/");
        unchanged("plain text");
    }

    void addressWithoutAQueryIsReturnedUnchanged() { compareRow(); }

    void whatIsNoAddressIsReturnedUnchanged_data()
    {
        addAddressColumns();
        unchanged("192.168.0.1:80/x?y"); // a scheme does not begin with a digit
        unchanged("my host:80/x?y");
        unchanged("http://a b/?x");
        unchanged("http://a\tb/?x");
        unchanged("http://a|b/?x");
        unchanged("http://[::1/?x");
        unchanged("http://[::1]x/?x");
        unchanged("http://[a b]/?x");
        unchanged("http://h:port/?x");
        unchanged("http://a:b:c/?x");
        unchanged("http://%zz/?x");
        unchanged("http://\xff/?x");
        unchanged("http://\uff1f/?x");
        unchanged("what is this? a title");
        unchanged("100%?");
        unchanged("w\u00e4re das?");
        unchanged("a?b#c d"); // the fragment says that it is no address
        unchanged("a?b#100%");
        unchanged("http://\u05d0a/?x");
        unchanged("http://" + std::string(64, 'a') + "\u00fc/?x"); // longer than a label may be
    }

    void whatIsNoAddressIsReturnedUnchanged()
    {
        compareRow();
        QFETCH(std::string, address);
        QVERIFY(platform::hasUrlQuery(address) && !splitUrl(address));
    }

    void componentWithAnInvalidCharacterIsEscapedAsAWhole_data()
    {
        addAddressColumns();
        row("http://a/b%20c d?x", "http://a/b%2520c%20d", "a");
        row("http://a/b%20c?x#d%20e f", "http://a/b%20c#d%2520e%20f", "a");
        row("http://a/b c/d:e?x", "http://a/b%20c/d:e", "a");
        row("http://a/100%?x", "http://a/100%25", "a");
        row("http://a/%4?x", "http://a/%254", "a");
        row("http://a/%4g?x", "http://a/%254g", "a");
        row("http://a/[b]?x", "http://a/%5Bb%5D", "a");
        row("http://a/\u00e4\xff?x", "http://a/%C3%A4%FF", "a");
        row("http://a/"s + '\0' + "?x", "http://a/%00", "a");
        row("http://a/?x#"s + '\0', "http://a/#%00", "a");
        row("http://a@b@c/?x", "http://a%40b@c/", "c");
        row("http://a%41 :b%41@c/?x", "http://a%2541%20:b%41@c/", "c");
        row("http://a:b|@c/?x", "http://a:b%7C@c/", "c");
        row("s:a b:c/d:e f?x", "s:a%20b%3Ac/d:e%20f", kWhole);
        row("s:a:b?x", "s:a:b", kWhole); // valid, so the colon stays
        row("s:@ ?x", "s:@%20", kWhole);
        row("http://b\u00fccher.example/?q",
            "http://xn--bcher-kva.example/",
            "xn--bcher-kva.example");
        row("http://B\u00dcCHER.Example:80/?q",
            "http://xn--bcher-kva.example:80/",
            "xn--bcher-kva.example");
        row("http://fa\u00df.de/?q", "http://xn--fa-hia.de/", "xn--fa-hia.de");
        row("http://\u4e2d\u3002cn/?q", "http://xn--fiq.cn/", "xn--fiq.cn");
        row("http://[fe80::1%eth0]/?x", "http://[fe80::1%25eth0]/", "fe80::1%eth0");
        row("http://[fe80::1%25e h]/?x", "http://[fe80::1%2525e%20h]/", "fe80::1%25e h");
        row("http://[fe80::1%]/?x", "http://[fe80::1%25]/", "fe80::1%");
    }

    void componentWithAnInvalidCharacterIsEscapedAsAWhole()
    {
        compareRow();
        QFETCH(std::string, address);
        QFETCH(std::string, bare);
        QVERIFY(splitUrl(address) && splitUrl(bare));
        QCOMPARE(urlHostKey(bare),
                 urlHostKey(address).starts_with("s:") ? bare : urlHostKey(address));
    }

    void everyByteOfAPathIsKeptOrEscapedByTheBook()
    {
        const std::string kept = "-._~!$&'()*+,;=:@/";
        for (int byte = 0; byte < 256; ++byte) {
            const char c = static_cast<char>(byte);
            if (c == '?' || c == '#' || c == '%')
                continue;
            const bool keeps = (byte < 0x80 && std::isalnum(byte) != 0) ||
                               (byte != 0 && kept.find(c) != std::string::npos);
            const QByteArray hex = QByteArray::number(byte, 16).toUpper().rightJustified(2, '0');
            const std::string expected = keeps ? std::string(1, c) : "%" + hex.toStdString();
            QCOMPARE(withoutUrlQuery("http://h/" + std::string(1, c) + "?x"),
                     "http://h/" + expected);
        }
    }

    void lengthOfAnAddressHasNoLimitButForItsNameInAnotherScript()
    {
        const std::string name(1'000'000, 'a');
        QCOMPARE(withoutUrlQuery("http://" + name + "/" + name + "?" + name),
                 "http://" + name + "/" + name);
        std::string hyphens; // soft ones, which vanish
        for (int i = 0; i < 32'767; ++i)
            hyphens += "\u00ad";
        QCOMPARE(urlHostKey("http://\u00fc" + hyphens + "/"), std::string("xn--tda"));
        QVERIFY(!splitUrl("http://\u00fc" + hyphens + "a/"));
    }

    void namesInOtherScriptsMayBeConvertedOnManyThreads()
    {
        std::vector<std::thread> threads;
        std::vector<std::string> keys(4);
        for (std::string& key : keys)
            threads.emplace_back([&key] { key = urlHostKey("http://b\u00fccher.example/"); });
        for (std::thread& thread : threads)
            thread.join();
        QCOMPARE(keys, std::vector<std::string>(4, "xn--bcher-kva.example"));
    }
};

QUILLSTEP_TEST(TestUrlComponents)
#include "tst_url_components.moc"
