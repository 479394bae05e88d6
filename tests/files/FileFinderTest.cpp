// Directory entries and searches.

#include "tests/support/TempDirectory.h"

#include "qvcore/files/FileData.h"

#include <cstring>
#include <set>
#include <utility>
#include <vector>

using filetest::makeDirectory;
using filetest::writeFile;

namespace {

const long long kHour = 36000000000ll, kBase = 130000000000000000ll;

FILETIME fileTime(long long ticks)
{
    return FILETIME{static_cast<DWORD>(ticks), static_cast<DWORD>(ticks >> 32)};
}

DateTime at(long long ticks)
{
    return DateTime(fileTime(ticks));
}

// Entries made up field by field, as the finder fills them from the system; apply() after
// changing record.
class Entry : public FileData {
public:
    Entry(const char *name, unsigned long attributes, unsigned long long size = 0, const char *shortName = "")
    {
        std::memset(&record, 0, sizeof record);
        std::strcpy(record.cFileName, name);
        std::strcpy(record.cAlternateFileName, shortName);
        record.dwFileAttributes = attributes;
        record.nFileSizeHigh = static_cast<DWORD>(size >> 32);
        record.nFileSizeLow = static_cast<DWORD>(size);
        record.ftCreationTime = record.ftLastAccessTime = record.ftLastWriteTime = fileTime(kBase);
        apply();
    }
    void apply() { Assign(record); }
    WIN32_FIND_DATAA record;
};

using Found = std::set<std::pair<std::string, std::string>>;

std::set<std::string> namesFound(FileFinder &finder)
{
    std::set<std::string> names;
    for (bool found = finder.IsValid(); found; found = finder.Next())
        names.insert(finder.GetFileName().Utf8());
    return names;
}

// Records every file it is told about; answers false from the stopAfter-th one on.
struct Recorder : FileFinder::IFindCallback {
    explicit Recorder(int stopAfter = -1) : stopAfter(stopAfter) {}
    bool OnFileFound(const String &dir, const String &fileName) override
    {
        seen.insert({dir.Utf8(), fileName.Utf8()});
        return static_cast<int>(seen.size()) != stopAfter;
    }
    Found seen;
    int stopAfter;
};

class FileFinderTest : public filetest::TempDirectoryTest {};

}  // namespace

TEST_F(FileFinderTest, EntriesHaveTheSystemsWideFindRecordLayout)
{
    // The raw bytes of a found entry are the system's own wide record for the same file.
    String file = path(L"layout.bin");
    writeFile(file, std::string(70000, 'x'));
    FileFinder finder(file, false);
    WIN32_FIND_DATAW system;
    std::memset(&system, 0, sizeof system);  // the system leaves the names' tails as they were
    HANDLE search = FindFirstFileW(reinterpret_cast<const wchar_t *>(file.c_str()), &system);
    ASSERT_NE(INVALID_HANDLE_VALUE, search);
    FindClose(search);
    ASSERT_TRUE(finder.IsValid());

    EXPECT_EQ(592u, sizeof(FileData));
    const char *bytes = reinterpret_cast<const char *>(static_cast<const FileData *>(&finder));
    const char *expected = reinterpret_cast<const char *>(&system);
    EXPECT_EQ(0, std::memcmp(expected, bytes, 36)) << "attributes, times and size";
    EXPECT_EQ(0, std::memcmp(expected + 44, bytes + 44, 592 - 44)) << "long and short names";
    EXPECT_EQ(70000ull, finder.GetFileSize());

    FileData copy, fresh;
    copy = finder;
    EXPECT_EQ(0, std::memcmp(bytes, &copy, 592));
    copy.Clear();
    EXPECT_EQ(std::string(592, '\0'), std::string(reinterpret_cast<const char *>(&copy), 592));
    EXPECT_EQ(std::string(592, '\0'), std::string(reinterpret_cast<const char *>(&fresh), 592));
}

TEST(FileData, NamesWithoutTerminatorStopAtTheEndOfTheirFields)
{
    // A record read raw from a stream need not hold a zero unit in its name fields; what lies
    // beyond the record takes no part in the comparison.
    struct Padded {
        FileData entry;
        unsigned short after[8];
    } a, b;
    std::memset(static_cast<void *>(&a), 'A', sizeof a);
    std::memset(static_cast<void *>(&b), 'A', sizeof b);
    std::memset(b.after, 'B', sizeof b.after);
    EXPECT_EQ(String::FromChar(0x4141, 260), a.entry.GetFileName());
    EXPECT_EQ(String::FromChar(0x4141, 14), a.entry.GetShortFileName());
    EXPECT_EQ(String(), a.entry.GetFileExtension());
    EXPECT_TRUE(a.entry == b.entry);
}

TEST(FileData, AccessorsReadTheRecordsFields)
{
    Entry entry("archive.tar.gz", 0x1 | 0x2 | 0x4 | 0x20 | 0x800, 0x100000002ull, "ARCHIV~1.GZ");
    entry.record.ftLastAccessTime = fileTime(5);
    entry.record.ftLastWriteTime = fileTime(6);
    entry.apply();
    EXPECT_EQ(String(L"ARCHIV~1.GZ"), entry.GetShortFileName());
    EXPECT_EQ(String(L".gz"), entry.GetFileExtension());
    EXPECT_EQ(0x100000002ull, entry.GetFileSize());
    EXPECT_EQ(at(kBase), entry.GetCreationTime());
    EXPECT_EQ(at(5), entry.GetLastAccessTime());
    EXPECT_EQ(at(6), entry.GetLastWriteTime());
    EXPECT_TRUE(entry.IsReadOnly() && entry.IsHidden() && entry.IsSystem() && entry.IsArchived() &&
                entry.IsCompressed());
    EXPECT_FALSE(entry.IsDirectory());

    Entry bare("README", 0x10);
    EXPECT_EQ(String(), bare.GetFileExtension());
    EXPECT_TRUE(bare.IsDirectory());
    EXPECT_FALSE(bare.IsReadOnly() || bare.IsHidden() || bare.IsSystem() || bare.IsArchived() || bare.IsCompressed());

    // Dots are directories named "." or "..".
    EXPECT_TRUE(Entry(".", 0x10).IsDots() && Entry("..", 0x10).IsDots());
    EXPECT_FALSE(Entry(".", 0x20).IsDots() || Entry("..", 0).IsDots() || Entry("...", 0x10).IsDots() ||
                 Entry(".git", 0x10).IsDots());
}

TEST(FileData, EqualFileTimesAreIdenticalOrOneHourApartWithinAMillisecond)
{
    // Only the low 32 bits of the difference count.
    const long long equal[] = {0, kHour, -kHour, kHour + 9999, kHour - 9999, kHour + (1ll << 32),
                               kHour - 3 * (1ll << 32) + 5};
    const long long unequal[] = {kHour + 10000, kHour - 10000, 10000000, 1, 2 * kHour, 1ll << 32};
    for (long long delta : equal)
        EXPECT_TRUE(FileData::IsEqualFileTime(at(kBase), at(kBase + delta))) << delta;
    for (long long delta : unequal)
        EXPECT_FALSE(FileData::IsEqualFileTime(at(kBase), at(kBase + delta))) << delta;
}

TEST(FileData, EqualityIgnoresNameCaseAndLastAccessButNotSizeOrAttributes)
{
    Entry a("Photo.JPG", 0x20, 1234, "PHOTO~1.JPG");
    Entry b("photo.jpg", 0x20, 1234, "photo~1.jpg");
    b.record.ftLastAccessTime = fileTime(1);
    b.record.ftCreationTime = fileTime(kBase + kHour);
    b.apply();
    EXPECT_TRUE(a == b);
    EXPECT_FALSE(a != b);

    const std::vector<void (*)(WIN32_FIND_DATAA &)> changes = {
        [](WIN32_FIND_DATAA &r) { r.nFileSizeLow = 1235; },
        [](WIN32_FIND_DATAA &r) { r.nFileSizeHigh = 1; },
        [](WIN32_FIND_DATAA &r) { r.dwFileAttributes = 0x21; },
        [](WIN32_FIND_DATAA &r) { r.ftLastWriteTime = fileTime(kBase + 10000000); },
        [](WIN32_FIND_DATAA &r) { r.ftCreationTime = fileTime(kBase - 10000000); },
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
    EXPECT_FALSE(finder.IsValid() || finder.Next());
    EXPECT_EQ(String(), finder.GetFileName());
    EXPECT_EQ(String(), finder.GetFilePath());
    EXPECT_EQ(String(), finder.GetFileTitleA());
    EXPECT_EQ(path(L"empty"), finder.GetSearchPath());

    ASSERT_TRUE(finder.Start(path(L"empty\\*"), true));
    EXPECT_TRUE(finder.IsDots());
    EXPECT_EQ((std::set<std::string>{".", ".."}), namesFound(finder));
    EXPECT_FALSE(finder.IsValid());
    EXPECT_EQ(0ull, finder.GetFileSize());

    writeFile(path(L"b.txt"), "bb");
    writeFile(path(L"a.log"), "a");
    makeDirectory(path(L"sub.d"));
    FileFinder all(path(L"*"), false), withDots(path(L"*"), true);
    EXPECT_EQ((std::set<std::string>{"a.log", "b.txt", "empty", "sub.d"}), namesFound(all));
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
    EXPECT_FALSE(finder.IsDirectory() || finder.Next());

    // Restarting ends the open search and begins a new one.
    makeDirectory(path(L"sub"));
    writeFile(path(L"sub\\inner.txt"), "");
    ASSERT_TRUE(finder.Start(path(L"sub\\*"), false));
    EXPECT_EQ(path(L"sub\\inner.txt"), finder.GetFilePath());
    enter();
    ASSERT_TRUE(finder.Start(L"*.txt", false));
    EXPECT_EQ(String(L"."), finder.GetSearchPath());
    EXPECT_EQ(String(L".\\notes.2004.txt"), finder.GetFilePath());
}

TEST_F(FileFinderTest, RecursiveSearchFiltersDirectoriesByThePatternToo)
{
    for (const wchar_t *name : {L"plain", L"notes.txt", L"x.d"})
        makeDirectory(path(name));
    for (const wchar_t *name : {L"a.txt", L"b.log", L"plain\\c.txt", L"notes.txt\\d.txt", L"notes.txt\\e.log",
                                L"x.d\\1.d", L"x.d\\2.d", L"x.d\\3.d"})
        writeFile(path(name), "");

    const std::string root = dir().Utf8(), notes = path(L"notes.txt").Utf8(), xd = path(L"x.d").Utf8();
    Recorder txt, all, first(1), two(2), none;
    EXPECT_TRUE(FileFinder::FindFilesRecursive(dir(), L"*.txt", txt));
    // "plain" does not match "*.txt" and is not entered.
    EXPECT_EQ((Found{{root, "a.txt"}, {notes, "d.txt"}}), txt.seen);
    EXPECT_TRUE(FileFinder::FindFilesRecursive(dir(), L"*", all));
    EXPECT_EQ((Found{{root, "a.txt"}, {root, "b.log"}, {path(L"plain").Utf8(), "c.txt"}, {notes, "d.txt"},
                     {notes, "e.log"}, {xd, "1.d"}, {xd, "2.d"}, {xd, "3.d"}}),
              all.seen);
    EXPECT_FALSE(FileFinder::FindFilesRecursive(dir(), L"*", first));
    EXPECT_EQ(1u, first.seen.size());
    // Stopping inside a sub-directory stops the whole walk.
    EXPECT_FALSE(FileFinder::FindFilesRecursive(dir(), L"*.d", two));
    EXPECT_EQ(2u, two.seen.size());
    EXPECT_TRUE(FileFinder::FindFilesRecursive(path(L"missing"), L"*", none));
    EXPECT_TRUE(none.seen.empty());
}
