// SPDX-FileCopyrightText: 2026 The Velomira Usage Monitor authors
// SPDX-License-Identifier: MIT
#pragma once

#include <QObject>
#include <QSocketNotifier>

#include <sys/resource.h>
#include <unistd.h>

namespace platform::posix {

/// From now on other processes of the user cannot trace this one, nor read its memory or what the
/// kernel shows only to who may trace it (proc(5)), and it leaves no core file. Root still can.
/// Programs that it starts begin unshielded, but inherit the limit for core files: UsualCoreLimit.
/// Of the whole process; once, before other threads.
void shieldThisProcess();

/// Lets other processes of the user see for a moment which executable this one runs, and with that
/// all the rest: while an object exists, a shielded process may be traced. Core files it leaves
/// none all the same. Does nothing to a process that is not shielded.
/// One at a time.
class LoweredShield final
{
public:
    LoweredShield();
    LoweredShield(const LoweredShield&) = delete;
    LoweredShield& operator=(const LoweredShield&) = delete;
    ~LoweredShield();

private:
    bool m_isLowered;
};

/// While an object exists, programs that are started get the limit for core files that this one was
/// started with. This one, being shielded, leaves none whatever the limit is.
/// One at a time.
class UsualCoreLimit final
{
public:
    UsualCoreLimit();
    UsualCoreLimit(const UsualCoreLimit&) = delete;
    UsualCoreLimit& operator=(const UsualCoreLimit&) = delete;
    ~UsualCoreLimit();
};

/// Whether timers of the calling thread may run out up to 50 ms late, so that the system can wake
/// up for several at a time, its other programs' included. Threads and programs that it starts
/// meanwhile have that in common with it.
void letTimersWait(bool mayWait);

/// While an object exists, programs that this thread starts have the timers that it was started
/// with.
class UsualTimerSlack final
{
public:
    UsualTimerSlack();
    UsualTimerSlack(const UsualTimerSlack&) = delete;
    UsualTimerSlack& operator=(const UsualTimerSlack&) = delete;
    ~UsualTimerSlack();

private:
    unsigned long m_before;
};

/// Makes the calling thread give way to ordinary work (nice 10). Not the lowest there is: under
/// eight busy threads on two cores 50 ms of work took a thread of nice 19 up to 16 s, and one of
/// SCHED_IDLE never ended, while samples waited to be saved. Cannot be taken back.
inline void enterBackground()
{
    // On Linux the value belongs to the thread. Failing would only cost politeness.
    ::setpriority(PRIO_PROCESS, static_cast<id_t>(::gettid()), 10);
}

/// Gives back what the process holds and may not need again: free memory of the heap, and the pages
/// of the program and its libraries as they are in their files. What is needed again is mapped
/// again, mostly out of memory; so this is for the end of a busy time, not for one that goes on.
/// Takes about a millisecond, and the first calls afterwards some more. Any thread.
void letGoOfSpareMemory();

/// Removes from the environment what was said to this process alone by whoever started it: the
/// message bus, the service manager, the launcher. Programs that are opened from here would take it
/// for theirs. What the toolkit takes for itself (activation) stays, and it removes that.
/// Before there are threads.
void forgetHowThisProgramWasStarted();

/// Turns SIGTERM, SIGINT and SIGHUP into a Qt signal, so that the process ends in its own time and
/// order. Main thread, with an application; one at a time. A reader that leaves the other end of
/// our standard output does not end the process from then on (SIGPIPE is ignored).
/// Programs that this process starts or becomes have the signals as the system gives them: they are
/// caught here, not blocked, and a block would be inherited.
class TerminationSignals final : public QObject
{
    Q_OBJECT

public:
    TerminationSignals();

    /// Keeps the signals from ending the process by themselves; they wait for an object of this
    /// class. For the time before there is an application.
    static void hold();

Q_SIGNALS:
    void requested();

private:
    void take();

    QSocketNotifier m_notifier;
};

} // namespace platform::posix
