// The shared services under load: the log, number formatting and parsing against a changing
// numeric locale, timers started and killed, thread starts racing their waits.
#include "Scenario.h"

#include "qvcore/core/String.h"
#include "qvcore/runtime/LogFile.h"
#include "qvcore/runtime/Thread.h"
#include "qvcore/files/File.h"
#include "qvcore/Platform.h"

#include <atomic>
#include <clocale>
#include <cstdio>
#include <fstream>
#include <mutex>
#include <sstream>
#include <thread>
#include <vector>

namespace qvstress {
namespace {

int scaled(double scale, int full)
{
    int n = static_cast<int>(full * scale);
    return n < 1 ? 1 : n;
}

std::string figures(const char *format, ...)
{
    char line[512];
    va_list args;
    va_start(args, format);
    std::vsnprintf(line, sizeof line, format, args);
    va_end(args);
    return line;
}

double secondsSince(ULONGLONG start)
{
    return (GetTickCount64() - start) / 1000.0;
}

// --- the log ------------------------------------------------------------------------------

/// Eight threads, each with its own log object, write numbered lines into the one log file; every
/// line must be there exactly once and whole.
bool logLines(double scale, std::string &report)
{
    const int threads = 8;
    const int perThread = scaled(scale, 100000);
    using GetClassObject = HRESULT(__stdcall *)(REFCLSID, REFIID, void **);
    auto get = reinterpret_cast<GetClassObject>(
        reinterpret_cast<void *>(GetProcAddress(GetModuleHandleA("qvcore.dll"), "DllGetClassObject")));
    const String path = File::MakePath(File::GetTempDirectory(), String(L"qvstress-log.txt"));
    std::vector<ILogFile2 *> logs(threads, nullptr);
    for (ILogFile2 *&log : logs)
        if (!get || get(CLSID_QvCore, IID_ILogFile2, reinterpret_cast<void **>(&log)) != S_OK || !log) {
            report = "no log object from DllGetClassObject";
            return false;
        }
    if (logs[0]->Open(path.c_str()) != S_OK) {
        report = "the log file cannot be opened (it is opened once per process: run this scenario alone)";
        return false;
    }
    std::atomic<int> failures{0};
    const ULONGLONG start = GetTickCount64();
    std::vector<std::thread> writers;
    for (int t = 0; t < threads; ++t)
        writers.emplace_back([&, t] {
            for (int i = 0; i < perThread; ++i) {
                // Lines of different lengths, so that a torn write shows as a broken line.
                String line = String::FromFormat(String(L"w%d %d:%.*S"), t, i, i % 40, "xxxxxxxxxxxxxxxxxxxxxxxxxxxxxxxxxxxxxxxx");
                failures += logs[t]->LogLine(line.c_str()) != S_OK;
            }
        });
    for (std::thread &writer : writers)
        writer.join();
    const double seconds = secondsSince(start);
    for (ILogFile2 *log : logs)
        log->Release();  // the last one closes the file

    std::ifstream file(path.SystemMultibyte(), std::ios::binary);
    std::vector<std::vector<int>> seen(threads, std::vector<int>(perThread, 0));
    std::string line;
    long long lines = 0, broken = 0;
    while (std::getline(file, line)) {
        ++lines;
        int t = -1, i = -1, tail = 0;
        // "[hh:mm:ss] " + ten columns of tag + " " + text + CR
        const bool whole = line.size() > 22 && line[0] == '[' && line.back() == '\r' &&
                           std::sscanf(line.c_str() + 22, "w%d %d:%n", &t, &i, &tail) == 2 && t >= 0 &&
                           t < threads && i >= 0 && i < perThread &&
                           line.size() - 1 - 22 - tail == static_cast<size_t>(i % 40);
        if (whole)
            ++seen[t][i];
        else
            ++broken;
    }
    long long missing = 0, repeated = 0;
    for (const std::vector<int> &counts : seen)
        for (int count : counts) {
            missing += count == 0;
            repeated += count > 1;
        }
    DeleteFileA(path.SystemMultibyte().c_str());
    report = figures("%d threads x %d lines: %.0f lines/s; %lld lines read, %lld missing, %lld repeated, %lld broken, "
                     "%d failed calls",
                     threads, perThread, threads * perThread / seconds, lines, missing, repeated, broken, failures.load());
    return missing == 0 && repeated == 0 && broken == 0 && failures == 0 && lines == threads * perThread;
}

// --- numbers and the numeric locale ----------------------------------------------------------

/// Eight threads format and parse numbers while another keeps switching the runtime's numeric
/// locale between German (decimal comma) and "C": every text must have a ".", every parse give
/// the exact value.
bool numbersUnderLocaleChanges(double scale, std::string &report)
{
    const int threads = 8;
    const int perThread = scaled(scale, 100000);
    const char *german = "German_Germany.1252";
    const std::string saved = setlocale(LC_NUMERIC, nullptr);
    if (!setlocale(LC_NUMERIC, german)) {
        report = "skipped: the runtime has no German locale to switch to";
        return true;
    }
    setlocale(LC_NUMERIC, saved.c_str());
    std::atomic<bool> done{false};
    std::atomic<long long> switches{0}, wrong{0};
    std::thread switcher([&] {
        while (!done) {
            setlocale(LC_NUMERIC, german);
            setlocale(LC_NUMERIC, "C");
            switches += 2;
        }
    });
    const ULONGLONG start = GetTickCount64();
    std::vector<std::thread> workers;
    for (int t = 0; t < threads; ++t)
        workers.emplace_back([&, t] {
            for (int i = 0; i < perThread; ++i) {
                const int whole = t * perThread + i;
                const double value = whole + 0.25;  // exact in binary
                String text = String::FromFormat(String(L"%.2f"), value);
                char expected[32];
                std::snprintf(expected, sizeof expected, "%d.25", whole);
                double parsed = 0;
                if (text.Ascii() != expected || !text.ParseNum(parsed) || parsed != value)
                    ++wrong;
            }
        });
    for (std::thread &worker : workers)
        worker.join();
    const double seconds = secondsSince(start);
    done = true;
    switcher.join();
    setlocale(LC_NUMERIC, saved.c_str());
    report = figures("%d threads x %d format+parse: %.0f/s while the locale switched %lld times; %lld wrong", threads,
                     perThread, threads * perThread / seconds, switches.load(), wrong.load());
    return wrong == 0;
}

// --- timers -------------------------------------------------------------------------------

/// Timers started and killed in a loop. After QvKillTimer returns no call of OnTimer may begin;
/// a call already under way may finish. The target counts the calls that find the kill done:
/// with the system's one timer thread, at most one per timer (the call under way), and none
/// at all once the calls under way are over.
bool timersKilled(double scale, std::string &report)
{
    struct Target : ITimerTarget {
        std::atomic<bool> killed{false};
        std::atomic<int> ticks{0}, late{0};
        void OnTimer(unsigned int) override
        {
            ++ticks;
            if (killed)
                ++late;
        }
    };
    const int timers = scaled(scale, 10000);
    std::vector<Target> targets(timers);
    long long started = 0, ticks = 0, late = 0, timersLate = 0, tooLate = 0;
    const ULONGLONG start = GetTickCount64();
    for (int n = 0; n < timers; ++n) {
        Target &target = targets[n];
        unsigned int id = QvSetTimer(1, 1, &target, /*periodic=*/true);
        if (!id)
            continue;
        ++started;
        if (n % 3)
            Sleep(n % 3);  // some are killed before their first tick, some after a few
        QvKillTimer(id);
        target.killed = true;
    }
    const double seconds = secondsSince(start);
    Sleep(100);  // every call under way is over
    std::vector<int> lateBefore(timers);
    for (int n = 0; n < timers; ++n)
        lateBefore[n] = targets[n].late;
    Sleep(100);
    for (int n = 0; n < timers; ++n) {
        ticks += targets[n].ticks;
        late += targets[n].late;
        timersLate += targets[n].late > 0;
        tooLate += targets[n].late > 1 || targets[n].late != lateBefore[n];
    }
    report = figures("%lld timers started and killed (%.0f/s), %lld ticks; %lld timers had a call under way at the "
                     "kill, %lld calls in all; %lld timers called after the kill otherwise",
                     started, started / seconds, ticks, timersLate, late, tooLate);
    return started == timers && tooLate == 0;
}

// --- threads ------------------------------------------------------------------------------

/// A Thread started again and again while two other threads ask whether it runs and wait for
/// it: every start runs once, and no handle is left behind.
bool threadsRacingWaits(double scale, std::string &report)
{
    struct Counter : Thread {
        std::atomic<int> runs{0};
        unsigned long run() override
        {
            ++runs;
            return 0;
        }
    };
    const int starts = scaled(scale, 20000);
    DWORD handlesBefore = 0, handlesAfter = 0;
    GetProcessHandleCount(GetCurrentProcess(), &handlesBefore);
    Counter counter;
    std::atomic<bool> done{false};
    std::atomic<long long> asked{0};
    auto watcher = [&] {
        while (!done) {
            counter.isRunning();
            counter.waitForEnd(0);
            ++asked;
        }
    };
    std::thread first(watcher), second(watcher);
    const ULONGLONG start = GetTickCount64();
    int failedStarts = 0;
    for (int n = 0; n < starts; ++n) {
        if (!counter.start())
            ++failedStarts;
        if (n % 2)
            counter.waitForEnd(INFINITE);
    }
    counter.waitForEnd(INFINITE);
    const double seconds = secondsSince(start);
    done = true;
    first.join();
    second.join();
    GetProcessHandleCount(GetCurrentProcess(), &handlesAfter);
    report = figures("%d starts (%.0f/s) against %lld waits from two threads: %d runs, %d failed starts, handles %lu -> %lu",
                     starts, starts / seconds, asked.load(), counter.runs.load(), failedStarts, handlesBefore,
                     handlesAfter);
    // Two threads of the watchers' own are gone again; a few handles of the runtime may stay.
    return counter.runs == starts && failedStarts == 0 && handlesAfter <= handlesBefore + 8;
}

const ScenarioRegistration logScenario({"log", "8 threads x 100,000 lines into the one log file", logLines});
const ScenarioRegistration numbersScenario({"numbers", "formatting and parsing while the numeric locale changes",
                                            numbersUnderLocaleChanges});
const ScenarioRegistration timersScenario({"timers", "10,000 timers started and killed", timersKilled});
const ScenarioRegistration threadsScenario({"threads", "Thread starts racing isRunning and waitForEnd",
                                            threadsRacingWaits});

}  // namespace
}  // namespace qvstress
