#include "qvcore/runtime/SysInfo.h"

#include "qvcore/runtime/LogFile.h"

#include "tests/support/LogClient.h"

#include <gtest/gtest.h>

#include <map>
#include <string>
#include <thread>

namespace {

std::string text(const String &s) { return s.SystemMultibyte(); }

OSVERSIONINFOA realVersion()
{
    OSVERSIONINFOA real = {};
    real.dwOSVersionInfoSize = sizeof real;
    EXPECT_TRUE(GetVersionExA(&real));
    return real;
}

unsigned int param(unsigned int getAction)
{
    unsigned int value = 0;
    SystemParametersInfoA(getAction, 0, &value, 0);
    return value;
}

void setParam(unsigned int setAction, unsigned int value) { SystemParametersInfoA(setAction, value, nullptr, 0); }

bool waitForParam(unsigned int getAction, unsigned int wanted)
{
    for (int waited = 0; waited < 3000 && param(getAction) != wanted; waited += 20)
        Sleep(20);
    return param(getAction) == wanted;
}

}  // namespace

TEST(SysInfo, SystemFamilyFromEveryVersionRowAskedOnce)
{
    using namespace SysInfo;
    const DWORD nine = VER_PLATFORM_WIN32_WINDOWS, nt = VER_PLATFORM_WIN32_NT;
    // Only the minor version is tested for later NT systems.
    struct Row {
        DWORD platform, major, minor;
        System system;
    } rows[] = {{nine, 4, 0, Windows95},    {nine, 4, 10, Windows98},  {nine, 4, 90, WindowsMe},
                {nt, 4, 0, WindowsNT4},     {nt, 5, 0, Windows2000},   {nt, 5, 1, WindowsXP},
                {nt, 6, 0, Windows2000},    {nt, 10, 0, Windows2000},  {nt, 6, 1, WindowsXP}};
    for (const Row &row : rows) {
        OSVERSIONINFOA v = {sizeof(OSVERSIONINFOA), row.major, row.minor, 0, row.platform, {}};
        EXPECT_EQ(row.system, SystemFromVersion(v)) << row.major << "." << row.minor;
    }
    EXPECT_EQ(7, Windows9x);

    System first = GetSystem();
    EXPECT_EQ(first, GetSystem());
    EXPECT_EQ(SystemFromVersion(realVersion()), first);
}

TEST(SysInfo, OSProcessorAndDirectXNamesFromTheirTables)
{
    using namespace SysInfo;
    struct { unsigned long major, minor; bool mediaCenter; const char *name; } names[] = {
        {4, 10, false, "Windows 98"},    {4, 90, false, "Windows Me"},  {5, 0, true, "Windows 2000"},
        {5, 1, false, "Windows XP"},     {5, 1, true, "Windows XP Media Center Edition"},
        {5, 2, false, "Windows .NET Server"}, {4, 0, false, "Unsupported"},  // 95 and NT 4
        {6, 0, false, "Unsupported"},    {10, 0, false, "Unsupported"}};
    for (const auto &row : names)
        EXPECT_EQ(row.name, text(OSNameFromVersion(row.major, row.minor, row.mediaCenter)));
    OSVERSIONINFOA real = realVersion();
    EXPECT_EQ(text(OSNameFromVersion(real.dwMajorVersion, real.dwMinorVersion, GetSystemMetrics(87) != 0)),
              text(GetOSName()));

    struct { unsigned int architecture; const char *name; } processors[] = {
        {0, "Intel"}, {6, "Intel 64"}, {10, "Intel 64"}, {9, "AMD 64"}, {5, "Unknown"}, {12, "Unknown"}};
    for (const auto &row : processors)
        EXPECT_EQ(row.name, text(ProcessorName(row.architecture))) << row.architecture;
    SYSTEM_INFO info = {};
    String name;
    GetSystemInfo(info, name);
    EXPECT_GT(info.dwNumberOfProcessors, 0u);
    EXPECT_EQ(text(ProcessorName(info.wProcessorArchitecture)), text(name));

    // The letter counts from a = 1, small letters only.
    struct { unsigned short letter; unsigned long packed; } letters[] = {
        {'c', 0x00090003}, {' ', 0x00090000}, {'z', 0x0009001A}, {'C', 0x00090000}};
    for (const auto &row : letters)
        EXPECT_EQ(row.packed, PackDirectXVersion(9, 0, row.letter)) << row.letter;
    EXPECT_EQ(0x00080100ul, PackDirectXVersion(8, 1, 0));
}

TEST(SysInfo, DirectXVersionIsDetectedAndLogged)
{
    // This process's log (the library's one sink) goes to a file of the test's own.
    const std::string path = logclient::temporaryPath("qvcore-dx") + ".log";
    ILogFile2 *log = nullptr;
    ASSERT_EQ(S_OK, DllGetClassObject(CLSID_QvCore, IID_ILogFile2, reinterpret_cast<void **>(&log)));
    ASSERT_EQ(S_OK, log->Open(String::FromSystemMultibyte(path.c_str()).c_str()));
    unsigned long version = SysInfo::GetDirectXVersion();
    log->Release();
    const std::string logged = logclient::readFile(path);
    DeleteFileA(path.c_str());
    // Wine's diagnostics report 9.0c.
    EXPECT_EQ(0x00090003ul, version);
    EXPECT_NE(std::string::npos, logged.find("Detected DirectX Version: 9.0c\r\n")) << logged;
}

TEST(SysInfo, EnvironmentVariables)
{
    const std::string big(5000, 'x');
    const char *values[] = {"value \xE9t\xE9", big.c_str(), "", nullptr};
    for (const char *value : values) {
        ASSERT_TRUE(SetEnvironmentVariableA("QVCORE_TEST_VAR", value));
        EXPECT_EQ(String::FromSystemMultibyte(value ? value : ""),
                  SysInfo::GetEnvironmentVariableA(String(L"QVCORE_TEST_VAR")));
    }
}

TEST(SysInfo, InstalledCodepagesReplaceTheMapContentOnEachThread)
{
    std::map<unsigned int, String> pages;
    pages[4242] = String(L"stale");
    SysInfo::EnumInstalledCodepages(pages);
    EXPECT_EQ(0u, pages.count(4242));
    ASSERT_TRUE(pages.count(1252) && pages.count(437));
    for (const auto &page : pages) {
        CPINFOEXA info;
        ASSERT_TRUE(IsValidCodePage(page.first) && GetCPInfoExA(page.first, 0, &info)) << page.first;
        EXPECT_EQ(std::string(info.CodePageName), text(page.second)) << page.first;
    }

    std::map<unsigned int, String> a, b;
    std::thread first([&a] { SysInfo::EnumInstalledCodepages(a); }), second([&b] { SysInfo::EnumInstalledCodepages(b); });
    first.join();
    second.join();
    EXPECT_EQ(pages, a);
    EXPECT_EQ(pages, b);
}

TEST(SysParamWatcher, AppliesReappliesAndRestoresRealParameters)
{
    const unsigned int timeout = param(SPI_GETSCREENSAVETIMEOUT), hover = param(SPI_GETMOUSEHOVERTIME);
    {
        SysParamWatcher watcher;
        watcher.SetParamToWatch(SPI_SETSCREENSAVETIMEOUT, SPI_GETSCREENSAVETIMEOUT, timeout + 11);
        watcher.SetParamToWatch(SPI_SETMOUSEHOVERTIME, SPI_GETMOUSEHOVERTIME, hover + 13);
        EXPECT_EQ(timeout, param(SPI_GETSCREENSAVETIMEOUT)) << "applied before watching";
        watcher.SetUpdateInterval(1);
        watcher.StartWatching(true);
        EXPECT_TRUE(watcher.IsWatching());
        EXPECT_EQ(timeout + 11, param(SPI_GETSCREENSAVETIMEOUT));
        setParam(SPI_SETSCREENSAVETIMEOUT, timeout + 7);  // behind the watcher's back
        EXPECT_TRUE(waitForParam(SPI_GETSCREENSAVETIMEOUT, timeout + 11)) << "the timer did not re-apply it";
        watcher.StopWatching();
        EXPECT_FALSE(watcher.IsWatching());
        EXPECT_EQ(timeout, param(SPI_GETSCREENSAVETIMEOUT));
        EXPECT_EQ(hover, param(SPI_GETMOUSEHOVERTIME));

        // Re-watching a pair replaces the wanted value and re-reads the saved one.
        setParam(SPI_SETSCREENSAVETIMEOUT, timeout + 50);
        watcher.SetParamToWatch(SPI_SETSCREENSAVETIMEOUT, SPI_GETSCREENSAVETIMEOUT, timeout + 12);
        watcher.StartWatching(false);
        EXPECT_EQ(timeout + 12, param(SPI_GETSCREENSAVETIMEOUT));
        watcher.RestoreDefaults();
        EXPECT_EQ(timeout + 50, param(SPI_GETSCREENSAVETIMEOUT));

        // Removing a parameter while watching restores it; the timer keeps applying the rest.
        watcher.StartWatching(false);
        watcher.RemoveParamFromWatchlist(SPI_SETSCREENSAVETIMEOUT);
        EXPECT_EQ(timeout + 50, param(SPI_GETSCREENSAVETIMEOUT));
        EXPECT_TRUE(watcher.IsWatching());
        setParam(SPI_SETMOUSEHOVERTIME, hover + 1);
        EXPECT_TRUE(waitForParam(SPI_GETMOUSEHOVERTIME, hover + 13)) << "no re-application after the removal";
        EXPECT_EQ(timeout + 50, param(SPI_GETSCREENSAVETIMEOUT)) << "the removed parameter was applied again";
    }
    EXPECT_EQ(hover, param(SPI_GETMOUSEHOVERTIME)) << "the destructor did not restore while watching";
    setParam(SPI_SETSCREENSAVETIMEOUT, timeout);
}
