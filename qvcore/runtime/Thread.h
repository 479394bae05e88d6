#ifndef QVCORE_RUNTIME_THREAD_H
#define QVCORE_RUNTIME_THREAD_H

#include "qvcore/Platform.h"
#include "qvcore/core/NotCopyable.h"
#include "qvcore/core/ScopedHandle.h"

/// A thread of the library's own: start it, wait for it, change its priority. The thread's
/// body is run() of the implementing class.
class QVCORE_API IQvThread {
public:
    /// The system's thread priority levels, passed to the system unchanged.
    enum Priority {
        Idle = -15,
        Lowest = -2,
        BelowNormal = -1,
        Normal = 0,
        AboveNormal = 1,
        Highest = 2,
        TimeCritical = 15,
    };

    /// Starts a new run; false when the system could not create the thread.
    virtual bool start(Priority priority = Normal) = 0;
    /// Waits up to timeoutMs (INFINITE: no limit) for the run to end; true when no thread is
    /// attached afterwards.
    virtual bool waitForEnd(unsigned long timeoutMs) const = 0;
    virtual bool isRunning() const = 0;
    virtual void setPriority(Priority priority) = 0;
    /// The thread's body; its result is ignored.
    virtual unsigned long run() = 0;

protected:
    ~IQvThread() {}
};

/// IQvThread over a native thread of the C runtime. The body runs as init(true), run(),
/// init(false) on the new thread.
///
/// The handle of a run stays attached until a wait sees the thread end (waitForEnd, isRunning,
/// or the next start). Starts, waits and priority changes may come from several threads at
/// once; a wait that returns false because another start attached a new run meanwhile is
/// still a correct answer. The destructor does not wait: it only closes a handle still
/// attached (the thread runs on), so the owner waits before destroying the object its thread
/// uses.
class QVCORE_API Thread : public NotCopyable, public virtual IQvThread {
public:
    Thread();
    virtual ~Thread();

    /// Waits (without limit) for a previous run to end first, so runs never overlap, also when
    /// several threads start at once. The thread is created suspended, given the priority,
    /// then resumed.
    bool start(Priority priority = Normal) override;
    bool waitForEnd(unsigned long timeoutMs) const override;
    /// !waitForEnd(0).
    bool isRunning() const override;
    /// Does nothing without an attached thread.
    void setPriority(Priority priority) override;

protected:
    /// Runs on the new thread before (starting true) and after (false) run(); does nothing here.
    virtual void init(bool starting);

private:
    static unsigned __stdcall threadMain(void *self);
    /// Releases the attached handle if its run is over; true when none is attached. Called
    /// with the runs' lock held exclusively.
    bool releaseIfEnded() const;

    mutable ScopedKernelHandle handle_;
};

/// A Thread whose body runs in a single-threaded COM apartment.
class QVCORE_API COMThread : public Thread {
protected:
    /// CoInitialize when starting, CoUninitialize when ending.
    void init(bool starting) override;
};

/// Receives the ticks of a multimedia timer, on the system's timer thread.
class QVCORE_API ITimerTarget {
public:
    virtual void OnTimer(unsigned int timerId) = 0;

protected:
    ~ITimerTarget() {}
};

/// Starts a multimedia timer: resolution first, then the delay (the period of a periodic
/// timer), both in milliseconds. Ticks call target->OnTimer(id) on the system's timer thread;
/// a null target makes ticks that do nothing. The caller keeps target alive until
/// QvKillTimer has returned and any OnTimer call under way then has finished. Returns the
/// timer identifier, 0 on failure.
QVCORE_API unsigned int QvSetTimer(unsigned int resolutionMs, unsigned int delayMs, ITimerTarget *target,
                                   bool periodic);
/// Stops the timer: once it returns, no call of OnTimer for the timer begins. It never waits
/// for a call already under way, so it may be called from the target's own OnTimer, and by a
/// thread that holds a lock OnTimer takes; such a call finishes after the return (a target
/// that is about to be destroyed can, for instance, take that lock after the kill to know that
/// its last tick is over). An identifier that is not a live timer is ignored.
QVCORE_API void QvKillTimer(unsigned int timerId);

#endif
