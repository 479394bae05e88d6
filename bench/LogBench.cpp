// Lines per second through the log's COM interface, with 1 and 4 threads, against a raw loop
// of one WriteFile per pre-formatted line of the same length in the same run.
// Usage: LogBench [LINES]   (lines per thread, default 100000)

#include "qvcore/runtime/LogFile.h"

#include <algorithm>
#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <string>
#include <thread>
#include <vector>

namespace {

typedef HRESULT(__stdcall *GetClassObjectFunction)(REFCLSID, REFIID, void **);

double secondsSince(std::chrono::steady_clock::time_point start)
{
    return std::chrono::duration<double>(std::chrono::steady_clock::now() - start).count();
}

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

double rawLinesPerSecond(const std::string &path, const std::vector<std::u16string> &lines)
{
    std::vector<std::string> formatted;
    for (const std::u16string &line : lines)
        formatted.push_back("[12:00:00] LogBench   " + std::string(line.begin(), line.end()) + "\r\n");
    HANDLE file = CreateFileA(path.c_str(), GENERIC_WRITE, FILE_SHARE_READ, nullptr, CREATE_ALWAYS,
                              FILE_ATTRIBUTE_NORMAL, nullptr);
    if (file == INVALID_HANDLE_VALUE)
        return 0;
    auto start = std::chrono::steady_clock::now();
    for (const std::string &line : formatted) {
        DWORD written = 0;
        WriteFile(file, line.data(), static_cast<DWORD>(line.size()), &written, nullptr);
    }
    double seconds = secondsSince(start);
    CloseHandle(file);
    return lines.size() / seconds;
}

double logLinesPerSecond(GetClassObjectFunction getClassObject, int threads, const std::vector<std::u16string> &lines)
{
    auto start = std::chrono::steady_clock::now();
    std::vector<std::thread> writers;
    for (int t = 0; t < threads; ++t) {
        writers.emplace_back([getClassObject, &lines] {
            void *object = nullptr;
            if (getClassObject(CLSID_QvCore, IID_ILogFile, &object) != S_OK || !object)
                return;
            ILogFile *log = static_cast<ILogFile *>(object);
            log->SetSourceModule(reinterpret_cast<const void *>(&secondsSince));
            for (const std::u16string &line : lines)
                log->LogLine(reinterpret_cast<const unsigned short *>(line.c_str()));
            log->Release();
        });
    }
    for (std::thread &writer : writers)
        writer.join();
    return threads * lines.size() / secondsSince(start);
}

}  // namespace

int main(int argc, char **argv)
{
    int count = argc > 1 ? std::atoi(argv[1]) : 100000;
    if (count <= 0) {
        std::fprintf(stderr, "LogBench: LINES must be a positive count\n");
        return 2;
    }
    HMODULE library = GetModuleHandleA("qvcore.dll");
    auto getClassObject = reinterpret_cast<GetClassObjectFunction>(
        reinterpret_cast<void *>(GetProcAddress(library, "DllGetClassObject")));
    void *object = nullptr;
    if (!getClassObject || getClassObject(CLSID_QvCore, IID_ILogFile, &object) != S_OK || !object) {
        std::fprintf(stderr, "LogBench: no log object from qvcore.dll\n");
        return 1;
    }
    ILogFile *opener = static_cast<ILogFile *>(object);
    char folder[MAX_PATH];
    DWORD length = GetTempPathA(MAX_PATH, folder);
    std::string base = std::string(folder, length < MAX_PATH ? length : 0) + "LogBench-" +
                       std::to_string(GetCurrentProcessId());
    std::string rawPath = base + "-raw.log", logPath = base + ".log";
    std::u16string logPath16(logPath.begin(), logPath.end());
    if (opener->Open(reinterpret_cast<const unsigned short *>(logPath16.c_str())) != S_OK) {
        std::fprintf(stderr, "LogBench: cannot create %s\n", logPath.c_str());
        return 1;
    }

    std::vector<std::u16string> lines = texts(count);
    // Best of five interleaved rounds, so that a busy machine slows each kind alike; the log
    // file is emptied before each run (Reopen reports E_FAIL by design).
    const int rounds = 5;
    double raw = 0, one = 0, four = 0;
    for (int round = 0; round < rounds; ++round) {
        raw = std::max(raw, rawLinesPerSecond(rawPath, lines));
        opener->Reopen();
        one = std::max(one, logLinesPerSecond(getClassObject, 1, lines));
        opener->Reopen();
        four = std::max(four, logLinesPerSecond(getClassObject, 4, lines));
    }
    // The log stays open until the library is unloaded: leave it empty.
    opener->Reopen();
    opener->Release();
    DeleteFileA(rawPath.c_str());

    std::printf("%d lines per thread, best of %d rounds\n", count, rounds);
    std::printf("raw WriteFile loop, 1 thread: %10.0f lines/s\n", raw);
    std::printf("log, 1 thread:                %10.0f lines/s  (%.2fx raw)\n", one, one / raw);
    std::printf("log, 4 threads:               %10.0f lines/s  (%.2fx raw)\n", four, four / raw);
    return 0;
}
