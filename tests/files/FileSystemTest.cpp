// The static helpers that ask the file system, on real files in a fresh temporary directory.

#include "tests/support/TempDirectory.h"

#include "qvcore/files/FileData.h"

#include <cwctype>

using filetest::makeDirectory;
using filetest::writeFile;

namespace {

class FileSystemTest : public filetest::TempDirectoryTest {
protected:
    String next(const wchar_t *name, const wchar_t *ext, unsigned *counter = nullptr, const wchar_t *format = nullptr)
    {
        return File::GetNextFilePath(dir(), name, ext, counter, format);
    }
};

}  // namespace

TEST_F(FileSystemTest, ExistenceDirectoryTestsAndCreation)
{
    writeFile(path(L"file.txt"), "abc");
    makeDirectory(path(L"sub"));
    EXPECT_TRUE(File::FileExists(path(L"file.txt")));
    EXPECT_TRUE(File::FileExists(path(L"sub")));
    EXPECT_FALSE(File::FileExists(path(L"none")));
    EXPECT_FALSE(File::FileExists(String()));
    EXPECT_TRUE(File::IsDirectory(path(L"sub")));
    EXPECT_FALSE(File::IsDirectory(path(L"file.txt")));
    EXPECT_FALSE(File::IsDirectory(path(L"none")));

    // Names beyond what the system allows are simply not there (more in the faults tests).
    String tooLong = path(String::FromChar('y', 400));
    EXPECT_EQ(0ull, File::GetSizeRecursive(tooLong));
    EXPECT_EQ(String(), File::GetNextFilePath(tooLong, L"x", String(), nullptr, nullptr));

    EXPECT_TRUE(File::CreateDirectoryA(path(L"new")));
    EXPECT_TRUE(File::IsDirectory(path(L"new")));
    EXPECT_TRUE(File::CreateDirectoryA(path(L"new")));  // already a directory
    EXPECT_FALSE(File::CreateDirectoryA(path(L"file.txt")));
    EXPECT_FALSE(File::CreateDirectoryA(path(L"a\\b")));  // parent missing

    EXPECT_TRUE(File::CreatePath(path(L"a\\b\\c")));
    EXPECT_TRUE(File::IsDirectory(path(L"a\\b\\c")));
    EXPECT_TRUE(File::CreatePath(path(L"a\\b\\c\\")));
    EXPECT_FALSE(File::CreatePath(path(L"file.txt\\x")));
    EXPECT_FALSE(File::CreatePath(String()));

    File::DeleteFileA(path(L"file.txt"));
    EXPECT_FALSE(File::FileExists(path(L"file.txt")));
    File::DeleteFileA(path(L"file.txt"));  // a missing file is no error
    File::DeleteFileA(path(L"new"));       // nor is a directory
    EXPECT_TRUE(File::IsDirectory(path(L"new")));
}

TEST_F(FileSystemTest, SizesOfFilesAndOfTrees)
{
    writeFile(path(L"three.bin"), "abc");
    makeDirectory(path(L"sub"));
    writeFile(path(L"sub\\five.bin"), "12345");
    makeDirectory(path(L"sub\\deeper"));
    writeFile(path(L"sub\\deeper\\seven.bin"), "1234567");
    makeDirectory(path(L"empty"));

    EXPECT_EQ(3ull, File::GetFileSize(path(L"three.bin")));
    EXPECT_EQ(3ull, File::GetFileSize(path(L"th*.bin")));
    EXPECT_EQ(0ull, File::GetFileSize(path(L"sub")));
    EXPECT_EQ(0ull, File::GetFileSize(path(L"missing.bin")));
    EXPECT_EQ(3ull, File::GetSizeRecursive(path(L"three.bin")));
    EXPECT_EQ(12ull, File::GetSizeRecursive(path(L"sub")));
    EXPECT_EQ(15ull, File::GetSizeRecursive(dir()));
    EXPECT_EQ(0ull, File::GetSizeRecursive(path(L"empty")));
    EXPECT_EQ(0ull, File::GetSizeRecursive(path(L"missing")));
}

// The tree is made by the test run on the host (a Windows program cannot make the kind of link
// Wine follows): ten.bin holding ten bytes, and sub\up linking back to the top.
TEST(FileSystemLinks, RecursiveWalksDoNotEnterLinkedFolders)
{
    char tree[MAX_PATH] = {};
    if (!GetEnvironmentVariableA("QVCORE_TEST_LINKED_TREE", tree, sizeof tree))
        GTEST_SKIP() << "QVCORE_TEST_LINKED_TREE names no tree with a folder link (run the suite through CTest)";
    const String dir = String::FromSystemMultibyte(tree);
    ASSERT_TRUE(File::IsDirectory(File::MakePath(dir, String(L"sub\\up\\sub")))) << "the link is not there";
    EXPECT_EQ(10ull, File::GetSizeRecursive(dir));
    struct Counter : FileFinder::IFindCallback {
        int files = 0;
        bool OnFileFound(const String &, const String &) override { return ++files < 100; }
    } counter;
    EXPECT_TRUE(FileFinder::FindFilesRecursive(dir, L"*", counter));
    EXPECT_EQ(1, counter.files);
}

TEST_F(FileSystemTest, TemporaryAndApplicationDataFolders)
{
    String temp = File::GetTempDirectory();
    ASSERT_FALSE(temp.empty());
    EXPECT_EQ('\\', temp[temp.length() - 1]);
    EXPECT_TRUE(File::IsPathAbsolute(temp) && File::IsDirectory(temp));

    String made = File::GetTempFilePath(dir());
    EXPECT_EQ(dir(), File::GetDirname(made));
    EXPECT_EQ(String(L"TMP"), File::GetBasename(made, String()).Left(3).UpperCase());
    EXPECT_TRUE(File::FileExists(made));
    EXPECT_EQ(0ull, File::GetFileSize(made));
    EXPECT_NE(made, File::GetTempFilePath(dir()));
    EXPECT_EQ(String(), File::GetTempFilePath(path(L"missing")));

    String appData = File::GetApplicationDataDirectory();
    ASSERT_FALSE(appData.empty());
    EXPECT_TRUE(File::IsDirectory(appData));
    // The folder number is not looked at.
    EXPECT_EQ(appData, File::GetSpecialFolderPath(5 /* documents */, false, nullptr));
    EXPECT_EQ(appData, File::GetSpecialFolderPath(0x24 /* windows */, true, nullptr));
}

TEST_F(FileSystemTest, FullShortAndCanonicalPaths)
{
    makeDirectory(path(L"Mixed Case Folder"));
    String real = path(L"Mixed Case Folder\\Long File Name.Text");
    writeFile(real, "x");

    EXPECT_EQ(String(), File::GetFullPath(String()));
    enter();
    EXPECT_EQ(real, File::GetFullPath(L"Mixed Case Folder\\Long File Name.Text"));
    EXPECT_EQ(real, File::GetFullPath(L".\\x\\..\\Mixed Case Folder\\Long File Name.Text"));

    String shortPath = File::GetShortPath(real);
    ASSERT_FALSE(shortPath.empty());
    EXPECT_NE(real, shortPath);
    EXPECT_EQ(String(), File::GetShortPath(path(L"missing.txt")));

    // Two spellings of one file give one canonical path: the names as found on disk after a
    // drive letter in small letters (the long-name lookup keeps the drive as it is given).
    String canonical = real;
    canonical[0] = static_cast<unsigned short>(std::towlower(canonical[0]));
    for (const String &spelling : {path(L"MIXED CASE FOLDER\\sub\\..\\long file name.TEXT"),
                                   String(L"mixed case folder\\LONG FILE NAME.text"), shortPath, real})
        EXPECT_EQ(canonical, File::GetCanonicalPath(spelling)) << spelling.Utf8();
    EXPECT_EQ(String(), File::GetCanonicalPath(path(L"missing.txt")));
}

TEST_F(FileSystemTest, LongAndNonAsciiNamesRoundTripThroughTheNarrowCalls)
{
    // Characters above 0x7F must exist in the ANSI code page to reach the narrow calls.
    String accented(L"R\u00e9sum\u00e9 \u00fcber \u00c5ngstr\u00f6m.txt");
    if (String::FromSystemMultibyte(accented.SystemMultibyte()) != accented)
        GTEST_SKIP() << "the ANSI code page " << GetACP() << " lacks the test's characters";

    for (const String &name : {accented, String(String::FromChar('L', 200) + String(L"\u00e9.data"))}) {
        String full = path(name);
        {
            File file(full, GENERIC_WRITE, 0, false, CREATE_NEW, 0);
            EXPECT_EQ(full, file.GetFilePath());
            EXPECT_EQ(name, file.GetFileName());
            file.Write("12", 2);
        }
        EXPECT_TRUE(File::FileExists(full));
        EXPECT_EQ(2ull, File::GetFileSize(full));
        EXPECT_EQ(name, File::GetBasename(File::GetCanonicalPath(full), String()));
        FileFinder finder(full, false);
        EXPECT_EQ(name, finder.GetFileName());
        EXPECT_EQ(full, finder.GetFilePath());
    }
}

TEST_F(FileSystemTest, NextFilePathContinuesNumberedNamesAndSkipsTakenOnes)
{
    // A name ending in a dot and digits is tried as it is first, then counted on; nothing is created.
    EXPECT_EQ(path(L"report.0007.txt"), next(L"report.0007", L".txt"));
    EXPECT_FALSE(File::FileExists(path(L"report.0007.txt")));
    writeFile(path(L"report.0007.txt"), "");
    EXPECT_EQ(path(L"report.0008.txt"), next(L"report.0007", L".txt"));

    // A plain name gets a dot and numbers from 1; taken ones are skipped.
    EXPECT_EQ(path(L"log.0001.txt"), next(L"log", L".txt"));
    writeFile(path(L"log.0001.txt"), "");
    makeDirectory(path(L"log.0002.txt"));
    EXPECT_EQ(path(L"log.0003.txt"), next(L"log", L".txt"));

    // A counter gives the start and receives the number after the one used.
    unsigned counter = 1;
    EXPECT_EQ(path(L"log.0003.txt"), next(L"log", L".txt", &counter));
    EXPECT_EQ(4u, counter);
    counter = 3;
    EXPECT_EQ(path(L"report.0003.txt"), next(L"report.0007", L".txt", &counter));
    EXPECT_EQ(4u, counter);

    // A name of digits only is the number itself; digits without a dot before them are part of the name.
    EXPECT_EQ(path(L"0042.dat"), next(L"42", L".dat"));
    writeFile(path(L"0042.dat"), "");
    EXPECT_EQ(path(L"0043.dat"), next(L"0042", L".dat"));
    EXPECT_EQ(path(L"take2.0001"), next(L"take2", L""));
    // The format and invalid characters.
    EXPECT_EQ(path(L"log.5.txt"), next(L"log.5", L".txt", nullptr, L"%d"));
    EXPECT_EQ(path(L"a_b.0001_x"), next(L"a:b", L"?x"));

    // A directory that cannot be searched gives up instead of counting for ever.
    counter = 9;
    EXPECT_EQ(String(), File::GetNextFilePath(path(L"missing"), L"log", L".txt", &counter, nullptr));
    EXPECT_EQ(9u, counter);
}

TEST_F(FileSystemTest, RandomFilePathKeepsTheStemUpToTheLastDot)
{
    String made = File::GetRandomFilePath(dir(), L"shot.old.png", L".jpg");
    ASSERT_EQ(dir(), File::GetDirname(made));
    String name = File::GetBasename(made, String());
    ASSERT_EQ(9u + 10u + 4u, name.length()) << name.Utf8();
    EXPECT_EQ(String(L"shot.old."), name.Left(9));
    for (unsigned i = 9; i < 19; ++i)
        EXPECT_TRUE(name[i] >= '0' && name[i] <= '9') << name.Utf8();
    EXPECT_EQ(String(L".jpg"), name.Right(4));
    EXPECT_FALSE(File::FileExists(made));

    EXPECT_EQ(11u, File::GetBasename(File::GetRandomFilePath(dir(), L"x", String()), String()).length());
    EXPECT_EQ(String(), File::GetRandomFilePath(path(L"missing"), L"x", String()));
}

TEST_F(FileSystemTest, DriveQueriesUseThePathsRoot)
{
    String temp = File::GetTempDirectory();
    EXPECT_EQ(unsigned(DRIVE_FIXED), File::GetDriveTypeA(temp));
    EXPECT_EQ(unsigned(GetDriveTypeA(nullptr)), File::GetDriveTypeA(L"relative\\name"));
    EXPECT_EQ(unsigned(DRIVE_NO_ROOT_DIR), File::GetDriveTypeA(L"Q:\\x"));

    char fileSystem[MAX_PATH + 1] = {};
    ASSERT_TRUE(GetVolumeInformationA(temp.Left(3).SystemMultibyte().c_str(), nullptr, 0, nullptr, nullptr, nullptr,
                                      fileSystem, sizeof fileSystem));
    EXPECT_EQ(std::string(fileSystem) == "NTFS", File::IsNTFSPath(path(L"anything")));
    EXPECT_FALSE(File::IsNTFSPath(L"Q:\\x"));
}
