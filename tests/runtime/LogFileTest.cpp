#include "qvcore/core/WinException.h"

#include "tests/support/LogClient.h"

#include <gtest/gtest.h>

#include <oleauto.h>

#include <stdexcept>
#include <vector>

using namespace logclient;

namespace {

String text(const char16_t *literal) { return String(literal); }
String path16(const std::string &path) { return String::FromSystemMultibyte(path.c_str()); }

// A private copy of the library with its log open on a new file, and one log object of it.
class OpenLog : public ::testing::Test {
protected:
    void SetUp() override
    {
        ASSERT_NE(log_ = server_.create(), nullptr);
        const std::string path = temporaryPath("qvcore-log") + ".log";
        ASSERT_EQ(log_->Open(path16(path).c_str()), S_OK);
        path_ = path;
        first_ = secondsNow();
    }
    void TearDown() override
    {
        if (log_)
            log_->Release();
        server_.unload();  // closes the file, so that it can be deleted
        EXPECT_TRUE(path_.empty() || DeleteFileA(path_.c_str())) << path_;
    }

    // The file's content with every time stamp checked and masked.
    std::string logged() const { return maskTimes(readFile(path_), first_, secondsNow()); }

    Server server_;
    Log *log_ = nullptr;
    std::string path_;
    int first_ = 0;
};

TEST_F(OpenLog, LineIsStampTagInTenColumnsIndentAndTextEndedByCrLfInAnsi)
{
    // The tag is the module's file name without extension: kernel32 is padded to ten
    // columns, the test program's own name is cut after ten; a heap address has no module.
    const void *inKernel32 = reinterpret_cast<const void *>(GetProcAddress(GetModuleHandleA("kernel32.dll"), "GetTickCount"));
    const void *inTests = reinterpret_cast<const void *>(&secondsNow);
    std::vector<char> heap(16);
    const std::u16string accented = u"caf\u00e9 \u00fcber";
    const std::string noTag = "[hh:mm:ss]            ";
    struct {
        const void *module;
        unsigned long indent;
        const char16_t *text;
        std::string line;
    } steps[] = {{nullptr, 0, u"no tag yet", noTag + "no tag yet"},
                 {inKernel32, 0, u"Saved", "[hh:mm:ss] kernel32   Saved"},
                 {inKernel32, 1, u"Saved", "[hh:mm:ss] kernel32     Saved"},
                 {inTests, 3, u"deeper", "[hh:mm:ss] qvcore_run       deeper"},
                 {inTests, 3, u"", ""},
                 {inTests, 3, nullptr, ""},
                 {heap.data(), 0, u"x", noTag + "x"},
                 {heap.data(), 0, accented.c_str(), noTag + ansi(accented)}};
    std::string expected;
    for (const auto &step : steps) {
        EXPECT_EQ(step.module ? log_->SetSourceModule(step.module) : S_OK, S_OK);
        EXPECT_EQ(log_->SetIndent(step.indent), S_OK);
        EXPECT_EQ(log_->LogLine(step.text ? text(step.text).c_str() : nullptr), S_OK);
        expected += step.line + "\r\n";
    }
    EXPECT_EQ(logged(), expected);

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

TEST_F(OpenLog, LogTextWritesEachNonEmptyLineAndLogFormatFormatsFirst)
{
    EXPECT_EQ(log_->SetIndent(1), S_OK);
    for (const char16_t *lines : {u"a\r\n\r\nb", u"c\rd\n", u"\r\n\n\r", u""})
        EXPECT_EQ(log_->LogText(text(lines)), S_OK);
    EXPECT_EQ(log_->LogFormat(units(u"%s=%i, %S\n%05.1f"), units(u"count"), 42, "narrow", 2.5), S_OK);
    EXPECT_EQ(logged(), "[hh:mm:ss]              a\r\n"
                        "[hh:mm:ss]              b\r\n"
                        "[hh:mm:ss]              c\r\n"
                        "[hh:mm:ss]              d\r\n"
                        "[hh:mm:ss]              count=42, narrow\r\n"
                        "[hh:mm:ss]              002.5\r\n");
}

// The system's first line of text for a code, as a log line holds it (without line breaks).
std::string systemText(DWORD code)
{
    std::string text = systemFirstLine(code);
    return text.substr(0, text.find('\r'));
}

// The system's error text, or one of its own, or none at all (throws) for a null text.
struct OwnText : WinException {
    OwnText(const char16_t *context, const char16_t *file, int line, long code, const char16_t *text = u"")
        : WinException(context ? units(context) : nullptr), text_(text)
    {
        m_sourceFile = String(file), m_line = line, m_code = code;
    }
    String GetErrorString() const override
    {
        return !text_ ? throw std::runtime_error("no text") : *text_ ? String(text_) : WinException::GetErrorString();
    }
    const char16_t *text_;
};

TEST_F(OpenLog, ExceptionIsOneLineWithContextFileNameLineAndText)
{
    EXPECT_EQ(log_->LogException(OwnText(nullptr, u"C:\\src\\io\\File.cpp", 120, 5)), S_OK);
    EXPECT_EQ(log_->LogException(OwnText(u"Reading settings", u"src/Profile.h", -3, 2)), S_OK);
    EXPECT_EQ(log_->LogException(OwnText(nullptr, u"NoFolder", 7, 0x12345678, u"first\r\nsecond\n")), S_OK);
    // An exception thrown while the line is built stays inside the slot.
    EXPECT_EQ(log_->LogException(OwnText(nullptr, u"x", 1, 1, nullptr)), E_FAIL);
    EXPECT_EQ(logged(), "[hh:mm:ss]            EXCEPTION (File.cpp, line 120: " + systemText(5) + " (0x00000005))\r\n"
                        "[hh:mm:ss]            EXCEPTION \"Reading settings\" (Profile.h, line -3: " + systemText(2) +
                        " (0x00000002))\r\n"
                        "[hh:mm:ss]            EXCEPTION (NoFolder, line 7: firstsecond (0x12345678))\r\n");
}

TEST_F(OpenLog, OpenSucceedsOnceAndReopenTruncatesButFails)
{
    // A second open fails and touches neither file.
    const std::string other = temporaryPath("qvcore-log") + ".log";
    EXPECT_EQ(log_->Open(path16(other).c_str()), E_FAIL);
    EXPECT_EQ(readFile(other), "<missing>");
    EXPECT_EQ(log_->LogLine(text(u"kept").c_str()), S_OK);
    EXPECT_EQ(logged(), "[hh:mm:ss]            kept\r\n");

    // Every object of the process shares the one file; Reopen reports failure although the
    // file is recreated empty and open.
    Log *another = server_.create(logInterface1);
    ASSERT_NE(another, nullptr);
    EXPECT_EQ(another->Reopen(), E_FAIL);
    EXPECT_EQ(readFile(path_), "");
    EXPECT_EQ(log_->LogText(text(u"after reopen")), S_OK);
    EXPECT_EQ(logged(), "[hh:mm:ss]            after reopen\r\n");
    for (Log *log : {log_, another}) {
        BSTR name = nullptr;
        ASSERT_EQ(log->GetFileName(&name), S_OK);
        EXPECT_EQ(String(reinterpret_cast<const unsigned short *>(name), SysStringLen(name)), path16(path_));
        SysFreeString(name);
    }
    another->Release();
}

TEST(LogFile, ClosedLogLosesLinesAndReportsFailureWithoutThrowing)
{
    Server server;
    Log *log = server.create();
    ASSERT_NE(log, nullptr);

    BSTR const untouched = reinterpret_cast<BSTR>(static_cast<UINT_PTR>(0x5A5A5A5A));
    BSTR name = untouched;
    EXPECT_EQ(log->GetFileName(&name), E_FAIL);
    EXPECT_EQ(name, untouched);
    EXPECT_EQ(log->Reopen(), E_FAIL);
    EXPECT_EQ(log->LogLine(text(u"lost").c_str()), S_OK);
    EXPECT_EQ(log->LogText(text(u"lost")), E_FAIL);
    EXPECT_EQ(log->LogText(text(u"\r\n")), S_OK);
    EXPECT_EQ(log->LogFormat(units(u"lost %i"), 1), E_FAIL);
    EXPECT_EQ(log->LogException(OwnText(nullptr, u"File.cpp", 1, 5)), E_FAIL);

    // A file that cannot be created leaves the log closed.
    EXPECT_EQ(log->Open(path16(temporaryPath("qvcore-none") + "\\sub\\file.log").c_str()), E_FAIL);
    EXPECT_EQ(log->Open(nullptr), E_FAIL);
    EXPECT_EQ(log->GetFileName(&name), E_FAIL);

    // An indentation too large to build fails instead of throwing out of the slot.
    EXPECT_EQ(log->SetIndent(0xFFFFFFFFul), S_OK);
    String line;
    EXPECT_EQ(log->FormatLine(line, text(u"x")), E_FAIL);
    EXPECT_EQ(log->LogLine(text(u"x").c_str()), E_FAIL);
    EXPECT_EQ(log->Release(), 0u);
}

}  // namespace
