#include "qvcore/runtime/Thread.h"

#include "qvcore/core/CriticalSection_p.h"

#include <mmsystem.h>
#include <objbase.h>
#include <process.h>

#include <map>
#include <new>

// --- Thread ------------------------------------------------------------------------------

Thread::Thread() {}

Thread::~Thread() {}

void Thread::init(bool) {}

unsigned __stdcall Thread::threadMain(void *self)
{
    Thread *thread = static_cast<Thread *>(self);
    thread->init(true);
    thread->run();
    thread->init(false);
    return 0;
}

namespace {

// Guards every Thread's attached handle: the handle of a run can be released by any thread
// that sees the run end, while others wait on it or a start attaches the next. One lock for
// all threads, because a Thread's layout holds nothing but its handle; it is never held during
// a wait that can block.
SRWLOCK attachedRunsLock = SRWLOCK_INIT;

}  // namespace

bool Thread::releaseIfEnded() const
{
    // Whatever run is attached now, a wait that does not time out means it is over, or that
    // its handle cannot be waited on, which is of no further use either.
    if (handle_ && WaitForSingleObject(handle_.get(), 0) != WAIT_TIMEOUT)
        handle_.reset();
    return !handle_;
}

bool Thread::start(Priority priority)
{
    for (;;) {
        waitForEnd(INFINITE);
        ExclusiveGuard guard(attachedRunsLock);
        // Another start may have attached its run since the wait: wait for that one too.
        if (!releaseIfEnded())
            continue;
        uintptr_t created = _beginthreadex(nullptr, 0, threadMain, this, CREATE_SUSPENDED, nullptr);
        if (created == 0)
            return false;
        handle_.reset(reinterpret_cast<HANDLE>(created));
        SetThreadPriority(handle_.get(), priority);
        ResumeThread(handle_.get());
        return true;
    }
}

bool Thread::waitForEnd(unsigned long timeoutMs) const
{
    if (timeoutMs != 0) {
        // Wait on a handle of our own, so that a release by another thread meanwhile cannot
        // close the handle under the wait.
        ScopedKernelHandle run;
        {
            SharedGuard guard(attachedRunsLock);
            if (!handle_)
                return true;
            HANDLE duplicate = nullptr;
            if (DuplicateHandle(GetCurrentProcess(), handle_.get(), GetCurrentProcess(), &duplicate, SYNCHRONIZE,
                                FALSE, 0))
                run.reset(duplicate);
        }
        if (run && WaitForSingleObject(run.get(), timeoutMs) == WAIT_TIMEOUT)
            return false;
    } else {
        // Polling a run that goes on is the common case: it needs no more than the shared lock,
        // so pollers and a start do not queue behind each other for it.
        SharedGuard guard(attachedRunsLock);
        if (!handle_)
            return true;
        if (WaitForSingleObject(handle_.get(), 0) == WAIT_TIMEOUT)
            return false;
    }
    ExclusiveGuard guard(attachedRunsLock);
    return releaseIfEnded();
}

bool Thread::isRunning() const
{
    return !waitForEnd(0);
}

void Thread::setPriority(Priority priority)
{
    SharedGuard guard(attachedRunsLock);
    if (handle_)
        SetThreadPriority(handle_.get(), priority);
}

// --- COMThread ---------------------------------------------------------------------------

void COMThread::init(bool starting)
{
    if (starting)
        CoInitialize(nullptr);
    else
        CoUninitialize();
}

// --- multimedia timers -------------------------------------------------------------------

namespace {

// What the system's timer thread reads on each tick. The system's own synchronous kill waits
// for a tick under way, which deadlocks when the tick waits for the killer: a kill from the
// tick itself, or by a thread holding a lock the tick takes. So the timer is killed without
// waiting, and each tick first claims the right to call the target: once QvKillTimer has
// taken it away, no call of OnTimer begins.
struct TimerRecord {
    ITimerTarget *target;
    // 0 until killed; ticks and the kill each hold a reference to the record.
    volatile LONG killed;
    volatile LONG references;
};

void release(TimerRecord *record)
{
    if (InterlockedDecrement(&record->references) == 0)
        delete record;
}

// The records of live timers by identifier, for QvKillTimer. Never held while a target runs.
CriticalSection timersLock;
std::map<unsigned int, TimerRecord *> &timers()
{
    static std::map<unsigned int, TimerRecord *> all;
    return all;
}

void CALLBACK timerProc(UINT timerId, UINT, DWORD_PTR user, DWORD_PTR, DWORD_PTR)
{
    TimerRecord *record = reinterpret_cast<TimerRecord *>(user);
    {
        CriticalSectionGuard guard(timersLock);
        if (record->killed)
            return;
        InterlockedIncrement(&record->references);
    }
    if (record->target)
        record->target->OnTimer(timerId);
    release(record);
}

}  // namespace

unsigned int QvSetTimer(unsigned int resolutionMs, unsigned int delayMs, ITimerTarget *target, bool periodic)
{
    TimerRecord *record = new (std::nothrow) TimerRecord{target, 0, 1};
    if (!record)
        return 0;
    // The lock also keeps a first tick from reading the record before it is in the table.
    CriticalSectionGuard guard(timersLock);
    unsigned int id = timeSetEvent(delayMs, resolutionMs, timerProc, reinterpret_cast<DWORD_PTR>(record),
                                   periodic ? TIME_PERIODIC : TIME_ONESHOT);
    if (!id) {
        delete record;
        return 0;
    }
    timers()[id] = record;
    return id;
}

void QvKillTimer(unsigned int timerId)
{
    TimerRecord *record = nullptr;
    {
        CriticalSectionGuard guard(timersLock);
        auto found = timers().find(timerId);
        if (found == timers().end())
            return;
        record = found->second;
        timers().erase(found);
        // Under the lock: a tick that has not claimed its call yet never will.
        record->killed = 1;
    }
    timeKillEvent(timerId);
    release(record);
}
