// An open File on real files in a fresh temporary directory.

#include "tests/support/TempDirectory.h"

#include "qvcore/files/FileData.h"
#include "qvcore/files/FileStream.h"

namespace {

const unsigned kRead = GENERIC_READ, kReadWrite = GENERIC_READ | GENERIC_WRITE;
const unsigned kShareAll = FILE_SHARE_READ | FILE_SHARE_WRITE;

// Gives the tests the handle that the stream classes see.
class HandleFile : public File {
public:
    using File::GetHandle;
};

class FileTest : public filetest::TempDirectoryTest {
protected:
    // Open files cannot be removed with their directory.
    void TearDown() override
    {
        first.Close();
        second.Close();
        TempDirectoryTest::TearDown();
    }
    // Two read-write handles on one existing file of the given content.
    void openTwice(const wchar_t *name, const std::string &content)
    {
        filetest::writeFile(path(name), content);
        first.OpenForReadWrite(path(name), kShareAll, OPEN_EXISTING, false, 0);
        second.OpenForReadWrite(path(name), kShareAll, OPEN_EXISTING, false, 0);
    }
    // Whether the second handle may lock the byte range (released again at once).
    bool lockableElsewhere(unsigned long offsetLow, unsigned long offsetHigh, unsigned long length)
    {
        return LockFile(second.GetHandle(), offsetLow, offsetHigh, length, 0) &&
               UnlockFile(second.GetHandle(), offsetLow, offsetHigh, length, 0);
    }
    HandleFile first, second;
};

}  // namespace

TEST_F(FileTest, OpensCreatesAndClosesWithTheFullPathStored)
{
    String name = path(L"Report.2004.txt");
    File file(name, kReadWrite, 0, false, CREATE_NEW, FILE_ATTRIBUTE_NORMAL);
    EXPECT_TRUE(file.IsValid());
    // The name's parts come from the stored path through the helpers FilePathTest checks.
    EXPECT_EQ(name, file.GetFilePath());

    file.Close();
    EXPECT_FALSE(file.IsValid());
    EXPECT_EQ(String(), file.GetFilePath());
    file.Close();  // closing twice is harmless

    enter();  // a relative name is stored as the full path
    file.Open(L"Report.2004.txt", kRead, 0, false, OPEN_EXISTING, 0);
    EXPECT_EQ(name, file.GetFilePath());
}

TEST_F(FileTest, FailuresThrowTheSystemCodeWithItsText)
{
    File file;
    EXPECT_EXCEPTION(File::Exception, file.Create(path(L"missing.txt"), kRead, 0, false, OPEN_EXISTING, 0),
                     ERROR_FILE_NOT_FOUND, String::FromError(ERROR_FILE_NOT_FOUND));
    EXPECT_FALSE(file.IsValid());
    EXPECT_EXCEPTION(File::Exception, File(path(L"no\\such\\dir.txt"), kReadWrite, 0, false, CREATE_ALWAYS, 0),
                     ERROR_PATH_NOT_FOUND, String::FromError(ERROR_PATH_NOT_FOUND));

    // Operations on a closed file reach the system and fail there.
    char byte = 0;
    EXPECT_THROW(file.Read(&byte, 1), File::Exception);
    EXPECT_THROW(file.GetFileSize(), File::Exception);
    EXPECT_THROW(file.Flush(), File::Exception);
    DateTime time;
    EXPECT_THROW(file.GetFileTimes(nullptr, &time, nullptr), File::Exception);
}

TEST_F(FileTest, ReadingAndWritingFollowTheirZeroCountRules)
{
    File closed;
    char buffer[8] = {};
    // A zero-count read does not reach the system, a zero-count write does.
    EXPECT_EQ(0ul, closed.Read(buffer, 0));
    std::string untouched = "kept";
    EXPECT_EQ(0ul, closed.Read(untouched, 0));
    EXPECT_EQ("kept", untouched);
    EXPECT_THROW(closed.Write(buffer, 0), File::Exception);
    EXPECT_THROW(closed.Write(std::string()), File::Exception);

    File file(path(L"data.bin"), kReadWrite, 0, false, CREATE_NEW, 0);
    EXPECT_EQ(0ul, file.Write(std::string()));
    EXPECT_EQ(10ul, file.Write(std::string("0123456789")));
    EXPECT_EQ(3ul, file.Write("abc", 3));
    file.Flush();
    EXPECT_EQ(13ull, file.GetFileSize());

    EXPECT_EQ(4ll, file.SetFilePos(4, 0));
    std::string rest;
    // The count is the whole size: what comes back is what lies after the position.
    EXPECT_EQ(9ul, file.Read(rest));
    EXPECT_EQ("456789abc", rest);
    EXPECT_EQ(0ul, file.Read(rest));
    EXPECT_EQ("", rest);

    file.SetFilePos(-3, 2);
    EXPECT_EQ(3ul, file.Read(buffer, sizeof buffer));
    EXPECT_EQ("abc", std::string(buffer, 3));
    file.SetFilePos(0, 0);
    EXPECT_EQ(2ul, file.Read(rest, 2));
    EXPECT_EQ("01", rest);
    EXPECT_EQ(2ll, file.GetFilePos());
}

TEST_F(FileTest, PositionsAndSizesBeyondThirtyTwoBits)
{
    first.Create(path(L"sparse.bin"), kReadWrite, 0, false, CREATE_NEW, 0);
    // All ones in the low half is a position like any other.
    EXPECT_EQ(0xFFFFFFFFll, first.SetFilePos(0xFFFFFFFFll, 0));
    EXPECT_EQ(0xFFFFFFFFll, first.GetFilePos());
    ASSERT_TRUE(SetEndOfFile(first.GetHandle()));
    EXPECT_EQ(0xFFFFFFFFull, first.GetFileSize());
    EXPECT_EQ(0x100000005ll, first.SetFilePos(6, 1));
    EXPECT_EQ(0x100000005ll - 0xFFFFFFFFll, first.SetFilePos(-0xFFFFFFFFll, 1));
    EXPECT_EQ(0xFFFFFFFFll + 2, first.SetFilePos(2, 2));
    EXPECT_EXCEPTION(File::Exception, first.SetFilePos(-1, 0),
                     ERROR_NEGATIVE_SEEK, String::FromError(ERROR_NEGATIVE_SEEK));
    EXPECT_EQ(0xFFFFFFFFll + 2, first.GetFilePos());  // unchanged by the failure
    first.SetFilePos(0, 0);
    ASSERT_TRUE(SetEndOfFile(first.GetHandle()));
}

TEST_F(FileTest, FileTimesAreSetAndReadBackSeparately)
{
    File file(path(L"times.txt"), kReadWrite, 0, false, CREATE_NEW, 0);
    const DateTime creation = DateTime::FromUTCTime(2001, 2, 3, 4, 5, 6, 700);
    const DateTime access = DateTime::FromUTCTime(2002, 3, 4, 5, 6, 7, 0);
    const DateTime write = DateTime::FromUTCTime(2004, 5, 6, 7, 8, 9, 500);
    const DateTime later = DateTime::FromUTCTime(2010, 1, 1, 0, 0, 0, 0);
    // The creation time is accepted but not kept by the Unix file systems under Wine, so only
    // the other two are read back. A null pointer leaves that time alone.
    DateTime a, w;
    file.SetFileTimes(&creation, &access, &write);
    file.GetFileTimes(nullptr, &a, &w);
    EXPECT_EQ(access, a);
    EXPECT_EQ(write, w);
    file.SetFileTimes(nullptr, nullptr, &later);
    file.GetFileTimes(nullptr, nullptr, &w);
    file.GetFileTimes(nullptr, &a, nullptr);
    EXPECT_EQ(later, w);
    EXPECT_EQ(access, a);
    file.SetFileTimes(nullptr, &later, nullptr);
    file.GetFileTimes(nullptr, &a, &w);
    EXPECT_EQ(later, a);
    EXPECT_EQ(later, w);
    file.SetFileTimes(nullptr, nullptr, &write);
    file.Close();

    FileFinder found(path(L"times.txt"), false);
    ASSERT_TRUE(found.IsValid());
    EXPECT_EQ(write, found.GetLastWriteTime());
    EXPECT_EQ(String(L"2004-05-06T07:08:09.5Z"), found.GetLastWriteTime().ToString());
}

TEST_F(FileTest, RegionLocksExcludeASecondHandleAndSplitLargeValuesByDivision)
{
    openTwice(L"shared.bin", std::string(100, 'x'));
    first.LockRegion(10, 5);
    EXPECT_EXCEPTION(File::Exception, second.LockRegion(12, 1),
                     ERROR_LOCK_VIOLATION, String::FromError(ERROR_LOCK_VIOLATION));
    EXPECT_EXCEPTION(File::Exception, second.Lock(), ERROR_LOCK_VIOLATION, String::FromError(ERROR_LOCK_VIOLATION));
    second.LockRegion(15, 1);
    second.LockRegion(9, 1);
    first.UnlockRegion(10, 5);
    second.LockRegion(12, 1);
    EXPECT_THROW(first.UnlockRegion(10, 5), File::Exception);  // nothing of first's left there
    for (long long offset : {12, 15, 9})
        second.UnlockRegion(offset, 1);

    // Lock() covers the whole current size.
    first.Lock();
    EXPECT_FALSE(lockableElsewhere(0, 0, 1));
    EXPECT_FALSE(lockableElsewhere(99, 0, 1));
    EXPECT_TRUE(lockableElsewhere(100, 0, 1));
    first.Unlock();
    EXPECT_TRUE(lockableElsewhere(0, 0, 100));

    // Large values are split by division by 0xFFFFFFFF, not by bits. Length 0xFFFFFFFF becomes high 1, low 0: 2^32 bytes, one more than asked for.
    first.LockRegion(0, 0xFFFFFFFFll);
    EXPECT_FALSE(lockableElsewhere(0xFFFFFFFE, 0, 1));
    EXPECT_FALSE(lockableElsewhere(0xFFFFFFFF, 0, 1));
    EXPECT_TRUE(lockableElsewhere(0, 1, 1));
    first.UnlockRegion(0, 0xFFFFFFFFll);
    EXPECT_TRUE(lockableElsewhere(0, 0, 2));

    // Offset 2 * 0xFFFFFFFF becomes high 2, low 0: byte 2^33, not byte 2^33 - 2.
    first.LockRegion(2 * 0xFFFFFFFFll, 1);
    EXPECT_FALSE(lockableElsewhere(0, 2, 1));
    EXPECT_TRUE(lockableElsewhere(0xFFFFFFFE, 1, 1));
    first.UnlockRegion(2 * 0xFFFFFFFFll, 1);
}

TEST_F(FileTest, OpenForReadingTakesShareDispositionInheritableFlagsInThatOrder)
{
    filetest::writeFile(path(L"in.txt"), "content");
    HandleFile reader;
    reader.OpenForReading(path(L"in.txt"), FILE_SHARE_READ, OPEN_EXISTING, true, FILE_ATTRIBUTE_NORMAL);
    DWORD handleFlags = 0;
    ASSERT_TRUE(GetHandleInformation(reader.GetHandle(), &handleFlags));
    EXPECT_EQ(DWORD(HANDLE_FLAG_INHERIT), handleFlags & HANDLE_FLAG_INHERIT);
    std::string text;
    reader.Read(text);
    EXPECT_EQ("content", text);
    EXPECT_EXCEPTION(File::Exception, reader.Write("x", 1),
                     ERROR_ACCESS_DENIED, String::FromError(ERROR_ACCESS_DENIED));  // read access only
    // Sharing for reading only keeps writers out.
    EXPECT_THROW(File(path(L"in.txt"), kReadWrite, kShareAll, false, OPEN_EXISTING, 0), File::Exception);
    reader.Close();
    EXPECT_EXCEPTION(File::Exception, reader.OpenForReading(path(L"in.txt"), 0, CREATE_NEW, false, 0),
                     ERROR_FILE_EXISTS, String::FromError(ERROR_FILE_EXISTS));

    first.OpenForReadWrite(path(L"in.txt"), kShareAll, OPEN_EXISTING, false, 0);
    ASSERT_TRUE(GetHandleInformation(first.GetHandle(), &handleFlags));
    EXPECT_EQ(0u, handleFlags & HANDLE_FLAG_INHERIT);
    first.SetFilePos(0, 2);
    EXPECT_EQ(1ul, first.Write("!", 1));
}

// Names reach the system through the ANSI code page. A character it cannot hold exactly must
// never lead to another file: "ａ" (full-width) would become "a" by best fit, and "一" would
// become "?", which the find functions take for any character.
TEST_F(FileTest, NamesTheAnsiCodePageCannotHoldFailAsMissingFilesDo)
{
    filetest::writeFile(path(L"a.txt"), "12345");
    for (const wchar_t *name : {L"\uff41.txt", L"\u4e00.txt"}) {
        const String other = path(name);
        const std::string what = other.Utf8();
        EXPECT_FALSE(File::FileExists(other)) << what;
        EXPECT_EQ(0ull, File::GetFileSize(other)) << what;
        EXPECT_TRUE(File::GetFullPath(other).empty()) << what;
        EXPECT_FALSE(FileFinder(other, false).IsValid()) << what;
        File file;
        EXPECT_EXCEPTION(File::Exception, file.OpenForReading(other, FILE_SHARE_READ, OPEN_EXISTING, false, 0),
                         ERROR_FILE_NOT_FOUND, String::FromError(ERROR_FILE_NOT_FOUND));
        try {
            FileInputStream stream(other);
            ADD_FAILURE() << "opened " << what;
        } catch (const StreamBase::Exception &e) {
            EXPECT_EQ(StreamBase::SystemError, e.code) << what;
            EXPECT_EQ(String::FromError(ERROR_FILE_NOT_FOUND), e.message) << what;
        }
        File::DeleteFileA(other);
    }
    EXPECT_EQ(5ull, File::GetFileSize(path(L"a.txt"))) << "a.txt was deleted through another name";
}
