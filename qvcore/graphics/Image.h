#ifndef QVCORE_GRAPHICS_IMAGE_H
#define QVCORE_GRAPHICS_IMAGE_H

#include "qvcore/Platform.h"
#include "qvcore/core/Rect.h"
#include "qvcore/core/String.h"
#include "qvcore/graphics/Bitmap.h"

#include <string>

/// A 32-bit device-independent bitmap with straight alpha (blue, green, red, alpha bytes, top
/// row first) read from and written to image files through the system's imaging component
/// (Windows Imaging Component, windowscodecs): PNG, JPEG, GIF (the first frame), BMP, TIFF and
/// ICO in, PNG and BMP out. The library has no codec of its own.
///
/// Being a GDIBitmap, an image blits, takes part in alpha blits and hands its pixels out.
/// Decoding and encoding initialise COM on the calling thread for the length of the call when
/// it has not been (apartment-threaded or free-threaded callers keep theirs).
///
/// Failures: the codec's refusal of data (damaged, truncated, of no known format, too large)
/// and a bitmap the system cannot make throw Image::Exception; Load and Save throw
/// File::Exception when the file itself cannot be read or written. Damaged data never leaves
/// anything allocated behind.
class QVCORE_API Image : public GDIBitmap {
public:
    /// A failure of the imaging component: its HRESULT and its text, "<text> (0x88982F50)",
    /// the system's text for the code where it has one, else the imaging component's
    /// description of it.
    struct Exception {
        long code;
        String message;
    };

    /// The file formats; Unknown for a container of another kind.
    enum Format { Unknown, Bmp, Png, Jpeg, Gif, Tiff, Ico };

    /// The largest image decoded: 32768 pixels a side and 2^28 bytes of pixels (64 Mi pixels).
    /// Larger ones throw Exception (WINCODEC_ERR_IMAGESIZEOUTOFRANGE) before anything is made:
    /// the sizes a PNG, GIF, BMP, JPEG, TIFF or ICO file declares for any of its frames are
    /// checked in its headers before the codec sees it (codecs do not all survive sizes they
    /// cannot allocate).
    static const int kMaxSide = 32768;
    static const long long kMaxPixels = 1LL << 26;

    /// An empty image (no bitmap, format Unknown).
    Image() noexcept;
    Image(Image &&other) noexcept = default;
    Image &operator=(Image &&other) noexcept = default;

    /// Decodes the file (the first frame of several). With a size, the frame is scaled to it
    /// (a 0 in one direction keeps the aspect ratio; both 0: no scaling).
    static Image Load(const String &path, const Size &scaleTo = Size());
    /// Decodes count bytes at data, as Load.
    static Image Decode(const void *data, size_t count, const Size &scaleTo = Size());
    static Image Decode(const std::string &bytes, const Size &scaleTo = Size());

    /// A new image holding a copy of bitmap's pixels (any bitmap; its alpha format is kept,
    /// Unknown format).
    static Image FromBitmap(const GDIBitmap &bitmap);

    /// The image in format (Png or Bmp; others throw std::invalid_argument): 32-bit pixels with
    /// straight alpha (premultiplied pixels are divided back first, without changing the
    /// image); a BMP is written with a version-5 header whose masks declare the alpha channel.
    std::string Encode(Format format) const;
    /// Encode into the file (created or replaced).
    void Save(const String &path, Format format) const;

    /// Png for a name ending in ".png" (any case), Bmp for ".bmp" or ".dib", else Unknown.
    static Format FormatFromName(const String &path);
    /// "PNG", "JPEG", "GIF", "BMP", "TIFF", "ICO", or "unknown".
    static const char *FormatName(Format format);

    // --- what the decoded file said ------------------------------------------------------------

    Format GetFormat() const { return format_; }
    /// Frames in the file (1 for most formats; animated GIF, multi-page TIFF and ICO more).
    unsigned GetFrameCount() const { return frames_; }
    /// Bits per pixel of the first frame as stored (8 for a palette image, 24 for RGB, ...).
    unsigned GetSourceBitsPerPixel() const { return sourceBits_; }
    /// Whether the stored pixels carry alpha (an alpha channel, or a transparent palette entry).
    bool SourceHasAlpha() const { return sourceAlpha_; }
    /// The stored size of the first frame (GetSize() is the decoded one, scaled or not).
    Size GetSourceSize() const { return sourceSize_; }

private:
    friend struct ImageDecoding;
    Format format_;
    unsigned frames_;
    unsigned sourceBits_;
    bool sourceAlpha_;
    Size sourceSize_;
};

#endif
