#include "qvcore/core/MemoryBlock.h"

#include <gtest/gtest.h>

#include <cstring>
#include <stdexcept>
#include <string>
#include <utility>
#include <vector>

namespace {

typedef NewMemoryBlock::MemoryBlock Shared;

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

std::pair<int, int> counts(int a, int b) { return {a, b}; }

std::string bytes(const MemoryBlock &block) { return std::string(block, block.size()); }

// The read-only view: on a non-const handle the conversion would pick the writable view and copy
// shared bytes.
const char *view(const Shared &block) { return block; }
std::string bytes(const Shared &block) { return std::string(view(block), block.size()); }

}  // namespace

TEST(MemoryBlock, ConstructionFillsOrLeavesEmpty)
{
    EXPECT_EQ(counts(0, 0), counts(MemoryBlock().size(), static_cast<char *>(MemoryBlock()) != nullptr));
    EXPECT_EQ("xxxxx", bytes(MemoryBlock(5, 'x')));
    EXPECT_EQ(std::string(5, '\0'), bytes(MemoryBlock(5, 0)));
    MemoryBlock none(0, 'x');
    EXPECT_EQ(counts(0, 0), counts(none.size(), static_cast<char *>(none) != nullptr));
    EXPECT_EQ(nullptr, static_cast<char *>(MemoryBlock(0)));
    EXPECT_THROW(MemoryBlock(-1), std::invalid_argument);
    EXPECT_THROW(MemoryBlock(-1, 'x'), std::invalid_argument);
}

TEST(MemoryBlock, ResizeKeepsThePrefixOnlyWhenAskedAndZeroFrees)
{
    MemoryBlock block(16, 'a');
    const char *before = block;
    block.resize(16, false);
    EXPECT_NE(before, static_cast<const char *>(block));  // a new buffer even at the same size
    EXPECT_EQ(16, block.size());
    MemoryBlock kept;
    kept.resize(3, true);  // from empty: plain allocation
    ASSERT_NE(nullptr, static_cast<char *>(kept));
    std::memcpy(kept, "abc", 3);
    kept.resize(100, true);
    EXPECT_EQ(100, kept.size());
    EXPECT_EQ("abc", bytes(kept).substr(0, 3));
    kept.resize(2, true);
    EXPECT_EQ("ab", bytes(kept));
    EXPECT_THROW(kept.resize(-4, true), std::invalid_argument);
    EXPECT_EQ("ab", bytes(kept));
    kept.resize(0, true);
    EXPECT_EQ(counts(0, 0), counts(kept.size(), static_cast<char *>(kept) != nullptr));
}

TEST(MemoryArray, CountsElementsButKeepsByteSize)
{
    MemoryArray<unsigned short> units(3);
    EXPECT_EQ(counts(6, 3), counts(units.size(), units.count()));
    units.data()[2] = 0xBEEF;
    units.resize(5);
    EXPECT_EQ(10, units.size());
    EXPECT_EQ(0xBEEF, units.data()[2]);
    static_assert(sizeof(MemoryArray<unsigned short>) == sizeof(MemoryBlock), "same layout");
    EXPECT_THROW(MemoryArray<double>(0x7FFFFFFF / 4), std::invalid_argument);
}

TEST(NewMemoryBlock, CopiesShareUntilOneWritesAndAssignmentMovesTheShare)
{
    Shared a(4);
    std::memcpy(static_cast<char *>(a), "abcd", 4);
    Shared b(a);
    EXPECT_EQ(2, a.shareCount());
    EXPECT_EQ(view(a), view(b));
    static_cast<char *>(b)[0] = 'X';  // copy-on-write happens here
    EXPECT_EQ(counts(1, 1), counts(a.shareCount(), b.shareCount()));
    EXPECT_EQ("abcd", bytes(a));
    EXPECT_EQ("Xbcd", bytes(b));
    EXPECT_EQ(view(a), static_cast<char *>(a));  // a sole owner writes in place
    Shared c, a2(a);
    a2 = a;  // already shared: nothing changes
    EXPECT_EQ(2, a.shareCount());
    a2 = b;
    EXPECT_EQ(counts(1, 2), counts(a.shareCount(), b.shareCount()));
    a2 = c;
    EXPECT_EQ(counts(1, 0), counts(b.shareCount(), a2.size()));
    EXPECT_EQ(nullptr, view(a2));
    Shared &self = a;
    a = self;
    EXPECT_EQ(1, a.shareCount());
    EXPECT_EQ("abcd", bytes(a));
}

TEST(NewMemoryBlock, ResizeOfSharedSoleAndNullHandles)
{
    Shared a(4);
    std::memcpy(static_cast<char *>(a), "wxyz", 4);
    Shared b(a), c(a);
    b.resize(0);
    EXPECT_EQ(0, b.size());
    EXPECT_EQ(nullptr, static_cast<char *>(b));
    EXPECT_EQ(2, a.shareCount());
    c.resize(6);
    EXPECT_EQ(counts(1, 1), counts(a.shareCount(), c.shareCount()));
    EXPECT_EQ("wxyz", bytes(c).substr(0, 4));
    EXPECT_EQ("wxyz", bytes(a));
    Shared none(0);
    EXPECT_EQ(0, none.shareCount());
    none.resize(0);
    EXPECT_EQ(0, none.size());
    none.resize(3);
    EXPECT_EQ(counts(3, 1), counts(none.size(), none.shareCount()));
    const char *before = view(a);
    a.resize(4);  // same size: nothing at all
    EXPECT_EQ(before, view(a));
    a.resize(1000);
    EXPECT_EQ("wxyz", bytes(a).substr(0, 4));
    a.resize(0);
    EXPECT_EQ(0, a.shareCount());
    EXPECT_THROW(a.resize(-1), std::invalid_argument);
    Shared negative(-2);  // no bytes, as for size 0
    EXPECT_EQ(counts(0, 0), counts(negative.size(), negative.shareCount()));
}

TEST(MemoryBlockVector, ChunkSizesFollowTheRemainingLength)
{
    const struct { int length; std::vector<int> chunks; } cases[] = {
        {1, {4096}},       {4096, {4096}},   {4097, {8192}},          {16385, {32768}},
        {32768, {32768}},  {32769, {65536}}, {100000, {65536, 65536}}, {65536 + 32768, {65536, 32768}},
        {200000, {65536, 65536, 65536, 4096}},
    };
    for (const auto &c : cases) {
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
    v.append(p, 3000);          // 4096 with 1096 spare
    v.append(p + 3000, 2000);   // fills the spare, 904 go into a new 4096
    v.append(p + 5000, 4096);   // fills 3192, 904 into a new 4096
    v.append(p + 9096, 40000);  // fills 3192, then 36808 > 32768: a 65536 chunk
    v.append(p, 0);
    EXPECT_EQ((std::vector<int>{4096, 4096, 4096, 65536}), capacities(v));
    EXPECT_EQ(data, v.toString());
    std::string copied(data.size(), '\x55');
    v.toMemory(&copied[0]);
    EXPECT_EQ(data, copied);
    MemoryBlockVector zeros;
    zeros.append("a\0b\0", 4);
    EXPECT_THROW(zeros.append("x", -1), std::invalid_argument);
    EXPECT_EQ(std::string("a\0b\0", 4), zeros.toString());
    EXPECT_THROW(zeros.chunkCapacity(1), std::out_of_range);
}
