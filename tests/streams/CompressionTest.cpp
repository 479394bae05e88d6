#include "tests/support/StreamTestSupport.h"

#include "qvcore/streams/Base64Stream.h"
#include "qvcore/streams/CompressingStream.h"
#include "qvcore/streams/MD5Sum.h"

#include <zlib.h>

namespace {

std::string compressWithStream(const std::string &data, int level)
{
    return writeThrough<CompressingStream>(data, level);
}

std::string compressWithZlib(const std::string &data, int level)
{
    uLongf size = compressBound(static_cast<uLong>(data.size()));
    std::string out(size, '\0');
    EXPECT_EQ(Z_OK, compress2(reinterpret_cast<Bytef *>(&out[0]), &size,
                              reinterpret_cast<const Bytef *>(data.data()), static_cast<uLong>(data.size()), level));
    out.resize(size);
    return out;
}

std::string uncompressWithZlib(const std::string &packed, std::size_t size)
{
    std::string out(size, '\0');
    uLongf length = static_cast<uLongf>(size);
    EXPECT_EQ(Z_OK, uncompress(reinterpret_cast<Bytef *>(&out[0]), &length,
                               reinterpret_cast<const Bytef *>(packed.data()), static_cast<uLong>(packed.size())));
    out.resize(length);
    return out;
}

// The reading rule itself, straight on zlib: while output space remains, when zlib has no input
// left, one byte of the source goes in; then inflate. The bytes taken from packed after each
// request (-1 once a request fails).
std::vector<long> ruleConsumption(const std::string &packed, const std::vector<int> &requests)
{
    z_stream z = {};
    inflateInit(&z);
    std::vector<long> taken;
    std::size_t next = 0;
    unsigned char byte = 0;
    std::string out;
    bool failed = false;
    for (int count : requests) {
        out.resize(static_cast<std::size_t>(count));
        z.next_out = reinterpret_cast<Bytef *>(&out[0]);
        z.avail_out = static_cast<uInt>(count);
        while (!failed && z.avail_out > 0) {
            if (z.avail_in == 0) {
                if (next == packed.size()) {
                    failed = true;
                    break;
                }
                byte = static_cast<unsigned char>(packed[next++]);
                z.next_in = &byte;
                z.avail_in = 1;
            }
            failed = inflate(&z, Z_NO_FLUSH) != Z_OK;
        }
        taken.push_back(failed ? -1 : static_cast<long>(next));
    }
    inflateEnd(&z);
    return taken;
}

}  // namespace

TEST(CompressingStream, WritesAStandardZlibStreamAtTheClampedLevel)
{
    std::string data = textBytes(100000), random = patternBytes(50000);
    EXPECT_EQ(compressWithZlib(data, 9), compressWithStream(data, 12));
    EXPECT_EQ(compressWithZlib(data, Z_DEFAULT_COMPRESSION), compressWithStream(data, -1));
    EXPECT_EQ(compressWithZlib(data, 1), compressWithStream(data, 1));
    // Stored blocks are cut where the output steps end, so level 0 is checked by its form.
    std::string stored = compressWithStream(data, -5);
    EXPECT_EQ("78 01", toHex(stored.substr(0, 2)));
    EXPECT_GT(stored.size(), data.size());
    EXPECT_EQ(data, uncompressWithZlib(stored, data.size()));
    EXPECT_EQ(random, uncompressWithZlib(compressWithStream(random, 6), random.size()));
}

TEST(CompressingStream, UnusedStreamWritesNothingAndFlushesOnlyNewData)
{
    RecordingStream sink, out;
    {
        CompressingStream unused(sink, 6);
        unused.Write("x", 0);
        unused.Flush();
    }
    EXPECT_TRUE(sink.pieces.empty());  // not even an empty write
    {
        CompressingStream compressor(out, 6);
        compressor.Write("hello hello hello", 17);
        compressor.Flush();
        EXPECT_EQ("00 00 FF FF", toHex(out.all.substr(out.all.size() - 4)));  // the sync point
        std::size_t pieces = out.pieces.size();
        compressor.Flush();
        EXPECT_EQ(pieces, out.pieces.size());
        compressor.Write(" world", 6);
    }
    EXPECT_EQ("hello hello hello world", uncompressWithZlib(out.all, 100));
}

TEST(DecompressingStream, EveryReadLeavesTheSourceWhereTheByteRuleWould)
{
    // Small random sections of every compressibility and level, read in random pieces, through
    // a source that shows its memory (bulk) and one that does not.
    unsigned x = 12345;
    auto next = [&x](unsigned range) {
        x = x * 1103515245u + 12345u;
        return (x >> 8) % range;
    };
    int mismatches = 0;
    for (int round = 0; round < 3000 && mismatches < 5; ++round) {
        std::string data;
        for (unsigned size = 50 + next(3000); data.size() < size;)
            data += next(4) == 0 ? static_cast<char>(next(256)) : "the quick brown fox "[next(20)];
        // Every fifth section has sync points all over it (a flush every 200 bytes).
        std::string packed;
        if (round % 5 == 4) {
            MemoryOutputStream sink;
            {
                CompressingStream compressor(sink, 6);
                for (std::size_t at = 0; at < data.size(); at += 200) {
                    compressor.Write(data.data() + at, static_cast<int>(std::min<std::size_t>(200, data.size() - at)));
                    compressor.Flush();
                }
            }
            packed = sink.GetContent();
        } else {
            packed = compressWithStream(data, static_cast<int>(next(10)));
        }
        std::vector<int> requests;
        for (std::size_t total = 0; total < data.size();) {
            int count = static_cast<int>(std::min<std::size_t>(1 + next(next(2) ? 8 : 700), data.size() - total));
            requests.push_back(count);
            total += count;
        }
        std::vector<long> want = ruleConsumption(packed + "tail", requests);
        BulkAndPlain<DecompressingStream> both(packed + "tail");
        for (std::size_t i = 0; i < requests.size(); ++i) {
            both.read(requests[i]);
            long got = static_cast<long>(packed.size() + 4) - both.memory.Remaining();
            if (got != want[i]) {
                ++mismatches;
                ADD_FAILURE() << "round " << round << ", request " << i << " of " << requests[i] << " bytes: source at "
                              << got << ", the rule reads to " << want[i];
                break;
            }
        }
    }
}

TEST(DecompressingStream, ReadsExactlyTheCompressedBytesAndFailsBeyond)
{
    std::string data = textBytes(30000), packed = compressWithStream(data, 6);
    MemoryInputStream source(packed);
    DecompressingStream decompressor(source);
    std::string back = readBytes(decompressor, 10000);
    back += readBytes(decompressor, 0);
    EXPECT_EQ(data, back + readBytes(decompressor, 20000));
    EXPECT_EXCEPTION(StreamBase::Exception, readBytes(decompressor, 1),
                     2, "The compressed data ends before the bytes asked for");
    EXPECT_EQ(0, source.Remaining());
}

TEST(DecompressingStream, ADamagedCheckValueGivesZlibsError)
{
    std::string packed = compressWithStream(textBytes(5000), 6);
    packed[packed.size() - 1] ^= 1;
    MemoryInputStream source(packed);
    DecompressingStream check(source);
    readBytes(check, 5000);
    EXPECT_EXCEPTION(StreamBase::Exception, readBytes(check, 1), 2, "incorrect data check");
}

TEST(MD5Sum, MatchesTheRfc1321Vectors)
{
    const char *inputs[] = {"", "a", "abc", "message digest", "abcdefghijklmnopqrstuvwxyz",
                            "ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz0123456789",
                            "12345678901234567890123456789012345678901234567890123456789012345678901234567890"};
    const char *digests[] = {"D41D8CD98F00B204E9800998ECF8427E", "0CC175B9C0F1B6A831C399E269772661",
                             "900150983CD24FB0D6963F7D28E17F72", "F96B697D7CB7938D525A2F31AAF161D0",
                             "C3FCD3D76192E4007DFB496CCA67E13B", "D174AB98D277D9F5A5611C2C9F419D9F",
                             "57EDF4A22BE3C955AC49DA2E2107B67A"};
    EXPECT_EQ(digests[0], MD5Sum().HexString());
    for (int i = 0; i < 7; ++i) {
        MD5SumStream stream;
        const char *p = inputs[i];
        for (; *p; ++p)
            stream.Write(p, 1);  // byte by byte across the block boundaries
        EXPECT_EQ(digests[i], stream.GetMD5Sum().HexString()) << inputs[i];
        EXPECT_EQ(digests[i], MD5Sum(inputs[i], static_cast<int>(p - inputs[i])).HexString());
    }
}

TEST(MD5Sum, TextFormsAndOrdering)
{
    MD5Sum sum, low, high, copy;
    ASSERT_TRUE(sum.SetHexString("900150983cd24fb0d6963f7d28e17f72"));
    EXPECT_EQ("900150983CD24FB0D6963F7D28E17F72", sum.HexString());
    EXPECT_EQ("kAFQmDzST7DWlj99KOF/cg", sum.Base64String());
    MD5Sum unchanged = sum;
    for (std::string bad : {std::string(31, 'a'), std::string(33, 'a'), std::string(""),
                            std::string("900150983cd24fb0d6963f7d28e17f7g")})
        EXPECT_FALSE(unchanged.SetHexString(bad)) << bad;
    EXPECT_EQ(sum, unchanged);

    ASSERT_TRUE(low.SetHexString("7F000000000000000000000000000000"));
    ASSERT_TRUE(high.SetHexString("80000000000000000000000000000000"));  // unsigned bytes
    EXPECT_TRUE(low < high && low <= high && high > low && high >= low && low != high);
    EXPECT_FALSE(high < low || high <= low || low > high || low >= high || low == high);
    copy = high;
    EXPECT_TRUE(copy == high && copy <= high && copy >= high);
}

TEST(MD5SumStream, GetMD5SumFlushesTheChainAndKeepsCounting)
{
    MD5SumStream md5, chained;
    md5.Write("a", 1);
    EXPECT_EQ(MD5Sum("a", 1), md5.GetMD5Sum());
    md5.Write("bc", 2);
    EXPECT_EQ(MD5Sum("abc", 3), md5.GetMD5Sum());
    Base64EncodingStream encoder(chained, -1);
    encoder.Write("M", 1);  // held back by the encoder until flushed
    EXPECT_EQ(MD5Sum("TQ==", 4), chained.GetMD5Sum());
}
