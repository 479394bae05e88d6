// Directory entries and searches.

#include "TempDirectory.h"

#include "qvcore/files/FileData.h"

#include <cstring>
#include <set>
#include <string>
#include <utility>
#include <vector>

using filetest::makeDirectory;
using filetest::TempDirectoryTest;
using filetest::writeFile;

namespace {

const long long kHour = 36000000000ll;

// Entries made up field by field, as the finder fills them from the system.
class Entry : public FileData {
public:
    Entry(const char *name, unsigned long attributes, unsigned long long size = 0)
    {
        std::memset(&record, 0, sizeof record);
        std::strcpy(record.cFileName, name);
        record.dwFileAttributes = attributes;
        record.nFileSizeHigh = static_cast<DWORD>(size >> 32);
        record.nFileSizeLow = static_cast<DWORD>(size);
        record.ftCreationTime = fileTime(130000000000000000ll);
        record.ftLastAccessTime = fileTime(130000000000000000ll);
        record.ftLastWriteTime = fileTime(130000000000000000ll);
        apply();
    }

    static FILETIME fileTime(long long ticks)
    {
        FILETIME time;
        time.dwLowDateTime = static_cast<DWORD>(ticks);
        time.dwHighDateTime = static_cast<DWORD>(ticks >> 32);
        return time;
    }

    void apply() { Assign(record); }

    WIN32_FIND_DATAA record;
};

DateTime at(long long ticks)
{
    return DateTime(Entry::fileTime(ticks));
}

class FileFinderTest : public TempDirectoryTest {};

std::set<std::string> namesFound(FileFinder &finder)
{
    std::set<std::string> names;
    for (bool found = finder.IsValid(); found; found = finder.Next())
        names.insert(finder.GetFileName().Utf8());
    return names;
}

// Records every file it is told about; answers false from the stopAfter-th one on.
class Recorder : public FileFinder::IFindCallback {
public:
    explicit Recorder(int stopAfter = -1) : stopAfter_(stopAfter) {}
    bool OnFileFound(const String &dir, const String &fileName) override
    {
        seen.insert(std::make_pair(dir.Utf8(), fileName.Utf8()));
        return ++count_ != stopAfter_;
    }
    std::set<std::pair<std::string, std::string>> seen;

private:
    int stopAfter_;
    int count_ = 0;
};

}  // namespace

TEST(FileData, HasTheSystemsWideFindRecordLayout)
{
    // The raw bytes of a found entry are the system's own wide record for the same file.
    char temp[MAX_PATH + 1] = {};
    ASSERT_NE(0u, GetTempPathA(sizeof temp, temp));
    std::string file = std::string(temp) + "qvfiles-layout-" + std::to_string(GetCurrentProcessId()) + ".bin";
    filetest::writeFile(String::FromSystemMultibyte(file), std::string(70000, 'x'));

    FileFinder finder(String::FromSystemMultibyte(file), false);
    WIN32_FIND_DATAW system;
    std::memset(&system, 0, sizeof system);  // the system leaves the names' tails as they were
    HANDLE search = FindFirstFileW(reinterpret_cast<const wchar_t *>(String::FromSystemMultibyte(file).c_str()), &system);
    DeleteFileA(file.c_str());
    ASSERT_NE(INVALID_HANDLE_VALUE, search);
    FindClose(search);
    ASSERT_TRUE(finder.IsValid());

    EXPECT_EQ(592u, sizeof(FileData));
    const FileData &entry = finder;
    const char *bytes = reinterpret_cast<const char *>(&entry);
    const char *expected = reinterpret_cast<const char *>(&system);
    EXPECT_EQ(0, std::memcmp(expected, bytes, 36)) << "attributes, times and size";
    EXPECT_EQ(0, std::memcmp(expected + 44, bytes + 44, 592 - 44)) << "long and short names";
    EXPECT_EQ(70000ull, entry.GetFileSize());

    FileData copy;
    copy = entry;
    EXPECT_EQ(0, std::memcmp(bytes, &copy, 592));
    copy.Clear();
    EXPECT_EQ(std::string(592, '\0'), std::string(reinterpret_cast<const char *>(&copy), 592));
    FileData fresh;
    EXPECT_EQ(std::string(592, '\0'), std::string(reinterpret_cast<const char *>(&fresh), 592));
}

TEST(FileData, AccessorsReadTheRecordsFields)
{
    Entry entry("archive.tar.gz", 0x1 | 0x2 | 0x4 | 0x20 | 0x800, 0x100000002ull);
    std::strcpy(entry.record.cAlternateFileName, "ARCHIV~1.GZ");
    entry.record.ftLastAccessTime = Entry::fileTime(5);
    entry.record.ftLastWriteTime = Entry::fileTime(6);
    entry.apply();
    EXPECT_EQ(String(L"ARCHIV~1.GZ"), entry.GetShortFileName());
    EXPECT_EQ(String(L".gz"), entry.GetFileExtension());
    EXPECT_EQ(0x100000002ull, entry.GetFileSize());
    EXPECT_EQ(at(130000000000000000ll), entry.GetCreationTime());
    EXPECT_EQ(at(5), entry.GetLastAccessTime());
    EXPECT_EQ(at(6), entry.GetLastWriteTime());
    EXPECT_TRUE(entry.IsReadOnly() && entry.IsHidden() && entry.IsSystem() && entry.IsArchived() &&
                entry.IsCompressed());
    EXPECT_FALSE(entry.IsDirectory());

    Entry bare("README", 0x10);
    EXPECT_EQ(String(), bare.GetFileExtension());
    EXPECT_TRUE(bare.IsDirectory());
    EXPECT_FALSE(bare.IsReadOnly() || bare.IsHidden() || bare.IsSystem() || bare.IsArchived() || bare.IsCompressed());
}

TEST(FileData, DotsAreDirectoriesNamedDotOrDotDot)
{
    EXPECT_TRUE(Entry(".", 0x10).IsDots());
    EXPECT_TRUE(Entry("..", 0x10).IsDots());
    EXPECT_FALSE(Entry(".", 0x20).IsDots());
    EXPECT_FALSE(Entry("..", 0).IsDots());
    EXPECT_FALSE(Entry("...", 0x10).IsDots());
    EXPECT_FALSE(Entry(".git", 0x10).IsDots());
}

TEST(FileData, EqualFileTimesAreIdenticalOrOneHourApartWithinAMillisecond)
{
    const long long base = 127000000000000000ll;
    EXPECT_TRUE(FileData::IsEqualFileTime(at(base), at(base)));
    EXPECT_TRUE(FileData::IsEqualFileTime(at(base), at(base + kHour)));
    EXPECT_TRUE(FileData::IsEqualFileTime(at(base + kHour), at(base)));
    EXPECT_TRUE(FileData::IsEqualFileTime(at(base), at(base + kHour + 9999)));
    EXPECT_TRUE(FileData::IsEqualFileTime(at(base), at(base + kHour - 9999)));
    EXPECT_FALSE(FileData::IsEqualFileTime(at(base), at(base + kHour + 10000)));
    EXPECT_FALSE(FileData::IsEqualFileTime(at(base), at(base + kHour - 10000)));
    EXPECT_FALSE(FileData::IsEqualFileTime(at(base), at(base + 10000000)));
    EXPECT_FALSE(FileData::IsEqualFileTime(at(base), at(base + 1)));
    EXPECT_FALSE(FileData::IsEqualFileTime(at(base), at(base + 2 * kHour)));
    // Only the low 32 bits of the difference count.
    EXPECT_TRUE(FileData::IsEqualFileTime(at(base), at(base + kHour + (1ll << 32))));
    EXPECT_TRUE(FileData::IsEqualFileTime(at(base), at(base + kHour - 3 * (1ll << 32) + 5)));
    EXPECT_FALSE(FileData::IsEqualFileTime(at(base), at(base + (1ll << 32))));
}

TEST(FileData, EqualityIgnoresNameCaseAndLastAccessButNotSizeOrAttributes)
{
    Entry a("Photo.JPG", 0x20, 1234);
    std::strcpy(a.record.cAlternateFileName, "PHOTO~1.JPG");
    a.apply();
    Entry b("photo.jpg", 0x20, 1234);
    std::strcpy(b.record.cAlternateFileName, "photo~1.jpg");
    b.record.ftLastAccessTime = Entry::fileTime(1);
    b.record.ftCreationTime = Entry::fileTime(130000000000000000ll + kHour);
    b.apply();
    EXPECT_TRUE(a == b);
    EXPECT_FALSE(a != b);

    const std::vector<void (*)(WIN32_FIND_DATAA &)> changes = {
        [](WIN32_FIND_DATAA &r) { r.nFileSizeLow = 1235; },
        [](WIN32_FIND_DATAA &r) { r.nFileSizeHigh = 1; },
        [](WIN32_FIND_DATAA &r) { r.dwFileAttributes = 0x21; },
        [](WIN32_FIND_DATAA &r) { r.ftLastWriteTime = Entry::fileTime(130000000000000000ll + 10000000); },
        [](WIN32_FIND_DATAA &r) { r.ftCreationTime = Entry::fileTime(130000000000000000ll - 10000000); },
        [](WIN32_FIND_DATAA &r) { std::strcpy(r.cAlternateFileName, "PHOTO~2.JPG"); },
        [](WIN32_FIND_DATAA &r) { std::strcpy(r.cFileName, "Photo.JPEG"); },
    };
    for (std::size_t i = 0; i < changes.size(); ++i) {
        Entry other = b;
        changes[i](other.record);
        other.apply();
        EXPECT_TRUE(a != other) << "change " << i;
    }
}

TEST_F(FileFinderTest, DotsAreSkippedUnlessAskedFor)
{
    makeDirectory(path(L"empty"));
    FileFinder finder;
    EXPECT_FALSE(finder.IsValid());
    EXPECT_FALSE(finder.Start(path(L"empty\\*"), false));
    EXPECT_FALSE(finder.IsValid());
    EXPECT_EQ(String(), finder.GetFileName());
    EXPECT_EQ(String(), finder.GetFilePath());
    EXPECT_EQ(String(), finder.GetFileTitleA());
    EXPECT_EQ(path(L"empty"), finder.GetSearchPath());
    EXPECT_FALSE(finder.Next());

    ASSERT_TRUE(finder.Start(path(L"empty\\*"), true));
    EXPECT_TRUE(finder.IsDots());
    std::set<std::string> dots = namesFound(finder);
    EXPECT_EQ((std::set<std::string>{".", ".."}), dots);
    EXPECT_FALSE(finder.IsValid());
    EXPECT_EQ(0ull, finder.GetFileSize());

    writeFile(path(L"b.txt"), "bb");
    writeFile(path(L"a.log"), "a");
    makeDirectory(path(L"sub.d"));
    FileFinder all(path(L"*"), false);
    EXPECT_EQ((std::set<std::string>{"a.log", "b.txt", "empty", "sub.d"}), namesFound(all));
    FileFinder withDots(path(L"*"), true);
    EXPECT_EQ((std::set<std::string>{".", "..", "a.log", "b.txt", "empty", "sub.d"}), namesFound(withDots));

    FileFinder missing(path(L"missing\\*"), false);
    EXPECT_FALSE(missing.IsValid());
    EXPECT_EQ(String(), missing.GetFilePath());
}

TEST_F(FileFinderTest, PathsOfFoundEntriesJoinTheSearchDirectory)
{
    writeFile(path(L"notes.2004.txt"), "12345");
    FileFinder finder(path(L"*.txt"), false);
    ASSERT_TRUE(finder.IsValid());
    EXPECT_EQ(dir(), finder.GetSearchPath());
    EXPECT_EQ(path(L"notes.2004.txt"), finder.GetFilePath());
    EXPECT_EQ(String(L"notes.2004"), finder.GetFileTitleA());
    EXPECT_EQ(5ull, finder.GetFileSize());
    EXPECT_FALSE(finder.IsDirectory());
    EXPECT_FALSE(finder.Next());

    // Restarting ends the open search and begins a new one.
    makeDirectory(path(L"sub"));
    writeFile(path(L"sub\\inner.txt"), "");
    ASSERT_TRUE(finder.Start(path(L"sub\\*"), false));
    EXPECT_EQ(path(L"sub\\inner.txt"), finder.GetFilePath());

    ASSERT_TRUE(SetCurrentDirectoryA(dir().SystemMultibyte().c_str()));
    ASSERT_TRUE(finder.Start(String(L"*.txt"), false));
    EXPECT_EQ(String(L"."), finder.GetSearchPath());
    EXPECT_EQ(String(L".\\notes.2004.txt"), finder.GetFilePath());
}

TEST_F(FileFinderTest, RecursiveSearchFiltersDirectoriesByThePatternToo)
{
    writeFile(path(L"a.txt"), "");
    writeFile(path(L"b.log"), "");
    makeDirectory(path(L"plain"));
    writeFile(path(L"plain\\c.txt"), "");
    makeDirectory(path(L"notes.txt"));
    writeFile(path(L"notes.txt\\d.txt"), "");
    writeFile(path(L"notes.txt\\e.log"), "");

    const std::string root = dir().Utf8();
    const std::string notes = path(L"notes.txt").Utf8();
    Recorder txt;
    EXPECT_TRUE(FileFinder::FindFilesRecursive(dir(), String(L"*.txt"), txt));
    // "plain" does not match "*.txt" and is not entered.
    EXPECT_EQ((std::set<std::pair<std::string, std::string>>{{root, "a.txt"}, {notes, "d.txt"}}), txt.seen);

    Recorder all;
    EXPECT_TRUE(FileFinder::FindFilesRecursive(dir(), String(L"*"), all));
    EXPECT_EQ((std::set<std::pair<std::string, std::string>>{{root, "a.txt"},
                                                             {root, "b.log"},
                                                             {path(L"plain").Utf8(), "c.txt"},
                                                             {notes, "d.txt"},
                                                             {notes, "e.log"}}),
              all.seen);

    Recorder first(1);
    EXPECT_FALSE(FileFinder::FindFilesRecursive(dir(), String(L"*"), first));
    EXPECT_EQ(1u, first.seen.size());

    // Stopping inside a sub-directory stops the whole walk.
    makeDirectory(path(L"x.d"));
    writeFile(path(L"x.d\\1.d"), "");
    writeFile(path(L"x.d\\2.d"), "");
    writeFile(path(L"x.d\\3.d"), "");
    Recorder two(2);
    EXPECT_FALSE(FileFinder::FindFilesRecursive(dir(), String(L"*.d"), two));
    EXPECT_EQ(2u, two.seen.size());

    Recorder none;
    EXPECT_TRUE(FileFinder::FindFilesRecursive(path(L"missing"), String(L"*"), none));
    EXPECT_TRUE(none.seen.empty());
}
