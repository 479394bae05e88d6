#include "qvcore/core/MemoryBlock.h"

#include <gtest/gtest.h>

#include <cstring>
#include <stdexcept>
#include <string>
#include <vector>

namespace {

std::vector<int> capacities(const MemoryBlockVector &v)
{
    std::vector<int> result;
    for (int i = 0; i < v.chunkCount(); ++i)
        result.push_back(v.chunkCapacity(i));
    return result;
}

std::string pattern(int length)
{
    std::string s(length, '\0');
    for (int i = 0; i < length; ++i)
        s[i] = static_cast<char>(i * 7 + i / 251);  // no period that divides a chunk size
    return s;
}

// The read-only view: on a non-const handle the conversion would pick the writable view
// and copy shared bytes.
const char *view(const NewMemoryBlock::MemoryBlock &block)
{
    return block;
}

}  // namespace

TEST(MemoryBlock, ConstructionFillsOrLeavesEmpty)
{
    MemoryBlock empty;
    EXPECT_EQ(nullptr, static_cast<char *>(empty));
    EXPECT_EQ(0, empty.size());

    MemoryBlock xs(5, 'x');
    ASSERT_EQ(5, xs.size());
    EXPECT_EQ(std::string("xxxxx"), std::string(static_cast<const char *>(xs), 5));

    MemoryBlock zeros(5, 0);
    ASSERT_EQ(5, zeros.size());
    EXPECT_EQ(std::string(5, '\0'), std::string(static_cast<const char *>(zeros), 5));

    MemoryBlock none(0, 'x');
    EXPECT_EQ(nullptr, static_cast<char *>(none));
    EXPECT_EQ(0, none.size());
    EXPECT_EQ(nullptr, static_cast<char *>(MemoryBlock(0)));
}

TEST(MemoryBlock, ResizeWithoutKeepAlwaysTakesNewBuffer)
{
    MemoryBlock block(16, 'a');
    const char *before = block;
    block.resize(16, false);
    EXPECT_NE(before, static_cast<const char *>(block));
    EXPECT_EQ(16, block.size());
}

TEST(MemoryBlock, ResizeWithKeepPreservesPrefixAndZeroFrees)
{
    MemoryBlock block;
    block.resize(3, true);  // from empty: plain allocation
    ASSERT_NE(nullptr, static_cast<char *>(block));
    std::memcpy(block, "abc", 3);

    block.resize(100, true);
    EXPECT_EQ(100, block.size());
    EXPECT_EQ(0, std::memcmp(static_cast<const char *>(block), "abc", 3));

    block.resize(2, true);
    EXPECT_EQ(2, block.size());
    EXPECT_EQ(0, std::memcmp(static_cast<const char *>(block), "ab", 2));

    block.resize(0, true);
    EXPECT_EQ(nullptr, static_cast<char *>(block));
    EXPECT_EQ(0, block.size());
}

TEST(MemoryBlock, NegativeSizesAreRejectedWithoutChange)
{
    EXPECT_THROW(MemoryBlock(-1), std::invalid_argument);
    EXPECT_THROW(MemoryBlock(-1, 'x'), std::invalid_argument);
    MemoryBlock block(4, 'q');
    EXPECT_THROW(block.resize(-4, true), std::invalid_argument);
    EXPECT_EQ(4, block.size());
    EXPECT_EQ('q', static_cast<const char *>(block)[3]);
}

TEST(MemoryArray, CountsElementsButKeepsByteSize)
{
    MemoryArray<unsigned short> units(3);
    EXPECT_EQ(6, units.size());
    EXPECT_EQ(3, units.count());
    units.data()[2] = 0xBEEF;
    units.resize(5);
    EXPECT_EQ(10, units.size());
    EXPECT_EQ(0xBEEF, units.data()[2]);
    // Same two fields as the untyped block: a data pointer, then the byte size.
    static_assert(sizeof(MemoryArray<unsigned short>) == sizeof(MemoryBlock), "same layout");
    EXPECT_THROW(MemoryArray<double>(0x7FFFFFFF / 4), std::invalid_argument);
}

TEST(NewMemoryBlock, CopiesShareUntilOneWrites)
{
    NewMemoryBlock::MemoryBlock a(4);
    std::memcpy(static_cast<char *>(a), "abcd", 4);
    NewMemoryBlock::MemoryBlock b(a);
    EXPECT_EQ(2, a.shareCount());
    EXPECT_EQ(view(a), view(b));

    char *writable = b;  // copy-on-write happens here
    writable[0] = 'X';
    EXPECT_EQ(1, a.shareCount());
    EXPECT_EQ(1, b.shareCount());
    EXPECT_NE(view(a), view(b));
    EXPECT_EQ(std::string("abcd"), std::string(view(a), 4));
    EXPECT_EQ(std::string("Xbcd"), std::string(view(b), 4));

    // A sole owner writes in place.
    const char *own = view(a);
    EXPECT_EQ(own, static_cast<char *>(a));
}

TEST(NewMemoryBlock, AssignmentReleasesOldAndSharesNew)
{
    NewMemoryBlock::MemoryBlock a(8), b(8), c;
    NewMemoryBlock::MemoryBlock a2(a);
    a2 = a;  // already shared: nothing changes
    EXPECT_EQ(2, a.shareCount());
    a2 = b;
    EXPECT_EQ(1, a.shareCount());
    EXPECT_EQ(2, b.shareCount());
    a2 = c;  // null
    EXPECT_EQ(1, b.shareCount());
    EXPECT_EQ(0, a2.size());
    EXPECT_EQ(nullptr, view(a2));
    NewMemoryBlock::MemoryBlock &self = a;
    a = self;
    EXPECT_EQ(1, a.shareCount());
    EXPECT_EQ(8, a.size());
}

TEST(NewMemoryBlock, ResizeOfSharedHandleLeavesOthersIntact)
{
    NewMemoryBlock::MemoryBlock a(4);
    std::memcpy(static_cast<char *>(a), "wxyz", 4);
    NewMemoryBlock::MemoryBlock b(a), c(a);

    b.resize(0);
    EXPECT_EQ(0, b.size());
    EXPECT_EQ(nullptr, view(b));
    EXPECT_EQ(nullptr, static_cast<char *>(b));
    EXPECT_EQ(2, a.shareCount());

    c.resize(6);
    EXPECT_EQ(1, c.shareCount());
    EXPECT_EQ(1, a.shareCount());
    EXPECT_EQ(0, std::memcmp(view(c), "wxyz", 4));
    EXPECT_EQ(4, a.size());
    EXPECT_EQ(std::string("wxyz"), std::string(view(a), 4));
}

TEST(NewMemoryBlock, ResizeOfSoleOwnerAndNullHandle)
{
    NewMemoryBlock::MemoryBlock none(0);
    EXPECT_EQ(0, none.shareCount());
    none.resize(0);
    EXPECT_EQ(0, none.size());
    none.resize(3);
    EXPECT_EQ(3, none.size());
    EXPECT_EQ(1, none.shareCount());

    NewMemoryBlock::MemoryBlock a(2);
    std::memcpy(static_cast<char *>(a), "pq", 2);
    const char *before = view(a);
    a.resize(2);  // same size: nothing at all
    EXPECT_EQ(before, view(a));
    a.resize(1000);
    EXPECT_EQ(0, std::memcmp(view(a), "pq", 2));
    a.resize(0);
    EXPECT_EQ(0, a.shareCount());
    EXPECT_THROW(a.resize(-1), std::invalid_argument);
    EXPECT_THROW(NewMemoryBlock::MemoryBlock(-2), std::invalid_argument);
}

TEST(MemoryBlockVector, ChunkSizesFollowTheRemainingLength)
{
    struct Case {
        int length;
        std::vector<int> chunks;
    } cases[] = {
        {1, {4096}},       {4096, {4096}},   {4097, {8192}},          {16385, {32768}},
        {32768, {32768}},  {32769, {65536}}, {100000, {65536, 65536}}, {65536 + 32768, {65536, 32768}},
        {200000, {65536, 65536, 65536, 4096}},
    };
    for (const Case &c : cases) {
        MemoryBlockVector v;
        std::string data = pattern(c.length);
        v.append(data.data(), c.length);
        EXPECT_EQ(c.chunks, capacities(v)) << "length " << c.length;
        EXPECT_EQ(data, v.toString()) << "length " << c.length;
        EXPECT_EQ(0, v.size()) << "size() never counts the content";
    }
}

TEST(MemoryBlockVector, AppendsFillTheSpareTailBeforeAddingChunks)
{
    MemoryBlockVector v;
    v.append("", 0);
    EXPECT_EQ(0, v.chunkCount());
    EXPECT_EQ(std::string(), v.toString());

    std::string data = pattern(3000 + 2000 + 4096 + 40000);
    const char *p = data.data();
    v.append(p, 3000);  // 4096 with 1096 spare
    v.append(p + 3000, 2000);  // fills the spare, 904 go into a new 4096
    v.append(p + 5000, 4096);  // fills 3192, 904 into a new 4096
    v.append(p + 9096, 40000);  // fills 3192, then 36808 > 32768: a 65536 chunk
    EXPECT_EQ((std::vector<int>{4096, 4096, 4096, 65536}), capacities(v));
    v.append(p, 0);
    EXPECT_EQ(4, v.chunkCount());

    std::string back = v.toString();
    EXPECT_EQ(data, back);
    std::string copied(data.size(), '\x55');
    v.toMemory(&copied[0]);
    EXPECT_EQ(data, copied);
    EXPECT_EQ(0, v.size());
}

TEST(MemoryBlockVector, KeepsEmbeddedZeroBytesAndRejectsNegativeLength)
{
    MemoryBlockVector v;
    v.append("a\0b\0", 4);
    EXPECT_EQ(std::string("a\0b\0", 4), v.toString());
    EXPECT_THROW(v.append("x", -1), std::invalid_argument);
    EXPECT_EQ(std::string("a\0b\0", 4), v.toString());
    EXPECT_THROW(v.chunkCapacity(1), std::out_of_range);
}
