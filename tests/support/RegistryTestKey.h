#ifndef QVCORE_TESTS_SUPPORT_REGISTRYTESTKEY_H
#define QVCORE_TESTS_SUPPORT_REGISTRYTESTKEY_H

// Shared by the registry tests: a fresh key per test under HKEY_CURRENT_USER, and values read
// and written with the system's own calls, so that the code under test is checked against the
// registry itself and never cleans up after itself.

#include "qvcore/files/RegistryKey.h"
#include "tests/support/SerialTestClasses.h"
#include "tests/support/SystemText.h"

#include <gtest/gtest.h>

#include <string>

namespace registrytest {

struct RawValue {
    long result;
    DWORD type;
    std::string bytes;
};

// The value of a key as the system stores it.
inline RawValue readRaw(HKEY key, const char *name)
{
    RawValue value{0, REG_NONE, std::string()};
    DWORD size = 0;
    value.result = RegQueryValueExA(key, name, nullptr, &value.type, nullptr, &size);
    if (value.result != ERROR_SUCCESS)
        return value;
    value.bytes.resize(size);
    value.result = RegQueryValueExA(key, name, nullptr, &value.type,
                                    reinterpret_cast<BYTE *>(size ? &value.bytes[0] : nullptr), &size);
    value.bytes.resize(size);
    return value;
}

// Runs each test with key() a new, empty key HKEY_CURRENT_USER\path(), deleted afterwards.
class RegistryTest : public ::testing::Test {
protected:
    void SetUp() override
    {
        static unsigned serial = 0;
        narrowPath_ = "Software\\QvCoreTests\\" + std::to_string(GetCurrentProcessId()) + "-" + std::to_string(++serial);
        HKEY raw = nullptr;
        ASSERT_EQ(ERROR_SUCCESS, RegCreateKeyExA(HKEY_CURRENT_USER, narrowPath_.c_str(), 0, nullptr, 0, KEY_ALL_ACCESS,
                                                 nullptr, &raw, nullptr));
        key_ = RegistryKey(raw);
    }
    void TearDown() override
    {
        key_.Close();
        RegDeleteTreeA(HKEY_CURRENT_USER, narrowPath_.c_str());
        RegDeleteKeyA(HKEY_CURRENT_USER, narrowPath_.c_str());
        RegDeleteKeyA(HKEY_CURRENT_USER, "Software\\QvCoreTests");  // only when no other test's key is left
    }

    const RegistryKey &key() const { return key_; }
    String path() const { return String::FromSystemMultibyte(narrowPath_); }
    RawValue rawValue(const char *name) const { return readRaw(key_.GetHandle(), name); }
    void setRaw(const char *name, DWORD type, const std::string &bytes) const
    {
        ASSERT_EQ(ERROR_SUCCESS, RegSetValueExA(key_.GetHandle(), name, 0, type,
                                                reinterpret_cast<const BYTE *>(bytes.data()),
                                                static_cast<DWORD>(bytes.size())));
    }

private:
    std::string narrowPath_;
    RegistryKey key_;
};

// RegistryTest with a factory that knows graph::Node; every object a test made must be gone by
// its end.
class ObjectRegistryTest : public RegistryTest {
protected:
    ObjectRegistryTest() : live_(graph::liveObjects()) {}
    ~ObjectRegistryTest() override
    {
        factory->Release();
        EXPECT_EQ(live_, graph::liveObjects()) << "objects leaked or released twice";
    }

    ObjectFactory *factory = new ObjectFactory;
    QV_SERIAL_CLASS(*factory, graph::Node);

private:
    int live_;
};

}  // namespace registrytest

#endif
