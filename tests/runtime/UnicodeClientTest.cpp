// Built with UNICODE defined, as many clients are: the system's headers then turn LoadString,
// FormatMessage, GetModuleFileName, LoadBitmap and MessageBox into their ...W names, which
// must still reach the library's narrow exports.
#ifndef UNICODE
#error "this file tests clients built with UNICODE"
#endif

#include "qvcore/core/WinException.h"
#include "qvcore/runtime/ModuleBase.h"
#include "tests/support/MessageBoxWatcher.h"
#include "tests/support/StringPrinting.h"

#include <gtest/gtest.h>

TEST(UnicodeClient, NamesTheSystemMacrosRenameLinkAndAnswerAsTheNarrowOnes)
{
    HMODULE library = LoadLibraryA("qvcore_test_strings.dll");
    ASSERT_NE(library, nullptr) << "qvcore_test_strings.dll not loaded";
    ModuleBase module(library);
    EXPECT_EQ(ModuleBase::LoadString(library, 6), String(L"Plain message"));
    EXPECT_EQ(module.LoadString(17), String(L"Second block"));
    String text;
    EXPECT_EQ(text.LoadString(15, 0, -1, &module), String(L"Last of block 1"));
    EXPECT_EQ(text.FormatMessage(&module, 8, "one", "two"), String(L"one and two"));
    SEHException fault(0xC0000005, reinterpret_cast<void *>(&ModuleBase::GetHInstance));
    String dll = fault.GetModuleFileName();
    ASSERT_GE(dll.size(), 10u);
    EXPECT_EQ(String(dll.substr(dll.size() - 10)).LowerCase(), String(L"qvcore.dll"));
    FreeLibrary(library);
}

TEST(UnicodeClient, BitmapsAndMessageBoxesOfAModuleAreReachedUnderTheirMacroNames)
{
    HMODULE library = LoadLibraryA("qvcore_test_module.dll");
    ASSERT_NE(library, nullptr) << "qvcore_test_module.dll not loaded";
    ModuleBase module(library);
    HBITMAP bitmap = module.LoadBitmap(10);
    BITMAP info = {};
    ASSERT_TRUE(bitmap && GetObjectA(bitmap, sizeof info, &info));
    EXPECT_EQ(info.bmWidth, 4);
    DeleteObject(bitmap);

    // A null caption is the module's name.
    MessageBoxWatcher watcher("qvcore_test_module");
    EXPECT_EQ(module.MessageBox(nullptr, "Narrow text", nullptr, MB_OK), IDOK);
    const MessageBoxWatcher::Seen &seen = watcher.stop();
    EXPECT_TRUE(seen.shown);
    EXPECT_EQ(seen.text, "Narrow text");
    FreeLibrary(library);
}
