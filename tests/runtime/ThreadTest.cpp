#include "qvcore/runtime/Thread.h"

#include <gtest/gtest.h>

#include <objbase.h>

#include <atomic>
#include <mutex>
#include <string>
#include <vector>

namespace {

// A handle that closes itself.
struct Event {
    HANDLE h = CreateEventA(nullptr, TRUE, FALSE, nullptr);
    ~Event() { CloseHandle(h); }
    void set() { SetEvent(h); }
    bool wait(DWORD ms) { return WaitForSingleObject(h, ms) == WAIT_OBJECT_0; }
};

// Records what happens on which thread, in order.
class Journal {
public:
    void add(const std::string &what)
    {
        std::lock_guard<std::mutex> lock(mutex_);
        entries_.push_back(what);
    }
    std::vector<std::string> entries()
    {
        std::lock_guard<std::mutex> lock(mutex_);
        return entries_;
    }

private:
    std::mutex mutex_;
    std::vector<std::string> entries_;
};

class RecordingThread : public Thread {
public:
    explicit RecordingThread(Journal &journal, HANDLE release = nullptr) : journal_(journal), release_(release) {}

    DWORD bodyThreadId = 0;
    int bodyPriority = -999;
    std::atomic<int> runs{0};

protected:
    void init(bool starting) override { journal_.add(starting ? "init(true)" : "init(false)"); }
    unsigned long run() override
    {
        int n = ++runs;
        journal_.add("run " + std::to_string(n) + " begins");
        bodyThreadId = GetCurrentThreadId();
        bodyPriority = GetThreadPriority(GetCurrentThread());
        if (release_)
            WaitForSingleObject(release_, 10000);
        journal_.add("run " + std::to_string(n) + " ends");
        return 0;
    }

private:
    Journal &journal_;
    HANDLE release_;
};

}  // namespace

TEST(Thread, NeverStartedThreadIsNotRunning)
{
    Journal journal;
    RecordingThread thread(journal);
    EXPECT_FALSE(thread.isRunning());
    EXPECT_TRUE(thread.waitForEnd(0));
    thread.setPriority(IQvThread::Highest);  // no thread attached: nothing to do
    EXPECT_TRUE(journal.entries().empty());
}

TEST(Thread, BodyRunsBetweenInitHooksOnNewThreadWithRequestedPriority)
{
    Journal journal;
    Event release;
    RecordingThread thread(journal, release.h);
    ASSERT_TRUE(thread.start(IQvThread::Lowest));
    EXPECT_TRUE(thread.isRunning());
    EXPECT_FALSE(thread.waitForEnd(20));
    release.set();
    EXPECT_TRUE(thread.waitForEnd(INFINITE));
    EXPECT_FALSE(thread.isRunning());

    EXPECT_EQ((std::vector<std::string>{"init(true)", "run 1 begins", "run 1 ends", "init(false)"}),
              journal.entries());
    EXPECT_NE(GetCurrentThreadId(), thread.bodyThreadId);
    EXPECT_EQ(THREAD_PRIORITY_LOWEST, thread.bodyPriority);

    ASSERT_TRUE(thread.start(IQvThread::Highest));
    thread.waitForEnd(INFINITE);
    EXPECT_EQ(THREAD_PRIORITY_HIGHEST, thread.bodyPriority);
}

TEST(Thread, StartDuringRunWaitsForThatRunToEnd)
{
    Journal journal;
    Event release;
    RecordingThread thread(journal, release.h);
    ASSERT_TRUE(thread.start());

    // Something else ends the first run a little later; until then the second start blocks.
    std::atomic<bool> released{false};
    struct Releaser : Thread {
        Event *release;
        std::atomic<bool> *released;
        unsigned long run() override
        {
            Sleep(100);
            released->store(true);
            release->set();
            return 0;
        }
    } releaser;
    releaser.release = &release;
    releaser.released = &released;
    ASSERT_TRUE(releaser.start());

    ASSERT_TRUE(thread.start());
    EXPECT_TRUE(released.load()) << "the second run began before the first was released";
    thread.waitForEnd(INFINITE);
    releaser.waitForEnd(INFINITE);

    EXPECT_EQ((std::vector<std::string>{"init(true)", "run 1 begins", "run 1 ends", "init(false)", "init(true)",
                                        "run 2 begins", "run 2 ends", "init(false)"}),
              journal.entries());
}

TEST(Thread, ComThreadBodyRunsInsideAnApartment)
{
    struct Probe : COMThread {
        HRESULT second = E_FAIL;
        unsigned long run() override
        {
            // Already initialised as a single-threaded apartment by init(true): S_FALSE.
            second = CoInitializeEx(nullptr, COINIT_APARTMENTTHREADED);
            if (SUCCEEDED(second))
                CoUninitialize();
            return 0;
        }
    } com;
    ASSERT_TRUE(com.start());
    com.waitForEnd(INFINITE);
    EXPECT_EQ(S_FALSE, com.second);

    struct Plain : Thread {
        HRESULT first = E_FAIL;
        unsigned long run() override
        {
            first = CoInitializeEx(nullptr, COINIT_APARTMENTTHREADED);
            if (SUCCEEDED(first))
                CoUninitialize();
            return 0;
        }
    } plain;
    ASSERT_TRUE(plain.start());
    plain.waitForEnd(INFINITE);
    EXPECT_EQ(S_OK, plain.first);
}

namespace {

class CountingTarget : public ITimerTarget {
public:
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

}  // namespace

TEST(Timer, PeriodicTimerTicksOnTimerThreadUntilKilled)
{
    CountingTarget target;
    unsigned int id = QvSetTimer(1, 10, &target, true);
    ASSERT_NE(0u, id);
    for (int i = 0; i < 200 && target.ticks < 5; ++i)
        Sleep(10);
    QvKillTimer(id);
    ASSERT_GE(target.ticks.load(), 5);
    EXPECT_EQ(id, target.lastId.load());
    EXPECT_NE(GetCurrentThreadId(), target.threadId.load());

    int after = target.ticks;
    Sleep(100);
    EXPECT_EQ(after, target.ticks.load()) << "ticks after QvKillTimer";
}

TEST(Timer, OneShotTimerFiresOnceAfterTheDelayAndNullTargetIsHarmless)
{
    CountingTarget target;
    // Resolution first, delay second: the tick comes after 250 ms, not after 1 ms.
    DWORD set = GetTickCount();
    unsigned int id = QvSetTimer(1, 250, &target, false);
    ASSERT_NE(0u, id);
    unsigned int idle = QvSetTimer(1, 5, nullptr, true);
    EXPECT_NE(0u, idle);
    Sleep(100);
    EXPECT_EQ(0, target.ticks.load()) << "the timer took its resolution as its delay";
    for (int i = 0; i < 200 && target.ticks == 0; ++i)
        Sleep(10);
    DWORD fired = GetTickCount();
    Sleep(100);
    QvKillTimer(idle);
    EXPECT_EQ(1, target.ticks.load());
    EXPECT_EQ(id, target.lastId.load());
    EXPECT_GE(fired - set, 200u);
}

TEST(Timer, KillTimerReturnsOnlyAfterATickUnderWayHasFinished)
{
    // A tick that takes a while: QvKillTimer called meanwhile must not return before it ends,
    // or the caller would destroy a target that is still in use.
    struct SlowTarget : ITimerTarget {
        std::atomic<bool> inside{false};
        std::atomic<int> ticks{0};
        void OnTimer(unsigned int) override
        {
            inside = true;
            ++ticks;
            Sleep(200);
            inside = false;
        }
    } target;
    unsigned int id = QvSetTimer(1, 5, &target, true);
    ASSERT_NE(0u, id);
    for (int i = 0; i < 500 && !target.inside; ++i)
        Sleep(2);
    ASSERT_TRUE(target.inside.load()) << "no tick began";
    QvKillTimer(id);
    EXPECT_FALSE(target.inside.load()) << "QvKillTimer returned while a tick was running";
    int ticks = target.ticks;
    Sleep(100);
    EXPECT_EQ(ticks, target.ticks.load()) << "ticks after QvKillTimer";

    // A target may stop its own timer from its tick without waiting for itself.
    struct SelfStopping : ITimerTarget {
        std::atomic<unsigned int> id{0};
        std::atomic<int> ticks{0};
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
