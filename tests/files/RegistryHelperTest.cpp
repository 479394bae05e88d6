#include "qvcore/files/RegistryKey.h"

#include "tests/support/RegistryTestKey.h"
#include "tests/support/StringPrinting.h"

#include <gtest/gtest.h>

#include <objbase.h>

#include <string>

using registrytest::readRaw;

namespace {

// A class of its own for each test, registered under HKEY_LOCAL_MACHINE and removed with the
// system's own calls afterwards.
class RegistryHelperTest : public ::testing::Test {
protected:
    void SetUp() override
    {
        ASSERT_EQ(S_OK, CoCreateGuid(&clsid_));
        wchar_t text[40] = {};
        ASSERT_EQ(39, StringFromGUID2(clsid_, text, 40));
        classText_ = String(text);
        classPath_ = "Software\\Classes\\CLSID\\" + classText_.Ascii();
    }
    void TearDown() override { RegDeleteTreeA(HKEY_LOCAL_MACHINE, classPath_.c_str()); }

    bool exists(const std::string &subpath) const
    {
        HKEY key = nullptr;
        if (RegOpenKeyExA(HKEY_LOCAL_MACHINE, (classPath_ + subpath).c_str(), 0, KEY_READ, &key) != ERROR_SUCCESS)
            return false;
        RegCloseKey(key);
        return true;
    }
    registrytest::RawValue value(const std::string &subpath, const char *name) const
    {
        HKEY key = nullptr;
        registrytest::RawValue missing{ERROR_FILE_NOT_FOUND, REG_NONE, std::string()};
        if (RegOpenKeyExA(HKEY_LOCAL_MACHINE, (classPath_ + subpath).c_str(), 0, KEY_READ, &key) != ERROR_SUCCESS)
            return missing;
        registrytest::RawValue result = readRaw(key, name);
        RegCloseKey(key);
        return result;
    }

    GUID clsid_;
    String classText_;
    std::string classPath_;
};

TEST_F(RegistryHelperTest, ClassTextAndPathAreTheSystemsFormWithoutItsZero)
{
    EXPECT_EQ(classText_, RegistryHelper::GetClassString(clsid_));
    EXPECT_EQ(38u, RegistryHelper::GetClassString(clsid_).size());
    EXPECT_EQ(String(L"Software\\Classes\\CLSID\\") + classText_, RegistryHelper::GetClassPath(clsid_));
}

TEST_F(RegistryHelperTest, AServerIsRegisteredWithItsThreadingModelAndUnregistered)
{
    const struct { const char *what; int model; const char *name; } rows[] = {
        {"apartment", RegistryHelper::Apartment, "Apartment"}, {"both", RegistryHelper::Both, "Both"},
        {"free", RegistryHelper::Free, "Free"},                {"neutral", RegistryHelper::Neutral, "Neutral"},
        {"none (0)", 0, nullptr},                              {"none (5)", 5, nullptr},
    };
    for (const auto &row : rows) {
        SCOPED_TRACE(row.what);
        RegDeleteTreeA(HKEY_LOCAL_MACHINE, classPath_.c_str());
        EXPECT_TRUE(RegistryHelper::RegisterInprocServer32(clsid_, String(L"C:\\Caf\u00e9\\server.dll"),
                                                           static_cast<RegistryHelper::ThreadingModel>(row.model)));
        registrytest::RawValue server = value("\\InprocServer32", "");
        EXPECT_EQ(static_cast<DWORD>(REG_SZ), server.type);
        EXPECT_EQ(ansi(u"C:\\Caf\u00e9\\server.dll") + '\0', server.bytes);
        registrytest::RawValue model = value("\\InprocServer32", "ThreadingModel");
        if (row.name) {
            EXPECT_EQ(std::string(row.name) + '\0', model.bytes);
        } else {
            EXPECT_EQ(ERROR_FILE_NOT_FOUND, model.result) << "a ThreadingModel value was written";
        }
        EXPECT_EQ(String(L"C:\\Caf\u00e9\\server.dll"), RegistryHelper::GetClassServer(clsid_));
    }

    // The server key goes, the class key stays until it is unregistered itself.
    EXPECT_TRUE(RegistryHelper::UnregisterInprocServer32(clsid_));
    EXPECT_FALSE(exists("\\InprocServer32"));
    EXPECT_TRUE(exists(""));
    EXPECT_EQ(String(), RegistryHelper::GetClassServer(clsid_));
    EXPECT_FALSE(RegistryHelper::UnregisterInprocServer32(clsid_));
    EXPECT_TRUE(RegistryHelper::UnregisterCLSID(clsid_));
    EXPECT_FALSE(exists(""));
    EXPECT_FALSE(RegistryHelper::UnregisterCLSID(clsid_));
}

TEST_F(RegistryHelperTest, TheClassDescriptionIsTheDefaultValueOrNoName)
{
    EXPECT_EQ(String(L"no name"), RegistryHelper::GetClassDescription(clsid_));
    EXPECT_TRUE(RegistryHelper::RegisterCLSID(clsid_));
    EXPECT_TRUE(exists(""));
    EXPECT_EQ(String(L"no name"), RegistryHelper::GetClassDescription(clsid_));
    EXPECT_TRUE(RegistryHelper::RegisterCLSID(clsid_));  // an existing key is fine
    ASSERT_EQ(ERROR_SUCCESS, RegSetValueA(HKEY_LOCAL_MACHINE, classPath_.c_str(), REG_SZ, "Test class", 10));
    EXPECT_EQ(String(L"Test class"), RegistryHelper::GetClassDescription(clsid_));
    // A server key alone is no description.
    EXPECT_TRUE(RegistryHelper::UnregisterCLSID(clsid_));
    EXPECT_TRUE(RegistryHelper::RegisterInprocServer32(clsid_, String(L"x.dll"), RegistryHelper::Both));
    EXPECT_EQ(String(L"no name"), RegistryHelper::GetClassDescription(clsid_));
}

}  // namespace
