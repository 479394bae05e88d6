// Built with UNICODE defined, as many clients are: the system's headers then turn every library
// name that is also a system A/W function (LoadString, DeleteFile, ...) into its ...W spelling,
// which must still reach the library's narrow exports. unicode_names.py derives the list of such
// names from the headers and checks that this file calls each of them in every spelling: the
// macro's, the A and W ones, and the plain name where a client has undefined the macro (the
// last test, after the #undef lines).
#ifndef UNICODE
#error "this file tests clients built with UNICODE"
#endif

#include "qvcore/QvCore.h"
#include "tests/support/MessageBoxWatcher.h"
#include "tests/support/StringPrinting.h"
#include "tests/support/TempDirectory.h"

#include <gtest/gtest.h>

namespace {

using filetest::TempDirectoryTest;

class UnicodeClient : public TempDirectoryTest {
protected:
    static HMODULE load(const char *name)
    {
        HMODULE library = LoadLibraryA(name);
        EXPECT_NE(library, nullptr) << name << " not loaded";
        return library;
    }

    static int bitmapWidth(HBITMAP bitmap)
    {
        BITMAP info = {};
        int width = bitmap && GetObjectA(bitmap, sizeof info, &info) ? info.bmWidth : -1;
        DeleteObject(bitmap);
        return width;
    }

    // Shows the box through call and tells whether it appeared with text.
    template <class Show>
    static bool boxShown(Show show)
    {
        MessageBoxWatcher watcher("qvcore_test_module");
        int answer = show();
        const MessageBoxWatcher::Seen &seen = watcher.stop();
        return answer == IDOK && seen.shown && seen.text == "Narrow text";
    }

    // The file name of a fault's module, in lower case.
    static String dllName(const String &path)
    {
        return String(path.substr(path.rfind(L'\\') + 1)).LowerCase();
    }
};

}  // namespace

TEST_F(UnicodeClient, StringsMessagesAndFaultModulesReachTheNarrowExports)
{
    HMODULE library = load("qvcore_test_strings.dll");
    ASSERT_NE(library, nullptr);
    ModuleBase module(library);
    EXPECT_EQ(ModuleBase::LoadString(library, 6), String(L"Plain message"));
    EXPECT_EQ(ModuleBase::LoadStringW(library, 6), String(L"Plain message"));
    EXPECT_EQ(module.LoadString(17), String(L"Second block"));
    EXPECT_EQ(module.LoadStringA(17), String(L"Second block"));
    String text;
    EXPECT_EQ(text.LoadString(15, 0, -1, &module), String(L"Last of block 1"));
    EXPECT_EQ(text.LoadStringA(15, 0, -1, &module), String(L"Last of block 1"));
    EXPECT_EQ(text.LoadStringW(15, 0, -1, &module), String(L"Last of block 1"));
    EXPECT_EQ(text.FormatMessage(&module, 8, "one", "two"), String(L"one and two"));
    EXPECT_EQ(text.FormatMessageA(&module, 8, "one", "two"), String(L"one and two"));
    EXPECT_EQ(text.FormatMessageW(&module, 8, "one", "two"), String(L"one and two"));

    SEHException fault(0xC0000005, reinterpret_cast<void *>(&ModuleBase::GetHInstance));
    EXPECT_EQ(dllName(fault.GetModuleFileNameA()), String(L"qvcore.dll"));
    EXPECT_EQ(fault.GetModuleFileName(), fault.GetModuleFileNameA());
    EXPECT_EQ(fault.GetModuleFileNameW(), fault.GetModuleFileNameA());
    FreeLibrary(library);
}

TEST_F(UnicodeClient, BitmapsImageListsAndMessageBoxesReachTheNarrowExports)
{
    HMODULE library = load("qvcore_test_module.dll");
    ASSERT_NE(library, nullptr);
    ModuleBase module(library);
    EXPECT_EQ(bitmapWidth(module.LoadBitmap(10)), 4);
    EXPECT_EQ(bitmapWidth(module.LoadBitmapA(10)), 4);
    EXPECT_EQ(bitmapWidth(module.LoadBitmapW(10)), 4);
    // A null caption is the module's name.
    EXPECT_TRUE(boxShown([&] { return module.MessageBox(nullptr, "Narrow text", nullptr, MB_OK); }));
    EXPECT_TRUE(boxShown([&] { return module.MessageBoxA(nullptr, "Narrow text", nullptr, MB_OK); }));
    EXPECT_TRUE(boxShown([&] { return module.MessageBoxW(nullptr, "Narrow text", nullptr, MB_OK); }));
    FreeLibrary(library);

    HMODULE bitmaps = load("qvcore_test_bitmaps.dll");
    ASSERT_NE(bitmaps, nullptr);
    ModuleBase strip(bitmaps);
    ImageList list;
    EXPECT_TRUE(list.LoadBitmap(101, 8, 1, CLR_NONE, false, &strip));
    EXPECT_TRUE(list.LoadBitmapA(101, 8, 1, CLR_NONE, false, &strip));
    EXPECT_TRUE(list.LoadBitmapW(101, 8, 1, CLR_NONE, false, &strip));
    EXPECT_EQ(list.GetImageCount(), 2);
    list.Destroy();
    FreeLibrary(bitmaps);
}

TEST_F(UnicodeClient, FileNamesAndTheEnvironmentReachTheNarrowExports)
{
    String sub = path(L"sub");
    EXPECT_TRUE(File::CreateDirectory(sub));
    EXPECT_TRUE(File::CreateDirectoryA(path(L"sub2")));
    EXPECT_TRUE(File::CreateDirectoryW(path(L"sub3")));
    EXPECT_TRUE(File::IsDirectory(path(L"sub3")));

    String name = path(L"notes.txt");
    filetest::writeFile(name, "x");
    EXPECT_EQ(File::GetFileTitle(name), String(L"notes"));
    EXPECT_EQ(File::GetFileTitleA(name), String(L"notes"));
    EXPECT_EQ(File::GetFileTitleW(name), String(L"notes"));
    {
        File file;
        file.OpenForReading(name, FILE_SHARE_READ, OPEN_EXISTING, false, FILE_ATTRIBUTE_NORMAL);
        EXPECT_EQ(file.GetFileTitle(), String(L"notes"));
        EXPECT_EQ(file.GetFileTitleA(), String(L"notes"));
        EXPECT_EQ(file.GetFileTitleW(), String(L"notes"));
    }
    FileFinder finder;
    ASSERT_TRUE(finder.Start(path(L"*.txt"), false));
    EXPECT_EQ(finder.GetFileTitle(), String(L"notes"));
    EXPECT_EQ(finder.GetFileTitleA(), String(L"notes"));
    EXPECT_EQ(finder.GetFileTitleW(), String(L"notes"));

    unsigned fixed = GetDriveTypeA(nullptr);
    EXPECT_EQ(File::GetDriveType(name), fixed);
    EXPECT_EQ(File::GetDriveTypeA(name), fixed);
    EXPECT_EQ(File::GetDriveTypeW(name), fixed);

    File::DeleteFile(name);
    EXPECT_FALSE(File::FileExists(name));
    filetest::writeFile(name, "x");
    File::DeleteFileA(name);
    EXPECT_FALSE(File::FileExists(name));
    filetest::writeFile(name, "x");
    File::DeleteFileW(name);
    EXPECT_FALSE(File::FileExists(name));

    ASSERT_TRUE(SetEnvironmentVariableA("QVCORE_UNICODE_CLIENT", "set"));
    EXPECT_EQ(SysInfo::GetEnvironmentVariable(String(L"QVCORE_UNICODE_CLIENT")), String(L"set"));
    EXPECT_EQ(SysInfo::GetEnvironmentVariableA(String(L"QVCORE_UNICODE_CLIENT")), String(L"set"));
    EXPECT_EQ(SysInfo::GetEnvironmentVariableW(String(L"QVCORE_UNICODE_CLIENT")), String(L"set"));
}

TEST_F(UnicodeClient, TextDrawnIntoADeviceContextReachesTheNarrowExports)
{
    GDIBitmap canvas = GDIBitmap::CreateDIB(Size(64, 16));
    MemoryDC dc;
    dc.Select(canvas);
    EXPECT_TRUE(dc.TextOut(Point(0, 0), String(L"a")));
    EXPECT_TRUE(dc.TextOutA(Point(0, 0), String(L"a")));
    EXPECT_TRUE(dc.TextOutW(Point(0, 0), String(L"a")));
    EXPECT_GT(dc.DrawText(String(L"a"), Rect(0, 0, 64, 16), DT_LEFT), 0);
    EXPECT_GT(dc.DrawTextA(String(L"a"), Rect(0, 0, 64, 16), DT_LEFT), 0);
    EXPECT_GT(dc.DrawTextW(String(L"a"), Rect(0, 0, 64, 16), DT_LEFT), 0);
}

// A client that undefines the system's macros calls the library's names as they are spelt.
#undef CreateDirectory
#undef DeleteFile
#undef DrawText
#undef FormatMessage
#undef GetDriveType
#undef GetEnvironmentVariable
#undef GetFileTitle
#undef GetModuleFileName
#undef LoadBitmap
#undef LoadString
#undef MessageBox
#undef TextOut

TEST_F(UnicodeClient, PlainNamesReachTheNarrowExportsWhereTheClientUndefinesTheMacros)
{
    HMODULE strings = load("qvcore_test_strings.dll");
    HMODULE resources = load("qvcore_test_module.dll");
    HMODULE bitmaps = load("qvcore_test_bitmaps.dll");
    ASSERT_TRUE(strings && resources && bitmaps);
    ModuleBase module(strings);
    EXPECT_EQ(module.LoadString(17), String(L"Second block"));
    String text;
    EXPECT_EQ(text.FormatMessage(&module, 8, "one", "two"), String(L"one and two"));
    SEHException fault(0xC0000005, reinterpret_cast<void *>(&ModuleBase::GetHInstance));
    EXPECT_EQ(dllName(fault.GetModuleFileName()), String(L"qvcore.dll"));

    ModuleBase resourceModule(resources);
    EXPECT_EQ(bitmapWidth(resourceModule.LoadBitmap(10)), 4);
    EXPECT_TRUE(boxShown([&] { return resourceModule.MessageBox(nullptr, "Narrow text", nullptr, MB_OK); }));
    ModuleBase strip(bitmaps);
    ImageList list;
    EXPECT_TRUE(list.LoadBitmap(101, 8, 1, CLR_NONE, false, &strip));

    String name = path(L"plain.txt");
    EXPECT_TRUE(File::CreateDirectory(path(L"plain")));
    filetest::writeFile(name, "x");
    EXPECT_EQ(File::GetFileTitle(name), String(L"plain"));
    FileFinder finder;
    ASSERT_TRUE(finder.Start(name, false));
    EXPECT_EQ(finder.GetFileTitle(), String(L"plain"));
    EXPECT_EQ(File::GetDriveType(name), GetDriveTypeA(nullptr));
    File::DeleteFile(name);
    EXPECT_FALSE(File::FileExists(name));
    ASSERT_TRUE(SetEnvironmentVariableA("QVCORE_UNICODE_CLIENT", "plain"));
    EXPECT_EQ(SysInfo::GetEnvironmentVariable(String(L"QVCORE_UNICODE_CLIENT")), String(L"plain"));

    GDIBitmap canvas = GDIBitmap::CreateDIB(Size(64, 16));
    MemoryDC dc;
    dc.Select(canvas);
    EXPECT_TRUE(dc.TextOut(Point(0, 0), String(L"a")));
    EXPECT_GT(dc.DrawText(String(L"a"), Rect(0, 0, 64, 16), DT_LEFT), 0);

    list.Destroy();
    FreeLibrary(bitmaps);
    FreeLibrary(resources);
    FreeLibrary(strings);
}
