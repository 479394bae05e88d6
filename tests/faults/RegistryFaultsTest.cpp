// Keys opened for reading only, and keys and values that are not there: every operation gives
// the system's code, throws nothing, and leaves both the registry and its output as they were.

#include "qvcore/files/RegistryKey.h"
#include "qvcore/streams/SerializingStream.h"

#include "tests/support/RegistryTestKey.h"
#include "tests/support/SerialTestClasses.h"
#include "tests/support/StringPrinting.h"

#include <gtest/gtest.h>

#include <vector>

namespace {

using graph::Node;
using registrytest::RegistryTest;

using DeniedRegistryKey = registrytest::ObjectRegistryTest;

TEST_F(DeniedRegistryKey, EveryChangeThroughAReadOnlyHandleIsDeniedAndChangesNothing)
{
    ASSERT_EQ(ERROR_SUCCESS, key().SetString(String(L"name"), String(L"kept")));
    ASSERT_TRUE(key().CreateSubkey(String(L"child")).IsValid());
    const RegistryKey reader = RegistryKey(HKEY_CURRENT_USER).OpenSubkey(path(), KEY_READ);
    ASSERT_TRUE(reader.IsValid());

    long results[7] = {};
    Node object(5, 6);
    EXPECT_NO_THROW({
        results[0] = reader.SetString(String(L"name"), String(L"changed"));
        results[1] = reader.SetInteger(String(L"number"), 7);
        results[2] = reader.SetBinary(String(L"bytes"), std::string("\x01\x02", 2));
        results[3] = reader.DeleteValue(String(L"name"));
        // A value that cannot be deleted ends the loop instead of coming back at index 0 for ever.
        results[4] = reader.DeleteAllValues();
        results[5] = reader.WriteObject(String(L"object"), *factory, object);
        results[6] = reader.DeleteMultipleValues(String(L"*"));
    });
    for (long result : results)
        EXPECT_EQ(ERROR_ACCESS_DENIED, result);

    String value;
    EXPECT_EQ(ERROR_SUCCESS, reader.GetString(String(L"name"), value));
    EXPECT_EQ(String(L"kept"), value);
    std::vector<String> names;
    EXPECT_EQ(ERROR_SUCCESS, reader.GetSubkeyNames(names));
    EXPECT_EQ(std::vector<String>{String(L"child")}, names);
    EXPECT_EQ(ERROR_FILE_NOT_FOUND, registrytest::readRaw(key().GetHandle(), "object").result);
    EXPECT_EQ(ERROR_FILE_NOT_FOUND, registrytest::readRaw(key().GetHandle(), "number").result);
}

TEST_F(DeniedRegistryKey, SubkeysCannotBeAddedOrRemovedThroughAReadOnlyHandle)
{
    ASSERT_TRUE(key().CreateSubkey(String(L"child")).IsValid());
    const RegistryKey reader = RegistryKey(HKEY_CURRENT_USER).OpenSubkey(path(), KEY_READ);
    ASSERT_TRUE(reader.IsValid());
    HKEY probe = nullptr;
    if (RegCreateKeyExA(reader.GetHandle(), "probe", 0, nullptr, 0, KEY_READ, nullptr, &probe, nullptr) ==
        ERROR_SUCCESS) {
        RegCloseKey(probe);
        GTEST_SKIP() << "the system adds subkeys through a read-only handle (Wine does not check the "
                        "parent's access)";
    }
    long deleted = ERROR_SUCCESS, defaulted = ERROR_SUCCESS;
    EXPECT_NO_THROW({
        EXPECT_FALSE(reader.CreateSubkey(String(L"new")).IsValid());
        deleted = reader.DeleteSubkey(String(L"child"), true);
        defaulted = reader.SetSubkey(String(L"other"), String(L"default"));
    });
    EXPECT_EQ(ERROR_ACCESS_DENIED, deleted);
    EXPECT_EQ(ERROR_ACCESS_DENIED, defaulted);
    std::vector<String> names;
    EXPECT_EQ(ERROR_SUCCESS, key().GetSubkeyNames(names));
    EXPECT_EQ(std::vector<String>{String(L"child")}, names);
}

TEST_F(DeniedRegistryKey, MissingKeysAndValuesGiveTheSystemsCodeAndLeaveOutputsAlone)
{
    const RegistryKey missing = key().OpenSubkey(String(L"absent\\deeper"));
    EXPECT_FALSE(missing.IsValid());

    String text(L"preset");
    unsigned long number = 99;
    std::string bytes = "preset";
    std::vector<String> names{String(L"preset")};
    std::vector<String> values;
    Node object(1, 2);
    EXPECT_NO_THROW({
        EXPECT_EQ(ERROR_FILE_NOT_FOUND, key().GetString(String(L"absent"), text));
        EXPECT_EQ(ERROR_FILE_NOT_FOUND, key().GetInteger(String(L"absent"), number));
        EXPECT_EQ(ERROR_FILE_NOT_FOUND, key().GetBinary(String(L"absent"), bytes));
        EXPECT_EQ(ERROR_FILE_NOT_FOUND, key().ReadObject(String(L"absent"), *factory, object));
        EXPECT_EQ(ERROR_FILE_NOT_FOUND, key().DeleteValue(String(L"absent")));
        EXPECT_EQ(ERROR_FILE_NOT_FOUND, key().DeleteSubkey(String(L"absent"), false));
        EXPECT_EQ(ERROR_FILE_NOT_FOUND, key().DeleteSubkey(String(L"absent"), true));

        // A key that was never opened refuses everything with the system's code.
        EXPECT_NE(ERROR_SUCCESS, missing.GetString(String(L"x"), text));
        EXPECT_NE(ERROR_SUCCESS, missing.SetString(String(L"x"), String(L"y")));
        EXPECT_NE(ERROR_SUCCESS, missing.GetSubkeyNames(names));
        EXPECT_NE(ERROR_SUCCESS, missing.GetAllStrings(names, values));
        EXPECT_NE(ERROR_SUCCESS, missing.ReadObject(String(L"x"), *factory, object));
        EXPECT_NE(ERROR_SUCCESS, missing.Flush());
        EXPECT_FALSE(missing.OpenSubkey(String(L"x")).IsValid());
        EXPECT_FALSE(missing.CreateSubkey(String(L"x")).IsValid());
    });
    EXPECT_EQ(String(L"preset"), text);
    EXPECT_EQ(99u, number);
    EXPECT_EQ("preset", bytes);
    EXPECT_EQ(1, object.a);
    EXPECT_EQ(2, object.b);
}

}  // namespace
