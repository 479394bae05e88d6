#ifndef QVCORE_TESTS_FILES_TEMPDIRECTORY_H
#define QVCORE_TESTS_FILES_TEMPDIRECTORY_H

// Shared by the file tests: a fresh directory per test under the system's temporary folder,
// made and removed with the system's own calls so that the code under test never cleans up
// after itself.

#include "qvcore/files/File.h"

#include <gtest/gtest.h>

#include <ostream>
#include <string>

// Readable failure messages for String values.
inline void PrintTo(const String &text, std::ostream *out)
{
    *out << '"' << text.Utf8() << '"';
}

namespace filetest {

inline void removeTree(const std::string &dir)
{
    WIN32_FIND_DATAA found;
    HANDLE search = FindFirstFileA((dir + "\\*").c_str(), &found);
    if (search != INVALID_HANDLE_VALUE) {
        do {
            std::string name = found.cFileName;
            if (name == "." || name == "..")
                continue;
            std::string path = dir + "\\" + name;
            SetFileAttributesA(path.c_str(), FILE_ATTRIBUTE_NORMAL);
            if (found.dwFileAttributes & FILE_ATTRIBUTE_DIRECTORY)
                removeTree(path);
            else
                DeleteFileA(path.c_str());
        } while (FindNextFileA(search, &found));
        FindClose(search);
    }
    RemoveDirectoryA(dir.c_str());
}

// Writes bytes to a new file through the system; fails the test when it cannot.
inline void writeFile(const String &path, const std::string &bytes)
{
    HANDLE file = CreateFileA(path.SystemMultibyte().c_str(), GENERIC_WRITE, 0, nullptr, CREATE_ALWAYS,
                              FILE_ATTRIBUTE_NORMAL, nullptr);
    ASSERT_NE(INVALID_HANDLE_VALUE, file) << "cannot create " << path.Utf8();
    DWORD written = 0;
    WriteFile(file, bytes.data(), static_cast<DWORD>(bytes.size()), &written, nullptr);
    CloseHandle(file);
    ASSERT_EQ(bytes.size(), written);
}

inline void makeDirectory(const String &path)
{
    ASSERT_TRUE(CreateDirectoryA(path.SystemMultibyte().c_str(), nullptr)) << "cannot create " << path.Utf8();
}

// A fixture whose test runs with dir() as a new, empty directory.
class TempDirectoryTest : public ::testing::Test {
protected:
    void SetUp() override
    {
        char temp[MAX_PATH + 1] = {};
        ASSERT_NE(0u, GetTempPathA(sizeof temp, temp));
        ASSERT_NE(0u, GetCurrentDirectoryA(sizeof cwd_, cwd_));
        static unsigned serial = 0;
        std::string name = std::string(temp) + "qvfiles-" + std::to_string(GetCurrentProcessId()) + "-" +
                           std::to_string(++serial) + "-" + std::to_string(GetTickCount());
        ASSERT_TRUE(CreateDirectoryA(name.c_str(), nullptr)) << name;
        narrowDir_ = name;
        dir_ = String::FromSystemMultibyte(name);
    }

    // Tests may change into the directory: leave it before removing it.
    void TearDown() override
    {
        SetCurrentDirectoryA(cwd_);
        if (!narrowDir_.empty())
            removeTree(narrowDir_);
    }

    const String &dir() const { return dir_; }
    String path(const wchar_t *name) const { return File::MakePath(dir_, String(name)); }
    String path(const String &name) const { return File::MakePath(dir_, name); }

private:
    char cwd_[MAX_PATH + 1] = {};
    std::string narrowDir_;
    String dir_;
};

}  // namespace filetest

#endif
