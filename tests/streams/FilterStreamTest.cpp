#include "StreamTestSupport.h"

#include <cstring>
#include <stdexcept>

#include "qvcore/streams/Base64Stream.h"
#include "qvcore/streams/CRCStream.h"
#include "qvcore/streams/CryptingStream.h"

namespace {

std::string encode(const std::string &data, int lineLength)
{
    return writeThrough<Base64EncodingStream>(data, lineLength);
}

int memoryDecode(const std::string &text, std::string &out)
{
    out.assign(Base64EncodingStream::Base64MemoryDecodedMaxSize(static_cast<int>(text.size())), '\0');
    int n = Base64EncodingStream::Base64MemoryDecode(text.data(), static_cast<int>(text.size()), &out[0]);
    if (n >= 0)
        out.resize(n);
    return n;
}

// Emulates a sink that fails on every write.
class FailingStream : public OutputStream {
public:
    FailingStream() : OutputStream(nullptr) {}
    void Write(const char *data, int count) override
    {
        seen.assign(data, count);
        throw Exception{1, L"disk full"};
    }
    std::string seen;
};

}  // namespace

TEST(Base64Encoding, MatchesTheRfc4648Vectors)
{
    const char *plain[] = {"", "f", "fo", "foo", "foob", "fooba", "foobar"};
    const char *coded[] = {"", "Zg==", "Zm8=", "Zm9v", "Zm9vYg==", "Zm9vYmE=", "Zm9vYmFy"};
    for (int i = 0; i < 7; ++i) {
        EXPECT_EQ(coded[i], encode(plain[i], -1)) << plain[i];
        std::string memory(Base64EncodingStream::Base64MemoryEncodedSize(static_cast<int>(strlen(plain[i]))), '?');
        Base64EncodingStream::Base64MemoryEncode(plain[i], static_cast<int>(strlen(plain[i])), &memory[0]);
        EXPECT_EQ(coded[i], memory);
        std::string back;
        EXPECT_EQ(static_cast<int>(strlen(plain[i])), memoryDecode(coded[i], back));
        EXPECT_EQ(plain[i], back);
    }
    std::string all(256, '\0');
    for (int i = 0; i < 256; ++i)
        all[i] = static_cast<char>(i);
    std::string text = encode(all, -1);
    EXPECT_EQ("AAECAwQFBgcICQoLDA0ODxAREhMUFRYXGBkaGxwdHh8gISIjJCUmJygpKissLS4vMDEyMzQ1Njc4OTo7PD0+P0BBQkNERUZH",
              text.substr(0, 96));
    EXPECT_EQ("+/w==", text.substr(text.size() - 5));
}

TEST(Base64Encoding, LinesEndWithALineFeedAndTheDestructorEndsTheLast)
{
    EXPECT_EQ("TWFu", encode("Man", -1));
    EXPECT_EQ("TQ==", encode("M", -1));
    EXPECT_EQ("TQ==\n", encode("M", 76));
    EXPECT_EQ("TWFuTWFu\nTWFu\n", encode("ManManMan", 8));
    EXPECT_EQ("TWFu\nTWFu\n", encode("ManMan", 0));  // 0 to 7: a line per group
    EXPECT_EQ("TWFu\nTWFu\n", encode("ManMan", 7));
    EXPECT_EQ("TWFuTWFu\n", encode("ManMan", 8));  // a full line already has its line feed
    EXPECT_EQ("", encode("", 76));
    std::string long76 = encode(std::string(114, 'a'), 76);
    EXPECT_EQ(76u, long76.find('\n'));
    EXPECT_EQ(77u + 77u, long76.size());
}

TEST(Base64Encoding, WritesOneGroupPerWriteAndPadsAtAMidStreamFlush)
{
    RecordingStream sink;
    {
        Base64EncodingStream encoder(sink, 8);
        encoder.Write("M", 1);
        encoder.Write("a", 1);
        EXPECT_TRUE(sink.pieces.empty());  // held back until a group is complete
        encoder.Write("nMa", 3);
        EXPECT_EQ(std::vector<std::string>({"TWFu"}), sink.pieces);
        encoder.Flush();
        encoder.Flush();  // nothing pending: writes nothing
        EXPECT_EQ(std::vector<std::string>({"TWFu", "TWE=", "\n"}), sink.pieces);
        encoder.Write("n", 1);
    }
    EXPECT_EQ(std::vector<std::string>({"TWFu", "TWE=", "\n", "bg==", "\n"}), sink.pieces);
    EXPECT_EQ("TWFuTWE=\nbg==\n", sink.all());
}

TEST(Base64Memory, SizesAndDecodingRules)
{
    EXPECT_EQ(0, Base64EncodingStream::Base64MemoryEncodedSize(0));
    EXPECT_EQ(4, Base64EncodingStream::Base64MemoryEncodedSize(1));
    EXPECT_EQ(4, Base64EncodingStream::Base64MemoryEncodedSize(3));
    EXPECT_EQ(8, Base64EncodingStream::Base64MemoryEncodedSize(4));
    EXPECT_EQ(3, Base64EncodingStream::Base64MemoryDecodedMaxSize(5));
    EXPECT_EQ(0, Base64EncodingStream::Base64MemoryDecodedMaxSize(3));

    std::string out;
    EXPECT_EQ(3, memoryDecode("TWFu", out));
    EXPECT_EQ("Man", out);
    EXPECT_EQ(1, memoryDecode("TQ==", out));
    EXPECT_EQ("M", out);
    EXPECT_EQ(-1, memoryDecode("TW u", out));
    EXPECT_EQ(0, memoryDecode("TWE", out));
    EXPECT_EQ(3, memoryDecode("TWFuTW", out));  // a short rest is ignored
    EXPECT_EQ(-1, memoryDecode("TWFu\nTWFu", out));
    EXPECT_EQ(-1, memoryDecode("TWF\xC3", out));  // bytes above 0x7F are strangers
    EXPECT_EQ(0, memoryDecode("====", out));
    EXPECT_EQ(2, memoryDecode("TQ==TQ==", out));  // decoding goes on after padding
    EXPECT_EQ("MM", out);
}

TEST(Base64Decoding, SkipsStrangersAndPassesOverEmptyGroups)
{
    std::string text = " TW\r\nFu\t==AA\xC3TQ==";
    for (int peekable = 0; peekable < 2; ++peekable) {
        MemoryInputStream memory(text);
        PlainSource plain(text);
        InputStream &source = peekable ? static_cast<InputStream &>(memory) : plain;
        Base64DecodingStream decoder(source);
        char buffer[4] = {};
        decoder.Read(buffer, 3);
        EXPECT_EQ("Man", std::string(buffer, 3));
        decoder.Read(buffer, 1);  // "==AA" yields nothing and is passed over
        EXPECT_EQ('M', buffer[0]);
        EXPECT_STREAM_EXCEPTION(decoder.Read(buffer, 1), 5, "Memory block too short");
    }
}

TEST(Base64Decoding, PiecewiseReadsRedeliverTheGroupsLeadingBytes)
{
    std::string text = "TWFuYWJj";  // "Man" "abc"
    MemoryInputStream source(text);
    Base64DecodingStream decoder(source);
    char a, b[2];
    decoder.Read(&a, 1);
    decoder.Read(b, 2);
    EXPECT_EQ('M', a);
    EXPECT_EQ("Ma", std::string(b, 2));  // not "an": required behaviour
    char rest[3];
    decoder.Read(rest, 3);
    EXPECT_EQ("abc", std::string(rest, 3));

    // A large read that ends inside a group leaves the group's rest to the same rule.
    MemoryInputStream again(text);
    Base64DecodingStream second(again);
    char four[4], two[2];
    second.Read(four, 4);
    EXPECT_EQ("Mana", std::string(four, 4));
    second.Read(two, 2);
    EXPECT_EQ("ab", std::string(two, 2));
}

TEST(Base64Decoding, BulkDecodingConsumesExactlyWhatOneByteReadsWould)
{
    std::string data = patternBytes(3000);
    MemoryOutputStream sink;
    {
        Base64EncodingStream encoder(sink, 76);
        encoder.Write(data.data(), 1000);
        encoder.Flush();  // a padded group in the middle
        encoder.Write(data.data() + 1000, 2000);
    }
    std::string text = sink.GetContent() + "!trailer";
    MemoryInputStream memory(text);
    PlainSource plain(text);
    Base64DecodingStream fast(memory), slow(plain);
    const int sizes[] = {3, 999, 1, 1500, 0, 497};
    for (int size : sizes) {
        std::string a(size, '\0'), b(size, '\0');
        if (size > 0) {
            fast.Read(&a[0], size);
            slow.Read(&b[0], size);
        }
        EXPECT_EQ(b, a);
        EXPECT_EQ(plain.data.size() - plain.position, static_cast<std::size_t>(memory.Remaining()));
    }
    std::string back(3000, '\0');
    MemoryInputStream whole(text);
    Base64DecodingStream decoder(whole);
    decoder.Read(&back[0], 1000);
    decoder.Read(&back[1000], 2000);
    EXPECT_EQ(data, back);
    EXPECT_EQ(9, whole.Remaining());  // the final line feed and the trailer
}

TEST(CRCStream, BlocksFollowTheWireFormat)
{
    RecordingStream sink;
    {
        CRCOutputStream crc(sink);
        crc.Write("123456789", 9);
        crc.Flush();
        ASSERT_EQ(3u, sink.pieces.size());
        EXPECT_EQ("09 00 00 00", toHex(sink.pieces[0]));
        EXPECT_EQ("123456789", sink.pieces[1]);
        EXPECT_EQ("26 39 F4 CB", toHex(sink.pieces[2]));  // the CRC-32 check value CBF43926
        crc.Flush();
        EXPECT_EQ(3u, sink.pieces.size());  // an empty buffer writes nothing
        crc.Write("a", 1);
    }
    ASSERT_EQ(6u, sink.pieces.size());  // the destructor writes the last block
    EXPECT_EQ("01 00 00 00 61 43 BE B7 E8", toHex(sink.pieces[3] + sink.pieces[4] + sink.pieces[5]));

    RecordingStream split;
    CRCOutputStream crc(split);
    std::string data = patternBytes(4089);
    crc.Write(data.data(), 4089);
    EXPECT_EQ(3u, split.pieces.size());  // the full block went out at once
    crc.Flush();
    ASSERT_EQ(6u, split.pieces.size());
    EXPECT_EQ("F8 0F 00 00", toHex(split.pieces[0]));
    EXPECT_EQ(4088u, split.pieces[1].size());
    EXPECT_EQ("01 00 00 00", toHex(split.pieces[3]));
}

TEST(CRCStream, RoundTripsAcrossBlocksInAnyPieces)
{
    std::string data = patternBytes(20000);
    MemoryOutputStream sink;
    {
        CRCOutputStream crc(sink);
        crc.Write(data.data(), 5000);
        crc.Flush();
        crc.Write(data.data() + 5000, 15000);
    }
    std::string stored = sink.GetContent();
    EXPECT_EQ(20000u + 8u * 6u, stored.size());  // 1+1 blocks, then 3+1 blocks

    MemoryInputStream source(stored);
    CRCInputStream crc(source);
    std::string back(20000, '\0');
    crc.Read(&back[0], 1);
    crc.Read(&back[1], 0);
    crc.Read(&back[1], 9000);
    int at = 9001;
    while (at < 20000)
        at += crc.ReadSome(&back[at], 20000 - at);
    EXPECT_EQ(data, back);
    EXPECT_STREAM_EXCEPTION(crc.Read(&back[0], 1), 5, "Memory block too short");
}

TEST(CRCStream, CorruptBlocksAreRejected)
{
    char buffer[16];
    for (const char *length : {"00 00 00 00", "F9 0F 00 00", "FF FF FF FF"}) {
        std::string block = hexBytes(length) + "abcd";
        MemoryInputStream source(block);
        CRCInputStream crc(source);
        EXPECT_STREAM_EXCEPTION(crc.Read(buffer, 1), 4, "Illegal CRC block size");
    }
    std::string good = hexBytes("09 00 00 00") + "123456789" + hexBytes("26 39 F4 CB");
    for (std::size_t i = 4; i < good.size(); ++i) {
        std::string bad = good;
        bad[i] ^= 0x10;
        MemoryInputStream source(bad);
        CRCInputStream crc(source);
        EXPECT_STREAM_EXCEPTION(crc.Read(buffer, 9), 4, "CRC checksum error");
    }
    MemoryInputStream truncated(good.substr(0, 10));
    CRCInputStream crc(truncated);
    EXPECT_STREAM_EXCEPTION(crc.Read(buffer, 1), 5, "Memory block too short");
}

TEST(CryptingStream, ComplementsBytesAndRestoresTheCallersBuffer)
{
    RecordingStream sink;
    CryptingOutputStream crypt(sink);
    char data[] = {0x00, static_cast<char>(0xFF), 0x5A};
    crypt.Write(data, 3);
    EXPECT_EQ("FF 00 A5", toHex(sink.all()));
    EXPECT_EQ("00 FF 5A", toHex(std::string(data, 3)));
    crypt.Write("ab", 2);  // constant data must not fault
    EXPECT_EQ("FF 00 A5 9E 9D", toHex(sink.all()));

    FailingStream failing;
    CryptingOutputStream throwing(failing);
    EXPECT_STREAM_EXCEPTION(throwing.Write(data, 3), 1, "disk full");
    EXPECT_EQ("FF 00 A5", toHex(failing.seen));
    EXPECT_EQ("00 FF 5A", toHex(std::string(data, 3)));

    std::string stored = hexBytes("FF 00 A5 9E 9D");
    MemoryInputStream source(stored);
    CryptingInputStream in(source);
    char back[5];
    in.Read(back, 3);
    EXPECT_EQ("00 FF 5A", toHex(std::string(back, 3)));
    EXPECT_EQ(2, in.ReadSome(back, 5));
    EXPECT_EQ("ab", std::string(back, 2));
}

TEST(FilterStreams, DestructorWritesReportFailuresUnlessAlreadyUnwinding)
{
    FailingStream failing;
    auto *crc = new CRCOutputStream(failing);
    crc->Write("x", 1);
    EXPECT_STREAM_EXCEPTION(delete crc, 1, "disk full");

    bool first = false;
    try {
        Base64EncodingStream encoder(failing, 76);
        encoder.Write("M", 1);  // held back: written, and failing, in the destructor
        throw std::runtime_error("first");
    } catch (const std::runtime_error &) {
        first = true;  // the failure in the destructor did not end the program
    }
    EXPECT_TRUE(first);

    // A filter whose target is gone writes nothing when destroyed and refuses writes.
    auto *sink = new RecordingStream;
    CRCOutputStream orphan(*sink);
    orphan.Write("abc", 3);
    delete sink;
    EXPECT_THROW(orphan.Flush(), std::logic_error);
}
