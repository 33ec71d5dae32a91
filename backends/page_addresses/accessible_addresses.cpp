// SPDX-FileCopyrightText: 2026 The Velomira Usage Monitor authors
// SPDX-License-Identifier: MIT
#include "backends/page_addresses/accessible_addresses.h"

#include "backends/posix/process.h"
#include "backends/xdg/known_browsers.h"

#include <QRegularExpression>
#include <QStringList>

#include <algorithm>
#include <chrono>
#include <utility>

namespace platform::atspi {

namespace {

constexpr std::chrono::milliseconds kFresh{2000};
// Callers ask once a second, and may ask several times at once.
constexpr std::chrono::milliseconds kLeast{500};
constexpr std::chrono::milliseconds kLongestSearch{3000};
constexpr std::chrono::milliseconds kBetweenSearches = std::chrono::seconds(10);
// A browser may tell of a new title a moment later than the desktop.
constexpr std::chrono::milliseconds kRetry{150};
constexpr int kRetries = 4;
constexpr qsizetype kMostWindows = 256;
constexpr qsizetype kMostOfOneTitle = 16;
// Of GNOME Web; each shows the tabs of one site.
constexpr qsizetype kMostPageProcesses = 48;
constexpr qsizetype kMostCached = 64;
constexpr qsizetype kMostChildren = 16;
constexpr int kDeepest = 3; // usual are two
constexpr qint64 kLongestCommandLine = 65'536;
constexpr qsizetype kCompared = 64;
constexpr qsizetype kLongestAddress = 16'384;

QByteArray commandLineOf(std::int32_t process)
{
    QByteArray line = posix::readProcessFile(process, "cmdline", kLongestCommandLine);
    // Cut, it may miss an option.
    return line.size() < kLongestCommandLine ? line : QByteArray();
}

/// Private windows of the Chromium family are told by their names, see mayShow().
bool mayBeAsked(const browsers::FrontBrowser& front)
{
    if (front.processIdentifier <= 0 || front.windowTitle.isEmpty())
        return false;
    return front.family == browsers::Family::Chromium ||
           isGnomeWebWithHistory(commandLineOf(front.processIdentifier));
}

Told<AccessibleObject> programOf(Asker asker, std::int32_t process)
{
    const std::optional<Objects> told = co_await programsOnBus(asker);
    const Objects programs = told.value_or(Objects());
    const auto ask = [asker](const AccessibleObject& program) {
        return processOf(asker, program.service);
    };
    const QList<std::optional<quint32>> processes = co_await askEach(programs, ask);
    const qsizetype found = processes.lastIndexOf(std::optional(static_cast<quint32>(process)));
    if (found < 0)
        co_return std::nullopt;
    co_return programs.at(found);
}

/// The one window of the title; when several have it and `isActiveTrusted`, the one that says that
/// it is active. None when it cannot be told which is meant.
Told<AccessibleObject> frameAmong(Asker asker, Objects windows, QString title, bool isActiveTrusted)
{
    const auto askName = [asker](const AccessibleObject& window) {
        return nameOf(asker, window);
    };
    const QList<std::optional<QString>> names = co_await askEach(windows, askName);
    Objects titled;
    for (qsizetype i = 0; i < windows.size(); ++i) {
        if (names.at(i) == title)
            titled.append(windows.at(i));
    }
    if (titled.size() == 1)
        co_return titled.constFirst();
    if (!isActiveTrusted || titled.size() > kMostOfOneTitle)
        co_return std::nullopt;
    std::optional<AccessibleObject> active = co_await activeAmong(asker, titled);
    co_return active;
}

/// The address of a document whose title may be the window's.
Told<QString> addressIn(Asker asker, AccessibleObject document, QString windowTitle)
{
    const std::optional<Attributes> attributes = co_await attributesOf(asker, document, kDocument);
    std::optional<QString> address = addressAmong(attributes.value_or(Attributes()));
    if (!address)
        co_return std::nullopt;
    const std::optional<QString> title = co_await nameOf(asker, document);
    if (!title || !mayShow(windowTitle, *title))
        co_return std::nullopt;
    co_return address;
}

/// The address of the document below `object` that has exactly the title.
Told<QString> addressBelow(Asker asker, AccessibleObject object, QString title)
{
    for (int depth = 0; depth <= kDeepest; ++depth) {
        const std::optional<quint32> role = co_await roleOf(asker, object);
        if (role == kRoleDocumentWeb) {
            const std::optional<Attributes> attributes =
                co_await attributesOf(asker, object, kDocument);
            if (!attributes || attributes->value(QStringLiteral("Title")) != title)
                co_return std::nullopt;
            co_return addressAmong(*attributes);
        }
        if (!role || depth == kDeepest)
            co_return std::nullopt;
        const std::optional<Objects> below = co_await childrenOf(asker, object, kMostChildren);
        if (!below || below->isEmpty())
            co_return std::nullopt;
        object = below->constFirst();
    }
    co_return std::nullopt;
}

/// The one address of pages of this title in GNOME Web.
Told<QString> addressAmongPages(Asker asker, QString browser, QString title)
{
    QStringList processes = co_await namesOnBus(asker);
    processes = processes.filter(QLatin1StringView(".WebProcess-"));
    if (processes.size() > kMostPageProcesses)
        co_return std::nullopt;
    processes = processes.filter(QRegularExpression(QStringLiteral("^org\\.gnome\\.Epiphany")));
    const auto askPages = [asker, browser](const QString& process) {
        return objectsBelow(asker, process, browser, kMostCached);
    };
    const QList<Objects> pages = co_await askEach(processes, askPages);
    Objects all;
    for (const Objects& some : pages)
        all += some;
    const auto askAddress = [asker, title](const AccessibleObject& page) {
        return addressBelow(asker, page, title);
    };
    const QList<std::optional<QString>> found = co_await askEach(all, askAddress);
    QStringList addresses;
    for (const std::optional<QString>& address : found) {
        if (address && !addresses.contains(*address))
            addresses.append(*address);
    }
    if (addresses.size() != 1)
        co_return std::nullopt;
    co_return addresses.constFirst();
}

/// What a search has come to.
struct SearchResult
{
    /// The program that is the browser's process; none when there is none or it does not answer.
    std::optional<AccessibleObject> program;
    /// None when the window is private, or anything is in doubt.
    std::optional<FoundPage> page;
};

/// Searches for the page in a browser's window: the program that is the window's process, its
/// window of exactly this title, the document that is on show there; with GNOME Web the page among
/// the processes that draw its pages. `program` is that of an earlier search.
QCoro::Task<SearchResult>
findPage(Asker asker, browsers::FrontBrowser front, std::optional<AccessibleObject> program)
{
    SearchResult result{.program = program, .page = std::nullopt};
    if (!result.program)
        result.program = co_await programOf(asker, front.processIdentifier);
    if (!result.program)
        co_return result;
    const std::optional<Objects> windows =
        co_await childrenOf(asker, *result.program, kMostWindows);
    if (!windows) {
        result.program.reset();
        co_return result;
    }
    // Windows of Chromium that are not active may say that they are.
    const bool isChromium = front.family == browsers::Family::Chromium;
    const std::optional<AccessibleObject> frame =
        co_await frameAmong(asker, *windows, front.windowTitle, !isChromium);
    if (!frame)
        co_return result;
    const std::optional<Objects> documents = co_await relatedTo(asker, *frame, kRelationEmbeds);
    // Only GNOME Web has its pages elsewhere.
    if (!documents || documents->isEmpty() == isChromium)
        co_return result;
    FoundPage page{.address = {}, .frame = *frame, .document = std::nullopt};
    std::optional<QString> address;
    if (isChromium) {
        page.document = documents->constFirst();
        address = co_await addressIn(asker, *page.document, front.windowTitle);
    } else {
        address = co_await addressAmongPages(asker, result.program->service, front.windowTitle);
    }
    if (!address)
        co_return result;
    // A page may have taken the place of the one that was asked for.
    const std::optional<QString> title = co_await nameOf(asker, *frame);
    if (title != front.windowTitle)
        co_return result;
    page.address = *address;
    result.page = page;
    co_return result;
}

} // namespace

AccessibleAddresses::AccessibleAddresses(AccessibilityBus& bus)
    : m_bus(bus)
{
    m_retry.setSingleShot(true);
    m_retry.setInterval(kRetry);
    connect(&m_retry, &QTimer::timeout, this, &AccessibleAddresses::search);
    connect(&m_bus, &AccessibilityBus::changed, this, [this] {
        forget();
        m_program.reset();
    });
}

std::optional<QString> AccessibleAddresses::addressIn(const browsers::FrontBrowser& front)
{
    if (!(front == m_front)) {
        forget();
        m_front = front;
    }
    if (!m_bus.isOn() || !mayBeAsked(front))
        return std::nullopt;
    if (m_search && m_begun.hasExpired(kLongestSearch.count())) {
        qCInfo(lcAccessibility, "the search for a page takes too long");
        m_search.reset();
    }
    const bool isDue = !m_begun.isValid() || m_begun.hasExpired(kLeast.count());
    if (!m_search && !m_retry.isActive() && isDue) {
        if (m_page && m_page->document && !m_searched.hasExpired(kBetweenSearches.count()))
            lookAgain(*m_page, *m_page->document);
        else
            search();
    }
    const bool isFresh = m_found.isValid() && !m_found.hasExpired(kFresh.count());
    return isFresh && m_page ? std::optional(m_page->address) : std::nullopt;
}

QString AccessibleAddresses::state() const
{
    return m_bus.isOn() ? QStringLiteral("accessibility bus: on")
                        : QStringLiteral("accessibility bus: accessibility is off");
}

void AccessibleAddresses::forget()
{
    m_front = {};
    m_search.reset();
    m_retry.stop();
    m_retriesLeft = kRetries;
    m_page.reset();
    m_found.invalidate();
    m_begun.invalidate();
}

QCoro::Task<> AccessibleAddresses::search()
{
    m_begun.start();
    m_searched.start();
    m_search = newSearch();
    const Asker asker(m_bus, m_search);
    const std::int32_t process = m_front.processIdentifier;
    if (std::exchange(m_programProcess, process) != process)
        m_program.reset();
    const SearchResult result = co_await findPage(asker, m_front, m_program);
    if (asker.isCancelled())
        co_return;
    m_search.reset();
    m_program = result.program;
    m_page = result.page;
    m_found.start();
    qCDebug(lcAccessibility) << "a page was searched for; found:" << m_page.has_value();
    if (m_page || m_retriesLeft == 0)
        co_return;
    --m_retriesLeft;
    m_retry.start();
}

/// A page may come without a new title, and another document may have the title of this one.
QCoro::Task<> AccessibleAddresses::lookAgain(FoundPage page, AccessibleObject document)
{
    m_begun.start();
    m_search = newSearch();
    const Asker asker(m_bus, m_search);
    Told<Objects> shown = relatedTo(asker, page.frame, kRelationEmbeds);
    Told<Attributes> told = attributesOf(asker, document, kDocument);
    const std::optional<Objects> documents = co_await shown;
    const std::optional<Attributes> attributes = co_await told;
    if (asker.isCancelled())
        co_return;
    m_search.reset();
    if (documents && !documents->isEmpty() && documents->constFirst() == document && attributes &&
        addressAmong(*attributes) == page.address) {
        m_found.start();
    } else {
        m_page.reset();
        search();
    }
}

bool mayShow(const QString& window, const QString& page)
{
    const QString shown = window.simplified();
    const QString title = page.simplified();
    if (!shown.startsWith(title.left(kCompared)))
        return false;
    const QString rest = shown.startsWith(title) ? shown.mid(title.size()) : shown.mid(kCompared);
    return !browsers::hasBracket(rest);
}

std::optional<QString> addressAmong(const Attributes& attributes)
{
    QString address = attributes.value(QStringLiteral("URI"));
    if (address.isEmpty() || address.toUtf8().size() > kLongestAddress)
        return std::nullopt;
    return address;
}

bool isGnomeWebWithHistory(const QByteArray& commandLine)
{
    static const QList<QByteArray> harmless{"--new-window", "--gapplication-service"};
    const QList<QByteArray> words = commandLine.split('\0');
    const QByteArray& path = words.constFirst();
    return path.mid(path.lastIndexOf('/') + 1).contains("epiphany") &&
           std::all_of(words.cbegin() + 1, words.cend(), [](const QByteArray& word) {
               return !word.startsWith('-') || harmless.contains(word);
           });
}

} // namespace platform::atspi
