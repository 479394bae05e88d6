#include "qvcore/runtime/Thread.h"

#include <mmsystem.h>
#include <objbase.h>
#include <process.h>

// --- Thread ------------------------------------------------------------------------------

Thread::Thread() : handle_(nullptr) {}

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

bool Thread::start(Priority priority)
{
    if (handle_)
        waitForEnd(INFINITE);
    uintptr_t created = _beginthreadex(nullptr, 0, threadMain, this, CREATE_SUSPENDED, nullptr);
    if (created == 0)
        return false;
    handle_ = reinterpret_cast<HANDLE>(created);
    setPriority(priority);
    ResumeThread(handle_);
    return true;
}

bool Thread::waitForEnd(unsigned long timeoutMs) const
{
    // The first wait that does not time out releases the handle, whether the thread ended or
    // the wait failed: a handle that cannot be waited on is of no further use.
    if (handle_ && WaitForSingleObject(handle_, timeoutMs) != WAIT_TIMEOUT) {
        CloseHandle(handle_);
        handle_ = nullptr;
    }
    return handle_ == nullptr;
}

bool Thread::isRunning() const
{
    return !waitForEnd(0);
}

void Thread::setPriority(Priority priority)
{
    if (handle_)
        SetThreadPriority(handle_, priority);
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

void CALLBACK timerProc(UINT timerId, UINT, DWORD_PTR user, DWORD_PTR, DWORD_PTR)
{
    if (ITimerTarget *target = reinterpret_cast<ITimerTarget *>(user))
        target->OnTimer(timerId);
}

}  // namespace

unsigned int QvSetTimer(unsigned int resolutionMs, unsigned int delayMs, ITimerTarget *target, bool periodic)
{
    // Synchronous kill: once QvKillTimer has returned no tick is running or will run, so the
    // caller may destroy the target then.
    return timeSetEvent(delayMs, resolutionMs, timerProc, reinterpret_cast<DWORD_PTR>(target),
                        (periodic ? TIME_PERIODIC : TIME_ONESHOT) | TIME_KILL_SYNCHRONOUS);
}

void QvKillTimer(unsigned int timerId)
{
    timeKillEvent(timerId);
}
