#include "qvcore/runtime/ModuleBase.h"
#include "tests/support/StringPrinting.h"

#include <gtest/gtest.h>

#include <ostream>

namespace {

// The resource-only DLL built beside the tests (TestStrings.rc), loaded as a real module.
class StringResources : public ::testing::Test {
protected:
    void SetUp() override { ASSERT_NE(library, nullptr) << "qvcore_test_strings.dll not loaded"; }
    ~StringResources() override { FreeLibrary(library); }
    const HMODULE library = LoadLibraryA("qvcore_test_strings.dll");
};

}  // namespace

TEST(ModuleBaseTest, GetHInstanceFindsTheModuleOfAnAddress)
{
    EXPECT_EQ(ModuleBase::GetHInstance(reinterpret_cast<const void *>(&ModuleBase::GetHInstance)),
              GetModuleHandleA("qvcore.dll"));
    EXPECT_EQ(ModuleBase::GetHInstance(reinterpret_cast<const void *>(&PrintTo)), GetModuleHandleA(nullptr));
    EXPECT_EQ(ModuleBase::GetHInstance(nullptr), nullptr);
    // A region that was reserved and released again belongs to nothing.
    void *region = VirtualAlloc(nullptr, 65536, MEM_RESERVE, PAGE_NOACCESS);
    ASSERT_TRUE(region && VirtualFree(region, 0, MEM_RELEASE));
    EXPECT_EQ(ModuleBase::GetHInstance(region), nullptr);
}

TEST_F(StringResources, LoadStringReadsEntriesOfEveryBlockAndSelectsLines)
{
    // Units are read as stored, not through a code page; id 0, empty entries of existing
    // blocks, a missing block and ids beyond 16-bit blocks give nothing.
    struct { unsigned int id; const wchar_t *text; } entries[] = {
        {6, L"Plain message"}, {15, L"Last of block 1"}, {17, L"Second block"}, {7, L"Gr\u00fc\u00dfe"},
        {0, L""},              {3, L""},                 {16, L""},             {200, L""}, {0x100006, L""}};
    for (const auto &entry : entries)
        EXPECT_EQ(ModuleBase::LoadString(library, entry.id), S(entry.text)) << entry.id;

    ModuleBase module(library);
    EXPECT_EQ(module.GetModule(), library);
    EXPECT_EQ(module.GetResources(), library);
    EXPECT_EQ(module.LoadString(17), S(L"Second block"));
    EXPECT_EQ(ModuleBase().LoadString(17), String());  // the executable has no such table

    struct { int first, last; const wchar_t *text; } lines[] = {
        {0, -1, L"line 0\nline 1\r\nline 2\nline 3"}, {1, 1, L"line 1\r"}, {2, -1, L"line 2\nline 3"},
        {-1, 2, L"line 2\nline 3"},                    {4, 5, L""}};
    for (const auto &range : lines)
        EXPECT_EQ(module.LoadString(4, range.first, range.last), S(range.text)) << range.first << ".." << range.last;
    String text = S(L"old");
    EXPECT_EQ(&text.LoadString(4, 3, 3, &module), &text);
    EXPECT_EQ(text, S(L"line 3"));
    text.LoadString(4, 0, 0, nullptr);
    EXPECT_EQ(text, String());
}

TEST_F(StringResources, FormatsResourceTextsAndAddMessageAppendsOnNewLine)
{
    ModuleBase module(library);
    EXPECT_EQ(String::FromFormat(&module, 1, 42, L"wide"), S(L"Value 42 of wide"));
    EXPECT_EQ(String::FromFormatMessage(&module, 2, "narrow", 7), S(L"Insert narrow and 7"));
    String message;
    EXPECT_EQ(&message.FormatMessage(&module, 8, "x", "y"), &message);
    EXPECT_EQ(message, S(L"x and y"));
    EXPECT_EQ(String::FromFormat(&module, 200), String());
    EXPECT_EQ(String::FromFormat(nullptr, 1, 1, L"x"), String());

    // No line break before the first message; the message formatter turns %n into one.
    String text;
    for (unsigned int id : {6, 5, 0})
        String::AddMessage(&module, text, id);
    EXPECT_EQ(text, S(L"Plain message\r\nFirst\r\nSecond\r\n"));
    String empty;
    String::AddMessage(&module, empty, 0);
    EXPECT_EQ(empty, S(L"\r\n"));
    // A message whose inserts have no arguments does not read stray memory.
    String inserts = S(L"x");
    String::AddMessage(&module, inserts, 8);
    EXPECT_EQ(inserts.Left(3), S(L"x\r\n"));
}
