#include "StreamTestSupport.h"

#include <cstring>

TEST(StreamOperators, PrimitivesAreWrittenAsRawLittleEndianBytesInOneWrite)
{
    RecordingStream out;
    out << true << static_cast<short>(-2) << 7 << 1.0f;
    ASSERT_EQ(4u, out.pieces.size());
    EXPECT_EQ("01 FE FF 07 00 00 00 00 00 80 3F", toHex(out.all()));

    RecordingStream more;
    more << 'A' << static_cast<unsigned char>(0xC8) << static_cast<unsigned short>(0x1234) << 0x89ABCDEFu
         << -1L << static_cast<__int64>(-2) << static_cast<unsigned __int64>(0x0102030405060708ull) << 1.0;
    ASSERT_EQ(8u, more.pieces.size());
    EXPECT_EQ("41 C8 34 12 EF CD AB 89 FF FF FF FF FE FF FF FF FF FF FF FF 08 07 06 05 04 03 02 01 "
              "00 00 00 00 00 00 F0 3F",
              toHex(more.all()));

    RecordingStream guid;
    const GUID g = {0x01020304, 0x0506, 0x0708, {0x09, 0x0A, 0x0B, 0x0C, 0x0D, 0x0E, 0x0F, 0x10}};
    guid << g;
    ASSERT_EQ(1u, guid.pieces.size());
    EXPECT_EQ("04 03 02 01 06 05 08 07 09 0A 0B 0C 0D 0E 0F 10", toHex(guid.all()));
}

TEST(StreamOperators, StringsCarryALengthPrefix)
{
    RecordingStream out;
    out << "ab" << std::string("ab") << String(L"ab") << std::string("a\0b", 3) << "" << String();
    EXPECT_EQ("02 00 00 00 61 62 02 00 00 00 61 62 04 00 00 00 61 00 62 00 03 00 00 00 61 00 62 "
              "00 00 00 00 00 00 00 00",
              toHex(out.all()));
}

TEST(StreamOperators, EverythingWrittenReadsBack)
{
    MemoryOutputStream out;
    const GUID g = {0xDEADBEEF, 0x1234, 0x5678, {1, 2, 3, 4, 5, 6, 7, 8}};
    std::string exact(1024, 'x'), over(1025, 'y');
    String wideExact(String::FromChar(0x20AC, 512)), wideOver(String::FromChar(0x00E9, 513));
    out << true << 'c' << static_cast<short>(-300) << -5 << 3000000000u << 2.5f << static_cast<__int64>(-1234567890123LL)
        << 0.1 << g << exact << over << wideExact << wideOver << std::string() << "tail";
    std::string bytes = out.GetContent();

    MemoryInputStream in(bytes);
    bool b = false;
    char c = 0;
    short s = 0;
    int i = 0;
    unsigned u = 0;
    float f = 0;
    __int64 l = 0;
    double d = 0;
    GUID g2 = {};
    std::string e, o, empty("not empty"), tail;
    std::basic_string<unsigned short> we, wo;
    in >> b >> c >> s >> i >> u >> f >> l >> d >> g2 >> e >> o >> we >> wo >> empty >> tail;
    EXPECT_TRUE(b);
    EXPECT_EQ('c', c);
    EXPECT_EQ(-300, s);
    EXPECT_EQ(-5, i);
    EXPECT_EQ(3000000000u, u);
    EXPECT_EQ(2.5f, f);
    EXPECT_EQ(-1234567890123LL, l);
    EXPECT_EQ(0.1, d);
    EXPECT_EQ(0, std::memcmp(&g, &g2, sizeof g));
    EXPECT_EQ(exact, e);
    EXPECT_EQ(over, o);
    EXPECT_EQ(wideExact, String(we));
    EXPECT_EQ(wideOver, String(wo));
    EXPECT_EQ("", empty);
    EXPECT_EQ("tail", tail);
    EXPECT_EQ(0, in.Remaining());
}

TEST(StreamOperators, BadStringLengthsThrowCode3)
{
    std::string text;
    std::basic_string<unsigned short> wide;
    MemoryInputStream negative(hexBytes("FF FF FF FF 61"));
    EXPECT_STREAM_EXCEPTION(negative >> text, 3, "Invalid string length");
    MemoryInputStream odd(hexBytes("03 00 00 00 61 00 62"));
    EXPECT_STREAM_EXCEPTION(odd >> wide, 3, "Invalid string length");
    MemoryInputStream negativeWide(hexBytes("FE FF FF FF"));
    EXPECT_STREAM_EXCEPTION(negativeWide >> wide, 3, "Invalid string length");

    // A length beyond the data is the source's own end of data.
    MemoryInputStream shortData(hexBytes("05 00 00 00 61 62"));
    EXPECT_STREAM_EXCEPTION(shortData >> text, 5, "Memory block too short");
}

TEST(StreamOperators, MemoryBlocksCarryTheirSize)
{
    MemoryBlock block(3, 'z');
    RecordingStream out;
    out << block;
    EXPECT_EQ("03 00 00 00 7A 7A 7A", toHex(out.all()));

    MemoryInputStream in(hexBytes("02 00 00 00 41 42 00 00 00 00"));
    MemoryBlock back(10, 'q');
    in >> back;
    ASSERT_EQ(2, back.size());
    EXPECT_EQ("AB", std::string(static_cast<const char *>(back), 2));
    in >> back;
    EXPECT_EQ(0, back.size());

    MemoryInputStream negative(hexBytes("FF FF FF FF"));
    EXPECT_STREAM_EXCEPTION(negative >> back, 3, "Invalid block size");
}

TEST(MemoryInputStream, ShortReadThrowsAndConsumesNothing)
{
    const char data[] = {1, 2, 3};
    MemoryInputStream in(data, 3);
    char buffer[4] = {9, 9, 9, 9};
    EXPECT_STREAM_EXCEPTION(in.Read(buffer, 4), 5, "Memory block too short");
    EXPECT_EQ(9, buffer[0]);
    in.Read(buffer, 3);
    EXPECT_EQ(std::string("\1\2\3"), std::string(buffer, 3));
    in.Read(buffer, 0);
    EXPECT_STREAM_EXCEPTION(in.Read(buffer, 1), 5, "Memory block too short");
}

TEST(MemoryInputStream, BulkAccessMatchesRead)
{
    std::string data = "abcdef";
    MemoryInputStream in(data);
    const char *view = nullptr;
    ASSERT_EQ(6, in.Peek(view));
    EXPECT_EQ(data.data(), view);  // no copy
    in.Skip(2);
    char buffer[8];
    EXPECT_EQ(3, in.ReadSome(buffer, 3));
    EXPECT_EQ("cde", std::string(buffer, 3));
    EXPECT_EQ(1, in.ReadSome(buffer, 8));
    EXPECT_EQ('f', buffer[0]);
    EXPECT_EQ(0, in.Peek(view));
    EXPECT_STREAM_EXCEPTION(in.ReadSome(buffer, 1), 5, "Memory block too short");
    EXPECT_STREAM_EXCEPTION(in.Skip(1), 5, "Memory block too short");
}

TEST(MemoryOutputStream, GetContentFlushesTheChainAndKeepsTheContent)
{
    MemoryOutputStream out;
    EXPECT_EQ("", out.GetContent());
    out.Write("abc", 3);
    out.Write("x", 0);
    EXPECT_EQ("abc", out.GetContent());
    std::string big = patternBytes(70000);
    out.Write(big.data(), static_cast<int>(big.size()));
    EXPECT_EQ("abc" + big, out.GetContent());
}

namespace {

// A filter that holds everything back until it is flushed.
class HoldingFilter : public OutputStream {
public:
    HoldingFilter(OutputStream &target, std::vector<int> &order, int id) : OutputStream(&target), order(order), id(id) {}
    void Write(const char *data, int count) override { held.append(data, count); }
    std::string held;

protected:
    void FlushSelf() override
    {
        order.push_back(id);
        target->Write(held.data(), static_cast<int>(held.size()));
        held.clear();
    }

private:
    std::vector<int> &order;
    int id;
};

}  // namespace

TEST(OutputStream, FlushRunsFromTheFrontOfTheChain)
{
    std::vector<int> order;
    RecordingStream sink;
    sink.flushOrder = &order;
    sink.id = 3;
    HoldingFilter back(sink, order, 2);
    HoldingFilter front(back, order, 1);
    front.Write("ab", 2);

    front.Flush();  // the front stream alone
    EXPECT_EQ(std::vector<int>({1}), order);
    EXPECT_TRUE(sink.pieces.empty());

    front.Write("cd", 2);
    order.clear();
    sink.Flush();
    EXPECT_EQ(std::vector<int>({1, 2, 3}), order);
    EXPECT_EQ("abcd", sink.all());
}

TEST(OutputStream, DestroyedMiddleStreamUnlinksItsNeighbours)
{
    std::vector<int> order;
    RecordingStream sink;
    auto *middle = new HoldingFilter(sink, order, 2);
    HoldingFilter front(*middle, order, 1);
    EXPECT_EQ(&sink, middle->GetTarget());
    EXPECT_EQ(middle, sink.GetFeeder());
    EXPECT_EQ(middle, front.GetTarget());
    delete middle;
    EXPECT_EQ(nullptr, front.GetTarget());
    EXPECT_EQ(nullptr, sink.GetFeeder());
    sink.Flush();  // must not reach the destroyed stream
    EXPECT_EQ(1, sink.flushes);
}
