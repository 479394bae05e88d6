// Files that refuse to be written, disappear while being listed, or have names longer than
// the system takes: each failure comes out as the class's documented error and nothing that
// was on the disk before is lost or written to a file of another name.

#include "qvcore/files/File.h"
#include "qvcore/files/FileData.h"
#include "qvcore/files/PrivateProfile.h"
#include "qvcore/files/FileStream.h"

#include "tests/support/StringPrinting.h"
#include "tests/support/TempDirectory.h"

#include <gtest/gtest.h>

#include <cstdlib>
#include <set>
#include <string>

namespace {

using filetest::TempDirectoryTest;

const std::string kOriginal = "[Keep]\r\nvalue=original\r\n";

bool writable(const String &path)
{
    HANDLE probe = CreateFileA(path.SystemMultibyte().c_str(), GENERIC_WRITE, FILE_SHARE_READ, nullptr, OPEN_EXISTING,
                               0, nullptr);
    if (probe == INVALID_HANDLE_VALUE)
        return false;
    CloseHandle(probe);
    return true;
}

class ReadOnlyFile : public TempDirectoryTest {
protected:
    void SetUp() override
    {
        TempDirectoryTest::SetUp();
        target_ = path(String(L"settings.ini"));
        filetest::writeFile(target_, kOriginal);
        ASSERT_TRUE(SetFileAttributesA(target_.SystemMultibyte().c_str(), FILE_ATTRIBUTE_READONLY));
        if (!writable(target_))
            return;
        // Wine keeps the attribute as the host's write permission, which the superuser is not
        // held to: the host's immutable file is read-only for every user.
        const char *immutable = std::getenv("QVCORE_TEST_IMMUTABLE_FILE");
        if (immutable && filetest::readFile(String::FromSystemMultibyte(immutable)) == kOriginal &&
            !writable(String::FromSystemMultibyte(immutable))) {
            target_ = String::FromSystemMultibyte(immutable);
            return;
        }
        GTEST_SKIP() << "this user writes read-only files and the host has no immutable file for the test";
    }
    void TearDown() override
    {
        SetFileAttributesA(target_.SystemMultibyte().c_str(), FILE_ATTRIBUTE_NORMAL);
        TempDirectoryTest::TearDown();
    }
    String target_;
};

TEST_F(ReadOnlyFile, FilesStreamsAndProfilesAreDeniedAndTheContentKept)
{
    File file;
    EXPECT_EXCEPTION(File::Exception, file.Create(target_, GENERIC_WRITE, 0, false, CREATE_ALWAYS, 0),
                     ERROR_ACCESS_DENIED, String::FromError(ERROR_ACCESS_DENIED));
    EXPECT_FALSE(file.IsValid());
    EXPECT_EXCEPTION(File::Exception, file.OpenForReadWrite(target_, 0, OPEN_EXISTING, false, 0),
                     ERROR_ACCESS_DENIED, String::FromError(ERROR_ACCESS_DENIED));
    EXPECT_EXCEPTION(StreamBase::Exception, FileOutputStream stream(target_, false),
                     StreamBase::SystemError, String::FromError(ERROR_ACCESS_DENIED));
    EXPECT_EXCEPTION(StreamBase::Exception, FileOutputStream stream(target_, true),
                     StreamBase::SystemError, String::FromError(ERROR_ACCESS_DENIED));
    PrivateProfile profile;
    profile.SetValue(String(L"Keep"), String(L"value"), 42);
    EXPECT_EXCEPTION(File::Exception, profile.Save(target_),
                     ERROR_ACCESS_DENIED, String::FromError(ERROR_ACCESS_DENIED));
    EXPECT_EQ(kOriginal, filetest::readFile(target_));
}

class RemovedUnderFinder : public TempDirectoryTest {};

TEST_F(RemovedUnderFinder, NextEndsCleanlyAfterTheEntriesAndTheirDirectoryAreDeleted)
{
    std::set<std::string> names;
    for (int i = 0; i < 40; ++i) {
        std::string name = "f" + std::to_string(i) + ".txt";
        names.insert(name);
        filetest::writeFile(path(String::FromLatin1(name.c_str())), "x");
    }
    FileFinder finder;
    ASSERT_TRUE(finder.Start(File::MakePath(dir(), String(L"*.txt")), false));
    for (const std::string &name : names)
        ASSERT_TRUE(DeleteFileA((dir().SystemMultibyte() + "\\" + name).c_str()));
    // The open search may keep the directory itself from going (Windows does).
    RemoveDirectoryA(dir().SystemMultibyte().c_str());

    // Entries the system had already read may still come; nothing else does, and the search
    // ends.
    int steps = 0;
    do {
        EXPECT_EQ(1u, names.count(finder.GetFileName().SystemMultibyte())) << finder.GetFileName().Utf8();
        ASSERT_LT(++steps, 100);
    } while (finder.Next());
    EXPECT_FALSE(finder.IsValid());
    EXPECT_TRUE(finder.GetFilePath().empty());
    EXPECT_FALSE(finder.Next());

    // A new search finds nothing.
    EXPECT_FALSE(finder.Start(File::MakePath(dir(), String(L"*.txt")), false));
    EXPECT_FALSE(finder.IsValid());
}

// Names of exactly the length the narrow functions take (MAX_PATH - 1 characters) and longer.
class LongPath : public TempDirectoryTest {
protected:
    // A path of length characters in a subfolder of the test directory: "<dir>\d\aaa...".
    String pathOfLength(size_t length)
    {
        std::string base = dir().SystemMultibyte() + "\\d";
        CreateDirectoryA(base.c_str(), nullptr);
        std::string name = base + "\\";
        // Components stay under the host's 255-byte limit.
        while (name.size() < length) {
            size_t room = length - name.size();
            if (room > 200 + 2) {
                name += std::string(200, 'a');
                CreateDirectoryA(name.c_str(), nullptr);
                name += "\\";
            } else {
                name += std::string(room, 'b');
            }
        }
        return String::FromSystemMultibyte(name);
    }
    // Every name below the test directory, so that a truncated name cannot go unnoticed.
    std::set<std::string> entries()
    {
        std::set<std::string> found;
        walk(dir().SystemMultibyte(), found);
        return found;
    }

private:
    void walk(const std::string &folder, std::set<std::string> &found)
    {
        WIN32_FIND_DATAA data;
        HANDLE search = FindFirstFileA((folder + "\\*").c_str(), &data);
        if (search == INVALID_HANDLE_VALUE)
            return;
        do {
            std::string name = data.cFileName;
            if (name == "." || name == "..")
                continue;
            found.insert(folder + "\\" + name);
            if (data.dwFileAttributes & FILE_ATTRIBUTE_DIRECTORY)
                walk(folder + "\\" + name, found);
        } while (FindNextFileA(search, &data));
        FindClose(search);
    }
};

// Windows stops the narrow functions at MAX_PATH - 1 characters; Wine takes one more. The longest
// name is created whole; longer ones are too or fail with the system's code, and never land on
// another name.
TEST_F(LongPath, NamesAreCreatedWholeOrFailClearly)
{
    for (size_t length : {size_t(MAX_PATH - 1), size_t(MAX_PATH), size_t(MAX_PATH + 1), size_t(300), size_t(1000),
                          size_t(40000)}) {
        SCOPED_TRACE(length);
        const String name = pathOfLength(length);
        ASSERT_EQ(length, name.size());
        const std::set<std::string> before = entries();

        File file;
        try {
            file.Create(name, GENERIC_WRITE, 0, false, CREATE_ALWAYS, 0);
            EXPECT_LE(length, static_cast<size_t>(MAX_PATH)) << "a name this long is refused by every system";
            EXPECT_EQ(name, file.GetFilePath());
            EXPECT_EQ(3u, file.Write(std::string("abc")));
            file.Close();
            std::set<std::string> expected = before;
            expected.insert(name.SystemMultibyte());
            EXPECT_EQ(expected, entries());
            EXPECT_TRUE(File::FileExists(name));
            EXPECT_EQ(3u, File::GetFileSize(name));
            if (length < MAX_PATH) {
                EXPECT_EQ(name, File::GetFullPath(name));
                FileFinder finder;
                EXPECT_TRUE(finder.Start(name, false));
                EXPECT_EQ(name, finder.GetFilePath());
            }
            // Settings there are saved whole, or the save fails: never the signature alone.
            PrivateProfile profile;
            profile.SetSignature("QV");
            profile.SetValue(String(L"S"), String(L"k"), 7);
            try {
                profile.Save(name);
                PrivateProfile back;
                back.SetSignature("QV");
                back.Load(name);
                int value = 0;
                EXPECT_TRUE(back.GetValue(String(L"S"), String(L"k"), value) && value == 7) << "the setting was lost";
            } catch (const File::Exception &e) {
                // The section functions need the full path, which the system cannot give for
                // the longest name its file functions take: refused before the file is touched.
                EXPECT_EQ(static_cast<unsigned long>(ERROR_FILENAME_EXCED_RANGE), e.code);
                EXPECT_EQ(3u, File::GetFileSize(name)) << "the file was replaced";
            }
            File::DeleteFileA(name);
            EXPECT_EQ(before, entries());
            continue;
        } catch (const File::Exception &e) {
            EXPECT_LT(static_cast<size_t>(MAX_PATH - 1), length) << "the longest name is refused";
            EXPECT_NE(0u, e.code);
            EXPECT_EQ(String::FromError(e.code), e.message);
            EXPECT_FALSE(e.message.empty());
        }
        EXPECT_FALSE(file.IsValid());
        EXPECT_THROW(FileOutputStream stream(name, false), StreamBase::Exception);
        PrivateProfile profile;
        profile.SetValue(String(L"S"), String(L"k"), 1);
        EXPECT_THROW(profile.Save(name), File::Exception);

        FileFinder finder;
        EXPECT_FALSE(finder.Start(name, false));
        EXPECT_FALSE(finder.IsValid());
        EXPECT_FALSE(File::FileExists(name));
        EXPECT_FALSE(File::IsDirectory(name));
        EXPECT_EQ(0u, File::GetFileSize(name));
        EXPECT_FALSE(File::CreateDirectoryA(name));
        EXPECT_FALSE(File::CreatePath(name));
        File::DeleteFileA(name);
        EXPECT_TRUE(File::GetShortPath(name).empty());
        EXPECT_TRUE(File::GetCanonicalPath(name).empty());
        const String full = File::GetFullPath(name);
        EXPECT_TRUE(full.empty() || full == name) << full.size() << " characters";
        EXPECT_EQ(before, entries());
    }
}

}  // namespace
