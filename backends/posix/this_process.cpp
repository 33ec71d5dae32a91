// SPDX-FileCopyrightText: 2026 The Velomira Usage Monitor authors
// SPDX-License-Identifier: MIT
#include "backends/posix/this_process.h"

#include <array>
#include <cerrno>
#include <csignal>
#include <cstdint>
#include <cstdlib>
#include <link.h>
#include <malloc.h>
#include <optional>
#include <span>
#include <sys/eventfd.h>
#include <sys/mman.h>
#include <sys/prctl.h>
#include <sys/resource.h>
#include <unistd.h>

namespace platform::posix {

namespace {

/// The limit for core files before it was lowered; none in a process that is not shielded.
std::optional<rlim_t>& usualCoreLimit()
{
    static std::optional<rlim_t> limit;
    return limit;
}

/// The soft limit only: the hard one could not be raised again for programs that are started.
void setCoreLimit(rlim_t soft)
{
    rlimit limit{};
    if (::getrlimit(RLIMIT_CORE, &limit) != 0)
        return;
    limit.rlim_cur = soft;
    ::setrlimit(RLIMIT_CORE, &limit);
}

// NOLINTBEGIN(cppcoreguidelines-pro-type-vararg): the system's way

bool isTraceable()
{
    return ::prctl(PR_GET_DUMPABLE) != 0;
}

void setTraceable(bool isTraceable)
{
    ::prctl(PR_SET_DUMPABLE, isTraceable ? 1UL : 0UL);
}

// NOLINTEND(cppcoreguidelines-pro-type-vararg)

constexpr unsigned long kUsual = 0;            // the system's name for what the thread began with
constexpr unsigned long kLongest = 50'000'000; // nanoseconds

unsigned long slack()
{
    return static_cast<unsigned long>(::prctl(PR_GET_TIMERSLACK));
}

void setSlack(unsigned long nanoseconds)
{
    ::prctl(PR_SET_TIMERSLACK, nanoseconds);
}

// In the loader's lists addresses are numbers, and values are unions.
// NOLINTBEGIN(performance-no-int-to-ptr,cppcoreguidelines-pro-type-union-access)

/// What the loader has written into is not in the file as it is in memory.
bool isPatched(const dl_phdr_info& object, const ElfW(Phdr) & dynamic)
{
    const auto* entry = reinterpret_cast<const ElfW(Dyn)*>(object.dlpi_addr + dynamic.p_vaddr);
    for (; entry->d_tag != DT_NULL; ++entry) {
        if (entry->d_tag == DT_TEXTREL ||
            (entry->d_tag == DT_FLAGS && (entry->d_un.d_val & DF_TEXTREL) != 0))
            return true;
    }
    return false;
}

int letGoOfFile(dl_phdr_info* object, std::size_t /*size*/, void* /*data*/)
{
    const std::span segments(object->dlpi_phdr, object->dlpi_phnum);
    for (const ElfW(Phdr) & segment : segments) {
        if (segment.p_type == PT_DYNAMIC && isPatched(*object, segment))
            return 0;
    }
    const auto page = static_cast<std::uintptr_t>(::sysconf(_SC_PAGESIZE));
    for (const ElfW(Phdr) & segment : segments) {
        if (segment.p_type != PT_LOAD || (segment.p_flags & PF_W) != 0)
            continue;
        // Mapped in whole pages, from the one that it begins in to the one that it ends in.
        const std::uintptr_t begin = (object->dlpi_addr + segment.p_vaddr) & ~(page - 1);
        const std::uintptr_t end = object->dlpi_addr + segment.p_vaddr + segment.p_memsz;
        ::madvise(reinterpret_cast<void*>(begin), end - begin, MADV_DONTNEED);
    }
    return 0;
}

// NOLINTEND(performance-no-int-to-ptr,cppcoreguidelines-pro-type-union-access)

constexpr std::array kVariables{
    // D-Bus, "Message Bus Starting Services"
    "DBUS_STARTER_ADDRESS",
    "DBUS_STARTER_BUS_TYPE",
    // GIO, for the process that was launched
    "GIO_LAUNCHED_DESKTOP_FILE",
    "GIO_LAUNCHED_DESKTOP_FILE_PID",
    // systemd.exec(5), sd_notify(3), sd_listen_fds(3), sd_watchdog_enabled(3)
    "INVOCATION_ID",
    "JOURNAL_STREAM",
    "LISTEN_FDNAMES",
    "LISTEN_FDS",
    "LISTEN_PID",
    "MANAGERPID",
    "NOTIFY_SOCKET",
    "SYSTEMD_EXEC_PID",
    "WATCHDOG_PID",
    "WATCHDOG_USEC",
};

/// Counts the signals that wait. One for the process, like what it is about; never closed.
int waiting()
{
    static const int descriptor = ::eventfd(0, EFD_CLOEXEC | EFD_NONBLOCK);
    return descriptor;
}

/// Only what a signal handler may do; the descriptor is there before the handler is.
void count(int /*signal*/)
{
    const int before = errno;
    const std::uint64_t one = 1;
    static_cast<void>(::write(waiting(), &one, sizeof one));
    errno = before;
}

int heldSignals()
{
    TerminationSignals::hold();
    ::signal(SIGPIPE, SIG_IGN);
    return waiting();
}

} // namespace

void shieldThisProcess()
{
    rlimit limit{};
    if (::getrlimit(RLIMIT_CORE, &limit) == 0)
        usualCoreLimit() = limit.rlim_cur;
    setCoreLimit(0);
    setTraceable(false);
}

LoweredShield::LoweredShield()
    : m_isLowered(!isTraceable())
{
    if (m_isLowered)
        setTraceable(true);
}

LoweredShield::~LoweredShield()
{
    if (m_isLowered)
        setTraceable(false);
}

UsualCoreLimit::UsualCoreLimit()
{
    if (const auto limit = usualCoreLimit())
        setCoreLimit(*limit);
}

UsualCoreLimit::~UsualCoreLimit()
{
    if (usualCoreLimit())
        setCoreLimit(0);
}

void letTimersWait(bool mayWait)
{
    setSlack(mayWait ? kLongest : kUsual);
}

UsualTimerSlack::UsualTimerSlack()
    : m_before(slack())
{
    setSlack(kUsual);
}

UsualTimerSlack::~UsualTimerSlack()
{
    setSlack(m_before);
}

void letGoOfSpareMemory()
{
    ::malloc_trim(0);
    ::dl_iterate_phdr(letGoOfFile, nullptr);
}

void forgetHowThisProgramWasStarted()
{
    for (const char* name : kVariables)
        ::unsetenv(name); // NOLINT(concurrency-mt-unsafe)
}

TerminationSignals::TerminationSignals()
    : m_notifier(heldSignals(), QSocketNotifier::Read)
{
    connect(&m_notifier, &QSocketNotifier::activated, this, &TerminationSignals::take);
}

void TerminationSignals::hold()
{
    static_cast<void>(waiting());
    struct sigaction action = {};
    action.sa_handler = count;
    action.sa_flags = SA_RESTART;
    for (const int signal : std::array{SIGTERM, SIGINT, SIGHUP})
        ::sigaction(signal, &action, nullptr);
}

void TerminationSignals::take()
{
    std::uint64_t signals = 0;
    if (::read(waiting(), &signals, sizeof signals) == sizeof signals)
        Q_EMIT requested();
}

} // namespace platform::posix
