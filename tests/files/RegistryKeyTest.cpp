#include "qvcore/files/RegistryKey.h"

#include "tests/support/RegistryTestKey.h"
#include "tests/support/StringPrinting.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <cstring>
#include <limits>
#include <string>
#include <vector>

using registrytest::RegistryTest;
using registrytest::RawValue;

namespace {

// Every handle the library gives to RegCloseKey while a recorder lives: qvcore.dll's import of
// the function is pointed at a recording stand-in, so the closes are seen where they happen.
std::vector<HKEY> closedKeys;
LONG(WINAPI *systemRegCloseKey)(HKEY) = nullptr;

LONG WINAPI recordingRegCloseKey(HKEY key)
{
    closedKeys.push_back(key);
    return systemRegCloseKey(key);
}

class CloseRecorder {
public:
    CloseRecorder()
    {
        closedKeys.clear();
        slot_ = importSlot(GetModuleHandleA("qvcore.dll"), "RegCloseKey");
        if (slot_) {
            systemRegCloseKey = reinterpret_cast<decltype(systemRegCloseKey)>(*slot_);
            patch(reinterpret_cast<ULONG_PTR>(&recordingRegCloseKey));
        }
    }
    ~CloseRecorder()
    {
        if (slot_)
            patch(reinterpret_cast<ULONG_PTR>(systemRegCloseKey));
    }
    bool active() const { return slot_ != nullptr; }

private:
    // The import address table entry through which module calls function.
    static ULONG_PTR *importSlot(HMODULE module, const char *function)
    {
        if (!module)
            return nullptr;
        BYTE *base = reinterpret_cast<BYTE *>(module);
        auto *nt = reinterpret_cast<IMAGE_NT_HEADERS *>(base + reinterpret_cast<IMAGE_DOS_HEADER *>(base)->e_lfanew);
        const IMAGE_DATA_DIRECTORY &imports = nt->OptionalHeader.DataDirectory[IMAGE_DIRECTORY_ENTRY_IMPORT];
        for (auto *library = reinterpret_cast<IMAGE_IMPORT_DESCRIPTOR *>(base + imports.VirtualAddress);
             library->Name; ++library) {
            auto *names = reinterpret_cast<IMAGE_THUNK_DATA *>(base + library->OriginalFirstThunk);
            auto *slots = reinterpret_cast<IMAGE_THUNK_DATA *>(base + library->FirstThunk);
            for (; names->u1.AddressOfData; ++names, ++slots) {
                if (IMAGE_SNAP_BY_ORDINAL(names->u1.Ordinal))
                    continue;
                auto *byName = reinterpret_cast<IMAGE_IMPORT_BY_NAME *>(base + names->u1.AddressOfData);
                if (std::strcmp(reinterpret_cast<const char *>(byName->Name), function) == 0)
                    return reinterpret_cast<ULONG_PTR *>(&slots->u1.Function);
            }
        }
        return nullptr;
    }
    void patch(ULONG_PTR target)
    {
        DWORD old = 0;
        VirtualProtect(slot_, sizeof *slot_, PAGE_READWRITE, &old);
        *slot_ = target;
        VirtualProtect(slot_, sizeof *slot_, old, &old);
    }

    ULONG_PTR *slot_ = nullptr;
};

// Wine lists values by name, Windows in the order they were made: compare as sets.
std::vector<String> sorted(std::vector<String> names)
{
    std::sort(names.begin(), names.end());
    return names;
}

int timesClosed(HKEY key)
{
    int count = 0;
    for (HKEY closed : closedKeys)
        count += closed == key;
    return count;
}

TEST(RegistryKeyHandle, CopiesShareOneHandleThatTheLastOneCloses)
{
    CloseRecorder recorder;
    ASSERT_TRUE(recorder.active()) << "qvcore.dll does not import RegCloseKey";
    HKEY raw = nullptr;
    ASSERT_EQ(ERROR_SUCCESS, RegOpenKeyExA(HKEY_CURRENT_USER, "Software", 0, KEY_READ, &raw));
    {
        RegistryKey key(raw);
        RegistryKey copy(key);
        RegistryKey assigned;
        assigned = copy;
        assigned = assigned;  // self-assignment keeps the handle
        EXPECT_TRUE(key == assigned);
        EXPECT_EQ(raw, assigned.GetHandle());
        key.Close();
        EXPECT_FALSE(key.IsValid());
        EXPECT_TRUE(copy.IsValid());
        EXPECT_FALSE(key == copy);
        copy = key;  // the copy lets go of the handle; assigned still holds it
        EXPECT_EQ(0, timesClosed(raw));
        EXPECT_TRUE(assigned.IsValid());
    }
    EXPECT_EQ(1, timesClosed(raw));
    EXPECT_EQ(1u, closedKeys.size()) << "a key that was never valid was closed too";
}

TEST(RegistryKeyHandle, PredefinedRootsAreNeverClosed)
{
    CloseRecorder recorder;
    ASSERT_TRUE(recorder.active()) << "qvcore.dll does not import RegCloseKey";
    const HKEY roots[] = {HKEY_CLASSES_ROOT, HKEY_CURRENT_USER, HKEY_LOCAL_MACHINE, HKEY_USERS,
                          HKEY_PERFORMANCE_DATA, HKEY_CURRENT_CONFIG, HKEY_DYN_DATA};
    for (HKEY root : roots) {
        RegistryKey key(root);
        { RegistryKey copy(key); }
        RegistryKey other(HKEY_CURRENT_USER);
        other = key;
        key.Close();
    }
    EXPECT_TRUE(closedKeys.empty()) << "closed " << closedKeys.size() << " root handles";
    // The root still works after all its wrappers are gone.
    RegistryKey machine(HKEY_LOCAL_MACHINE);
    EXPECT_TRUE(machine.OpenSubkey(String(L"Software")).IsValid());
}

TEST_F(RegistryTest, TypedValuesAreStoredInTheirRegistryTypesAndReadBackAsWritten)
{
    const std::string binary("\0\x01\xff\x7f", 4);
    struct Row {
        const char *what;
        long result;
        const char *name;
        DWORD type;
        std::string bytes;
    } rows[] = {
        {"text with its zero", key().SetString(String(L"text"), String(L"Caf\u00e9 1")), "text", REG_SZ,
         ansi(u"Caf\u00e9 1") + '\0'},
        {"empty text", key().SetString(String(L"empty"), String()), "empty", REG_SZ, std::string(1, '\0')},
        {"number", key().SetInteger(String(L"number"), 0xFFFFFFFEul), "number", REG_DWORD, "\xfe\xff\xff\xff"},
        {"true", key().SetBoolean(String(L"yes"), true), "yes", REG_DWORD, std::string("\x01\0\0\0", 4)},
        {"false", key().SetBoolean(String(L"no"), false), "no", REG_DWORD, std::string(4, '\0')},
        {"64-bit number as text", key().SetInt64(String(L"big"), -9223372036854775807LL - 1), "big", REG_SZ,
         std::string("-9223372036854775808", 21)},
        {"double as %lf", key().SetFloat(String(L"ratio"), -1.25), "ratio", REG_SZ, std::string("-1.250000", 10)},
        {"six decimals", key().SetFloat(String(L"tenth"), 0.1), "tenth", REG_SZ, std::string("0.100000", 9)},
        {"bytes from a string", key().SetBinary(String(L"blob"), binary), "blob", REG_BINARY, binary},
        {"bytes from a pointer", key().SetBinary(String(L"raw"), "xyz", 2), "raw", REG_BINARY, "xy"},
        {"no bytes", key().SetBinary(String(L"none"), nullptr, 0), "none", REG_BINARY, ""},
        {"the default value", key().SetString(String(), String(L"d")), "", REG_SZ, std::string("d", 2)},
    };
    for (const Row &row : rows) {
        SCOPED_TRACE(row.what);
        EXPECT_EQ(ERROR_SUCCESS, row.result);
        RawValue stored = rawValue(row.name);
        EXPECT_EQ(ERROR_SUCCESS, stored.result);
        EXPECT_EQ(row.type, stored.type);
        EXPECT_EQ(row.bytes, stored.bytes);
    }

    // Text, numbers, 64-bit text, doubles and bytes that reg.exe stored read back through the
    // library in files.registry-interop; here the conversions only the library's own writing meets.
    unsigned long number = 0;
    int asInt = 0;
    short asShort = 0;
    unsigned short asUnsignedShort = 0;
    double ratio = 0;
    EXPECT_EQ(ERROR_SUCCESS, key().GetInteger(String(L"number"), number));
    EXPECT_EQ(0xFFFFFFFEul, number);
    // The narrow forms take the stored 32 bits as a cast would.
    EXPECT_EQ(ERROR_SUCCESS, key().GetInteger(String(L"number"), asInt));
    EXPECT_EQ(-2, asInt);
    EXPECT_EQ(ERROR_SUCCESS, key().GetInteger(String(L"number"), asShort));
    EXPECT_EQ(-2, asShort);
    EXPECT_EQ(ERROR_SUCCESS, key().GetInteger(String(L"number"), asUnsignedShort));
    EXPECT_EQ(0xFFFEu, asUnsignedShort);
    EXPECT_EQ(ERROR_SUCCESS, key().GetFloat(String(L"ratio"), ratio));
    EXPECT_EQ(-1.25, ratio);
    EXPECT_EQ(ERROR_SUCCESS, key().GetFloat(String(L"tenth"), ratio));
    EXPECT_EQ(0.1, ratio);
    // The runtime writes infinities and NaNs in its own words; they read back.
    const double inf = std::numeric_limits<double>::infinity();
    for (double special : {inf, -inf, std::numeric_limits<double>::quiet_NaN()}) {
        ASSERT_EQ(ERROR_SUCCESS, key().SetFloat(String(L"special"), special));
        ratio = 0;
        EXPECT_EQ(ERROR_SUCCESS, key().GetFloat(String(L"special"), ratio)) << rawValue("special").bytes;
        EXPECT_TRUE(std::isnan(special) ? std::isnan(ratio) : ratio == special) << rawValue("special").bytes;
    }
}

TEST_F(RegistryTest, BooleanIsTrueForExactlyOne)
{
    const struct { const char *what; DWORD stored; bool expected; } rows[] = {
        {"one", 1, true}, {"zero", 0, false}, {"two", 2, false}, {"all bits", 0xFFFFFFFF, false}, {"257", 257, false}};
    for (const auto &row : rows) {
        SCOPED_TRACE(row.what);
        setRaw("flag", REG_DWORD, std::string(reinterpret_cast<const char *>(&row.stored), 4));
        bool value = !row.expected;
        EXPECT_EQ(ERROR_SUCCESS, key().GetBoolean(String(L"flag"), value));
        EXPECT_EQ(row.expected, value);
    }
}

// Another type or no data succeeds, text that is not a number is bad data (not a number 0), a
// key never opened is an invalid handle: the output stays untouched. Missing values and
// read-only keys: tests/faults.
TEST_F(RegistryTest, AnotherTypeNoDataOrAFailureLeavesTheOutputUntouched)
{
    setRaw("text", REG_SZ, std::string("12", 3));
    setRaw("number", REG_DWORD, std::string("\x05\0\0\0", 4));
    setRaw("expand", REG_EXPAND_SZ, std::string("%TEMP%", 7));
    setRaw("empty dword", REG_DWORD, "");
    setRaw("empty binary", REG_BINARY, "");
    setRaw("empty text", REG_SZ, "");
    setRaw("word", REG_SZ, std::string("many", 5));

    unsigned long number = 42;
    int asInt = 42;
    bool flag = true;
    String text(L"untouched");
    __int64 big = 42;
    double ratio = 4.2;
    std::string blob("untouched");
    EXPECT_EQ(ERROR_SUCCESS, key().GetInteger(String(L"text"), number));
    EXPECT_EQ(ERROR_SUCCESS, key().GetInteger(String(L"text"), asInt));
    EXPECT_EQ(ERROR_SUCCESS, key().GetBoolean(String(L"text"), flag));
    EXPECT_EQ(ERROR_SUCCESS, key().GetInteger(String(L"empty dword"), number));
    EXPECT_EQ(ERROR_SUCCESS, key().GetString(String(L"number"), text));
    EXPECT_EQ(ERROR_SUCCESS, key().GetString(String(L"expand"), text));
    EXPECT_EQ(ERROR_SUCCESS, key().GetString(String(L"empty text"), text));
    EXPECT_EQ(ERROR_SUCCESS, key().GetInt64(String(L"number"), big));
    EXPECT_EQ(ERROR_SUCCESS, key().GetFloat(String(L"number"), ratio));
    EXPECT_EQ(ERROR_SUCCESS, key().GetBinary(String(L"text"), blob));
    EXPECT_EQ(ERROR_SUCCESS, key().GetBinary(String(L"empty binary"), blob));
    EXPECT_EQ(ERROR_INVALID_DATA, key().GetInt64(String(L"word"), big));
    EXPECT_EQ(ERROR_INVALID_DATA, key().GetFloat(String(L"word"), ratio));
    EXPECT_EQ(ERROR_INVALID_HANDLE, RegistryKey().GetString(String(L"word"), text));
    EXPECT_EQ(42u, number);
    EXPECT_EQ(42, asInt);
    EXPECT_TRUE(flag);
    EXPECT_EQ(String(L"untouched"), text);
    EXPECT_EQ(42, big);
    EXPECT_EQ(4.2, ratio);
    EXPECT_EQ("untouched", blob);
}

TEST_F(RegistryTest, NamesAndTextsOutsideTheAnsiCodePageAreRefused)
{
    if (GetACP() == CP_UTF8)
        GTEST_SKIP() << "the ANSI code page is UTF-8: every name converts";
    // Best-fit conversion would make "a" of the full-width letter and reach the value "a".
    setRaw("a", REG_SZ, std::string("plain", 6));
    const String fullWidth(L"\uFF41");
    String text(L"untouched");
    EXPECT_EQ(ERROR_NO_UNICODE_TRANSLATION, key().GetString(fullWidth, text));
    EXPECT_EQ(ERROR_NO_UNICODE_TRANSLATION, key().SetString(fullWidth, String(L"x")));
    EXPECT_EQ(ERROR_NO_UNICODE_TRANSLATION, key().SetString(String(L"b"), String(L"\u4E00")));
    EXPECT_EQ(ERROR_NO_UNICODE_TRANSLATION, key().DeleteValue(fullWidth));
    EXPECT_FALSE(key().CreateSubkey(fullWidth).IsValid());
    EXPECT_EQ(String(L"untouched"), text);
    EXPECT_EQ(std::string("plain", 6), rawValue("a").bytes);
    EXPECT_EQ(ERROR_FILE_NOT_FOUND, rawValue("b").result);
}

TEST_F(RegistryTest, NamesHoldingAZeroReachNothingAndTextsHoldingOneAreNotStored)
{
    // The narrow functions would take "victim" for each of these names.
    ASSERT_TRUE(key().CreateSubkey(String(L"victim\\child")).IsValid());
    setRaw("victim", REG_SZ, std::string("kept", 5));
    String zeroed(L"victim");
    zeroed.push_back(0);
    zeroed += String(L"child");
    EXPECT_EQ(ERROR_INVALID_NAME, key().DeleteSubkey(zeroed, /*recursive=*/true));
    EXPECT_EQ(ERROR_INVALID_NAME, key().DeleteSubkey(zeroed, /*recursive=*/false));
    EXPECT_EQ(ERROR_INVALID_NAME, key().SetSubkey(zeroed, String(L"x")));
    EXPECT_FALSE(key().OpenSubkey(zeroed).IsValid());
    EXPECT_FALSE(key().CreateSubkey(zeroed).IsValid());
    String text(L"untouched");
    EXPECT_EQ(ERROR_INVALID_NAME, key().GetString(zeroed, text));
    EXPECT_EQ(ERROR_INVALID_NAME, key().SetString(zeroed, String(L"x")));
    EXPECT_EQ(ERROR_INVALID_NAME, key().SetInteger(zeroed, 1));
    EXPECT_EQ(ERROR_INVALID_NAME, key().DeleteValue(zeroed));
    RegistryKey other = key();
    EXPECT_EQ(ERROR_INVALID_NAME, other.ConnectRegistry(zeroed, HKEY_CURRENT_USER));
    EXPECT_EQ(String(L"untouched"), text);
    EXPECT_TRUE(key().OpenSubkey(String(L"victim\\child")).IsValid());
    EXPECT_EQ(std::string("kept", 5), rawValue("victim").bytes);

    EXPECT_EQ(ERROR_INVALID_DATA, key().SetString(String(L"text"), zeroed));
    EXPECT_EQ(ERROR_FILE_NOT_FOUND, rawValue("text").result);
}

TEST_F(RegistryTest, SubkeysAreCreatedOpenedListedAndDeleted)
{
    unsigned long disposition = 0;
    RegistryKey first = key().CreateSubkey(String(L"first"), REG_OPTION_NON_VOLATILE, KEY_ALL_ACCESS, &disposition);
    ASSERT_TRUE(first.IsValid());
    EXPECT_EQ(static_cast<unsigned long>(REG_CREATED_NEW_KEY), disposition);
    EXPECT_TRUE(key().CreateSubkey(String(L"first"), REG_OPTION_NON_VOLATILE, KEY_READ, &disposition).IsValid());
    EXPECT_EQ(static_cast<unsigned long>(REG_OPENED_EXISTING_KEY), disposition);
    EXPECT_EQ(ERROR_SUCCESS, key().SetSubkey(String(L"second\\deeper"), String(L"described")));
    EXPECT_EQ(ERROR_SUCCESS, key().SetSubkey(String(), String(L"own default")));
    EXPECT_EQ(ERROR_SUCCESS, first.Flush());

    std::vector<String> names{String(L"stale")};
    EXPECT_EQ(ERROR_SUCCESS, key().GetSubkeyNames(names));
    EXPECT_EQ((std::vector<String>{String(L"first"), String(L"second")}), names);
    String description;
    EXPECT_EQ(ERROR_SUCCESS, key().OpenSubkey(String(L"second\\deeper")).GetString(String(), description));
    EXPECT_EQ(String(L"described"), description);
    EXPECT_EQ(std::string("own default", 12), rawValue("").bytes);
    EXPECT_FALSE(key().OpenSubkey(String(L"missing")).IsValid());

    // Without recursion only an empty key goes.
    EXPECT_EQ(ERROR_KEY_HAS_CHILDREN, key().DeleteSubkey(String(L"second"), /*recursive=*/false));
    EXPECT_TRUE(key().OpenSubkey(String(L"second\\deeper")).IsValid());
    EXPECT_EQ(ERROR_SUCCESS, first.SetInteger(String(L"value"), 1));
    EXPECT_EQ(ERROR_KEY_HAS_CHILDREN, key().DeleteSubkey(String(L"first"), /*recursive=*/false));
    EXPECT_EQ(ERROR_SUCCESS, first.DeleteValue(String(L"value")));
    EXPECT_EQ(ERROR_SUCCESS, key().DeleteSubkey(String(L"first"), /*recursive=*/false));
    EXPECT_EQ(ERROR_SUCCESS, key().DeleteSubkey(String(L"second"), /*recursive=*/true));
    EXPECT_EQ(ERROR_SUCCESS, key().GetSubkeyNames(names));
    EXPECT_TRUE(names.empty());
    EXPECT_EQ(ERROR_FILE_NOT_FOUND, key().DeleteSubkey(String(L"second"), /*recursive=*/true));
}

TEST_F(RegistryTest, ConnectingReplacesTheKeyOnlyOnSuccess)
{
    RegistryKey remote = key();
    EXPECT_NE(ERROR_SUCCESS, remote.ConnectRegistry(String(L"\\\\no-such-machine-here"), HKEY_LOCAL_MACHINE));
    EXPECT_TRUE(remote == key());
    EXPECT_EQ(ERROR_SUCCESS, remote.ConnectRegistry(String(), HKEY_LOCAL_MACHINE));
    EXPECT_TRUE(remote.IsValid());
    EXPECT_TRUE(remote.OpenSubkey(String(L"Software")).IsValid());
}

TEST(RegistryNameMatch, PatternsMatchByPrefixWithWildcards)
{
    const struct { const char16_t *name, *pattern; bool expected; } rows[] = {
        {u"abc", u"a*x", true},     // "*" ends the test at once
        {u"abc", u"ab?", true},
        {u"abc", u"abcd", false},
        {u"ab", u"ab?", true},      // "?" takes the end of the name
        {u"abc", u"ab", true},      // a pattern matches every name it begins
        {u"abc", u"", true},
        {u"abc", u"*", true},
        {u"", u"?", true},
        {u"", u"a", false},
        {u"abc", u"Abc", false},    // case counts
        {u"abc", u"a?d", false},
        {u"xab", u"ab", false},
        {u"ab", u"?b?", true},
    };
    for (const auto &row : rows)
        EXPECT_EQ(row.expected, RegistryKey::NameMatch(String(row.name), String(row.pattern)))
            << "name \"" << String(row.name).Utf8() << "\", pattern \"" << String(row.pattern).Utf8() << "\"";
}

TEST_F(RegistryTest, DeletingByPatternTakesEveryMatchingValue)
{
    // Matching names stand next to each other in the enumeration: deleting one moves the next
    // up to its index, where it must still be looked at.
    for (const char *name : {"ab", "abc", "abd", "a", "xab", "abe", "b"})
        setRaw(name, REG_DWORD, std::string(4, '\0'));
    EXPECT_EQ(ERROR_SUCCESS, key().DeleteMultipleValues(String(L"ab")));
    std::vector<String> names;
    std::vector<unsigned long> values;
    EXPECT_EQ(ERROR_SUCCESS, key().GetAllIntegers(names, values));
    EXPECT_EQ((std::vector<String>{String(L"a"), String(L"b"), String(L"xab")}), sorted(names));

    EXPECT_EQ(ERROR_SUCCESS, key().DeleteMultipleValues(String(L"x?b")));
    EXPECT_EQ(ERROR_SUCCESS, key().GetAllIntegers(names, values));
    EXPECT_EQ((std::vector<String>{String(L"a"), String(L"b")}), sorted(names));

    // Names longer than the first buffer are deleted too.
    setRaw(std::string(600, 'n').c_str(), REG_SZ, std::string(1, '\0'));
    EXPECT_EQ(ERROR_SUCCESS, key().DeleteAllValues());
    EXPECT_EQ(ERROR_SUCCESS, key().GetAllIntegers(names, values));
    EXPECT_TRUE(names.empty());
    EXPECT_EQ(ERROR_FILE_NOT_FOUND, rawValue(std::string(600, 'n').c_str()).result);
}

TEST_F(RegistryTest, AllValuesOfOneTypeComeAsParallelVectors)
{
    setRaw("s1", REG_SZ, std::string("one", 4));
    setRaw("n1", REG_DWORD, std::string("\x07\0\0\0", 4));
    setRaw("b1", REG_BINARY, std::string(70000, 'x'));  // more than any first buffer
    setRaw("s2", REG_SZ, std::string(1, '\0'));
    setRaw("e1", REG_EXPAND_SZ, std::string("%x%", 4));
    setRaw("n2", REG_DWORD, std::string("\xff\xff\xff\xff", 4));

    std::vector<String> names{String(L"stale")};
    std::vector<String> texts{String(L"stale")};
    EXPECT_EQ(ERROR_SUCCESS, key().GetAllStrings(names, texts));
    EXPECT_EQ((std::vector<String>{String(L"s1"), String(L"s2")}), names);
    EXPECT_EQ((std::vector<String>{String(L"one"), String()}), texts);
    std::vector<unsigned long> numbers;
    EXPECT_EQ(ERROR_SUCCESS, key().GetAllIntegers(names, numbers));
    EXPECT_EQ((std::vector<String>{String(L"n1"), String(L"n2")}), names);
    EXPECT_EQ((std::vector<unsigned long>{7, 0xFFFFFFFFul}), numbers);
    std::vector<std::string> blobs;
    EXPECT_EQ(ERROR_SUCCESS, key().GetAllBinaries(names, blobs));
    EXPECT_EQ(std::vector<String>{String(L"b1")}, names);
    EXPECT_EQ(std::vector<std::string>{std::string(70000, 'x')}, blobs);
}

}  // namespace
