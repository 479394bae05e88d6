// Lines per second through the log's COM interface, with 1 and 4 threads, against a raw loop
// of one WriteFile per pre-formatted line of the same length in the same run.
// Usage: LogBench [LINES]   (lines per thread, default 100000)

#include "bench/Bench.h"
#include "qvcore/core/ScopedHandle.h"
#include "qvcore/runtime/LogFile.h"

#include <cstdio>
#include <cstdlib>
#include <string>
#include <thread>
#include <vector>

namespace {

typedef HRESULT(__stdcall *GetClassObjectFunction)(REFCLSID, REFIID, void **);

// The texts every run writes: "line 00000", ...
std::vector<std::u16string> texts(int count)
{
    std::vector<std::u16string> result;
    for (int i = 0; i < count; ++i) {
        char text[32];
        std::snprintf(text, sizeof text, "line %05d", i % 100000);
        result.emplace_back(text, text + std::char_traits<char>::length(text));
    }
    return result;
}

// Seconds of a raw loop of one WriteFile per pre-formatted line into a file created anew.
double rawSeconds(const std::string &path, const std::vector<std::string> &formatted)
{
    ScopedFileHandle file(CreateFileA(path.c_str(), GENERIC_WRITE, FILE_SHARE_READ, nullptr, CREATE_ALWAYS,
                                      FILE_ATTRIBUTE_NORMAL, nullptr));
    if (!file)
        return 1e300;
    double start = bench::wallSeconds();
    for (const std::string &line : formatted) {
        DWORD written = 0;
        WriteFile(file.get(), line.data(), static_cast<DWORD>(line.size()), &written, nullptr);
    }
    return bench::wallSeconds() - start;
}

// Seconds for threads writers, each with a log object of its own, to log every line.
double logSeconds(GetClassObjectFunction getClassObject, int threads, const std::vector<std::u16string> &lines)
{
    double start = bench::wallSeconds();
    std::vector<std::thread> writers;
    for (int t = 0; t < threads; ++t) {
        writers.emplace_back([getClassObject, &lines] {
            void *object = nullptr;
            if (getClassObject(CLSID_QvCore, IID_ILogFile, &object) != S_OK || !object)
                return;
            ILogFile *log = static_cast<ILogFile *>(object);
            log->SetSourceModule(reinterpret_cast<const void *>(&texts));
            for (const std::u16string &line : lines)
                log->LogLine(reinterpret_cast<const unsigned short *>(line.c_str()));
            log->Release();
        });
    }
    for (std::thread &writer : writers)
        writer.join();
    return bench::wallSeconds() - start;
}

// The library's DllGetClassObject and a log object that has opened the process's log file in
// the temporary folder, or null with the reason on the error stream.
ILogFile *openLog(GetClassObjectFunction &getClassObject, std::string &logPath)
{
    HMODULE library = GetModuleHandleA("qvcore.dll");
    getClassObject = reinterpret_cast<GetClassObjectFunction>(
        reinterpret_cast<void *>(GetProcAddress(library, "DllGetClassObject")));
    void *object = nullptr;
    if (!getClassObject || getClassObject(CLSID_QvCore, IID_ILogFile, &object) != S_OK || !object) {
        std::fprintf(stderr, "LogBench: no log object from qvcore.dll\n");
        return nullptr;
    }
    ILogFile *opener = static_cast<ILogFile *>(object);
    std::u16string path16(logPath.begin(), logPath.end());
    if (opener->Open(reinterpret_cast<const unsigned short *>(path16.c_str())) != S_OK) {
        std::fprintf(stderr, "LogBench: cannot create %s\n", logPath.c_str());
        opener->Release();
        return nullptr;
    }
    return opener;
}

}  // namespace

int main(int argc, char **argv)
{
    const int count = static_cast<int>(bench::countArgument(argc, argv, 1, 100000, "LogBench", "LINES"));
    if (count == 0)
        return 2;
    char folder[MAX_PATH];
    DWORD length = GetTempPathA(MAX_PATH, folder);
    std::string base = std::string(folder, length < MAX_PATH ? length : 0) + "LogBench-" +
                       std::to_string(GetCurrentProcessId());
    std::string rawPath = base + "-raw.log", logPath = base + ".log";
    GetClassObjectFunction getClassObject = nullptr;
    ILogFile *opener = openLog(getClassObject, logPath);
    if (!opener)
        return 1;

    std::vector<std::u16string> lines = texts(count);
    std::vector<std::string> formatted;
    for (const std::u16string &line : lines)
        formatted.push_back("[12:00:00] LogBench   " + std::string(line.begin(), line.end()) + "\r\n");
    // The log file is emptied before each run (Reopen reports E_FAIL by design).
    const int rounds = 5;
    std::vector<double> seconds = bench::lowestOfRounds(
        rounds, {[&] { return rawSeconds(rawPath, formatted); },
                 [&] {
                     opener->Reopen();
                     return logSeconds(getClassObject, 1, lines);
                 },
                 [&] {
                     opener->Reopen();
                     return logSeconds(getClassObject, 4, lines);
                 }});
    // The log stays open until the library is unloaded: leave it empty.
    opener->Reopen();
    opener->Release();
    DeleteFileA(rawPath.c_str());

    if (seconds[0] >= 1e300) {
        std::fprintf(stderr, "LogBench: cannot create %s\n", rawPath.c_str());
        return 1;
    }
    double rawRate = count / seconds[0];
    std::printf("%d lines per thread, best of %d rounds\n", count, rounds);
    bench::row("log, 1 thread", count / seconds[1], "raw WriteFile loop, 1 thread", rawRate, "lines/s",
               bench::ratioAtLeast(0.7));
    bench::row("log, 4 threads", 4.0 * count / seconds[2], "raw WriteFile loop, 1 thread", rawRate, "lines/s");
    return 0;
}
