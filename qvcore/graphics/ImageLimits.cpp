// The size an image file declares, read from its headers before any codec sees the data: the
// system's codecs do not all survive sizes they cannot allocate (Wine's JPEG decoder overflows
// its buffer size for a frame of 65407x61695 and writes past the end), so a declared size
// beyond the library's limits is refused first. Only the fields that give sizes are read (and,
// for GIF, whether a frame has colours at all).
#include "qvcore/graphics/ImageCodecs_p.h"

#include <cstdlib>
#include <cstring>

namespace qvimaging {

namespace {

/// Bytes of the file with bounds: every read past the end gives 0 and marks the reader short.
class Bytes {
public:
    Bytes(const BYTE *data, size_t count) : data_(data), count_(count) {}
    bool Has(size_t offset, size_t n) const { return offset <= count_ && n <= count_ - offset; }
    unsigned Byte(size_t offset) const { return Has(offset, 1) ? data_[offset] : 0; }
    unsigned Le16(size_t offset) const { return Byte(offset) | Byte(offset + 1) << 8; }
    unsigned Be16(size_t offset) const { return Byte(offset) << 8 | Byte(offset + 1); }
    unsigned long Le32(size_t offset) const { return Le16(offset) | static_cast<unsigned long>(Le16(offset + 2)) << 16; }
    unsigned long Be32(size_t offset) const { return static_cast<unsigned long>(Be16(offset)) << 16 | Be16(offset + 2); }
    bool StartsWith(size_t offset, const char *text) const
    {
        size_t n = std::strlen(text);
        return Has(offset, n) && std::memcmp(data_ + offset, text, n) == 0;
    }
    Bytes From(size_t offset) const { return Has(offset, 0) ? Bytes(data_ + offset, count_ - offset) : Bytes(data_, 0); }
    size_t Count() const { return count_; }

private:
    const BYTE *data_;
    size_t count_;
};

void refuse(long long width, long long height)
{
    width = std::llabs(width);
    height = std::llabs(height);
    if (width > Image::kMaxSide || height > Image::kMaxSide || width * height > Image::kMaxPixels)
        fail(WINCODEC_ERR_IMAGESIZEOUTOFRANGE);
}

/// The header chunk's size, where the file begins with one (anything else is the codec's to refuse).
void checkPng(const Bytes &file)
{
    if (file.StartsWith(12, "IHDR"))
        refuse(file.Be32(16), file.Be32(20));
}

/// A DIB: a core header gives 16-bit sizes, every later one 32-bit signed ones.
void checkDib(const Bytes &dib)
{
    if (dib.Le32(0) == 12)
        refuse(dib.Le16(4), dib.Le16(6));
    else
        refuse(static_cast<long>(dib.Le32(4)), static_cast<long>(dib.Le32(8)));
}

/// The logical screen and every frame's descriptor (decoders read all frames at once). A frame
/// without any colour table (neither the file's nor its own) is refused as damaged (Wine's
/// decoder reads through the missing table's null pointer), and so is a file whose blocks do
/// not lead to its trailer.
void checkGif(const Bytes &file)
{
    refuse(file.Le16(6), file.Le16(8));
    bool globalTable = (file.Byte(10) & 0x80) != 0;
    size_t at = 13 + ((file.Byte(10) & 0x80) ? 3u << ((file.Byte(10) & 7) + 1) : 0);
    auto skipBlocks = [&file](size_t offset) {
        while (file.Has(offset, 1) && file.Byte(offset) != 0)
            offset += 1 + file.Byte(offset);
        return offset + 1;
    };
    while (file.Has(at, 1)) {
        unsigned kind = file.Byte(at);
        if (kind == 0x21) {
            at = skipBlocks(at + 2);
        } else if (kind == 0x2C) {
            refuse(file.Le16(at + 5), file.Le16(at + 7));
            unsigned flags = file.Byte(at + 9);
            if (!globalTable && !(flags & 0x80))
                fail(WINCODEC_ERR_BADIMAGE);
            at += 10 + ((flags & 0x80) ? 3u << ((flags & 7) + 1) : 0);
            at = skipBlocks(at + 1);
        } else if (kind == 0x3B) {
            return;
        } else {
            break;
        }
    }
    // Cut short or with a block of no known kind: Wine's decoder keeps what it had read of such
    // a file (some 25 KB each time), so it is refused here.
    fail(WINCODEC_ERR_BADIMAGE);
}

/// Every frame header up to the first scan.
void checkJpeg(const Bytes &file)
{
    size_t at = 2;
    while (file.Has(at, 4) && file.Byte(at) == 0xFF) {
        unsigned marker = file.Byte(at + 1);
        if (marker == 0xDA || marker == 0xD9)
            return;
        if (marker >= 0xC0 && marker <= 0xCF && marker != 0xC4 && marker != 0xC8 && marker != 0xCC)
            refuse(file.Be16(at + 7), file.Be16(at + 5));
        at += 2 + file.Be16(at + 2);
    }
}

/// Width and length of each directory in the chain (at most 64: a loop in it ends there).
void checkTiff(const Bytes &file)
{
    bool little = file.Byte(0) == 'I';
    auto u16 = [&](size_t offset) { return little ? file.Le16(offset) : file.Be16(offset); };
    auto u32 = [&](size_t offset) { return little ? file.Le32(offset) : file.Be32(offset); };
    size_t directory = u32(4);
    for (int count = 0; count < 64 && directory != 0 && file.Has(directory, 2); ++count) {
        unsigned entries = u16(directory);
        long long width = 0, length = 0;
        for (unsigned i = 0; i < entries && file.Has(directory + 2 + i * 12, 12); ++i) {
            size_t entry = directory + 2 + i * 12;
            unsigned tag = u16(entry), type = u16(entry + 2);
            long long value = type == 3 ? u16(entry + 8) : u32(entry + 8);
            if (tag == 256)
                width = value;
            else if (tag == 257)
                length = value;
        }
        refuse(width, length);
        directory = u32(directory + 2 + entries * 12);
    }
}

/// Each entry's image: a PNG or a DIB without its file header.
void checkIco(const Bytes &file)
{
    unsigned entries = file.Le16(4);
    for (unsigned i = 0; i < entries && file.Has(6 + i * 16, 16); ++i) {
        Bytes image = file.From(file.Le32(6 + i * 16 + 12));
        if (image.StartsWith(0, "\x89PNG"))
            checkPng(image);
        else
            checkDib(image);
    }
}

}  // namespace

void checkDeclaredSize(const void *data, size_t count)
{
    Bytes file(static_cast<const BYTE *>(data), count);
    if (file.StartsWith(0, "\x89PNG\r\n\x1a\n"))
        checkPng(file);
    else if (file.StartsWith(0, "GIF8"))
        checkGif(file);
    else if (file.StartsWith(0, "BM"))
        checkDib(file.From(14));
    else if (file.StartsWith(0, "\xff\xd8"))
        checkJpeg(file);
    else if (file.StartsWith(0, "II*") || file.StartsWith(0, "MM"))
        checkTiff(file);
    else if (file.Le16(0) == 0 && (file.Le16(2) == 1 || file.Le16(2) == 2))
        checkIco(file);
}

}  // namespace qvimaging
