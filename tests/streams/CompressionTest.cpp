#include "StreamTestSupport.h"

#include "qvcore/streams/CompressingStream.h"
#include "qvcore/streams/MD5Sum.h"
#include "qvcore/streams/Base64Stream.h"

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

}  // namespace

TEST(CompressingStream, WritesAStandardZlibStreamAtTheClampedLevel)
{
    std::string data = textBytes(100000);
    EXPECT_EQ(compressWithZlib(data, 9), compressWithStream(data, 12));
    // Stored blocks are cut where the output steps end, so level 0 is checked by its form.
    std::string stored = compressWithStream(data, -5);
    EXPECT_EQ("78 01", toHex(stored.substr(0, 2)));
    EXPECT_GT(stored.size(), data.size());
    EXPECT_EQ(data, uncompressWithZlib(stored, data.size()));
    EXPECT_EQ(compressWithZlib(data, Z_DEFAULT_COMPRESSION), compressWithStream(data, -1));
    EXPECT_EQ(compressWithZlib(data, 1), compressWithStream(data, 1));
    EXPECT_EQ("78 DA", toHex(compressWithStream("hello", 9).substr(0, 2)));
    EXPECT_EQ("78 01", toHex(compressWithStream("hello", -7).substr(0, 2)));
    EXPECT_EQ("78 9C", toHex(compressWithStream("hello", -1).substr(0, 2)));
    std::string random = patternBytes(50000);
    EXPECT_EQ(random, uncompressWithZlib(compressWithStream(random, 6), random.size()));
}

TEST(CompressingStream, UnusedStreamWritesNothingAndFlushesOnlyNewData)
{
    RecordingStream sink;
    {
        CompressingStream unused(sink, 6);
        unused.Write("x", 0);
        unused.Flush();
    }
    EXPECT_TRUE(sink.pieces.empty());
    EXPECT_EQ(0, sink.emptyWrites);

    RecordingStream out;
    {
        CompressingStream compressor(out, 6);
        compressor.Write("hello hello hello", 17);
        compressor.Flush();
        std::string flushed = out.all();
        EXPECT_EQ("00 00 FF FF", toHex(flushed.substr(flushed.size() - 4)));  // the sync point
        std::size_t pieces = out.pieces.size();
        int empty = out.emptyWrites;
        compressor.Flush();
        EXPECT_EQ(pieces, out.pieces.size());
        EXPECT_EQ(empty, out.emptyWrites);
        compressor.Write(" world", 6);
    }
    EXPECT_EQ("hello hello hello world", uncompressWithZlib(out.all(), 100));
}

TEST(DecompressingStream, ReadsExactlyTheCompressedBytesAndFailsBeyond)
{
    std::string data = textBytes(30000);
    std::string packed = compressWithStream(data, 6);
    MemoryInputStream source(packed);
    DecompressingStream decompressor(source);
    std::string back(30000, '\0');
    decompressor.Read(&back[0], 10000);
    decompressor.Read(&back[10000], 0);
    decompressor.Read(&back[10000], 20000);
    EXPECT_EQ(data, back);
    char extra;
    EXPECT_STREAM_EXCEPTION(decompressor.Read(&extra, 1), 2, "");  // the end of the zlib stream
    EXPECT_EQ(0, source.Remaining());
}

TEST(DecompressingStream, CorruptInputGivesZlibsErrorOrTheSourcesEnd)
{
    std::string data = textBytes(5000);
    std::string packed = compressWithStream(data, 6);
    char buffer[5000];

    std::string badHeader = packed;
    badHeader[1] ^= 1;
    MemoryInputStream headerSource(badHeader);
    DecompressingStream header(headerSource);
    EXPECT_STREAM_EXCEPTION(header.Read(buffer, 10), 2, "incorrect header check");

    std::string badCheck = packed;
    badCheck[badCheck.size() - 1] ^= 1;
    MemoryInputStream checkSource(badCheck);
    DecompressingStream check(checkSource);
    check.Read(buffer, 5000);
    EXPECT_STREAM_EXCEPTION(check.Read(buffer, 1), 2, "incorrect data check");

    std::string half = packed.substr(0, packed.size() / 2);
    MemoryInputStream truncatedSource(half);
    DecompressingStream truncated(truncatedSource);
    EXPECT_STREAM_EXCEPTION(truncated.Read(buffer, 5000), 5, "Memory block too short");

    // Flipped bits anywhere end in an exception, never in a crash or a hang.
    for (std::size_t i = 2; i < packed.size(); i += 7) {
        std::string flipped = packed;
        flipped[i] ^= 0x24;
        MemoryInputStream source(flipped);
        DecompressingStream decompressor(source);
        try {
            for (int k = 0; k < 2000; ++k)  // a flip may make the data longer
                decompressor.Read(buffer, 1000);
            ADD_FAILURE() << "no failure for a flip at " << i;
        } catch (const StreamBase::Exception &e) {
            EXPECT_TRUE(e.code == 2 || e.code == 5) << e.code;
        }
    }
}

TEST(DecompressingStream, BulkReadingLeavesTheSourceWhereByteReadingWould)
{
    std::string text = textBytes(40000), random = patternBytes(40000);
    std::vector<std::string> streams = {compressWithStream(text, 6), compressWithStream(random, 0),
                                        compressWithStream(text, 1), compressWithStream(text + random, 9)};
    {
        MemoryOutputStream sink;
        {
            CompressingStream compressor(sink, 6);
            for (int i = 0; i < 40; ++i) {
                compressor.Write(text.data() + i * 1000, 1000);
                compressor.Flush();  // sync points all over the stream
            }
        }
        streams.push_back(sink.GetContent());
    }
    const std::size_t sizes[] = {40000, 40000, 40000, 80000, 40000};
    for (std::size_t s = 0; s < streams.size(); ++s) {
        std::string packed = streams[s] + "trailing data";
        MemoryInputStream memory(packed);
        PlainSource plain(packed);
        DecompressingStream fast(memory), slow(plain);
        unsigned x = 99;
        std::size_t done = 0;
        while (done < sizes[s]) {
            x = x * 1103515245u + 12345u;
            int size = static_cast<int>(std::min<std::size_t>((x >> 8) % (x & 0x100 ? 5 : 3000), sizes[s] - done));
            std::string a(size + 1, '\0'), b(size + 1, '\0');
            fast.Read(&a[0], size);
            slow.Read(&b[0], size);
            ASSERT_EQ(b, a);
            ASSERT_EQ(plain.data.size() - plain.position, static_cast<std::size_t>(memory.Remaining()))
                << "stream " << s << " after " << done << " + " << size;
            done += size;
        }
        char extra;
        EXPECT_STREAM_EXCEPTION(fast.Read(&extra, 1), 2, "");
        EXPECT_STREAM_EXCEPTION(slow.Read(&extra, 1), 2, "");
        EXPECT_EQ(plain.data.size() - plain.position, static_cast<std::size_t>(memory.Remaining()));
        EXPECT_EQ(13, memory.Remaining());  // the data behind the section is untouched
    }
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
    // Lengths around the padding boundary, in one write and in two.
    for (int length : {55, 56, 63, 64, 65, 119, 120, 1000}) {
        std::string data = patternBytes(length);
        MD5SumStream split;
        split.Write(data.data(), 7);
        split.Write(data.data() + 7, length - 7);
        EXPECT_EQ(MD5Sum(data.data(), length), split.GetMD5Sum()) << length;
    }
}

TEST(MD5Sum, TextFormsAndOrdering)
{
    MD5Sum sum;
    ASSERT_TRUE(sum.SetHexString("900150983cd24fb0d6963f7d28e17f72"));
    EXPECT_EQ("900150983CD24FB0D6963F7D28E17F72", sum.HexString());
    EXPECT_EQ("kAFQmDzST7DWlj99KOF/cg", sum.Base64String());

    MD5Sum unchanged = sum;
    EXPECT_FALSE(unchanged.SetHexString(std::string(31, 'a')));
    EXPECT_FALSE(unchanged.SetHexString(std::string(33, 'a')));
    EXPECT_FALSE(unchanged.SetHexString("900150983cd24fb0d6963f7d28e17f7g"));
    EXPECT_FALSE(unchanged.SetHexString(""));
    EXPECT_EQ(sum, unchanged);

    MD5Sum low, high;
    ASSERT_TRUE(low.SetHexString("7F000000000000000000000000000000"));
    ASSERT_TRUE(high.SetHexString("80000000000000000000000000000000"));  // unsigned bytes
    EXPECT_TRUE(low < high && low <= high && high > low && high >= low && low != high);
    EXPECT_FALSE(high < low || high <= low || low > high || low >= high || low == high);
    MD5Sum copy;
    copy = high;
    EXPECT_TRUE(copy == high && copy <= high && copy >= high);
}

TEST(MD5SumStream, GetMD5SumFlushesTheChainAndKeepsCounting)
{
    MD5SumStream md5;
    EXPECT_EQ("D41D8CD98F00B204E9800998ECF8427E", md5.GetMD5Sum().HexString());
    md5.Write("a", 1);
    EXPECT_EQ("0CC175B9C0F1B6A831C399E269772661", md5.GetMD5Sum().HexString());
    md5.Write("bc", 2);
    EXPECT_EQ("900150983CD24FB0D6963F7D28E17F72", md5.GetMD5Sum().HexString());

    MD5SumStream chained;
    Base64EncodingStream encoder(chained, -1);
    encoder.Write("M", 1);  // held back by the encoder until flushed
    EXPECT_EQ(MD5Sum("TQ==", 4), chained.GetMD5Sum());
}
