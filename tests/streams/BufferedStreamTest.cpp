#include "tests/support/StreamTestSupport.h"

#include "qvcore/streams/Base64Stream.h"
#include "qvcore/streams/BufferedStream.h"
#include "qvcore/streams/CompressingStream.h"

#include <stdexcept>

TEST(BufferedOutputStream, CollectsSmallWritesAndPassesLargeOnesThrough)
{
    RecordingStream sink;
    const std::string large = "0123456789ABCDEFGHIJ";
    {
        BufferedOutputStream buffered(sink, 16);
        buffered.Write("abc", 3);
        buffered.Write("defghijklmnop", 13);  // exactly fills the buffer: still held
        EXPECT_TRUE(sink.pieces.empty());
        buffered.Write("q", 1);
        EXPECT_EQ(std::vector<std::string>({"abcdefghijklmnop"}), sink.pieces);
        buffered.Write(large.data(), 20);  // the held byte first, then the large write as it is
        EXPECT_EQ(std::vector<std::string>({"abcdefghijklmnop", "q", large}), sink.pieces);
        buffered.Write("xy", 2);
        buffered.Flush();
        buffered.Flush();  // nothing held: writes nothing
        EXPECT_EQ(std::vector<std::string>({"abcdefghijklmnop", "q", large, "xy"}), sink.pieces);
        EXPECT_EQ(0, sink.flushes);  // a flush reaches the streams in front, not those behind
        buffered.Write("z", 1);
    }
    EXPECT_EQ("abcdefghijklmnopq" + large + "xyz", sink.all);  // the destructor wrote the rest
}

TEST(BufferedOutputStream, GroupsTheBase64EncodersWrites)
{
    RecordingStream sink, unbuffered;
    std::string data = patternBytes(10000);
    {
        BufferedOutputStream buffered(sink, 4096);
        Base64EncodingStream encoder(buffered, 76);
        Base64EncodingStream plain(unbuffered, 76);
        for (int at = 0; at < 10000; at += 1000) {  // pieces that do not end on group boundaries
            encoder.Write(data.data() + at, 1000);
            plain.Write(data.data() + at, 1000);
        }
    }
    EXPECT_EQ(4u, sink.pieces.size());  // 13512 characters in 4 KiB pieces, not 3334 groups
    EXPECT_EQ(3334u + 176u, unbuffered.pieces.size());
    EXPECT_EQ(13336u + 176u, sink.all.size());
    EXPECT_EQ(unbuffered.all, sink.all);

    BufferedOutputStream buffered(sink, 16);
    char *room;
    ASSERT_EQ(16, buffered.Reserve(room));
    room[0] = 'r';
    buffered.Commit(1);
    EXPECT_EQ(15, buffered.Reserve(room));
    EXPECT_THROW(buffered.Commit(16), std::logic_error);
    buffered.Flush();
    EXPECT_EQ("r", sink.pieces.back());
}

TEST(BufferedInputStream, DeliversEverythingInAnyPiecesAndShowsItsBuffer)
{
    std::string data = patternBytes(5000);
    PlainSource plain(data);  // delivers one byte per bulk request
    MemoryInputStream memory(data);
    for (InputStream *source : {static_cast<InputStream *>(&plain), static_cast<InputStream *>(&memory)}) {
        BufferedInputStream buffered(*source, 256);
        std::string back = readBytes(buffered, 10);
        back.resize(5000);
        const char *view;
        int shown = buffered.Peek(view);
        ASSERT_GE(shown, 0);
        EXPECT_EQ(data.substr(10, shown), std::string(view, shown));
        buffered.Skip(5);
        buffered.Read(&back[15], 1000);  // beyond the buffer: straight from the source
        int at = 1015;
        while (at < 4990)
            at += buffered.ReadSome(&back[at], 4990 - at);
        buffered.Read(&back[4990], 10);
        back.replace(10, 5, data, 10, 5);
        EXPECT_EQ(data, back);
        EXPECT_EXCEPTION(StreamBase::Exception, readBytes(buffered, 1), 5, "Memory block too short");
    }
}

TEST(BufferedInputStream, CarriesBulkReadsAndWholeBase64GroupsBetweenDecoders)
{
    std::string data = textBytes(50000);
    MemoryOutputStream sink;
    {
        Base64EncodingStream encoder(sink, 76);
        CompressingStream compressor(encoder, 6);
        compressor.Write(data.data(), 50000);
    }
    std::string text = sink.GetContent();
    PlainSource plain(text);
    BufferedInputStream buffered(plain, 1000);
    Base64DecodingStream decoder(buffered);
    BufferedInputStream groups(decoder, 1);  // whole groups only, whatever the reader asks for
    DecompressingStream decompressor(groups);
    std::string back(50000, '\0');
    int at = 0;
    while (at < 50000)
        at += decompressor.ReadSome(&back[at], 50000 - at);
    EXPECT_EQ(data, back);
    EXPECT_EXCEPTION(StreamBase::Exception, readBytes(decompressor, 1),
                     2, "The compressed data ends before the bytes asked for");
    EXPECT_TRUE(decompressor.AtEnd());
}
