#include "qvcore/core/WinException.h"

#include "LogClient.h"

#include <gtest/gtest.h>

#include <oleauto.h>

#include <atomic>
#include <chrono>
#include <cstdio>
#include <set>
#include <stdexcept>
#include <thread>
#include <vector>

using namespace logclient;

namespace {

String text(const char16_t *literal)
{
    return String(literal);
}

// The units of a BSTR as a String; frees the BSTR.
String take(BSTR value)
{
    String result(reinterpret_cast<const unsigned short *>(value), SysStringLen(value));
    SysFreeString(value);
    return result;
}

// A private copy of the library with its log open on a new file, and one log object of it.
class OpenLog : public ::testing::Test {
protected:
    void SetUp() override
    {
        ASSERT_TRUE(server_.loaded());
        log_ = server_.create();
        ASSERT_NE(log_, nullptr);
        path_ = temporaryPath("qvcore-log") + ".log";
        ASSERT_EQ(log_->Open(String(wide(path_).c_str()).c_str()), S_OK);
        first_ = secondsNow();
    }
    void TearDown() override
    {
        if (log_)
            log_->Release();
        server_.unload();
        DeleteFileA(path_.c_str());
    }

    // The file's content with every time stamp checked and masked.
    std::string logged() const { return maskTimes(readFile(path_), first_, secondsNow()); }

    Server server_{Server::PrivateCopy};
    Log *log_ = nullptr;
    std::string path_;
    int first_ = 0;
};

TEST_F(OpenLog, LineIsStampTagInTenColumnsIndentAndTextEndedByCrLf)
{
    // The tag is the module's file name without extension: kernel32 is padded to ten
    // columns, the test program's own name is cut after ten.
    const void *inKernel32 = reinterpret_cast<const void *>(GetProcAddress(GetModuleHandleA("kernel32.dll"), "GetTickCount"));
    EXPECT_EQ(log_->LogLine(text(u"no tag yet").c_str()), S_OK);
    EXPECT_EQ(log_->SetSourceModule(inKernel32), S_OK);
    EXPECT_EQ(log_->LogLine(text(u"Saved").c_str()), S_OK);
    EXPECT_EQ(log_->SetIndent(1), S_OK);
    EXPECT_EQ(log_->LogLine(text(u"Saved").c_str()), S_OK);
    EXPECT_EQ(log_->SetIndent(3), S_OK);
    EXPECT_EQ(log_->SetSourceModule(reinterpret_cast<const void *>(&secondsNow)), S_OK);
    EXPECT_EQ(log_->LogLine(text(u"deeper").c_str()), S_OK);
    // An empty text is a bare line end, without stamp, tag or indentation.
    EXPECT_EQ(log_->LogLine(text(u"").c_str()), S_OK);
    EXPECT_EQ(log_->LogLine(nullptr), S_OK);
    // A heap address lies in no module: no tag.
    std::vector<char> heap(16);
    EXPECT_EQ(log_->SetSourceModule(heap.data()), S_OK);
    EXPECT_EQ(log_->SetIndent(0), S_OK);
    EXPECT_EQ(log_->LogLine(text(u"x").c_str()), S_OK);

    EXPECT_EQ(logged(), "[hh:mm:ss]            no tag yet\r\n"
                        "[hh:mm:ss] kernel32   Saved\r\n"
                        "[hh:mm:ss] kernel32     Saved\r\n"
                        "[hh:mm:ss] qvcore_run       deeper\r\n"
                        "\r\n"
                        "\r\n"
                        "[hh:mm:ss]            x\r\n");

    // FormatLine builds the same line without writing it.
    String line = text(u"unchanged");
    EXPECT_EQ(log_->SetSourceModule(inKernel32), S_OK);
    EXPECT_EQ(log_->SetIndent(2), S_OK);
    EXPECT_EQ(log_->FormatLine(line, text(u"Saved")), S_OK);
    EXPECT_EQ(maskTimes(ansi(std::u16string(line.begin(), line.end())), first_, secondsNow()),
              "[hh:mm:ss] kernel32       Saved\r\n");
    EXPECT_EQ(log_->FormatLine(line, String()), S_OK);
    EXPECT_EQ(line, text(u"\r\n"));
}

TEST_F(OpenLog, TextIsWrittenInTheAnsiCodePage)
{
    // A letter outside ASCII that the ANSI code page has (or its replacement if it has not).
    const std::u16string accented = u"caf\u00e9 \u00fcber";
    EXPECT_EQ(log_->LogLine(String(accented.c_str()).c_str()), S_OK);
    EXPECT_EQ(logged(), "[hh:mm:ss]            " + ansi(accented) + "\r\n");
}

TEST_F(OpenLog, LogTextWritesEachNonEmptyLineAndLogFormatFormatsFirst)
{
    EXPECT_EQ(log_->SetIndent(1), S_OK);
    EXPECT_EQ(log_->LogText(text(u"a\r\n\r\nb")), S_OK);
    EXPECT_EQ(log_->LogText(text(u"c\rd\n")), S_OK);
    EXPECT_EQ(log_->LogText(text(u"\r\n\n\r")), S_OK);
    EXPECT_EQ(log_->LogText(String()), S_OK);
    EXPECT_EQ(log_->LogFormat(units(u"%s=%i, %S\n%05.1f"), units(u"count"), 42, "narrow", 2.5), S_OK);
    EXPECT_EQ(logged(), "[hh:mm:ss]              a\r\n"
                        "[hh:mm:ss]              b\r\n"
                        "[hh:mm:ss]              c\r\n"
                        "[hh:mm:ss]              d\r\n"
                        "[hh:mm:ss]              count=42, narrow\r\n"
                        "[hh:mm:ss]              002.5\r\n");
}

// The system's first line of text for a code, without its line end.
std::string systemText(DWORD code)
{
    char buffer[1024];
    DWORD length = FormatMessageA(FORMAT_MESSAGE_FROM_SYSTEM | FORMAT_MESSAGE_IGNORE_INSERTS, nullptr, code, 0, buffer,
                                  sizeof buffer, nullptr);
    std::string text(buffer, length);
    text = text.substr(0, text.find('\n'));
    if (!text.empty() && text.back() == '\r')
        text.pop_back();
    return text;
}

WinException raised(const char16_t *context, const char16_t *sourceFile, int line, long code)
{
    WinException e(context ? units(context) : nullptr);
    e.m_sourceFile = String(sourceFile);
    e.m_line = line;
    e.m_code = code;
    return e;
}

class TwoLineError : public WinException {
public:
    TwoLineError() : WinException(nullptr) {}

protected:
    String GetErrorString() const override { return String(u"first\r\nsecond\n"); }
};

class BrokenError : public WinException {
public:
    BrokenError() : WinException(nullptr) {}

protected:
    String GetErrorString() const override { throw std::runtime_error("no text"); }
};

TEST_F(OpenLog, ExceptionIsOneLineWithContextFileNameLineAndText)
{
    EXPECT_EQ(log_->LogException(raised(nullptr, u"C:\\src\\io\\File.cpp", 120, 5)), S_OK);
    EXPECT_EQ(log_->LogException(raised(u"Reading settings", u"src/Profile.h", -3, 2)), S_OK);
    TwoLineError twoLines;
    twoLines.m_sourceFile = String(u"NoFolder");
    twoLines.m_line = 7;
    twoLines.m_code = 0x12345678;
    EXPECT_EQ(log_->LogException(twoLines), S_OK);
    // An exception thrown while the line is built stays inside the slot.
    BrokenError broken;
    EXPECT_EQ(log_->LogException(broken), E_FAIL);

    EXPECT_EQ(logged(), "[hh:mm:ss]            EXCEPTION (File.cpp, line 120: " + systemText(5) + " (0x00000005))\r\n"
                        "[hh:mm:ss]            EXCEPTION \"Reading settings\" (Profile.h, line -3: " + systemText(2) +
                        " (0x00000002))\r\n"
                        "[hh:mm:ss]            EXCEPTION (NoFolder, line 7: firstsecond (0x12345678))\r\n");
}

TEST_F(OpenLog, OpenSucceedsOnceAndReopenTruncatesButFails)
{
    BSTR name = nullptr;
    ASSERT_EQ(log_->GetFileName(&name), S_OK);
    EXPECT_EQ(take(name), String(wide(path_).c_str()));

    // A second open fails and touches neither file.
    const std::string other = temporaryPath("qvcore-log") + ".log";
    EXPECT_EQ(log_->Open(String(wide(other).c_str()).c_str()), E_FAIL);
    EXPECT_EQ(readFile(other), "<missing>");
    EXPECT_EQ(log_->LogLine(text(u"kept").c_str()), S_OK);
    EXPECT_EQ(logged(), "[hh:mm:ss]            kept\r\n");

    // Every object of the process shares the one file.
    Log *another = server_.create(logInterface1);
    ASSERT_NE(another, nullptr);
    ASSERT_EQ(another->GetFileName(&name), S_OK);
    EXPECT_EQ(take(name), String(wide(path_).c_str()));

    // Reopen reports failure although the file is recreated empty and open.
    EXPECT_EQ(another->Reopen(), E_FAIL);
    EXPECT_EQ(readFile(path_), "");
    EXPECT_EQ(log_->LogText(text(u"after reopen")), S_OK);
    EXPECT_EQ(logged(), "[hh:mm:ss]            after reopen\r\n");
    ASSERT_EQ(log_->GetFileName(&name), S_OK);
    EXPECT_EQ(take(name), String(wide(path_).c_str()));
    another->Release();
}

TEST(LogFile, ClosedLogLosesLinesAndReportsFailureWithoutThrowing)
{
    Server server(Server::PrivateCopy);
    ASSERT_TRUE(server.loaded());
    Log *log = server.create();
    ASSERT_NE(log, nullptr);

    BSTR name = reinterpret_cast<BSTR>(static_cast<UINT_PTR>(0x5A5A5A5A));
    EXPECT_EQ(log->GetFileName(&name), E_FAIL);
    EXPECT_EQ(name, reinterpret_cast<BSTR>(static_cast<UINT_PTR>(0x5A5A5A5A)));
    EXPECT_EQ(log->Reopen(), E_FAIL);
    EXPECT_EQ(log->LogLine(text(u"lost").c_str()), S_OK);
    EXPECT_EQ(log->LogText(text(u"lost")), E_FAIL);
    EXPECT_EQ(log->LogText(text(u"\r\n")), S_OK);
    EXPECT_EQ(log->LogFormat(units(u"lost %i"), 1), E_FAIL);
    EXPECT_EQ(log->LogException(raised(nullptr, u"File.cpp", 1, 5)), E_FAIL);

    // A file that cannot be created leaves the log closed.
    const std::string missingFolder = temporaryPath("qvcore-none") + "\\sub\\file.log";
    EXPECT_EQ(log->Open(String(wide(missingFolder).c_str()).c_str()), E_FAIL);
    EXPECT_EQ(log->Open(nullptr), E_FAIL);
    EXPECT_EQ(log->GetFileName(&name), E_FAIL);

    // An indentation too large to build fails instead of throwing out of the slot.
    EXPECT_EQ(log->SetIndent(0xFFFFFFFFul), S_OK);
    String line;
    EXPECT_EQ(log->FormatLine(line, text(u"x")), E_FAIL);
    EXPECT_EQ(log->LogLine(text(u"x").c_str()), E_FAIL);
    EXPECT_EQ(log->Release(), 0u);
}

TEST(LogFile, ConcurrentWritersNeverSplitOrLoseALine)
{
    const int threads = 8, linesPerThread = 10000;
    Server server(Server::PrivateCopy);
    ASSERT_TRUE(server.loaded());
    const std::string path = temporaryPath("qvcore-log") + ".log";
    {
        Log *opener = server.create();
        ASSERT_NE(opener, nullptr);
        ASSERT_EQ(opener->Open(String(wide(path).c_str()).c_str()), S_OK);
        opener->Release();
    }
    const int first = secondsNow();

    std::atomic<int> failures(0);
    auto started = std::chrono::steady_clock::now();
    std::vector<std::thread> writers;
    for (int t = 0; t < threads; ++t) {
        writers.emplace_back([&server, &failures, t] {
            Log *log = server.create();
            if (!log) {
                ++failures;
                return;
            }
            log->SetIndent(t);
            for (int i = 0; i < linesPerThread; ++i) {
                wchar_t line[32];
                swprintf(line, 32, L"writer %d line %05d", t, i);
                if (log->LogLine(reinterpret_cast<const unsigned short *>(line)) != S_OK)
                    ++failures;
            }
            log->Release();
        });
    }
    for (std::thread &writer : writers)
        writer.join();
    double seconds = std::chrono::duration<double>(std::chrono::steady_clock::now() - started).count();
    EXPECT_EQ(failures.load(), 0);

    std::string content = maskTimes(readFile(path), first, secondsNow());
    std::set<std::string> seen;
    std::size_t lines = 0, malformed = 0;
    for (std::string::size_type at = 0; at < content.size();) {
        std::string::size_type end = content.find("\r\n", at);
        if (end == std::string::npos)
            end = content.size();
        std::string line = content.substr(at, end - at);
        at = end + 2;
        ++lines;
        // Rebuilt from the numbers it carries, the line must come out the same.
        int t = -1, i = -1;
        char expected[96];
        std::string::size_type numbers = line.find("writer ");
        if (numbers != std::string::npos &&
            std::sscanf(line.c_str() + numbers, "writer %d line %d", &t, &i) == 2 && t >= 0 && t < threads)
            std::snprintf(expected, sizeof expected, "[hh:mm:ss]            %*swriter %d line %05d", 2 * t, "", t, i);
        else
            expected[0] = '\0';
        if (line != expected || !seen.insert(line).second)
            ++malformed;
    }
    EXPECT_EQ(lines, static_cast<std::size_t>(threads * linesPerThread));
    EXPECT_EQ(seen.size(), static_cast<std::size_t>(threads * linesPerThread));
    EXPECT_EQ(malformed, 0u);
    std::printf("[          ] %d threads wrote %d lines in %.3f s: %.0f lines/s\n", threads, threads * linesPerThread,
                seconds, threads * linesPerThread / seconds);
    EXPECT_EQ(server.canUnloadNow(), S_OK);
    server.unload();
    DeleteFileA(path.c_str());
}

}  // namespace
