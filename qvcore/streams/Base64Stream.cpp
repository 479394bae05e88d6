#include "qvcore/streams/Base64Stream.h"

#include <algorithm>
#include <cstring>

namespace {

const char alphabet[] = "ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz0123456789+/";

enum : signed char { SkipMark = -1, PadMark = -2 };

struct DecodingTable {
    signed char value[256];
    DecodingTable()
    {
        // Bytes above 0x7F are outside the alphabet like any other stranger.
        std::memset(value, SkipMark, sizeof value);
        for (int i = 0; i < 64; ++i)
            value[static_cast<unsigned char>(alphabet[i])] = static_cast<signed char>(i);
        value[static_cast<unsigned char>('=')] = PadMark;
    }
};
const DecodingTable table;

inline signed char lookup(char c)
{
    return table.value[static_cast<unsigned char>(c)];
}

inline void encodeGroup(const unsigned char *in, char *out)
{
    unsigned bits = (in[0] << 16) | (in[1] << 8) | in[2];
    out[0] = alphabet[bits >> 18];
    out[1] = alphabet[(bits >> 12) & 63];
    out[2] = alphabet[(bits >> 6) & 63];
    out[3] = alphabet[bits & 63];
}

// Encodes the last 1 or 2 bytes with "=" padding.
inline void encodeTail(const unsigned char *in, int count, char *out)
{
    unsigned char full[3] = {in[0], count > 1 ? in[1] : static_cast<unsigned char>(0), 0};
    encodeGroup(full, out);
    out[3] = '=';
    if (count == 1)
        out[2] = '=';
}

// Decodes 4 values (alphabet values or Pad): a pad in first or second place yields nothing,
// in third place 1 byte, in fourth 2 bytes.
inline int decodeGroup(const signed char *v, char *out)
{
    if (v[0] == PadMark || v[1] == PadMark)
        return 0;
    out[0] = static_cast<char>((v[0] << 2) | (v[1] >> 4));
    if (v[2] == PadMark)
        return 1;
    out[1] = static_cast<char>(((v[1] & 15) << 4) | (v[2] >> 2));
    if (v[3] == PadMark)
        return 2;
    out[2] = static_cast<char>(((v[2] & 3) << 6) | v[3]);
    return 3;
}

}  // namespace

// --- encoding ------------------------------------------------------------------------------

Base64EncodingStream::Base64EncodingStream(OutputStream &target, int lineLength)
    : OutputStream(&target),
      groupsPerLine_(lineLength < 0 ? 0 : std::max(1, lineLength / 4)),
      groupsOnLine_(0),
      pending_(),
      pendingCount_(0)
{
}

Base64EncodingStream::~Base64EncodingStream() noexcept(false)
{
    if (!target)
        return;
    WriteFromDestructor([this] {
        InternalFlush();
        if (groupsPerLine_ > 0 && groupsOnLine_ != 0)
            target->Write("\n", 1);
    });
}

void Base64EncodingStream::WriteGroup(const char *group)
{
    Target().Write(group, 4);
    if (groupsPerLine_ > 0 && ++groupsOnLine_ == groupsPerLine_) {
        groupsOnLine_ = 0;
        Target().Write("\n", 1);
    }
}

void Base64EncodingStream::Write(const char *data, int count)
{
    if (count < 1)
        return;
    char group[4];
    if (pendingCount_ > 0) {
        int k = std::min(3 - pendingCount_, count);
        std::memcpy(pending_ + pendingCount_, data, k);
        pendingCount_ += k;
        data += k;
        count -= k;
        if (pendingCount_ < 3)
            return;
        pendingCount_ = 0;
        encodeGroup(reinterpret_cast<const unsigned char *>(pending_), group);
        WriteGroup(group);
    }
    const unsigned char *in = reinterpret_cast<const unsigned char *>(data);
    while (count >= 3) {
        // Groups and line feeds straight into the target's buffer while it has room for a
        // group and a line feed: the same as writing each of them.
        char *space;
        int room = Target().Reserve(space);
        if (room < 5) {
            encodeGroup(in, group);
            WriteGroup(group);
            in += 3;
            count -= 3;
            continue;
        }
        int used = 0;
        for (; count >= 3 && room - used >= 5; count -= 3, in += 3) {
            encodeGroup(in, space + used);
            used += 4;
            if (groupsPerLine_ > 0 && ++groupsOnLine_ == groupsPerLine_) {
                groupsOnLine_ = 0;
                space[used++] = '\n';
            }
        }
        target->Commit(used);
    }
    std::memcpy(pending_, in, count);
    pendingCount_ = count;
}

void Base64EncodingStream::FlushSelf()
{
    InternalFlush();
}

void Base64EncodingStream::InternalFlush()
{
    if (pendingCount_ == 0)
        return;
    char group[4];
    encodeTail(reinterpret_cast<const unsigned char *>(pending_), pendingCount_, group);
    pendingCount_ = 0;
    WriteGroup(group);
}

int Base64EncodingStream::Base64MemoryEncodedSize(int n)
{
    return (n + 2) / 3 * 4;
}

void Base64EncodingStream::Base64MemoryEncode(const char *source, int n, char *destination)
{
    const unsigned char *in = reinterpret_cast<const unsigned char *>(source);
    for (; n >= 3; n -= 3, in += 3, destination += 4)
        encodeGroup(in, destination);
    if (n > 0)
        encodeTail(in, n, destination);
}

int Base64EncodingStream::Base64MemoryDecodedMaxSize(int n)
{
    return n / 4 * 3;
}

int Base64EncodingStream::Base64MemoryDecode(const char *source, int n, char *destination)
{
    int total = 0;
    for (; n >= 4; n -= 4, source += 4) {
        signed char v[4];
        for (int i = 0; i < 4; ++i) {
            v[i] = lookup(source[i]);
            if (v[i] == SkipMark)
                return -1;
        }
        int k = decodeGroup(v, destination);
        destination += k;
        total += k;
    }
    return total;
}

// --- decoding ------------------------------------------------------------------------------

Base64DecodingStream::Base64DecodingStream(InputStream &source) : InputStream(&source), decoded_(), available_(0) {}

Base64DecodingStream::~Base64DecodingStream() noexcept(false) {}

// Collects the next 4 values from the source, skipping strangers, and decodes them; groups
// that yield nothing are passed over. Consumes exactly the characters up to the fourth value,
// taking them from the source's memory when it shows any.
int Base64DecodingStream::ReadGroup()
{
    for (;;) {
        signed char v[4];
        int have = 0;
        while (have < 4) {
            const char *view;
            int n = source->Peek(view);
            if (n > 0) {
                int i = 0;
                while (i < n && have < 4) {
                    signed char value = lookup(view[i++]);
                    if (value != SkipMark)
                        v[have++] = value;
                }
                source->Skip(i);
            } else {
                char c;
                source->Read(&c, 1);
                signed char value = lookup(c);
                if (value != SkipMark)
                    v[have++] = value;
            }
        }
        int k = decodeGroup(v, decoded_);
        if (k > 0)
            return k;
    }
}

// Decodes whole groups straight from the source's memory into buffer while at least 3 bytes
// of room remain; each group is handed out completely, so nothing is left for the next
// request. Returns the bytes produced; consumed tells whether any character was taken.
int Base64DecodingStream::DecodeShown(char *buffer, int count, bool &consumed)
{
    const char *view;
    int n = source->Peek(view);
    int used = 0, produced = 0;
    while (count - produced >= 3) {
        char *out = buffer + produced;
        if (n - used >= 4) {
            signed char v[4] = {lookup(view[used]), lookup(view[used + 1]), lookup(view[used + 2]),
                                lookup(view[used + 3])};
            if ((v[0] | v[1] | v[2] | v[3]) >= 0) {  // four alphabet values, the usual case
                unsigned bits = (v[0] << 18) | (v[1] << 12) | (v[2] << 6) | v[3];
                out[0] = static_cast<char>(bits >> 16);
                out[1] = static_cast<char>(bits >> 8);
                out[2] = static_cast<char>(bits);
                produced += 3;
                used += 4;
                continue;
            }
        }
        signed char v[4];
        int have = 0, at = used;
        while (at < n && have < 4) {
            signed char value = lookup(view[at++]);
            if (value != SkipMark)
                v[have++] = value;
        }
        if (have < 4)
            break;  // the group runs beyond what the source shows
        produced += decodeGroup(v, out);
        used = at;
    }
    consumed = used > 0;
    if (consumed)
        source->Skip(used);
    return produced;
}

int Base64DecodingStream::ReadSome(char *buffer, int count)
{
    if (count < 1)
        return 0;
    if (available_ == 0 && count >= 3) {
        bool consumed;
        int k = DecodeShown(buffer, count, consumed);
        if (k > 0)
            return k;
    }
    if (available_ == 0)
        available_ = ReadGroup();
    int k = std::min(count, available_);
    std::memcpy(buffer, decoded_, k);  // from the group's first byte: see the class comment
    available_ -= k;
    return k;
}

void Base64DecodingStream::Read(char *buffer, int count)
{
    while (count > 0) {
        if (available_ == 0 && count >= 3) {
            bool consumed;
            int k = DecodeShown(buffer, count, consumed);
            buffer += k;
            count -= k;
            if (consumed)
                continue;
        }
        int k = ReadSome(buffer, count);
        buffer += k;
        count -= k;
    }
}
