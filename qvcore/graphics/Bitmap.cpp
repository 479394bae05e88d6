#include "qvcore/graphics/Bitmap.h"

#include "qvcore/graphics/DC.h"
#include "qvcore/graphics/Graphics_p.h"
#include "qvcore/runtime/ModuleBase.h"

#include <algorithm>
#include <stdexcept>

using qvgraphics::checked;

// --- BitmapBase: blits through a memory context holding the bitmap for the call ---------------

namespace {

/// A memory context compatible with the target holding the source bitmap while a blit runs.
class SourceDC : public MemoryDC {
public:
    SourceDC(HDC target, const BitmapBase &bitmap) : MemoryDC(target) { Select(bitmap); }
};

BYTE premultiplied(BYTE colour, BYTE alpha)
{
    return static_cast<BYTE>((colour * alpha + 127) / 255);
}

}  // namespace

void qvgraphics::unpremultiply(BYTE *pixels, size_t count)
{
    for (BYTE *p = pixels, *end = pixels + count; p + 4 <= end; p += 4) {
        BYTE alpha = p[3];
        if (alpha == 255)
            continue;
        for (int c = 0; c < 3; ++c)
            p[c] = alpha ? static_cast<BYTE>(std::min(255, (p[c] * 255 + alpha / 2) / alpha)) : 0;
    }
}

BitmapBase::~BitmapBase() {}

Size BitmapBase::GetSize() const
{
    BITMAP info = {};
    if (!GetHBitmap() || !GetObjectA(GetHBitmap(), sizeof info, &info))
        return Size();
    return Size(info.bmWidth, info.bmHeight);
}

bool BitmapBase::Draw(HDC dc, const Point &at, DWORD rop) const
{
    Size size = GetSize();
    return Draw(dc, Rect(at, size), Rect(Point(), size), rop);
}

bool BitmapBase::Draw(HDC dc, const Rect &target, const Rect &source, DWORD rop) const
{
    SourceDC from(dc, *this);
    if (target.GetSize() == source.GetSize())
        return BitBlt(dc, target.left, target.top, target.Width(), target.Height(), from, source.left, source.top,
                      rop) != FALSE;
    return StretchBlt(dc, target.left, target.top, target.Width(), target.Height(), from, source.left, source.top,
                      source.Width(), source.Height(), rop) != FALSE;
}

bool BitmapBase::DrawTransparent(HDC dc, const Rect &target, const Rect &source, COLORREF key) const
{
    SourceDC from(dc, *this);
    return GdiTransparentBlt(dc, target.left, target.top, target.Width(), target.Height(), from, source.left,
                             source.top, source.Width(), source.Height(), key) != FALSE;
}

bool BitmapBase::DrawAlpha(HDC dc, const Point &at, BYTE opacity) const
{
    Size size = GetSize();
    return DrawAlpha(dc, Rect(at, size), Rect(Point(), size), opacity);
}

bool BitmapBase::DrawAlpha(HDC dc, const Rect &target, const Rect &source, BYTE opacity) const
{
    BLENDFUNCTION blend = {AC_SRC_OVER, 0, opacity, 0};
    if (GetAlphaFormat() == PremultipliedAlpha)
        blend.AlphaFormat = AC_SRC_ALPHA;
    if (GetAlphaFormat() != StraightAlpha) {
        SourceDC from(dc, *this);
        return GdiAlphaBlend(dc, target.left, target.top, target.Width(), target.Height(), from, source.left,
                             source.top, source.Width(), source.Height(), blend) != FALSE;
    }
    // The system blends premultiplied pixels only: the source rectangle is copied and
    // premultiplied for this call.
    Rect area(source);
    area.IntersectRect(Rect(Point(), GetSize()));
    if (area.IsEmpty() || area != source)
        return false;
    GDIBitmap copy;
    try {
        copy = GDIBitmap::CreateDIB(area.GetSize(), StraightAlpha);
    } catch (...) {
        return false;
    }
    {
        MemoryDC into;
        into.Select(copy);
        if (!Draw(into, Rect(Point(), area.GetSize()), area))
            return false;
    }
    copy.Premultiply();
    return copy.DrawAlpha(dc, target, Rect(Point(), area.GetSize()), opacity);
}

// --- GDIBitmap -----------------------------------------------------------------------------------

GDIBitmap::GDIBitmap() noexcept : bits_(nullptr), width_(0), height_(0), alpha_(NoAlpha) {}

GDIBitmap::GDIBitmap(HBITMAP bitmap, AlphaFormat alpha) : GDIBitmap()
{
    adopt(bitmap);
    alpha_ = alpha;
}

GDIBitmap::GDIBitmap(GDIBitmap &&other) noexcept
    : bitmap_(std::move(other.bitmap_)), bits_(other.bits_), width_(other.width_), height_(other.height_),
      alpha_(other.alpha_)
{
    other.bits_ = nullptr;
    other.width_ = other.height_ = 0;
}

GDIBitmap &GDIBitmap::operator=(GDIBitmap &&other) noexcept
{
    if (this != &other) {
        bitmap_ = std::move(other.bitmap_);
        bits_ = other.bits_;
        width_ = other.width_;
        height_ = other.height_;
        alpha_ = other.alpha_;
        other.bits_ = nullptr;
        other.width_ = other.height_ = 0;
    }
    return *this;
}

GDIBitmap::~GDIBitmap() {}

void GDIBitmap::adopt(HBITMAP bitmap)
{
    bitmap_.reset(bitmap);
    bits_ = nullptr;
    width_ = height_ = 0;
    DIBSECTION section = {};
    int got = bitmap ? GetObjectA(bitmap, sizeof section, &section) : 0;
    if (got == 0)
        return;
    width_ = section.dsBm.bmWidth;
    height_ = section.dsBm.bmHeight;
    // Pixel access is for the one layout it is written for: 32 bits, top row first.
    if (got == sizeof section && section.dsBm.bmBits && section.dsBmih.biBitCount == 32 && section.dsBmih.biHeight < 0)
        bits_ = static_cast<BYTE *>(section.dsBm.bmBits);
}

GDIBitmap GDIBitmap::CreateDIB(const Size &size, AlphaFormat alpha)
{
    if (size.cx <= 0 || size.cy <= 0)
        throw std::invalid_argument("GDIBitmap::CreateDIB: the size must be positive");
    BITMAPINFO info = {};
    info.bmiHeader.biSize = sizeof info.bmiHeader;
    info.bmiHeader.biWidth = size.cx;
    info.bmiHeader.biHeight = -size.cy;
    info.bmiHeader.biPlanes = 1;
    info.bmiHeader.biBitCount = 32;
    info.bmiHeader.biCompression = BI_RGB;
    void *bits = nullptr;
    HBITMAP bitmap = CreateDIBSection(nullptr, &info, DIB_RGB_COLORS, &bits, nullptr, 0);
    GDIBitmap made(checked(bitmap, L"CreateDIBSection"), alpha);
    // The system may report a section's height as positive whichever way its rows go; this
    // one is known to be top-down.
    made.bits_ = static_cast<BYTE *>(bits);
    return made;
}

GDIBitmap GDIBitmap::CreateCompatible(HDC dc, const Size &size)
{
    return GDIBitmap(checked(CreateCompatibleBitmap(dc, size.cx, size.cy), L"CreateCompatibleBitmap"));
}

GDIBitmap GDIBitmap::FromResource(const ModuleBase &module, unsigned id)
{
    return GDIBitmap(module.LoadBitmapA(id));
}

GDIBitmap GDIBitmap::FromPicture(const ModuleBase &module, unsigned id)
{
    return GDIBitmap(module.LoadPictureAsBmp(id));
}

GDIBitmap GDIBitmap::ToDIB() const
{
    if (!GetHBitmap())
        return GDIBitmap();
    GDIBitmap copy = CreateDIB(GetSize(), alpha_);
    if (IsDIB()) {
        std::copy(GetBits(), GetBits() + GetStride() * height_, copy.GetBits());
        return copy;
    }
    {
        MemoryDC into;
        into.Select(copy);
        Draw(into, Point());
    }
    copy.SetAlpha(255);
    copy.alpha_ = alpha_;
    return copy;
}

Size GDIBitmap::GetSize() const
{
    return Size(width_, height_);
}

HBITMAP GDIBitmap::Detach()
{
    bits_ = nullptr;
    width_ = height_ = 0;
    return bitmap_.release();
}

// --- pixels --------------------------------------------------------------------------------------

void GDIBitmap::requireDIB() const
{
    if (!bits_)
        throw std::logic_error("GDIBitmap: pixel access needs a 32-bit DIB section");
}

BYTE *GDIBitmap::GetBits()
{
    requireDIB();
    GdiFlush();
    return bits_;
}

const BYTE *GDIBitmap::GetBits() const
{
    requireDIB();
    GdiFlush();
    return bits_;
}

BYTE *GDIBitmap::pixel(const Point &point) const
{
    requireDIB();
    if (point.x < 0 || point.y < 0 || point.x >= width_ || point.y >= height_)
        throw std::out_of_range("GDIBitmap: the point lies outside the bitmap");
    GdiFlush();
    return bits_ + point.y * GetStride() + point.x * 4;
}

DWORD GDIBitmap::GetPixel(const Point &point) const
{
    const BYTE *p = pixel(point);
    return static_cast<DWORD>(p[3]) << 24 | p[2] << 16 | p[1] << 8 | p[0];
}

void GDIBitmap::SetPixel(const Point &point, DWORD argb)
{
    BYTE *p = pixel(point);
    p[0] = static_cast<BYTE>(argb);
    p[1] = static_cast<BYTE>(argb >> 8);
    p[2] = static_cast<BYTE>(argb >> 16);
    p[3] = static_cast<BYTE>(argb >> 24);
}

// --- alpha channel -------------------------------------------------------------------------------

std::vector<BYTE> GDIBitmap::GetAlphaChannel() const
{
    const BYTE *p = GetBits();
    std::vector<BYTE> alpha(static_cast<size_t>(width_) * height_);
    for (BYTE &value : alpha) {
        value = p[3];
        p += 4;
    }
    return alpha;
}

void GDIBitmap::SetAlphaChannel(const std::vector<BYTE> &alpha)
{
    BYTE *p = GetBits();
    if (alpha.size() != static_cast<size_t>(width_) * height_)
        throw std::invalid_argument("GDIBitmap::SetAlphaChannel: one value per pixel is needed");
    for (BYTE value : alpha) {
        p[3] = value;
        p += 4;
    }
    alpha_ = StraightAlpha;
}

void GDIBitmap::SetAlpha(BYTE alpha)
{
    BYTE *p = GetBits();
    for (BYTE *end = p + GetStride() * height_; p != end; p += 4)
        p[3] = alpha;
    alpha_ = StraightAlpha;
}

void GDIBitmap::SetAlphaFromColorKey(COLORREF key)
{
    BYTE *p = GetBits();
    for (BYTE *end = p + GetStride() * height_; p != end; p += 4)
        p[3] = RGB(p[2], p[1], p[0]) == (key & 0xFFFFFF) ? 0 : 255;
    alpha_ = StraightAlpha;
}

void GDIBitmap::Premultiply()
{
    if (alpha_ != StraightAlpha)
        return;
    BYTE *p = GetBits();
    for (BYTE *end = p + GetStride() * height_; p != end; p += 4)
        if (p[3] != 255)
            for (int c = 0; c < 3; ++c)
                p[c] = premultiplied(p[c], p[3]);
    alpha_ = PremultipliedAlpha;
}

void GDIBitmap::Unpremultiply()
{
    if (alpha_ != PremultipliedAlpha)
        return;
    qvgraphics::unpremultiply(GetBits(), static_cast<size_t>(GetStride()) * height_);
    alpha_ = StraightAlpha;
}

bool GDIBitmap::Blend(const BitmapBase &over, const Point &at, BYTE opacity)
{
    requireDIB();
    if (alpha_ == PremultipliedAlpha) {
        MemoryDC into;
        into.Select(*this);
        return over.DrawAlpha(into, at, opacity);
    }
    Rect area = Rect(at, over.GetSize()) & Rect(Point(), GetSize());
    if (area.IsEmpty())
        return true;
    GDIBitmap part = CreateDIB(area.GetSize(), StraightAlpha);
    int rowBytes = area.Width() * 4;
    auto copyRows = [&](BYTE *to, int toStride, const BYTE *from, int fromStride) {
        for (int y = 0; y < area.Height(); ++y)
            std::copy(from + y * fromStride, from + y * fromStride + rowBytes, to + y * toStride);
    };
    BYTE *corner = GetBits() + area.top * GetStride() + area.left * 4;
    copyRows(part.GetBits(), part.GetStride(), corner, GetStride());
    if (alpha_ == NoAlpha)
        part.SetAlpha(255);
    part.Premultiply();
    {
        MemoryDC into;
        into.Select(part);
        if (!over.DrawAlpha(into, at - area.TopLeft(), opacity))
            return false;
    }
    part.Unpremultiply();
    copyRows(corner, GetStride(), part.GetBits(), part.GetStride());
    alpha_ = StraightAlpha;
    return true;
}

GDIBitmap GDIBitmap::CreateMask(COLORREF key) const
{
    Size size = GetSize();
    GDIBitmap mask(checked(CreateBitmap(size.cx, size.cy, 1, 1, nullptr), L"CreateBitmap"));
    if (IsDIB()) {
        // From the pixels: the system's conversion to monochrome compares the alpha byte too
        // under Wine, and a key is a colour.
        int rowBytes = (size.cx + 15) / 16 * 2;
        std::vector<BYTE> rows(static_cast<size_t>(rowBytes) * size.cy);
        const BYTE *p = GetBits();
        for (int y = 0; y < size.cy; ++y)
            for (int x = 0; x < size.cx; ++x, p += 4)
                if (RGB(p[2], p[1], p[0]) == (key & 0xFFFFFF))
                    rows[y * rowBytes + x / 8] |= static_cast<BYTE>(0x80 >> (x % 8));
        SetBitmapBits(mask.GetHBitmap(), static_cast<DWORD>(rows.size()), rows.data());
        return mask;
    }
    MemoryDC from, into;
    from.Select(*this);
    into.Select(mask);
    // A colour blit into a monochrome bitmap sets the pixels of the source's background colour
    // to 1 and all others to 0.
    COLORREF previous = SetBkColor(from, key);
    BitBlt(into, 0, 0, size.cx, size.cy, from, 0, 0, SRCCOPY);
    SetBkColor(from, previous);
    return mask;
}
