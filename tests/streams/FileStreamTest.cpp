#include "tests/support/StreamTestSupport.h"

#include "qvcore/files/FileStream.h"

#include <cstring>

namespace {

// A fresh file name in the temporary folder, deleted at the end of the test.
struct TempFile {
    TempFile() : path(File::GetTempFilePath(File::GetTempDirectory())) { File::DeleteFileA(path); }
    ~TempFile() { File::DeleteFileA(path); }
    std::string Content() const
    {
        std::string all;
        File(path, GENERIC_READ, FILE_SHARE_READ, false, OPEN_EXISTING, 0).Read(all);
        return all;
    }
    void Put(const std::string &content) const
    {
        FileOutputStream(path, false).Write(content.data(), static_cast<int>(content.size()));
    }
    String path;
};

}  // namespace

TEST(FileOutputStream, AppendKeepsTruncateReplacesAndBothCreate)
{
    TempFile a, b;
    FileOutputStream(a.path, true).Write("one", 3);
    EXPECT_EQ("one", a.Content());
    {
        FileOutputStream appended(a.path, true);
        appended.Write("two", 3);
        appended.Write("ignored", 0);
        appended.Flush();
    }
    EXPECT_EQ("onetwo", a.Content());
    FileOutputStream(a.path, false).Write("3", 1);
    EXPECT_EQ("3", a.Content());
    FileOutputStream(b.path, false).Flush();
    EXPECT_TRUE(File::FileExists(b.path));
    EXPECT_EQ("", b.Content());
}

TEST(FileStreams, SystemFailuresThrowCode1WithTheSystemsText)
{
    TempFile missing;
    EXPECT_EXCEPTION(StreamBase::Exception, FileInputStream in(missing.path),
                     1, String::FromError(ERROR_FILE_NOT_FOUND));
    missing.Put("x");
    FileOutputStream exclusive(missing.path, true);
    EXPECT_EXCEPTION(StreamBase::Exception, FileOutputStream second(missing.path, false),
                     1, String::FromError(ERROR_SHARING_VIOLATION));
    EXPECT_EXCEPTION(StreamBase::Exception, FileInputStream reader(missing.path),
                     1, String::FromError(ERROR_SHARING_VIOLATION));
}

TEST(FileInputStream, ReadingPastTheEndThrowsCode5AndConsumesWhatWasThere)
{
    TempFile file;
    file.Put("abcdef");
    FileInputStream in(file.path);
    char buffer[8] = {};
    EXPECT_EQ("ab", readBytes(in, 2));
    EXPECT_EXCEPTION(StreamBase::Exception, in.Read(buffer, 8), 5, "Read beyond end of file");
    EXPECT_EQ("cdef", std::string(buffer, 4));
    EXPECT_EXCEPTION(StreamBase::Exception, in.Read(buffer, 1), 5, "Read beyond end of file");
    EXPECT_EXCEPTION(StreamBase::Exception, in.ReadSome(buffer, 1), 5, "Read beyond end of file");
    in.Read(buffer, 0);
}

TEST(FileStreams, OverAFileUseItsHandleWithoutOwningIt)
{
    TempFile temp;
    temp.Put("head");
    File file;
    {
        // A closed file: nothing happens at all.
        FileOutputStream out(file, true);
        out.Write("lost", 4);
        out.Flush();
        FileInputStream in(file);
        char untouched[2] = {'u', 'u'};
        in.Read(untouched, 2);
        EXPECT_EQ('u', untouched[0]);
        EXPECT_EQ(0, in.ReadSome(untouched, 2));
    }
    file.OpenForReadWrite(temp.path, 0, OPEN_EXISTING, false, 0);
    {
        FileOutputStream out(file, true);
        out.Write("tail", 4);
    }
    ASSERT_TRUE(file.IsValid());  // the stream did not close it
    file.SetFilePos(0, 0);
    {
        FileInputStream in(file);
        EXPECT_EQ("headtail", readBytes(in, 8));
    }
    EXPECT_EQ(8, file.GetFilePos());
}

TEST(FileStreams, DirectoryEntriesTravelAsTheir592ByteRecord)
{
    TempFile temp;
    temp.Put("12345");
    FileFinder found(temp.path, false);
    ASSERT_TRUE(found.IsValid());
    RecordingStream out;
    out << static_cast<const FileData &>(found);
    ASSERT_EQ(1u, out.pieces.size());
    ASSERT_EQ(592u, out.pieces[0].size());
    EXPECT_EQ(0, std::memcmp(out.pieces[0].data(), static_cast<const FileData *>(&found), 592));
    EXPECT_EQ("05 00 00 00", toHex(out.pieces[0].substr(32, 4)));  // the size's low word

    MemoryInputStream in(out.pieces[0]);
    const FileData back;
    in >> back;
    EXPECT_TRUE(back == found);
    EXPECT_EQ(found.GetFileName(), back.GetFileName());
    EXPECT_EQ(0, in.Remaining());
}
