#ifndef QVCORE_TESTS_SUPPORT_TEMPDIRECTORY_H
#define QVCORE_TESTS_SUPPORT_TEMPDIRECTORY_H

// Shared by the file tests: a fresh directory per test, made and removed with the system's own
// calls and the C++ library so that the code under test never cleans up after itself.

#include "qvcore/files/File.h"
#include "tests/support/Expect.h"
#include "tests/support/StringPrinting.h"

#include <gtest/gtest.h>

#include <filesystem>
#include <ostream>
#include <string>
#include <system_error>

namespace filetest {

inline void writeFile(const String &path, const std::string &bytes)
{
    HANDLE file = CreateFileA(path.SystemMultibyte().c_str(), GENERIC_WRITE, 0, nullptr, CREATE_ALWAYS, 0, nullptr);
    ASSERT_NE(INVALID_HANDLE_VALUE, file) << "cannot create " << path.Utf8();
    DWORD written = 0;
    WriteFile(file, bytes.data(), static_cast<DWORD>(bytes.size()), &written, nullptr);
    CloseHandle(file);
    ASSERT_EQ(bytes.size(), written);
}

// The whole file, or "<missing>" when it cannot be opened (others may hold it open).
inline std::string readFile(const String &path)
{
    HANDLE file = CreateFileA(path.SystemMultibyte().c_str(), GENERIC_READ, FILE_SHARE_READ | FILE_SHARE_WRITE,
                              nullptr, OPEN_EXISTING, 0, nullptr);
    if (file == INVALID_HANDLE_VALUE)
        return "<missing>";
    std::string bytes(GetFileSize(file, nullptr), '\0');
    DWORD read = 0;
    ReadFile(file, &bytes[0], static_cast<DWORD>(bytes.size()), &read, nullptr);
    CloseHandle(file);
    bytes.resize(read);
    return bytes;
}

inline void makeDirectory(const String &path)
{
    ASSERT_TRUE(CreateDirectoryA(path.SystemMultibyte().c_str(), nullptr)) << "cannot create " << path.Utf8();
}

// Runs each test with dir() a new, empty directory under the system's temporary folder.
class TempDirectoryTest : public ::testing::Test {
protected:
    void SetUp() override
    {
        char temp[MAX_PATH + 1] = {};
        ASSERT_NE(0u, GetTempPathA(sizeof temp, temp));
        ASSERT_NE(0u, GetCurrentDirectoryA(sizeof cwd_, cwd_));
        static unsigned serial = 0;
        narrowDir_ = std::string(temp) + "qvfiles-" + std::to_string(GetCurrentProcessId()) + "-" +
                     std::to_string(++serial) + "-" + std::to_string(GetTickCount());
        ASSERT_TRUE(CreateDirectoryA(narrowDir_.c_str(), nullptr)) << narrowDir_;
        dir_ = String::FromSystemMultibyte(narrowDir_);
    }

    // Tests may change into the directory: leave it before removing it.
    void TearDown() override
    {
        SetCurrentDirectoryA(cwd_);
        std::error_code ignored;
        if (!dir_.empty())
            std::filesystem::remove_all(std::filesystem::path(narrowDir_), ignored);
    }

    const String &dir() const { return dir_; }
    String path(const String &name) const { return File::MakePath(dir_, name); }
    // Makes the directory's current directory for tests of relative names.
    void enter() const { ASSERT_TRUE(SetCurrentDirectoryA(narrowDir_.c_str())); }

private:
    char cwd_[MAX_PATH + 1] = {};
    std::string narrowDir_;
    String dir_;
};

}  // namespace filetest

#endif
