// Mapped views of real files in a fresh temporary directory, up to a sparse file beyond 4 GiB.

#include "tests/support/TempDirectory.h"

#include "qvcore/files/MemoryMappedFile.h"

#include <cstdint>
#include <cstring>
#include <string>

namespace {

// Byte i of the pattern files: differs between neighbours and between granularity blocks.
char patternByte(long long i)
{
    return static_cast<char>((i * 7 + (i >> 16)) & 0xFF);
}

std::string pattern(long long size)
{
    std::string bytes(static_cast<size_t>(size), '\0');
    for (long long i = 0; i < size; ++i)
        bytes[static_cast<size_t>(i)] = patternByte(i);
    return bytes;
}

int viewLimit()
{
    return 2147483647 - 10 * MemoryMappedFileBase::pageSize();
}

class MemoryMappedFileTest : public filetest::TempDirectoryTest {};

}  // namespace

TEST_F(MemoryMappedFileTest, MapsRangesClippedToTheFileAndRejectsOffsetsOutsideIt)
{
    const std::string content = pattern(1000);
    filetest::writeFile(path(L"small.bin"), content);
    MemoryMappedFile file(path(L"small.bin"));
    ASSERT_TRUE(file.isOpen());
    EXPECT_EQ(1000, file.fileSize());

    EXPECT_EQ(1000, file.map(0, -1)) << "negative length: to the end";
    EXPECT_EQ(content, std::string(file.data(), 1000));
    EXPECT_EQ(4, file.map(3, 4));
    EXPECT_EQ(content.substr(3, 4), std::string(file.data(), 4));
    EXPECT_EQ(10, file.map(990, 4096)) << "a longer length is cut at the end";
    EXPECT_EQ(content.substr(990), std::string(file.data(), 10));

    struct Row {
        const char *label;
        long long offset;
        int length, expected;
    } rows[] = {
        {"at the end, nothing asked", 1000, 0, 0},
        {"at the end, one byte", 1000, 1, -1},
        {"at the end, to the end", 1000, -1, -1},
        {"beyond the end", 5000, 10, -1},
        {"negative offset, to the end", -1, -1, -1},
        {"negative offset, nothing asked", -1, 0, 0},
        {"inside, nothing asked", 500, 0, 0},
    };
    for (const Row &row : rows) {
        ASSERT_EQ(1000, file.map(0, -1));
        EXPECT_EQ(row.expected, file.map(row.offset, row.length)) << row.label;
        EXPECT_EQ(nullptr, file.data()) << row.label << ": the previous view is released";
        EXPECT_EQ(0, file.length()) << row.label;
    }
}

// Views start on the system's allocation granularity, the page size.
TEST_F(MemoryMappedFileTest, UnalignedOffsetsPointAtTheRequestedByte)
{
    const long long g = MemoryMappedFileBase::pageSize();
    SYSTEM_INFO info;
    GetSystemInfo(&info);
    EXPECT_EQ(static_cast<long long>(info.dwAllocationGranularity), g);
    const std::string content = pattern(3 * g + 100);
    filetest::writeFile(path(L"blocks.bin"), content);
    MemoryMappedFile file(path(L"blocks.bin"));
    for (long long offset : {0LL, 1LL, g - 1, g, g + 1, 2 * g + 4095, 3 * g + 99}) {
        ASSERT_EQ(static_cast<int>(3 * g + 100 - offset), file.map(offset, -1)) << "offset " << offset;
        EXPECT_EQ(content.substr(static_cast<size_t>(offset)), std::string(file.data(), file.length()))
            << "offset " << offset;
        EXPECT_EQ(offset % g, static_cast<long long>(reinterpret_cast<std::uintptr_t>(file.data()) % g))
            << "offset " << offset << ": the view starts on a granularity boundary";
        EXPECT_EQ(offset, file.offset());
    }
}

TEST_F(MemoryMappedFileTest, WritableViewsChangeTheFileAndReadOnlyViewsRefuseWriting)
{
    filetest::writeFile(path(L"data.bin"), std::string(100, 'a'));
    {
        MemoryMappedFile readOnly(path(L"data.bin"));
        ASSERT_EQ(100, readOnly.map(0, -1));
        EXPECT_FALSE(readOnly.isWritable());
        EXPECT_EQ(nullptr, readOnly.writableData());
        EXPECT_EQ(nullptr, readOnly.writableView<int>());
    }
    {
        MemoryMappedFile file(path(L"data.bin"), /*writable=*/true);
        ASSERT_EQ(8, file.map(90, 8));
        std::memcpy(file.writableData(), "12345678", 8);
        EXPECT_TRUE(file.flush());
        ASSERT_EQ(4, file.map(96, -1));
        EXPECT_EQ(std::string("78aa"), std::string(file.data(), 4)) << "the change is seen through a new view";
        ASSERT_EQ(100, file.map(0, -1));
        EXPECT_EQ(25, file.count<int>());
        file.writableView<int>()[0] = 0x64636261 + 0x01010101;  // "bcde"
    }
    EXPECT_EQ("bcde" + std::string(86, 'a') + "12345678aa", filetest::readFile(path(L"data.bin")));
}

TEST_F(MemoryMappedFileTest, FilesThatCannotBeOpenedGiveClosedObjectsThatMapNothing)
{
    filetest::writeFile(path(L"busy.bin"), "busy");
    filetest::writeFile(path(L"empty.bin"), "");
    MemoryMappedFile holder(path(L"busy.bin"));
    ASSERT_TRUE(holder.isOpen());
    struct Row {
        const char *label;
        const wchar_t *name;
        unsigned long error;
    } rows[] = {
        {"missing", L"absent.bin", ERROR_FILE_NOT_FOUND},
        {"open elsewhere without sharing", L"busy.bin", ERROR_SHARING_VIOLATION},
        {"a directory", nullptr, ERROR_ACCESS_DENIED},
        {"empty (no mapping of 0 bytes)", L"empty.bin", ERROR_FILE_INVALID},
    };
    for (const Row &row : rows) {
        MemoryMappedFile file(row.name ? path(row.name) : dir());
        EXPECT_FALSE(file.isOpen()) << row.label;
        EXPECT_EQ(row.error, file.openError()) << row.label;
        EXPECT_EQ(0, file.fileSize()) << row.label;
        EXPECT_EQ(-1, file.map(0, 1)) << row.label;
        EXPECT_EQ(-1, file.map(0, -1)) << row.label;
        EXPECT_EQ(0, file.map(0, 0)) << row.label;
        EXPECT_EQ(-1, file.mapNext(1)) << row.label;
    }
    EXPECT_EQ(4, holder.map(0, 4)) << "the failed openings left the holder's file alone";
}

TEST_F(MemoryMappedFileTest, MapNextWalksAFileRangeByRangeToItsEnd)
{
    const long long g = MemoryMappedFileBase::pageSize();
    const std::string content = pattern(2 * g + 7);
    filetest::writeFile(path(L"walk.bin"), content);
    MemoryMappedFile file(path(L"walk.bin"));
    std::string seen;
    int ranges = 0;
    // An odd range length: every view after the first starts off a boundary.
    for (int n = file.map(0, 30000); n > 0; n = file.mapNext(30000)) {
        EXPECT_EQ(static_cast<long long>(seen.size()), file.offset());
        seen.append(file.data(), n);
        ++ranges;
    }
    EXPECT_EQ(content, seen);
    EXPECT_EQ((2 * g + 7 + 29999) / 30000, ranges);
    EXPECT_EQ(0, file.mapNext(30000)) << "the end stays the end";
    EXPECT_EQ(nullptr, file.data());
}

// A file larger than 4 GiB, made sparse (only its marked pages take space on the disk), mapped
// range by range: offsets beyond 32 bits reach the right bytes, and the view limit holds.
TEST_F(MemoryMappedFileTest, SparseFileBeyondFourGiBMapsRangeByRangeAndKeepsTheViewLimit)
{
    const long long kFourGiB = 1LL << 32;
    const long long size = kFourGiB + 3 * 65536 + 5;
    const String name = path(L"sparse.bin");
    struct Marker {
        long long offset;
        const char *bytes;
    } markers[] = {{0, "head"}, {kFourGiB - 2, "ACROSS"}, {size - 5, "tail!"}};
    {
        HANDLE handle = CreateFileA(name.SystemMultibyte().c_str(), GENERIC_READ | GENERIC_WRITE, 0, nullptr,
                                    CREATE_NEW, 0, nullptr);
        ASSERT_NE(INVALID_HANDLE_VALUE, handle);
        ScopedFileHandle file(handle);
        DWORD ignored = 0;
        DeviceIoControl(file.get(), FSCTL_SET_SPARSE, nullptr, 0, nullptr, 0, &ignored, nullptr);  // where asked for
        LARGE_INTEGER end;
        end.QuadPart = size;
        ASSERT_TRUE(SetFilePointerEx(file.get(), end, nullptr, FILE_BEGIN));
        ASSERT_TRUE(SetEndOfFile(file.get()));
        for (const Marker &marker : markers) {
            LARGE_INTEGER at;
            at.QuadPart = marker.offset;
            ASSERT_TRUE(SetFilePointerEx(file.get(), at, nullptr, FILE_BEGIN));
            DWORD written = 0;
            ASSERT_TRUE(WriteFile(file.get(), marker.bytes, static_cast<DWORD>(std::strlen(marker.bytes)), &written,
                                  nullptr));
        }
        FILE_STANDARD_INFO info = {};
        ASSERT_TRUE(GetFileInformationByHandleEx(file.get(), FileStandardInfo, &info, sizeof info));
        ASSERT_EQ(size, info.EndOfFile.QuadPart);
        if (info.AllocationSize.QuadPart > (16LL << 20)) {
            file.reset();
            DeleteFileA(name.SystemMultibyte().c_str());
            GTEST_SKIP() << "the temporary folder's file system keeps no sparse files (" << info.AllocationSize.QuadPart
                         << " bytes allocated): a 4 GiB test file would be written out";
        }
    }

    MemoryMappedFile file(name);
    ASSERT_TRUE(file.isOpen());
    ASSERT_EQ(size, file.fileSize());

    EXPECT_EQ(-1, file.map(0, -1)) << "the whole file is beyond the view limit";
    EXPECT_EQ(-1, file.map(0, viewLimit() + 1)) << "no shorter view instead";
    EXPECT_EQ(-1, file.map(1, 2147483647)) << "no shorter view instead";
    EXPECT_EQ(196613, file.map(kFourGiB, 2147483647)) << "a long request near the end is cut at the end";
    EXPECT_EQ(6, file.map(kFourGiB - 2, 6));
    EXPECT_EQ(std::string("ACROSS"), std::string(file.data(), 6)) << "a view across the 4 GiB boundary";
    EXPECT_EQ(5, file.map(size - 5, -1));
    EXPECT_EQ(std::string("tail!"), std::string(file.data(), 5));
    if (sizeof(void *) == 8) {
        EXPECT_EQ(viewLimit(), file.map(size - viewLimit(), viewLimit())) << "exactly the limit is mapped";
    }

    // Only the markers are read: touching 4 GiB of pages would cost seconds for nothing.
    const int kRange = 256 << 20;
    int ranges = 0;
    long long mapped = 0;
    for (int n = file.map(0, kRange); n > 0; n = file.mapNext(kRange)) {
        for (const Marker &marker : markers) {
            long long inside = marker.offset - file.offset();
            if (inside >= 0 && inside < n) {
                EXPECT_EQ(marker.bytes[0], file.data()[inside]) << "marker at " << marker.offset;
            }
        }
        mapped += n;
        ++ranges;
    }
    EXPECT_EQ(size, mapped);
    EXPECT_EQ(17, ranges);
    EXPECT_EQ(size, file.offset()) << "the walk ends at the end of the file";
    EXPECT_EQ(5, file.map(size - 5, 5));
    EXPECT_EQ('!', file.view<char>()[4]);
}
