#include "qvcore/streams/MD5Sum.h"

#include "qvcore/streams/Base64Stream.h"

#include <cstdint>
#include <cstring>

// The MD5 context of RFC 1321: state, bit count, block buffer.
struct MD5SumStream::Context {
    std::uint32_t state[4];
    std::uint64_t bytes;
    unsigned char buffer[64];

    Context() : state{0x67452301, 0xefcdab89, 0x98badcfe, 0x10325476}, bytes(0), buffer() {}
    void Update(const unsigned char *data, std::size_t size);
    void Final(unsigned char digest[16]);
    void Transform(const unsigned char *block);
};

namespace {

inline std::uint32_t rotate(std::uint32_t x, int n)
{
    return (x << n) | (x >> (32 - n));
}

}  // namespace

// The steps of RFC 1321, arranged so that the message word and the constant are added while
// the round function is still being computed; G's two disjoint terms are added separately.
#define MD5_STEP(f, a, b, c, d, x, t, s)  \
    (a) += (x) + (t);                     \
    (a) += f((b), (c), (d));              \
    (a) = rotate((a), (s)) + (b)
#define MD5_STEP_G(a, b, c, d, x, t, s)   \
    (a) += (x) + (t) + ((c) & ~(d));      \
    (a) += (b) & (d);                     \
    (a) = rotate((a), (s)) + (b)
#define MD5_F(x, y, z) ((z) ^ ((x) & ((y) ^ (z))))
#define MD5_H(x, y, z) ((x) ^ ((y) ^ (z)))  // y ^ z does not wait for the step before
#define MD5_I(x, y, z) ((y) ^ ((x) | ~(z)))

void MD5SumStream::Context::Transform(const unsigned char *block)
{
    std::uint32_t x[16];
    std::memcpy(x, block, 64);  // little-endian words, as the algorithm takes them
    std::uint32_t a = state[0], b = state[1], c = state[2], d = state[3];

    MD5_STEP(MD5_F, a, b, c, d, x[0], 0xd76aa478, 7);
    MD5_STEP(MD5_F, d, a, b, c, x[1], 0xe8c7b756, 12);
    MD5_STEP(MD5_F, c, d, a, b, x[2], 0x242070db, 17);
    MD5_STEP(MD5_F, b, c, d, a, x[3], 0xc1bdceee, 22);
    MD5_STEP(MD5_F, a, b, c, d, x[4], 0xf57c0faf, 7);
    MD5_STEP(MD5_F, d, a, b, c, x[5], 0x4787c62a, 12);
    MD5_STEP(MD5_F, c, d, a, b, x[6], 0xa8304613, 17);
    MD5_STEP(MD5_F, b, c, d, a, x[7], 0xfd469501, 22);
    MD5_STEP(MD5_F, a, b, c, d, x[8], 0x698098d8, 7);
    MD5_STEP(MD5_F, d, a, b, c, x[9], 0x8b44f7af, 12);
    MD5_STEP(MD5_F, c, d, a, b, x[10], 0xffff5bb1, 17);
    MD5_STEP(MD5_F, b, c, d, a, x[11], 0x895cd7be, 22);
    MD5_STEP(MD5_F, a, b, c, d, x[12], 0x6b901122, 7);
    MD5_STEP(MD5_F, d, a, b, c, x[13], 0xfd987193, 12);
    MD5_STEP(MD5_F, c, d, a, b, x[14], 0xa679438e, 17);
    MD5_STEP(MD5_F, b, c, d, a, x[15], 0x49b40821, 22);

    MD5_STEP_G(a, b, c, d, x[1], 0xf61e2562, 5);
    MD5_STEP_G(d, a, b, c, x[6], 0xc040b340, 9);
    MD5_STEP_G(c, d, a, b, x[11], 0x265e5a51, 14);
    MD5_STEP_G(b, c, d, a, x[0], 0xe9b6c7aa, 20);
    MD5_STEP_G(a, b, c, d, x[5], 0xd62f105d, 5);
    MD5_STEP_G(d, a, b, c, x[10], 0x02441453, 9);
    MD5_STEP_G(c, d, a, b, x[15], 0xd8a1e681, 14);
    MD5_STEP_G(b, c, d, a, x[4], 0xe7d3fbc8, 20);
    MD5_STEP_G(a, b, c, d, x[9], 0x21e1cde6, 5);
    MD5_STEP_G(d, a, b, c, x[14], 0xc33707d6, 9);
    MD5_STEP_G(c, d, a, b, x[3], 0xf4d50d87, 14);
    MD5_STEP_G(b, c, d, a, x[8], 0x455a14ed, 20);
    MD5_STEP_G(a, b, c, d, x[13], 0xa9e3e905, 5);
    MD5_STEP_G(d, a, b, c, x[2], 0xfcefa3f8, 9);
    MD5_STEP_G(c, d, a, b, x[7], 0x676f02d9, 14);
    MD5_STEP_G(b, c, d, a, x[12], 0x8d2a4c8a, 20);

    MD5_STEP(MD5_H, a, b, c, d, x[5], 0xfffa3942, 4);
    MD5_STEP(MD5_H, d, a, b, c, x[8], 0x8771f681, 11);
    MD5_STEP(MD5_H, c, d, a, b, x[11], 0x6d9d6122, 16);
    MD5_STEP(MD5_H, b, c, d, a, x[14], 0xfde5380c, 23);
    MD5_STEP(MD5_H, a, b, c, d, x[1], 0xa4beea44, 4);
    MD5_STEP(MD5_H, d, a, b, c, x[4], 0x4bdecfa9, 11);
    MD5_STEP(MD5_H, c, d, a, b, x[7], 0xf6bb4b60, 16);
    MD5_STEP(MD5_H, b, c, d, a, x[10], 0xbebfbc70, 23);
    MD5_STEP(MD5_H, a, b, c, d, x[13], 0x289b7ec6, 4);
    MD5_STEP(MD5_H, d, a, b, c, x[0], 0xeaa127fa, 11);
    MD5_STEP(MD5_H, c, d, a, b, x[3], 0xd4ef3085, 16);
    MD5_STEP(MD5_H, b, c, d, a, x[6], 0x04881d05, 23);
    MD5_STEP(MD5_H, a, b, c, d, x[9], 0xd9d4d039, 4);
    MD5_STEP(MD5_H, d, a, b, c, x[12], 0xe6db99e5, 11);
    MD5_STEP(MD5_H, c, d, a, b, x[15], 0x1fa27cf8, 16);
    MD5_STEP(MD5_H, b, c, d, a, x[2], 0xc4ac5665, 23);

    MD5_STEP(MD5_I, a, b, c, d, x[0], 0xf4292244, 6);
    MD5_STEP(MD5_I, d, a, b, c, x[7], 0x432aff97, 10);
    MD5_STEP(MD5_I, c, d, a, b, x[14], 0xab9423a7, 15);
    MD5_STEP(MD5_I, b, c, d, a, x[5], 0xfc93a039, 21);
    MD5_STEP(MD5_I, a, b, c, d, x[12], 0x655b59c3, 6);
    MD5_STEP(MD5_I, d, a, b, c, x[3], 0x8f0ccc92, 10);
    MD5_STEP(MD5_I, c, d, a, b, x[10], 0xffeff47d, 15);
    MD5_STEP(MD5_I, b, c, d, a, x[1], 0x85845dd1, 21);
    MD5_STEP(MD5_I, a, b, c, d, x[8], 0x6fa87e4f, 6);
    MD5_STEP(MD5_I, d, a, b, c, x[15], 0xfe2ce6e0, 10);
    MD5_STEP(MD5_I, c, d, a, b, x[6], 0xa3014314, 15);
    MD5_STEP(MD5_I, b, c, d, a, x[13], 0x4e0811a1, 21);
    MD5_STEP(MD5_I, a, b, c, d, x[4], 0xf7537e82, 6);
    MD5_STEP(MD5_I, d, a, b, c, x[11], 0xbd3af235, 10);
    MD5_STEP(MD5_I, c, d, a, b, x[2], 0x2ad7d2bb, 15);
    MD5_STEP(MD5_I, b, c, d, a, x[9], 0xeb86d391, 21);

    state[0] += a;
    state[1] += b;
    state[2] += c;
    state[3] += d;
}

void MD5SumStream::Context::Update(const unsigned char *data, std::size_t size)
{
    std::size_t used = static_cast<std::size_t>(bytes % 64);
    bytes += size;
    if (used > 0) {
        std::size_t k = 64 - used < size ? 64 - used : size;
        std::memcpy(buffer + used, data, k);
        data += k;
        size -= k;
        if (used + k < 64)
            return;
        Transform(buffer);
    }
    for (; size >= 64; size -= 64, data += 64)
        Transform(data);  // whole blocks straight from the caller's bytes
    std::memcpy(buffer, data, size);
}

void MD5SumStream::Context::Final(unsigned char digest[16])
{
    unsigned char length[8];
    std::uint64_t bits = bytes * 8;
    std::memcpy(length, &bits, 8);
    static const unsigned char padding[64] = {0x80};
    std::size_t used = static_cast<std::size_t>(bytes % 64);
    Update(padding, used < 56 ? 56 - used : 120 - used);
    Update(length, 8);
    std::memcpy(digest, state, 16);
}

// --- MD5Sum --------------------------------------------------------------------------------

MD5Sum::MD5Sum()
{
    MD5SumStream::Context().Final(digest_);
}

MD5Sum::MD5Sum(const char *data, int size)
{
    MD5SumStream::Context context;
    if (size > 0)
        context.Update(reinterpret_cast<const unsigned char *>(data), static_cast<std::size_t>(size));
    context.Final(digest_);
}

bool MD5Sum::operator==(const MD5Sum &other) const
{
    return std::memcmp(digest_, other.digest_, 16) == 0;
}

bool MD5Sum::operator!=(const MD5Sum &other) const
{
    return !(*this == other);
}

bool MD5Sum::operator<(const MD5Sum &other) const
{
    return std::memcmp(digest_, other.digest_, 16) < 0;
}

bool MD5Sum::operator<=(const MD5Sum &other) const
{
    return !(other < *this);
}

bool MD5Sum::operator>(const MD5Sum &other) const
{
    return other < *this;
}

bool MD5Sum::operator>=(const MD5Sum &other) const
{
    return !(*this < other);
}

std::string MD5Sum::HexString() const
{
    static const char digits[] = "0123456789ABCDEF";
    std::string text(32, '0');
    for (int i = 0; i < 16; ++i) {
        text[2 * i] = digits[digest_[i] >> 4];
        text[2 * i + 1] = digits[digest_[i] & 15];
    }
    return text;
}

std::string MD5Sum::Base64String() const
{
    char text[24];
    Base64EncodingStream::Base64MemoryEncode(reinterpret_cast<const char *>(digest_), 16, text);
    return std::string(text, 22);
}

bool MD5Sum::SetHexString(const std::string &text)
{
    if (text.size() != 32)
        return false;
    unsigned char bytes[16];
    for (int i = 0; i < 32; ++i) {
        char c = text[i];
        int value = c >= '0' && c <= '9' ? c - '0' : c >= 'a' && c <= 'f' ? c - 'a' + 10 : c >= 'A' && c <= 'F' ? c - 'A' + 10 : -1;
        if (value < 0)
            return false;
        if (i % 2 == 0)
            bytes[i / 2] = static_cast<unsigned char>(value << 4);
        else
            bytes[i / 2] |= static_cast<unsigned char>(value);
    }
    std::memcpy(digest_, bytes, 16);
    return true;
}

// --- MD5SumStream --------------------------------------------------------------------------

MD5SumStream::MD5SumStream() : OutputStream(nullptr), context_(new Context) {}

MD5SumStream::~MD5SumStream() noexcept(false)
{
    delete context_;
}

void MD5SumStream::Write(const char *data, int count)
{
    if (count > 0)
        context_->Update(reinterpret_cast<const unsigned char *>(data), static_cast<std::size_t>(count));
}

MD5Sum MD5SumStream::GetMD5Sum()
{
    Flush();
    MD5Sum sum;
    Context copy = *context_;  // the stream's own context goes on
    copy.Final(sum.digest_);
    return sum;
}
