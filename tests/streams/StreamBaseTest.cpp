#include "tests/support/StreamTestSupport.h"

#include <cstring>

namespace {

// A value written with << and read back with >>, which must take exactly what was written.
template <class T>
T again(const T &value)
{
    MemoryOutputStream out;
    out << value;
    std::string bytes = out.GetContent();
    MemoryInputStream in(bytes);
    T back{};
    in >> back;
    EXPECT_EQ(0, in.Remaining());
    return back;
}

}  // namespace

TEST(StreamOperators, ValuesAreWrittenAsRawLittleEndianBytesInOneWrite)
{
    RecordingStream out;
    const GUID g = {0x01020304, 0x0506, 0x0708, {0x09, 0x0A, 0x0B, 0x0C, 0x0D, 0x0E, 0x0F, 0x10}};
    out << true << static_cast<short>(-2) << 7 << 1.0f << 'A' << static_cast<unsigned char>(0xC8)
        << static_cast<unsigned short>(0x1234) << 0x89ABCDEFu << -1L << static_cast<__int64>(-2)
        << static_cast<unsigned __int64>(0x0102030405060708ull) << 1.0 << g;
    EXPECT_EQ(13u, out.pieces.size());
    EXPECT_EQ("01 FE FF 07 00 00 00 00 00 80 3F 41 C8 34 12 EF CD AB 89 FF FF FF FF FE FF FF FF FF FF FF FF "
              "08 07 06 05 04 03 02 01 00 00 00 00 00 00 F0 3F 04 03 02 01 06 05 08 07 09 0A 0B 0C 0D 0E 0F 10",
              toHex(out.all));

    // Strings carry a length prefix: characters, or bytes for wide strings.
    RecordingStream text;
    text << "ab" << std::string("ab") << String(L"ab") << std::string("a\0b", 3) << "" << String()
         << static_cast<const char *>(nullptr);  // no text: written as the empty one
    EXPECT_EQ("02 00 00 00 61 62 02 00 00 00 61 62 04 00 00 00 61 00 62 00 03 00 00 00 61 00 62 "
              "00 00 00 00 00 00 00 00 00 00 00 00",
              toHex(text.all));
}

TEST(StreamOperators, EverythingWrittenReadsBack)
{
    EXPECT_TRUE(again(true));
    EXPECT_EQ('c', again('c'));
    EXPECT_EQ(-300, again(static_cast<short>(-300)));
    EXPECT_EQ(-5, again(-5));
    EXPECT_EQ(3000000000u, again(3000000000u));
    EXPECT_EQ(2.5f, again(2.5f));
    EXPECT_EQ(-1234567890123LL, again(static_cast<__int64>(-1234567890123LL)));
    EXPECT_EQ(0.1, again(0.1));
    const GUID g = {0xDEADBEEF, 0x1234, 0x5678, {1, 2, 3, 4, 5, 6, 7, 8}}, g2 = again(g);
    EXPECT_EQ(0, std::memcmp(&g, &g2, sizeof g));
    // Strings up to 1024 bytes and beyond take different buffers.
    for (const std::string &text : {std::string(1024, 'x'), std::string(1025, 'y'), std::string("tail")})
        EXPECT_EQ(text, again(text));
    for (const String &text : {String::FromChar(0x20AC, 512), String::FromChar(0x00E9, 513)})
        EXPECT_EQ(text, String(again<std::basic_string<unsigned short>>(text)));
    std::string empty = "not empty", zero = hexBytes("00 00 00 00");
    MemoryInputStream in(zero);
    in >> empty;
    EXPECT_EQ("", empty);
}

// A length prefix is a claim the data need not honour. Taking the claimed 2 GB up front fails
// with std::bad_alloc in a 32-bit process (and commits 2 GB in a 64-bit one): read as it
// arrives, the bytes run out first and the source's end is reported.
TEST(StreamOperators, ALengthPrefixBeyondTheDataEndsAtTheSourcesEndWithoutReservingIt)
{
    const std::string hostile = hexBytes("F0 FF FF 7F") + patternBytes(100);
    std::string text = "kept";
    std::basic_string<unsigned short> wide(3, 'w');
    MemoryBlock block;
    MemoryInputStream in1(hostile), in2(hostile), in3(hostile);
    EXPECT_EXCEPTION(StreamBase::Exception, in1 >> text, 5, "Memory block too short");
    EXPECT_EXCEPTION(StreamBase::Exception, in2 >> wide, 5, "Memory block too short");
    EXPECT_EXCEPTION(StreamBase::Exception, in3 >> block, 5, "Memory block too short");
    EXPECT_EQ("kept", text) << "a failed read leaves the string as it was";
    EXPECT_EQ(3u, wide.size());
}

// Long values arrive in several growing pieces: each must land after the one before.
TEST(StreamOperators, LongStringsAndBlocksReadBackWhole)
{
    const std::string bytes = patternBytes(300001);
    EXPECT_EQ(bytes, again(bytes));
    std::basic_string<unsigned short> wide(150001, 0);
    for (std::size_t i = 0; i < wide.size(); ++i)
        wide[i] = static_cast<unsigned short>(i * 7919u);
    EXPECT_EQ(wide, again(wide));

    MemoryOutputStream out;
    MemoryBlock written(300001);
    std::memcpy(written, bytes.data(), bytes.size());
    out << written;
    std::string data = out.GetContent();
    MemoryInputStream in(data);
    MemoryBlock block(5, 'x');
    in >> block;
    ASSERT_EQ(300001, block.size());
    EXPECT_EQ(0, std::memcmp(block, bytes.data(), bytes.size()));
}

TEST(StreamOperators, BadLengthsThrowCode3AndMissingBytesTheSourcesEnd)
{
    std::string text, negative = hexBytes("FF FF FF FF 61"), odd = hexBytes("03 00 00 00 61 00 62"),
                      negativeWide = hexBytes("FE FF FF FF"), shortData = hexBytes("05 00 00 00 61 62");
    std::basic_string<unsigned short> wide;
    MemoryBlock block;
    MemoryInputStream in1(negative), in2(odd), in3(negativeWide), in4(shortData), in5(negative);
    EXPECT_EXCEPTION(StreamBase::Exception, in1 >> text, 3, "Invalid string length");
    EXPECT_EXCEPTION(StreamBase::Exception, in2 >> wide, 3, "Invalid string length");
    EXPECT_EXCEPTION(StreamBase::Exception, in3 >> wide, 3, "Invalid string length");
    EXPECT_EXCEPTION(StreamBase::Exception, in4 >> text, 5, "Memory block too short");
    EXPECT_EXCEPTION(StreamBase::Exception, in5 >> block, 3, "Invalid block size");
}

TEST(StreamOperators, MemoryBlocksCarryTheirSize)
{
    RecordingStream out;
    out << MemoryBlock(3, 'z');
    EXPECT_EQ("03 00 00 00 7A 7A 7A", toHex(out.all));
    std::string bytes = hexBytes("02 00 00 00 41 42 00 00 00 00");
    MemoryInputStream in(bytes);
    MemoryBlock back(10, 'q');
    in >> back;
    ASSERT_EQ(2, back.size());
    EXPECT_EQ("AB", std::string(static_cast<const char *>(back), 2));
    in >> back;
    EXPECT_EQ(0, back.size());
}

TEST(MemoryInputStream, ShortReadThrowsAndConsumesNothing)
{
    const char data[] = {1, 2, 3};
    MemoryInputStream in(data, 3);
    char buffer[4] = {9, 9, 9, 9};
    EXPECT_EXCEPTION(StreamBase::Exception, in.Read(buffer, 4), 5, "Memory block too short");
    EXPECT_EQ(9, buffer[0]);
    in.Read(buffer, 3);
    EXPECT_EQ(std::string("\1\2\3"), std::string(buffer, 3));
    in.Read(buffer, 0);
    EXPECT_EXCEPTION(StreamBase::Exception, in.Read(buffer, 1), 5, "Memory block too short");
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
    EXPECT_EXCEPTION(StreamBase::Exception, in.ReadSome(buffer, 1), 5, "Memory block too short");
    EXPECT_EXCEPTION(StreamBase::Exception, in.Skip(1), 5, "Memory block too short");
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

// A filter that holds everything back until it is flushed, and logs its flushes.
struct HoldingFilter : OutputStream {
    HoldingFilter(OutputStream &target, std::vector<int> &order, int id) : OutputStream(&target), order(order), id(id) {}
    void Write(const char *data, int count) override { held.append(data, count); }
    void FlushSelf() override
    {
        order.push_back(id);
        target->Write(held.data(), static_cast<int>(held.size()));
        held.clear();
    }
    std::string held;
    std::vector<int> &order;
    int id;
};

}  // namespace

TEST(OutputStream, FlushRunsFromTheFrontOfTheChain)
{
    std::vector<int> order;
    RecordingStream sink;
    sink.flushOrder = &order;
    HoldingFilter back(sink, order, 2), front(back, order, 1);
    front.Write("ab", 2);
    front.Flush();  // the front stream alone
    EXPECT_EQ(std::vector<int>({1}), order);
    EXPECT_TRUE(sink.pieces.empty());

    front.Write("cd", 2);
    order.clear();
    sink.Flush();
    EXPECT_EQ(std::vector<int>({1, 2, 0}), order);
    EXPECT_EQ("abcd", sink.all);
}

TEST(OutputStream, DestroyedMiddleStreamUnlinksItsNeighbours)
{
    std::vector<int> order;
    RecordingStream sink;
    auto *middle = new HoldingFilter(sink, order, 2);
    HoldingFilter front(*middle, order, 1);
    EXPECT_TRUE(middle->GetTarget() == &sink && sink.GetFeeder() == middle && front.GetTarget() == middle);
    delete middle;
    EXPECT_EQ(nullptr, front.GetTarget());
    EXPECT_EQ(nullptr, sink.GetFeeder());
    sink.Flush();  // must not reach the destroyed stream
    EXPECT_EQ(1, sink.flushes);
}
