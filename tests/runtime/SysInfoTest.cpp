#include "qvcore/runtime/SysInfo.h"

#include "qvcore/runtime/LogFile.h"

#include <gtest/gtest.h>

#include <cstdio>
#include <map>
#include <string>

namespace {

OSVERSIONINFOA version(DWORD platform, DWORD major, DWORD minor)
{
    OSVERSIONINFOA v = {};
    v.dwOSVersionInfoSize = sizeof v;
    v.dwPlatformId = platform;
    v.dwMajorVersion = major;
    v.dwMinorVersion = minor;
    return v;
}

std::string text(const String &s)
{
    return s.SystemMultibyte();
}

unsigned int screenSaverTimeout()
{
    unsigned int value = 0;
    SystemParametersInfoA(SPI_GETSCREENSAVETIMEOUT, 0, &value, 0);
    return value;
}

void setScreenSaverTimeout(unsigned int value)
{
    SystemParametersInfoA(SPI_SETSCREENSAVETIMEOUT, value, nullptr, 0);
}

bool waitForTimeout(unsigned int wanted, int ms)
{
    for (int waited = 0; waited < ms; waited += 20) {
        if (screenSaverTimeout() == wanted)
            return true;
        Sleep(20);
    }
    return screenSaverTimeout() == wanted;
}

}  // namespace

TEST(SysInfo, SystemFamilyFromEveryVersionRow)
{
    using namespace SysInfo;
    EXPECT_EQ(Windows95, SystemFromVersion(version(VER_PLATFORM_WIN32_WINDOWS, 4, 0)));
    EXPECT_EQ(Windows98, SystemFromVersion(version(VER_PLATFORM_WIN32_WINDOWS, 4, 10)));
    EXPECT_EQ(WindowsMe, SystemFromVersion(version(VER_PLATFORM_WIN32_WINDOWS, 4, 90)));
    EXPECT_EQ(WindowsNT4, SystemFromVersion(version(VER_PLATFORM_WIN32_NT, 4, 0)));
    EXPECT_EQ(Windows2000, SystemFromVersion(version(VER_PLATFORM_WIN32_NT, 5, 0)));
    EXPECT_EQ(WindowsXP, SystemFromVersion(version(VER_PLATFORM_WIN32_NT, 5, 1)));
    // Only the minor version is tested for later systems.
    EXPECT_EQ(Windows2000, SystemFromVersion(version(VER_PLATFORM_WIN32_NT, 6, 0)));
    EXPECT_EQ(Windows2000, SystemFromVersion(version(VER_PLATFORM_WIN32_NT, 10, 0)));
    EXPECT_EQ(WindowsXP, SystemFromVersion(version(VER_PLATFORM_WIN32_NT, 6, 1)));
    EXPECT_EQ(7, Windows9x);
}

TEST(SysInfo, GetSystemAsksTheSystemOnceAndMatchesItsAnswer)
{
    SysInfo::System first = SysInfo::GetSystem();
    int queries = SysInfo::GetSystemQueryCount();
    EXPECT_EQ(first, SysInfo::GetSystem());
    EXPECT_EQ(first, SysInfo::GetSystem());
    EXPECT_EQ(queries, SysInfo::GetSystemQueryCount());

    OSVERSIONINFOA real = {};
    real.dwOSVersionInfoSize = sizeof real;
    ASSERT_TRUE(GetVersionExA(&real));
    EXPECT_EQ(SysInfo::SystemFromVersion(real), first);
}

TEST(SysInfo, OSNamesFromTheVersionTable)
{
    using SysInfo::OSNameFromVersion;
    EXPECT_EQ("Windows 98", text(OSNameFromVersion(4, 10, false)));
    EXPECT_EQ("Windows Me", text(OSNameFromVersion(4, 90, false)));
    EXPECT_EQ("Windows 2000", text(OSNameFromVersion(5, 0, true)));
    EXPECT_EQ("Windows XP", text(OSNameFromVersion(5, 1, false)));
    EXPECT_EQ("Windows XP Media Center Edition", text(OSNameFromVersion(5, 1, true)));
    EXPECT_EQ("Windows .NET Server", text(OSNameFromVersion(5, 2, false)));
    EXPECT_EQ("Unsupported", text(OSNameFromVersion(4, 0, false)));  // 95 and NT 4
    EXPECT_EQ("Unsupported", text(OSNameFromVersion(6, 0, false)));
    EXPECT_EQ("Unsupported", text(OSNameFromVersion(10, 0, false)));

    OSVERSIONINFOA real = {};
    real.dwOSVersionInfoSize = sizeof real;
    ASSERT_TRUE(GetVersionExA(&real));
    EXPECT_EQ(text(OSNameFromVersion(real.dwMajorVersion, real.dwMinorVersion, GetSystemMetrics(87) != 0)),
              text(SysInfo::GetOSName()));
}

TEST(SysInfo, ProcessorNames)
{
    using SysInfo::ProcessorName;
    EXPECT_EQ("Intel", text(ProcessorName(0)));
    EXPECT_EQ("Intel 64", text(ProcessorName(6)));
    EXPECT_EQ("Intel 64", text(ProcessorName(10)));
    EXPECT_EQ("AMD 64", text(ProcessorName(9)));
    EXPECT_EQ("Unknown", text(ProcessorName(5)));
    EXPECT_EQ("Unknown", text(ProcessorName(12)));

    SYSTEM_INFO info = {};
    String name;
    SysInfo::GetSystemInfo(info, name);
    EXPECT_GT(info.dwNumberOfProcessors, 0u);
    EXPECT_EQ(text(ProcessorName(info.wProcessorArchitecture)), text(name));
#ifdef _WIN64
    EXPECT_EQ("AMD 64", text(name));
#endif
}

TEST(SysInfo, DirectXVersionPacking)
{
    EXPECT_EQ(0x00090003ul, SysInfo::PackDirectXVersion(9, 0, 'c'));
    EXPECT_EQ(0x00090000ul, SysInfo::PackDirectXVersion(9, 0, ' '));
    EXPECT_EQ(0x00080100ul, SysInfo::PackDirectXVersion(8, 1, 0));
    EXPECT_EQ(0x0009001Aul, SysInfo::PackDirectXVersion(9, 0, 'z'));
    EXPECT_EQ(0x00090000ul, SysInfo::PackDirectXVersion(9, 0, 'C'));  // small letters only
}

TEST(SysInfo, DirectXVersionIsDetectedAndLogged)
{
    // This process's log (the library's one sink) goes to a file of the test's own.
    char folder[MAX_PATH], path[MAX_PATH];
    ASSERT_NE(0u, GetTempPathA(MAX_PATH, folder));
    ASSERT_NE(0u, GetTempFileNameA(folder, "qdx", 0, path));
    ILogFile2 *log = nullptr;
    ASSERT_EQ(S_OK, DllGetClassObject(CLSID_QvCore, IID_ILogFile2, reinterpret_cast<void **>(&log)));
    ASSERT_EQ(S_OK, log->Open(String::FromSystemMultibyte(path).c_str()));

    unsigned long version = SysInfo::GetDirectXVersion();
    log->Release();
    ASSERT_NE(0ul, version) << "no DirectX version";

    char expected[64];
    unsigned long letter = version & 0xFF;
    std::snprintf(expected, sizeof expected, "Detected DirectX Version: %lu.%lu%c\r\n", version >> 16,
                  (version >> 8) & 0xFF, letter ? static_cast<char>('a' - 1 + letter) : ' ');
    HANDLE file = CreateFileA(path, GENERIC_READ, FILE_SHARE_READ | FILE_SHARE_WRITE, nullptr, OPEN_EXISTING, 0, nullptr);
    ASSERT_NE(INVALID_HANDLE_VALUE, file);
    char content[4096];
    DWORD got = 0;
    ReadFile(file, content, sizeof content, &got, nullptr);
    CloseHandle(file);
    DeleteFileA(path);
    std::string logged(content, got);
    EXPECT_NE(std::string::npos, logged.find(expected)) << logged;
    // Wine's diagnostics report 9.0c.
    EXPECT_EQ(0x00090003ul, version);
}

TEST(SysInfo, EnvironmentVariables)
{
    ASSERT_TRUE(SetEnvironmentVariableA("QVCORE_TEST_VAR", "value \xE9t\xE9"));
    EXPECT_EQ(String::FromSystemMultibyte("value \xE9t\xE9"), SysInfo::GetEnvironmentVariableA(String(L"QVCORE_TEST_VAR")));
    ASSERT_TRUE(SetEnvironmentVariableA("QVCORE_TEST_VAR", ""));
    EXPECT_TRUE(SysInfo::GetEnvironmentVariableA(String(L"QVCORE_TEST_VAR")).empty());
    ASSERT_TRUE(SetEnvironmentVariableA("QVCORE_TEST_VAR", nullptr));
    EXPECT_TRUE(SysInfo::GetEnvironmentVariableA(String(L"QVCORE_TEST_VAR")).empty());
    std::string big(5000, 'x');
    ASSERT_TRUE(SetEnvironmentVariableA("QVCORE_TEST_VAR", big.c_str()));
    EXPECT_EQ(big, text(SysInfo::GetEnvironmentVariableA(String(L"QVCORE_TEST_VAR"))));
    SetEnvironmentVariableA("QVCORE_TEST_VAR", nullptr);
}

TEST(SysInfo, InstalledCodepagesReplaceTheMapContent)
{
    std::map<unsigned int, String> pages;
    pages[4242] = String(L"stale");
    SysInfo::EnumInstalledCodepages(pages);
    EXPECT_EQ(0u, pages.count(4242));
    ASSERT_EQ(1u, pages.count(1252));
    ASSERT_EQ(1u, pages.count(437));
    for (const auto &page : pages) {
        CPINFOEXA info;
        ASSERT_TRUE(IsValidCodePage(page.first) && GetCPInfoExA(page.first, 0, &info)) << page.first;
        EXPECT_EQ(std::string(info.CodePageName), text(page.second)) << page.first;
    }

    // Each thread fills its own map.
    struct Enumerator : Thread {
        std::map<unsigned int, String> pages;
        unsigned long run() override
        {
            SysInfo::EnumInstalledCodepages(pages);
            return 0;
        }
    } a, b;
    ASSERT_TRUE(a.start());
    ASSERT_TRUE(b.start());
    a.waitForEnd(INFINITE);
    b.waitForEnd(INFINITE);
    EXPECT_EQ(pages, a.pages);
    EXPECT_EQ(pages, b.pages);
}

TEST(SysParamWatcher, AppliesReappliesAndRestoresScreenSaverTimeout)
{
    unsigned int original = screenSaverTimeout();
    unsigned int wanted = original + 123;
    {
        SysParamWatcher watcher;
        watcher.SetParamToWatch(SPI_SETSCREENSAVETIMEOUT, SPI_GETSCREENSAVETIMEOUT, wanted);
        EXPECT_EQ(original, screenSaverTimeout()) << "nothing applied before watching";
        watcher.SetUpdateInterval(1);
        watcher.StartWatching(true);
        EXPECT_TRUE(watcher.IsWatching());
        EXPECT_EQ(wanted, screenSaverTimeout());

        setScreenSaverTimeout(original + 7);  // behind the watcher's back
        EXPECT_TRUE(waitForTimeout(wanted, 3000)) << "the timer did not re-apply the wanted value";

        watcher.StopWatching();
        EXPECT_FALSE(watcher.IsWatching());
        EXPECT_EQ(original, screenSaverTimeout());

        // Re-watching a pair replaces the wanted value and re-reads the saved one.
        setScreenSaverTimeout(original + 50);
        watcher.SetParamToWatch(SPI_SETSCREENSAVETIMEOUT, SPI_GETSCREENSAVETIMEOUT, wanted + 1);
        watcher.StartWatching(false);
        EXPECT_EQ(wanted + 1, screenSaverTimeout());
        watcher.RestoreDefaults();
        EXPECT_EQ(original + 50, screenSaverTimeout());

        // The destructor restores while watching.
        watcher.StartWatching(false);
        EXPECT_EQ(wanted + 1, screenSaverTimeout());
    }
    EXPECT_EQ(original + 50, screenSaverTimeout());
    setScreenSaverTimeout(original);
}

TEST(SysParamWatcher, RemovingAParameterWhileWatchingRestoresIt)
{
    unsigned int original = screenSaverTimeout();
    SysParamWatcher watcher;
    watcher.SetParamToWatch(SPI_SETSCREENSAVETIMEOUT, SPI_GETSCREENSAVETIMEOUT, original + 99);
    watcher.StartWatching(true);
    ASSERT_EQ(original + 99, screenSaverTimeout());
    watcher.RemoveParamFromWatchlist(SPI_SETSCREENSAVETIMEOUT);
    EXPECT_EQ(original, screenSaverTimeout());
    EXPECT_TRUE(watcher.IsWatching());
    setScreenSaverTimeout(original + 5);
    watcher.ApplyValues();  // nothing left to apply
    EXPECT_EQ(original + 5, screenSaverTimeout());
    watcher.StopWatching();
    setScreenSaverTimeout(original);
}
