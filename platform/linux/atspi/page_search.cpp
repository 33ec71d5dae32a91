// SPDX-FileCopyrightText: 2026 The Velomira Usage Monitor authors
// SPDX-License-Identifier: MIT
#include "platform/linux/atspi/page_search.h"

#include "platform/linux/atspi/accessibility_bus.h"
#include "platform/linux/atspi/accessible_reply.h"
#include "platform/linux/atspi/browser_memory.h"
#include "platform/linux/atspi/firefox_history.h"
#include "platform/linux/atspi/frame_search.h"
#include "platform/linux/atspi/page_rules.h"
#include "platform/linux/atspi/private_window_check.h"
#include "platform/linux/atspi/program_search.h"
#include "platform/linux/atspi/web_process_search.h"
#include "platform/linux/browsers/page_title.h"

#include <QFile>
#include <QTimer>

#include <utility>

namespace platform::atspi {

namespace {

constexpr qint64 kLongestCommandLine = 65'536;

QByteArray commandLineOf(std::int32_t process)
{
    QFile file(QStringLiteral("/proc/%1/cmdline").arg(process));
    QByteArray line =
        file.open(QIODevice::ReadOnly) ? file.read(kLongestCommandLine) : QByteArray();
    // Cut, it may miss an option.
    return line.size() < kLongestCommandLine ? line : QByteArray();
}

} // namespace

PageSearch::PageSearch(AccessibilityBus& bus,
                       BrowserMemory& memory,
                       FirefoxHistory& history,
                       browsers::FrontBrowser front)
    : m_bus(bus)
    , m_memory(memory)
    , m_history(history)
    , m_front(std::move(front))
{
}

PageSearch::~PageSearch() = default;

void PageSearch::start()
{
    if (const auto program = m_memory.program(m_front.processIdentifier)) {
        findFrame(*program);
        return;
    }
    m_programSearch = std::make_unique<ProgramSearch>(m_bus, m_front.processIdentifier);
    connect(m_programSearch.get(),
            &ProgramSearch::finished,
            this,
            [this](const std::optional<AccessibleObject>& program) {
                if (!program) {
                    finish(std::nullopt);
                    return;
                }
                m_memory.setProgram(m_front.processIdentifier, *program);
                findFrame(*program);
            });
    m_programSearch->start();
}

void PageSearch::findFrame(const AccessibleObject& program)
{
    m_program = program;
    // Windows of Chromium that are not active may say that they are.
    const bool isActiveTrusted = m_front.family != browsers::Family::Chromium;
    m_frameSearch =
        std::make_unique<FrameSearch>(m_bus, program, m_front.windowTitle, isActiveTrusted);
    connect(m_frameSearch.get(),
            &FrameSearch::finished,
            this,
            [this](const std::optional<AccessibleObject>& frame, bool isGone) {
                if (isGone)
                    m_memory.forgetProgram(m_front.processIdentifier);
                if (frame)
                    findDocument(*frame);
                else
                    finish(std::nullopt);
            });
    m_frameSearch->start();
}

void PageSearch::findDocument(const AccessibleObject& frame)
{
    m_frame = frame;
    give(
        m_bus.ask(frame, QStringLiteral("GetRelationSet"), this, [this](const QDBusMessage& reply) {
            const auto documents = relatedIn(reply, kRelationEmbeds);
            if (!documents)
                finish(std::nullopt);
            else if (!documents->isEmpty())
                checkPrivacy(documents->constFirst());
            else
                findWebProcess();
        }));
}

void PageSearch::checkPrivacy(const AccessibleObject& document)
{
    // Private windows of the Chromium family are told by their names, see mayShow().
    if (m_front.family == browsers::Family::Chromium) {
        askDocument(document);
        return;
    }
    if (!browsers::endsLikeOpenWindowOfFirefox(m_front.windowTitle) ||
        !m_history.isKeptBy(m_front.processIdentifier)) {
        finish(std::nullopt);
        return;
    }
    if (m_memory.isPrivate(m_frame) == false) {
        askDocument(document);
        return;
    }
    const QByteArray commandLine = commandLineOf(m_front.processIdentifier);
    if (commandLine.isEmpty() || isPrivateThroughout(commandLine))
        m_memory.setPrivate(m_frame, true);
    if (m_memory.isPrivate(m_frame)) {
        finish(std::nullopt);
        return;
    }
    m_check = std::make_unique<PrivateWindowCheck>(m_bus, m_frame);
    connect(m_check.get(),
            &PrivateWindowCheck::finished,
            this,
            [this, document](std::optional<bool> isFound) {
                if (isFound)
                    m_memory.setPrivate(m_frame, *isFound);
                if (isFound == false)
                    askDocument(document);
                else
                    finish(std::nullopt);
            });
    m_check->start();
}

void PageSearch::findWebProcess()
{
    if (m_front.family == browsers::Family::Chromium ||
        !keepsHistory(commandLineOf(m_front.processIdentifier))) {
        finish(std::nullopt);
        return;
    }
    m_webProcesses = std::make_unique<WebProcessSearch>(m_bus, m_program, m_front.windowTitle);
    connect(m_webProcesses.get(),
            &WebProcessSearch::finished,
            this,
            [this](const std::optional<QString>& address) {
                if (address)
                    askFrameAgain(*address);
                else
                    finish(std::nullopt);
            });
    m_webProcesses->start();
}

void PageSearch::askDocument(const AccessibleObject& document)
{
    m_document = document;
    give(m_bus.call(document,
                    QStringLiteral("org.a11y.atspi.Document"),
                    QStringLiteral("GetAttributes"),
                    {},
                    this,
                    [this, document](const QDBusMessage& reply) {
                        const auto attributes = attributesIn(reply);
                        const auto address = attributes ? addressAmong(*attributes) : std::nullopt;
                        if (address)
                            askTitle(document, *address);
                        else
                            finish(std::nullopt);
                    }));
}

void PageSearch::askTitle(const AccessibleObject& document, const QString& address)
{
    give(m_bus.getText(
        document, QStringLiteral("Name"), this, [this, address](const QDBusMessage& reply) {
            const std::optional<QString> title = textPropertyIn(reply);
            if (title && mayShow(m_front.windowTitle, *title, m_front.family))
                askFrameAgain(address);
            else
                finish(std::nullopt);
        }));
}

// A page may have taken the place of the one that was asked for.
void PageSearch::askFrameAgain(const QString& address)
{
    give(m_bus.getText(
        m_frame, QStringLiteral("Name"), this, [this, address](const QDBusMessage& reply) {
            finish(textPropertyIn(reply) == m_front.windowTitle ? std::optional(address)
                                                                : std::nullopt);
        }));
}

void PageSearch::give(bool isAsked)
{
    if (!isAsked)
        QTimer::singleShot(0, this, [this] { finish(std::nullopt); });
}

void PageSearch::finish(const std::optional<QString>& address)
{
    if (address)
        Q_EMIT finished(FoundPage{.address = *address, .frame = m_frame, .document = m_document});
    else
        Q_EMIT finished(std::nullopt);
}

} // namespace platform::atspi
