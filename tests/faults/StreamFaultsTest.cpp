// A target that fails in the middle of a compressing or CRC chain: the failure reaches the
// writer unchanged, and everything the chain had delivered before it decodes intact.

#include "qvcore/streams/CRCStream.h"
#include "qvcore/streams/CompressingStream.h"
#include "qvcore/streams/StreamBase.h"

#include "tests/support/StreamTestSupport.h"
#include "tests/support/StringPrinting.h"

#include <gtest/gtest.h>

#include <string>

namespace {

// A disk that fills up: takes bytes until limit, then takes what still fits of a write and
// throws as a file would.
class FillingTarget : public OutputStream {
public:
    explicit FillingTarget(size_t limit) : OutputStream(nullptr), limit_(limit) {}
    void Write(const char *data, int count) override
    {
        size_t room = limit_ - taken.size();
        taken.append(data, std::min<size_t>(room, count));
        if (static_cast<size_t>(count) > room)
            ThrowSystemError(ERROR_DISK_FULL);
    }
    std::string taken;

private:
    size_t limit_;
};

const int kChunk = 1000;

// Writes data in chunks through front, flushing the chain after each, until a write fails:
// the index of the chunk that failed (-1 when none did) and the exception.
int writeUntilFailure(OutputStream &front, OutputStream &last, const std::string &data, StreamBase::Exception &failure)
{
    for (int i = 0; i * kChunk < static_cast<int>(data.size()); ++i) {
        try {
            front.Write(data.data() + i * kChunk, kChunk);
            last.Flush();
        } catch (const StreamBase::Exception &e) {
            failure = e;
            return i;
        }
    }
    return -1;
}

// Everything source delivers until it throws.
std::string readUntilFailure(InputStream &source, StreamBase::Exception &failure)
{
    std::string out;
    char buffer[512];
    for (;;) {
        try {
            out.append(buffer, source.ReadSome(buffer, sizeof buffer));
        } catch (const StreamBase::Exception &e) {
            failure = e;
            return out;
        }
    }
}

void expectDiskFull(const StreamBase::Exception &e)
{
    EXPECT_EQ(StreamBase::SystemError, e.code);
    EXPECT_EQ(String::FromError(ERROR_DISK_FULL), e.message);
}

TEST(FailingTarget, CRCChainKeepsEveryBlockWrittenBeforeTheFailure)
{
    const std::string data = patternBytes(40 * kChunk);
    FillingTarget disk(10000);
    StreamBase::Exception failure{};
    {
        CRCOutputStream crc(disk);
        const int failed = writeUntilFailure(crc, disk, data, failure);
        // Each flush ends a block of 1,008 bytes on the disk: the ninth no longer fits.
        EXPECT_EQ(9, failed);
        expectDiskFull(failure);
    }
    // The failed block was given up with the failure: the destructor has nothing to repeat.
    StreamBase::Exception late{};
    EXPECT_FALSE(StreamBase::TakeLateFailure(late));

    MemoryInputStream stored(disk.taken);
    CRCInputStream blocks(stored);
    StreamBase::Exception end{};
    const std::string decoded = readUntilFailure(blocks, end);
    EXPECT_EQ(data.substr(0, 9 * kChunk), decoded);
    // The cut block ends the data; it is not taken for damage.
    EXPECT_EQ(StreamBase::EndOfData, end.code);
}

TEST(FailingTarget, CompressingOverCRCChainGivesTheFailureAndKeepsTheDataBeforeIt)
{
    const std::string data = textBytes(200 * kChunk);
    FillingTarget disk(6000);
    StreamBase::Exception failure{};
    int failed = -1;
    {
        CRCOutputStream crc(disk);
        CompressingStream zip(crc, 9);
        failed = writeUntilFailure(zip, disk, data, failure);
        ASSERT_GT(failed, 0);
        expectDiskFull(failure);
    }
    StreamBase::Exception late{};
    EXPECT_TRUE(StreamBase::TakeLateFailure(late));

    MemoryInputStream stored(disk.taken);
    CRCInputStream blocks(stored);
    DecompressingStream unzip(blocks);
    StreamBase::Exception end{};
    const std::string decoded = readUntilFailure(unzip, end);
    EXPECT_EQ(data.substr(0, failed * kChunk), decoded);
    EXPECT_EQ(StreamBase::EndOfData, end.code);
}

}  // namespace
