// MB/s of each stream stage beside the raw operation it wraps, measured in the same run, and
// their ratio. Each figure is the best of several rounds (the machine is shared).

#include "bench/Bench.h"
#include "qvcore/streams/Base64Stream.h"
#include "qvcore/streams/BufferedStream.h"
#include "qvcore/streams/CRCStream.h"
#include "qvcore/streams/CompressingStream.h"
#include "qvcore/streams/MD5Sum.h"
#include "qvcore/streams/StreamBase.h"

#include <zlib.h>

#include <algorithm>
#include <cstdlib>
#include <cstring>
#include <functional>
#include <string>
#include <vector>

namespace {

const int piece = 64 * 1024;
const int rounds = 7;
volatile unsigned long checksum;  // keeps the reference loops from being optimised away

// The best MB/s of each of runs, which each move bytes bytes.
std::vector<double> rates(std::size_t bytes, const std::vector<std::function<void()>> &runs)
{
    std::vector<double> best = bench::bestTimes(rounds, runs);
    for (double &b : best)
        b = static_cast<double>(bytes) / b / 1e6;
    return best;
}

// Discards everything: the cost measured is the filter's own.
class NullStream : public OutputStream {
public:
    NullStream() : OutputStream(nullptr) {}
    void Write(const char *data, int count) override
    {
        if (count > 0)
            last = data[count - 1];
    }
    volatile char last = 0;
};

// Byte-by-byte source (no Peek): the plain behaviour the decompressor's bulk path replaces.
class PlainSource : public InputStream {
public:
    PlainSource(const std::string &data) : InputStream(nullptr), data(data) {}
    void Read(char *buffer, int count) override
    {
        if (count > static_cast<int>(data.size() - at))
            throw Exception{5, L"Memory block too short"};
        std::memcpy(buffer, data.data() + at, count);
        at += count;
    }
    const std::string &data;
    std::size_t at = 0;
};

std::string randomBytes(std::size_t size)
{
    std::string s(size, '\0');
    unsigned x = 12345;
    for (char &c : s) {
        x = x * 1103515245u + 12345u;
        c = static_cast<char>(x >> 16);
    }
    return s;
}

std::string textBytes(std::size_t size)
{
    static const char *words[] = {"stream ", "filter ", "chain ", "block ", "zlib ", "crc ", "\n", "base64 ",
                                  "deflate ", "window ", "buffer ", "digest "};
    std::string s;
    unsigned x = 7;
    while (s.size() < size) {
        x = x * 1103515245u + 12345u;
        s += words[(x >> 16) % 12];
        if ((x & 0xF00) == 0)
            s += std::to_string(x % 100000);
    }
    s.resize(size);
    return s;
}

// A stage's MB/s beside its reference's, with the ratio it should reach (0: none set).
void row(const std::string &stage, double mbs, const std::string &reference, double refMbs, double goal)
{
    bench::row(stage, mbs, reference, refMbs, "MB/s", goal > 0 ? bench::ratioAtLeast(goal) : bench::Goal());
}

std::string deflateRaw(const std::string &data, int level)
{
    z_stream z = {};
    deflateInit(&z, level);
    std::string out(deflateBound(&z, static_cast<uLong>(data.size())), '\0');
    z.next_in = reinterpret_cast<Bytef *>(const_cast<char *>(data.data()));
    z.avail_in = static_cast<uInt>(data.size());
    z.next_out = reinterpret_cast<Bytef *>(&out[0]);
    z.avail_out = static_cast<uInt>(out.size());
    deflate(&z, Z_FINISH);
    out.resize(z.total_out);
    deflateEnd(&z);
    return out;
}

void inflateRaw(const std::string &packed, std::string &out)
{
    z_stream z = {};
    inflateInit(&z);
    z.next_in = reinterpret_cast<Bytef *>(const_cast<char *>(packed.data()));
    z.avail_in = static_cast<uInt>(packed.size());
    z.next_out = reinterpret_cast<Bytef *>(&out[0]);
    z.avail_out = static_cast<uInt>(out.size());
    inflate(&z, Z_FINISH);
    inflateEnd(&z);
}

// The bytes every step moves: random (incompressible) data, compressible text, and two
// buffers of the data's size to copy into.
struct Inputs {
    std::string data = randomBytes(32u << 20);
    std::string text = textBytes(16u << 20);
    std::vector<char> destination = std::vector<char>(data.size(), 1), out = std::vector<char>(data.size(), 1);
};

// Memory streams against memcpy of the same pieces. The stream's chunks are fresh heap memory
// each round: the same copy into fresh 64 KiB heap blocks is the like-for-like figure.
void memoryStreams(Inputs &in)
{
    const std::size_t size = in.data.size();
    auto warmCopy = [&] {
        for (std::size_t at = 0; at < size; at += piece)
            std::memcpy(in.destination.data() + at, in.data.data() + at, piece);
    };
    auto freshCopy = [&] {
        std::vector<char *> blocks;
        for (std::size_t at = 0; at < size; at += piece) {
            blocks.push_back(static_cast<char *>(std::malloc(piece)));
            std::memcpy(blocks.back(), in.data.data() + at, piece);
        }
        for (char *block : blocks)
            std::free(block);
    };
    auto memoryOut = [&] {
        MemoryOutputStream stream;
        for (std::size_t at = 0; at < size; at += piece)
            stream.Write(in.data.data() + at, piece);
    };
    auto memoryIn = [&] {
        MemoryInputStream stream(in.data);
        for (std::size_t at = 0; at < size; at += piece)
            stream.Read(in.out.data() + at, piece);
    };
    std::vector<double> memory = rates(size, {memoryOut, warmCopy, freshCopy, memoryIn});
    row("MemoryOutputStream::Write", memory[0], "memcpy into a warm buffer", memory[1], 0.7);
    row("MemoryOutputStream::Write", memory[0], "memcpy into fresh 64 KiB mallocs", memory[2], 0.7);
    row("MemoryInputStream::Read", memory[3], "memcpy into a warm buffer", memory[1], 0.7);
}

// CRC blocks against crc32 plus a copy.
void crcStreams(Inputs &in)
{
    const std::size_t size = in.data.size();
    auto crcCopy = [&] {
        unsigned long crc = 0;
        for (std::size_t at = 0; at < size; at += piece) {
            std::memcpy(in.destination.data() + at, in.data.data() + at, piece);
            crc ^= crc32(0, reinterpret_cast<const Bytef *>(in.destination.data() + at), piece);
        }
        checksum = checksum ^ crc;
    };
    auto crcOut = [&] {
        NullStream sink;
        CRCOutputStream crc(sink);
        for (std::size_t at = 0; at < size; at += piece)
            crc.Write(in.data.data() + at, piece);
    };
    std::string blocks;
    {
        MemoryOutputStream sink;
        {
            CRCOutputStream crc(sink);
            crc.Write(in.data.data(), static_cast<int>(size));
        }
        blocks = sink.GetContent();
    }
    auto crcIn = [&] {
        MemoryInputStream source(blocks);
        CRCInputStream crc(source);
        for (std::size_t at = 0; at < size; at += piece)
            crc.Read(in.out.data() + at, piece);
    };
    std::vector<double> crc = rates(size, {crcOut, crcIn, crcCopy});
    row("CRCOutputStream -> null sink", crc[0], "crc32 + memcpy", crc[2], 0.9);
    row("CRCInputStream <- memory", crc[1], "crc32 + memcpy", crc[2], 0.9);
}

// Compression against deflate called directly at the same level.
void compression(const std::string &text)
{
    for (int level : {1, 6}) {
        std::vector<double> r = rates(text.size(), {[&] {
                                                        NullStream sink;
                                                        CompressingStream compressor(sink, level);
                                                        for (std::size_t at = 0; at < text.size(); at += piece)
                                                            compressor.Write(text.data() + at, piece);
                                                    },
                                                    [&] { deflateRaw(text, level); }});
        row("CompressingStream, level " + std::to_string(level) + ", text", r[0],
            "deflate, level " + std::to_string(level), r[1], 0.95);
    }
}

// Decompression against inflate of the whole buffer, over a memory source and over a source
// that reads byte by byte.
void decompression(const std::string &text)
{
    for (int level : {1, 6}) {
        std::string packed = deflateRaw(text, level);
        std::string plain(text.size(), '\0');
        std::vector<double> r = rates(text.size(), {[&] {
                                                        MemoryInputStream source(packed);
                                                        DecompressingStream decompressor(source);
                                                        for (std::size_t at = 0; at < text.size(); at += piece)
                                                            decompressor.Read(&plain[at], piece);
                                                    },
                                                    [&] { inflateRaw(packed, plain); },
                                                    [&] {
                                                        PlainSource source(packed);
                                                        DecompressingStream decompressor(source);
                                                        for (std::size_t at = 0; at < text.size(); at += piece)
                                                            decompressor.Read(&plain[at], piece);
                                                    }});
        row("DecompressingStream <- memory, level " + std::to_string(level), r[0], "inflate, whole buffer", r[1], 0.8);
        row("  (same over a one-byte-read source)", r[2], "inflate, whole buffer", r[1], 0);
    }
}

// MD5 against the update loop over the whole buffer.
void md5(const std::string &data)
{
    std::vector<double> md5 = rates(data.size(), {[&] {
                                                      MD5SumStream stream;
                                                      for (std::size_t at = 0; at < data.size(); at += piece)
                                                          stream.Write(data.data() + at, piece);
                                                      stream.GetMD5Sum();
                                                  },
                                                  [&] { MD5Sum sum(data.data(), static_cast<int>(data.size())); }});
    row("MD5SumStream::Write", md5[0], "MD5 update loop, whole buffer", md5[1], 0);
}

// Base64 against the memory functions.
void base64(Inputs &in)
{
    const std::size_t size = in.data.size();
    std::string encoded(Base64EncodingStream::Base64MemoryEncodedSize(static_cast<int>(size)), '\0');
    std::string lines;
    {
        MemoryOutputStream sink;
        {
            Base64EncodingStream encoder(sink, 76);
            encoder.Write(in.data.data(), static_cast<int>(size));
        }
        lines = sink.GetContent();
    }
    std::vector<double> base64 = rates(
        size, {[&] {
                   NullStream sink;
                   BufferedOutputStream buffered(sink);
                   Base64EncodingStream encoder(buffered, 76);
                   for (std::size_t at = 0; at < size; at += piece)
                       encoder.Write(in.data.data() + at, piece);
               },
               [&] { Base64EncodingStream::Base64MemoryEncode(in.data.data(), static_cast<int>(size), &encoded[0]); },
               [&] {
                   MemoryInputStream source(lines);
                   Base64DecodingStream decoder(source);
                   for (std::size_t at = 0; at < size; at += 3 * piece)
                       decoder.Read(in.out.data() + at, static_cast<int>(std::min<std::size_t>(3 * piece, size - at)));
               },
               [&] {
                   Base64EncodingStream::Base64MemoryDecode(encoded.data(), static_cast<int>(encoded.size()),
                                                            in.out.data());
               }});
    row("Base64EncodingStream(76) -> buffered", base64[0], "Base64MemoryEncode", base64[1], 0);
    row("Base64DecodingStream <- memory (76-col text)", base64[2], "Base64MemoryDecode (no breaks)", base64[3], 0);
}

}  // namespace

int main()
{
    Inputs in;
    std::printf("MB/s of each stream stage (64 KiB requests) beside its reference, best of %d rounds\n", rounds);
    memoryStreams(in);
    crcStreams(in);
    compression(in.text);
    decompression(in.text);
    md5(in.data);
    base64(in);
    return 0;
}
