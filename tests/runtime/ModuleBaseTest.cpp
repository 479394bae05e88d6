#include "qvcore/runtime/ModuleBase.h"

#include <gtest/gtest.h>

#include <ostream>

void PrintTo(const String &s, std::ostream *out)
{
    *out << '"' << s.Utf8() << "\" (" << s.size() << " units)";
}

namespace {

String S(const wchar_t *s) { return String(s); }

// The resource-only DLL built beside the tests (TestStrings.rc), loaded as a real module.
class StringResources : public ::testing::Test {
protected:
    static void SetUpTestSuite() { library = LoadLibraryA("qvcore_test_strings.dll"); }
    static void TearDownTestSuite()
    {
        if (library)
            FreeLibrary(library);
        library = nullptr;
    }
    void SetUp() override { ASSERT_NE(library, nullptr) << "qvcore_test_strings.dll not loaded"; }

    static HMODULE library;
};

HMODULE StringResources::library = nullptr;

}  // namespace

TEST(ModuleBaseTest, GetHInstanceFindsTheModuleOfAnAddress)
{
    HMODULE library = GetModuleHandleA("qvcore.dll");
    ASSERT_NE(library, nullptr);
    EXPECT_EQ(ModuleBase::GetHInstance(reinterpret_cast<const void *>(&ModuleBase::GetHInstance)), library);
    EXPECT_EQ(ModuleBase::GetHInstance(reinterpret_cast<const void *>(&PrintTo)), GetModuleHandleA(nullptr));
    EXPECT_EQ(ModuleBase::GetHInstance(nullptr), nullptr);
    // A region that was reserved and released again belongs to nothing.
    void *region = VirtualAlloc(nullptr, 65536, MEM_RESERVE, PAGE_NOACCESS);
    ASSERT_NE(region, nullptr);
    ASSERT_TRUE(VirtualFree(region, 0, MEM_RELEASE));
    EXPECT_EQ(ModuleBase::GetHInstance(region), nullptr);
}

TEST_F(StringResources, LoadStringReadsEntriesOfEveryBlock)
{
    EXPECT_EQ(ModuleBase::LoadString(library, 6), S(L"Plain message"));
    EXPECT_EQ(ModuleBase::LoadString(library, 15), S(L"Last of block 1"));
    EXPECT_EQ(ModuleBase::LoadString(library, 17), S(L"Second block"));
    // Units are read as stored, not through a code page.
    EXPECT_EQ(ModuleBase::LoadString(library, 7), S(L"Gr\u00fc\u00dfe"));
    // id 0, empty entries of existing blocks, a missing block, ids beyond 16-bit blocks.
    EXPECT_EQ(ModuleBase::LoadString(library, 0), String());
    EXPECT_EQ(ModuleBase::LoadString(library, 3), String());
    EXPECT_EQ(ModuleBase::LoadString(library, 16), String());
    EXPECT_EQ(ModuleBase::LoadString(library, 200), String());
    EXPECT_EQ(ModuleBase::LoadString(library, 0x100006), String());

    ModuleBase module(library);
    EXPECT_EQ(module.GetModule(), library);
    EXPECT_EQ(module.GetResources(), library);
    EXPECT_EQ(module.LoadString(17), S(L"Second block"));
    EXPECT_EQ(ModuleBase().LoadString(17), String());  // the executable has no such table
}

TEST_F(StringResources, LoadStringSelectsLines)
{
    ModuleBase module(library);
    EXPECT_EQ(module.LoadString(4), S(L"line 0\nline 1\r\nline 2\nline 3"));
    EXPECT_EQ(module.LoadString(4, 1, 1), S(L"line 1\r"));
    EXPECT_EQ(module.LoadString(4, 2, -1), S(L"line 2\nline 3"));
    EXPECT_EQ(module.LoadString(4, -1, 2), S(L"line 2\nline 3"));
    EXPECT_EQ(module.LoadString(4, 4, 5), String());

    String text = S(L"old");
    EXPECT_EQ(&text.LoadString(4, 3, 3, &module), &text);
    EXPECT_EQ(text, S(L"line 3"));
    text.LoadString(4, 0, 0, nullptr);
    EXPECT_EQ(text, String());
}

TEST_F(StringResources, FormatsResourceTexts)
{
    ModuleBase module(library);
    EXPECT_EQ(String::FromFormat(&module, 1, 42, L"wide"), S(L"Value 42 of wide"));
    EXPECT_EQ(String::FromFormatMessage(&module, 2, "narrow", 7), S(L"Insert narrow and 7"));
    String message;
    EXPECT_EQ(&message.FormatMessage(&module, 8, "x", "y"), &message);
    EXPECT_EQ(message, S(L"x and y"));
    EXPECT_EQ(String::FromFormat(&module, 200), String());
    EXPECT_EQ(String::FromFormat(nullptr, 1, 1, L"x"), String());
}

TEST_F(StringResources, AddMessageAppendsOnNewLine)
{
    ModuleBase module(library);
    String text;
    String::AddMessage(&module, text, 6);
    EXPECT_EQ(text, S(L"Plain message"));  // no line break before the first message
    String::AddMessage(&module, text, 5);  // goes through the message formatter: %n breaks
    EXPECT_EQ(text, S(L"Plain message\r\nFirst\r\nSecond"));
    String::AddMessage(&module, text, 0);
    EXPECT_EQ(text, S(L"Plain message\r\nFirst\r\nSecond\r\n"));

    String empty;
    String::AddMessage(&module, empty, 0);
    EXPECT_EQ(empty, S(L"\r\n"));
    // A message whose inserts have no arguments does not read stray memory.
    String inserts = S(L"x");
    String::AddMessage(&module, inserts, 8);
    EXPECT_EQ(inserts.Left(3), S(L"x\r\n"));
}
