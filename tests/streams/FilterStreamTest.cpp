#include "tests/support/StreamTestSupport.h"

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
    out.resize(n < 0 ? 0 : n);
    return n;
}

}  // namespace

TEST(Base64Encoding, MatchesTheRfc4648Vectors)
{
    const std::string plain[] = {"", "f", "fo", "foo", "foob", "fooba", "foobar"};
    const std::string coded[] = {"", "Zg==", "Zm8=", "Zm9v", "Zm9vYg==", "Zm9vYmE=", "Zm9vYmFy"};
    for (int i = 0; i < 7; ++i) {
        int n = static_cast<int>(plain[i].size());
        EXPECT_EQ(coded[i], encode(plain[i], -1));
        std::string memory(Base64EncodingStream::Base64MemoryEncodedSize(n), '?'), back;
        Base64EncodingStream::Base64MemoryEncode(plain[i].data(), n, &memory[0]);
        EXPECT_EQ(coded[i], memory);
        EXPECT_EQ(n, memoryDecode(coded[i], back));
        EXPECT_EQ(plain[i], back);
    }
}

TEST(Base64Encoding, LinesEndWithALineFeedAndTheDestructorEndsTheLast)
{
    // Line lengths 0 to 7 give a line per group; a full line already has its line feed.
    struct Case {
        const char *data;
        int lineLength;
        const char *text;
    } cases[] = {{"Man", -1, "TWFu"}, {"M", -1, "TQ=="}, {"M", 76, "TQ==\n"}, {"ManManMan", 8, "TWFuTWFu\nTWFu\n"},
                 {"ManMan", 0, "TWFu\nTWFu\n"}, {"ManMan", 7, "TWFu\nTWFu\n"}, {"ManMan", 8, "TWFuTWFu\n"}, {"", 76, ""}};
    for (const Case &c : cases)
        EXPECT_EQ(c.text, encode(c.data, c.lineLength)) << c.data << " " << c.lineLength;
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
}

TEST(Base64Memory, SizesAndDecodingRules)
{
    const int encodedSizes[][2] = {{0, 0}, {1, 4}, {3, 4}, {4, 8}};
    for (auto &size : encodedSizes)
        EXPECT_EQ(size[1], Base64EncodingStream::Base64MemoryEncodedSize(size[0])) << size[0];
    EXPECT_EQ(3, Base64EncodingStream::Base64MemoryDecodedMaxSize(5));
    EXPECT_EQ(0, Base64EncodingStream::Base64MemoryDecodedMaxSize(3));

    // A short rest is ignored, decoding goes on after padding, bytes above 0x7F are strangers.
    struct Case {
        const char *text;
        int result;
        const char *bytes;
    } cases[] = {{"TWFu", 3, "Man"}, {"TQ==", 1, "M"},   {"TW u", -1, ""},      {"TWE", 0, ""},       {"TWFuTW", 3, "Man"},
                 {"TWFu\nTWFu", -1, ""}, {"TWF\xC3", -1, ""}, {"====", 0, ""}, {"TQ==TQ==", 2, "MM"}};
    std::string out;
    for (const Case &c : cases) {
        EXPECT_EQ(c.result, memoryDecode(c.text, out)) << c.text;
        EXPECT_EQ(c.bytes, out) << c.text;
    }
}

TEST(Base64Decoding, SkipsStrangersAndPassesOverEmptyGroups)
{
    BulkAndPlain<Base64DecodingStream> both(" TW\r\nFu\t==AA\xC3TQ==");
    EXPECT_EQ("Man", both.read(3));
    EXPECT_EQ("M", both.read(1));  // "==AA" yields nothing and is passed over
    EXPECT_EXCEPTION(StreamBase::Exception, readBytes(both.fast, 1), 5, "Memory block too short");
    EXPECT_EXCEPTION(StreamBase::Exception, readBytes(both.slow, 1), 5, "Memory block too short");
}

TEST(Base64Decoding, PiecewiseReadsRedeliverTheGroupsLeadingBytes)
{
    std::string text = "TWFuYWJj";  // "Man" "abc"
    MemoryInputStream source(text), again(text);
    Base64DecodingStream decoder(source), second(again);
    EXPECT_EQ("M", readBytes(decoder, 1));
    EXPECT_EQ("Ma", readBytes(decoder, 2));  // not "an": required behaviour
    EXPECT_EQ("abc", readBytes(decoder, 3));
    // A large read that ends inside a group leaves the group's rest to the same rule.
    EXPECT_EQ("Mana", readBytes(second, 4));
    EXPECT_EQ("ab", readBytes(second, 2));
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
    BulkAndPlain<Base64DecodingStream> both(text);
    for (int size : {3, 999, 1, 1500, 0, 497})
        both.read(size);
    MemoryInputStream whole(text);
    Base64DecodingStream decoder(whole);
    std::string back = readBytes(decoder, 1000);
    EXPECT_EQ(data, back + readBytes(decoder, 2000));
    EXPECT_EQ(9, whole.Remaining());  // the final line feed and the trailer
}

TEST(CRCStream, BlocksFollowTheWireFormat)
{
    RecordingStream sink;
    {
        CRCOutputStream crc(sink);
        crc.Write("123456789", 9);
        crc.Flush();
        // Three writes: length, data, and the CRC-32 check value CBF43926.
        EXPECT_EQ(std::vector<std::string>({hexBytes("09 00 00 00"), "123456789", hexBytes("26 39 F4 CB")}),
                  sink.pieces);
        crc.Flush();
        EXPECT_EQ(3u, sink.pieces.size());  // an empty buffer writes nothing
        crc.Write("a", 1);
    }
    ASSERT_EQ(6u, sink.pieces.size());  // the destructor writes the last block
    EXPECT_EQ("01 00 00 00 61 43 BE B7 E8", toHex(sink.all.substr(17)));

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
    std::string back = readBytes(crc, 1);
    back += readBytes(crc, 0);
    back += readBytes(crc, 9000);
    back.resize(20000);
    for (int at = 9001; at < 20000;)
        at += crc.ReadSome(&back[at], 20000 - at);
    EXPECT_EQ(data, back);
    EXPECT_EXCEPTION(StreamBase::Exception, readBytes(crc, 1), 5, "Memory block too short");
}

TEST(CryptingStream, ComplementsBytesAndRestoresTheCallersBuffer)
{
    RecordingStream sink;
    CryptingOutputStream crypt(sink);
    char data[] = {0x00, static_cast<char>(0xFF), 0x5A};
    crypt.Write(data, 3);
    EXPECT_EQ("FF 00 A5", toHex(sink.all));
    EXPECT_EQ("00 FF 5A", toHex(std::string(data, 3)));
    crypt.Write("ab", 2);  // constant data must not fault
    EXPECT_EQ("FF 00 A5 9E 9D", toHex(sink.all));

    FailingStream failing;
    CryptingOutputStream throwing(failing);
    EXPECT_EXCEPTION(StreamBase::Exception, throwing.Write(data, 3), 1, "disk full");
    EXPECT_EQ("FF 00 A5", toHex(failing.seen));
    EXPECT_EQ("00 FF 5A", toHex(std::string(data, 3)));

    MemoryInputStream source(sink.all);
    CryptingInputStream in(source);
    EXPECT_EQ("00 FF 5A", toHex(readBytes(in, 3)));
    char back[5];
    EXPECT_EQ(2, in.ReadSome(back, 5));
    EXPECT_EQ("ab", std::string(back, 2));
}

TEST(FilterStreams, DestructorWritesRecordFailuresInsteadOfThrowing)
{
    FailingStream failing;
    StreamBase::Exception late;
    EXPECT_FALSE(StreamBase::TakeLateFailure(late));
    {
        // An owner whose destructor may not throw (a throw there ends the process).
        std::unique_ptr<CRCOutputStream> crc(new CRCOutputStream(failing));
        crc->Write("x", 1);
    }
    ASSERT_TRUE(StreamBase::TakeLateFailure(late));
    EXPECT_EQ(StreamBase::SystemError, late.code);
    EXPECT_EQ(String(L"disk full"), late.message);
    EXPECT_FALSE(StreamBase::TakeLateFailure(late));  // taken once
    try {
        Base64EncodingStream encoder(failing, 76);
        encoder.Write("M", 1);  // held back: written, and failing, in the destructor
        throw std::runtime_error("first");
    } catch (const std::runtime_error &) {  // the failure in the destructor did not end the program
    }
    EXPECT_TRUE(StreamBase::TakeLateFailure(late));

    // A filter whose target is gone writes nothing when destroyed and refuses writes.
    auto *sink = new RecordingStream;
    CRCOutputStream orphan(*sink);
    orphan.Write("abc", 3);
    delete sink;
    EXPECT_EXCEPTION(StreamBase::Exception, orphan.Flush(),
                     StreamBase::EndOfData, "The stream this one writes into has been destroyed");
}
