#ifndef QVCORE_GRAPHICS_BITMAP_H
#define QVCORE_GRAPHICS_BITMAP_H

#include "qvcore/Platform.h"
#include "qvcore/core/Rect.h"
#include "qvcore/graphics/GdiObject.h"

#include <vector>

class ModuleBase;

/// What a blit takes its pixels from: a bitmap, drawn into any device context through a memory
/// context of its own for the length of each call. Blits answer as the system calls they name
/// (true for success) and never throw.
class QVCORE_API BitmapBase {
public:
    /// How the alpha bytes of 32-bit pixels are to be read: not at all, as the coverage of
    /// straight colours (as image files store them), or with the colours already multiplied by
    /// it (what the system's alpha blit takes).
    enum AlphaFormat { NoAlpha, StraightAlpha, PremultipliedAlpha };

    virtual ~BitmapBase();

    /// The bitmap the pixels are in (null: none). It stays the object's.
    virtual HBITMAP GetHBitmap() const = 0;
    virtual AlphaFormat GetAlphaFormat() const { return NoAlpha; }
    /// Width and height in pixels; (0, 0) without a bitmap.
    virtual Size GetSize() const;

    /// The whole bitmap at `at` with the raster operation (BitBlt).
    bool Draw(HDC dc, const Point &at, DWORD rop = SRCCOPY) const;
    /// source (in the bitmap) into target, stretched when their sizes differ (StretchBlt with
    /// the context's stretch mode).
    bool Draw(HDC dc, const Rect &target, const Rect &source, DWORD rop = SRCCOPY) const;
    /// As Draw, but the pixels of colour key are left out (TransparentBlt).
    bool DrawTransparent(HDC dc, const Rect &target, const Rect &source, COLORREF key) const;
    /// source blended into target (AlphaBlend), stretched when the sizes differ, with constant
    /// opacity (255: as the pixels say) times each pixel's alpha when the bitmap has one:
    /// premultiplied pixels go to the system as they are, straight ones through a premultiplied
    /// copy of the source rectangle made for the call (slower: premultiply a bitmap drawn often).
    bool DrawAlpha(HDC dc, const Rect &target, const Rect &source, BYTE opacity = 255) const;
    /// The whole bitmap at `at`.
    bool DrawAlpha(HDC dc, const Point &at, BYTE opacity = 255) const;

protected:
    BitmapBase() = default;
    BitmapBase(const BitmapBase &) = default;
    BitmapBase &operator=(const BitmapBase &) = default;
};

/// A bitmap owned by the object: device-dependent (DDB: the device's format, no pixel access)
/// or a 32-bit top-down device-independent section (DIB: pixels in memory, blue, green, red and
/// alpha bytes, rows of width * 4 bytes). Move-only.
///
/// Making a bitmap throws WinException when the system makes none; loading from resources
/// never throws (an empty object for a missing resource). Pixel and alpha operations need a DIB
/// (IsDIB()): on a DDB or an empty object they throw std::logic_error, and coordinates outside
/// the bitmap throw std::out_of_range.
class QVCORE_API GDIBitmap : public BitmapBase {
public:
    /// Holds no bitmap.
    GDIBitmap() noexcept;
    /// Takes ownership of bitmap (DeleteObject when the object goes), read with alpha format.
    explicit GDIBitmap(HBITMAP bitmap, AlphaFormat alpha = NoAlpha);
    GDIBitmap(GDIBitmap &&other) noexcept;
    GDIBitmap &operator=(GDIBitmap &&other) noexcept;
    ~GDIBitmap() override;

    /// A 32-bit DIB section of size, every byte 0 (transparent black). size must be positive
    /// in both directions (std::invalid_argument otherwise).
    static GDIBitmap CreateDIB(const Size &size, AlphaFormat alpha = NoAlpha);
    /// A device-dependent bitmap compatible with dc, its content undefined.
    static GDIBitmap CreateCompatible(HDC dc, const Size &size);
    /// Bitmap resource id of the module (ModuleBase::LoadBitmap): a DDB; empty when missing.
    static GDIBitmap FromResource(const ModuleBase &module, unsigned id);
    /// "PICTURE" resource id drawn into a bitmap of its size (ModuleBase::LoadPictureAsBmp);
    /// empty when missing or unreadable.
    static GDIBitmap FromPicture(const ModuleBase &module, unsigned id);

    /// A 32-bit DIB copy of any bitmap (a DDB's alpha bytes become 255) with the same alpha
    /// format; an empty object for an empty one.
    GDIBitmap ToDIB() const;

    HBITMAP GetHBitmap() const override { return static_cast<HBITMAP>(bitmap_.get()); }
    AlphaFormat GetAlphaFormat() const override { return alpha_; }
    /// Says how the alpha bytes are to be read from now on; the pixels are not changed.
    void SetAlphaFormat(AlphaFormat alpha) { alpha_ = alpha; }
    Size GetSize() const override;
    bool IsDIB() const { return bits_ != nullptr; }
    /// Gives the bitmap up (the caller deletes it); the object is empty afterwards.
    HBITMAP Detach();

    // --- pixels (DIB only) -----------------------------------------------------------------------

    /// The first row's first byte, after the system has finished drawing into the bitmap
    /// (GdiFlush). Rows are GetStride() bytes apart, top row first.
    BYTE *GetBits();
    const BYTE *GetBits() const;
    int GetStride() const { return width_ * 4; }
    /// The pixel as 0xAARRGGBB.
    DWORD GetPixel(const Point &point) const;
    void SetPixel(const Point &point, DWORD argb);

    // --- alpha channel (DIB only) ----------------------------------------------------------------

    /// Every pixel's alpha, row by row.
    std::vector<BYTE> GetAlphaChannel() const;
    /// Sets every pixel's alpha from the values row by row (as many as pixels: otherwise
    /// std::invalid_argument and nothing changes) and reads them as straight alpha from now on.
    void SetAlphaChannel(const std::vector<BYTE> &alpha);
    /// Every pixel's alpha becomes alpha, the colours untouched; read as straight alpha.
    void SetAlpha(BYTE alpha);
    /// Pixels of colour key become fully transparent, all others opaque; straight alpha.
    void SetAlphaFromColorKey(COLORREF key);
    /// Multiplies the colours by their alpha (rounded) for the system's alpha blit; a bitmap
    /// already premultiplied, or without alpha, is left as it is.
    void Premultiply();
    /// Divides the colours by their alpha again (rounded; colours of transparent pixels become
    /// 0): what image files store. A bitmap not premultiplied is left as it is.
    void Unpremultiply();

    /// over drawn onto this DIB at `at` through the alpha blit (DrawAlpha, with opacity), as
    /// "source over destination" for a destination with straight alpha too: the covered area is
    /// premultiplied in a copy, blended, divided back and copied in; pixels outside it are left
    /// exactly as they were. False when the system's blit fails (nothing changes then).
    bool Blend(const BitmapBase &over, const Point &at, BYTE opacity = 255);

    /// A monochrome mask of the same size: 1 (white) where the pixel is key, 0 elsewhere, as
    /// ImageList::Add and the system's masked blits take it. Works on a DDB too.
    GDIBitmap CreateMask(COLORREF key) const;

private:
    void adopt(HBITMAP bitmap);
    BYTE *pixel(const Point &point) const;
    void requireDIB() const;

    ScopedGdiObject<HBITMAP> bitmap_;
    BYTE *bits_;
    int width_, height_;
    AlphaFormat alpha_;
};

#endif
