#include "qvcore/runtime/Thread.h"

#include <gtest/gtest.h>

#include <objbase.h>

#include <atomic>
#include <mutex>
#include <string>
#include <thread>

namespace {

struct Event {
    HANDLE h = CreateEventA(nullptr, TRUE, FALSE, nullptr);
    ~Event() { CloseHandle(h); }
    void set() { SetEvent(h); }
    bool wait(DWORD ms) { return WaitForSingleObject(h, ms) == WAIT_OBJECT_0; }
};

// Records, in order, its hooks and each run's priority; a run lasts until release is set.
struct RecordingThread : Thread {
    HANDLE release = nullptr;
    std::mutex mutex;
    std::string journal;
    void add(const std::string &what)
    {
        std::lock_guard<std::mutex> lock(mutex);
        journal += what + "; ";
    }
    void init(bool starting) override { add(starting ? "init(true)" : "init(false)"); }
    unsigned long run() override
    {
        add("run at " + std::to_string(GetThreadPriority(GetCurrentThread())));
        WaitForSingleObject(release, 10000);
        add("run ends");
        return 0;
    }
};

TEST(Thread, NeverStartedThreadIsNotRunning)
{
    RecordingThread thread;
    EXPECT_FALSE(thread.isRunning());
    EXPECT_TRUE(thread.waitForEnd(0));
    thread.setPriority(IQvThread::Highest);  // no thread attached: nothing to do
    EXPECT_EQ("", thread.journal);
}

TEST(Thread, StartRunsBodyBetweenHooksWithPriorityAfterThePreviousRunEnded)
{
    Event release;
    RecordingThread thread;
    thread.release = release.h;
    ASSERT_TRUE(thread.start(IQvThread::Lowest));
    EXPECT_TRUE(thread.isRunning());
    EXPECT_FALSE(thread.waitForEnd(20));

    // Something else ends the first run a little later; until then the second start blocks.
    std::atomic<bool> released{false};
    std::thread releaser([&] {
        Sleep(100);
        released = true;
        release.set();
    });
    ASSERT_TRUE(thread.start(IQvThread::Highest));
    EXPECT_TRUE(released.load()) << "the second run began before the first was released";
    EXPECT_TRUE(thread.waitForEnd(INFINITE));
    EXPECT_FALSE(thread.isRunning());
    releaser.join();

    EXPECT_EQ("init(true); run at -2; run ends; init(false); init(true); run at 2; run ends; init(false); ",
              thread.journal);
}

// The result of the body's own COM initialisation: S_FALSE inside an apartment.
template <class Base>
struct ComProbe : Base {
    HRESULT result = E_FAIL;
    unsigned long run() override
    {
        if (SUCCEEDED(result = CoInitializeEx(nullptr, COINIT_APARTMENTTHREADED)))
            CoUninitialize();
        return 0;
    }
};

TEST(Thread, ComThreadBodyRunsInsideAnApartment)
{
    ComProbe<COMThread> com;
    ComProbe<Thread> plain;
    ASSERT_TRUE(com.start() && plain.start());
    com.waitForEnd(INFINITE);
    plain.waitForEnd(INFINITE);
    EXPECT_EQ(S_FALSE, com.result);
    EXPECT_EQ(S_OK, plain.result);
}

TEST(Thread, WaitsFromOtherThreadsNeverReleaseARunThatAStartHasJustAttached)
{
    // Watchers polling the thread while its owner starts and waits: a watcher that saw the
    // previous run end must not drop the next run's handle, or the owner's wait returns early.
    struct Counter : Thread {
        std::atomic<int> runs{0};
        unsigned long run() override
        {
            ++runs;
            return 0;
        }
    } counter;
    std::atomic<bool> done{false};
    auto watch = [&] {
        while (!done) {
            counter.isRunning();
            counter.waitForEnd(0);
        }
    };
    std::thread first(watch), second(watch);
    int early = 0;
    const int starts = 1000;
    for (int n = 0; n < starts && early == 0; ++n) {
        ASSERT_TRUE(counter.start());
        counter.waitForEnd(INFINITE);
        // The owner's wait may see another run attached only if it started one.
        if (counter.runs != n + 1)
            early = n + 1;
    }
    done = true;
    first.join();
    second.join();
    EXPECT_EQ(0, early) << "waitForEnd(INFINITE) returned while start " << early << " still ran";
}

struct CountingTarget : ITimerTarget {
    std::atomic<int> ticks{0};
    std::atomic<unsigned int> lastId{0};
    std::atomic<DWORD> threadId{0};
    void OnTimer(unsigned int timerId) override
    {
        lastId = timerId;
        threadId = GetCurrentThreadId();
        ++ticks;
    }
};

TEST(Timer, PeriodicTicksOnTimerThreadUntilKilledOneShotOnceAfterItsDelay)
{
    CountingTarget periodic, once;
    DWORD set = GetTickCount();
    unsigned int id = QvSetTimer(1, 10, &periodic, true);
    // Resolution first, delay second: the tick comes after 250 ms, not after 1 ms.
    unsigned int onceId = QvSetTimer(1, 250, &once, false);
    unsigned int idle = QvSetTimer(1, 5, nullptr, true);  // ticks that do nothing
    ASSERT_TRUE(id && onceId && idle);
    Sleep(100);
    EXPECT_EQ(0, once.ticks.load()) << "the timer took its resolution as its delay";
    for (int i = 0; i < 200 && once.ticks == 0; ++i)
        Sleep(10);
    DWORD fired = GetTickCount();
    QvKillTimer(id);
    int after = periodic.ticks;
    Sleep(100);
    QvKillTimer(idle);
    EXPECT_EQ(1, once.ticks.load());
    EXPECT_EQ(onceId, once.lastId.load());
    EXPECT_GE(fired - set, 200u);
    EXPECT_GE(after, 5);
    EXPECT_EQ(after, periodic.ticks.load()) << "ticks after QvKillTimer";
    EXPECT_EQ(id, periodic.lastId.load());
    EXPECT_NE(GetCurrentThreadId(), periodic.threadId.load());
}

TEST(Timer, KillTimerWaitsForNoTickSoALockHolderAndTheTickItselfCanKill)
{
    // The tick waits for a lock that the killing thread holds: a kill that waited for the tick
    // would wait forever.
    struct LockingTarget : CountingTarget {
        std::mutex lock;
        std::atomic<bool> waiting{false};
        void OnTimer(unsigned int timerId) override
        {
            waiting = true;
            std::lock_guard<std::mutex> hold(lock);
            CountingTarget::OnTimer(timerId);
        }
    } target;
    std::unique_lock<std::mutex> held(target.lock);
    unsigned int id = QvSetTimer(1, 5, &target, true);
    ASSERT_NE(0u, id);
    for (int i = 0; i < 500 && !target.waiting; ++i)
        Sleep(2);
    ASSERT_TRUE(target.waiting.load()) << "no tick began";
    Event killed;
    std::thread killer([&] {
        QvKillTimer(id);
        killed.set();
    });
    bool returned = killed.wait(2000);
    EXPECT_TRUE(returned) << "QvKillTimer deadlocked with a tick waiting for the caller's lock";
    held.unlock();  // lets the tick, and a kill that waited for it, finish
    killer.join();
    Sleep(50);
    int after = target.ticks;
    Sleep(100);
    EXPECT_EQ(after, target.ticks.load()) << "a tick began after QvKillTimer returned";

    // A target may stop its own timer from its tick without waiting for itself.
    struct SelfStopping : CountingTarget {
        Event stopped;
        void OnTimer(unsigned int timerId) override
        {
            ++ticks;
            QvKillTimer(timerId);
            stopped.set();
        }
    } self;
    ASSERT_NE(0u, QvSetTimer(1, 5, &self, true));
    EXPECT_TRUE(self.stopped.wait(2000)) << "QvKillTimer inside the tick did not return";
    Sleep(50);
    EXPECT_EQ(1, self.ticks.load());
}

}  // namespace
