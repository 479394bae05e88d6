#include "qvcore/graphics/GdiObject.h"

#include "qvcore/graphics/Graphics_p.h"

#include <algorithm>
#include <cstring>

using qvgraphics::checked;

namespace qvgraphics {

void throwSystemFailure(const wchar_t *context)
{
    DWORD code = GetLastError();
    WinException failure(units(context));
    failure.m_code = static_cast<long>(code ? code : ERROR_INVALID_PARAMETER);
    throw failure;
}

}  // namespace qvgraphics

// --- GdiObject ---------------------------------------------------------------------------------

GdiObject::GdiObject() noexcept : handle_(nullptr) {}

GdiObject::GdiObject(HGDIOBJ handle, bool owned, const unsigned short *context)
    : handle_(checked(handle, reinterpret_cast<const wchar_t *>(context))), owned_(owned ? handle : nullptr)
{
}

GdiObject::GdiObject(GdiObject &&other) noexcept : handle_(other.handle_), owned_(std::move(other.owned_))
{
    other.handle_ = nullptr;
}

GdiObject &GdiObject::operator=(GdiObject &&other) noexcept
{
    if (this != &other) {
        owned_ = std::move(other.owned_);
        handle_ = other.handle_;
        other.handle_ = nullptr;
    }
    return *this;
}

GdiObject::~GdiObject() {}

namespace {

const unsigned short *context(const wchar_t *text)
{
    return qvgraphics::units(text);
}

}  // namespace

// --- Pen, Brush ----------------------------------------------------------------------------------

Pen::Pen(int style, int width, COLORREF colour) : GdiObject(CreatePen(style, width, colour), true, context(L"CreatePen")) {}

Pen Pen::Stock(int which)
{
    return Pen(GetStockObject(which), false, context(L"GetStockObject"));
}

Brush::Brush(COLORREF colour) : GdiObject(CreateSolidBrush(colour), true, context(L"CreateSolidBrush")) {}

Brush::Brush(int hatch, COLORREF colour)
    : GdiObject(CreateHatchBrush(hatch, colour), true, context(L"CreateHatchBrush"))
{
}

Brush::Brush(HBITMAP pattern) : GdiObject(CreatePatternBrush(pattern), true, context(L"CreatePatternBrush")) {}

Brush Brush::Stock(int which)
{
    return Brush(GetStockObject(which), false, context(L"GetStockObject"));
}

Brush Brush::SystemColor(int index)
{
    return Brush(GetSysColorBrush(index), false, context(L"GetSysColorBrush"));
}

COLORREF SystemColor::Get(int index)
{
    return GetSysColor(index);
}

// --- Font ----------------------------------------------------------------------------------------

namespace {

LOGFONTA fontAttributes(const String &face, int height, int weight, bool italic)
{
    LOGFONTA attributes = {};
    attributes.lfHeight = height;
    attributes.lfWeight = weight;
    attributes.lfItalic = italic ? TRUE : FALSE;
    attributes.lfCharSet = DEFAULT_CHARSET;
    std::string name = face.SystemMultibyte();
    std::memcpy(attributes.lfFaceName, name.c_str(), std::min(name.size(), sizeof attributes.lfFaceName - 1));
    return attributes;
}

}  // namespace

Font::Font(const String &face, int height, int weight, bool italic) : Font(fontAttributes(face, height, weight, italic)) {}

Font::Font(const LOGFONTA &attributes)
    : GdiObject(CreateFontIndirectA(&attributes), true, context(L"CreateFontIndirectA"))
{
}

Font Font::System(SystemFont which)
{
    if (which == Gui)
        return Font(GetStockObject(DEFAULT_GUI_FONT), false, context(L"GetStockObject"));
    NONCLIENTMETRICSA metrics = {};
    metrics.cbSize = sizeof metrics;
    if (!SystemParametersInfoA(SPI_GETNONCLIENTMETRICS, sizeof metrics, &metrics, 0))
        qvgraphics::throwSystemFailure(L"SystemParametersInfoA");
    const LOGFONTA *chosen[] = {&metrics.lfCaptionFont, &metrics.lfSmCaptionFont, &metrics.lfMenuFont,
                                &metrics.lfStatusFont, &metrics.lfMessageFont};
    return Font(*chosen[which]);
}

LOGFONTA Font::GetAttributes() const
{
    LOGFONTA attributes = {};
    if (GetObjectHandle())
        GetObjectA(GetObjectHandle(), sizeof attributes, &attributes);
    return attributes;
}

String Font::GetFaceName() const
{
    return String::FromSystemMultibyte(GetAttributes().lfFaceName);
}

// --- Rgn -----------------------------------------------------------------------------------------

Rgn::Rgn(const Rect &rect) : GdiObject(CreateRectRgnIndirect(rect), true, context(L"CreateRectRgnIndirect")) {}

Rgn Rgn::Elliptic(const Rect &bounds)
{
    return Rgn(CreateEllipticRgnIndirect(bounds), context(L"CreateEllipticRgnIndirect"));
}

Rgn Rgn::RoundRect(const Rect &rect, const Size &corner)
{
    return Rgn(CreateRoundRectRgn(rect.left, rect.top, rect.right, rect.bottom, corner.cx, corner.cy),
               context(L"CreateRoundRectRgn"));
}

Rgn Rgn::Polygon(const std::vector<Point> &points, int fillMode)
{
    return Rgn(CreatePolygonRgn(points.data(), static_cast<int>(points.size()), fillMode), context(L"CreatePolygonRgn"));
}

Rgn Rgn::Copy() const
{
    Rgn copy(Rect(0, 0, 0, 0));
    CombineRgn(copy, GetHandle(), nullptr, RGN_COPY);
    return copy;
}

int Rgn::Combine(const Rgn &a, const Rgn &b, int mode)
{
    return CombineRgn(GetHandle(), a, b, mode);
}

bool Rgn::Contains(const Point &point) const
{
    return PtInRegion(GetHandle(), point.x, point.y) != FALSE;
}

bool Rgn::Intersects(const Rect &rect) const
{
    return RectInRegion(GetHandle(), rect) != FALSE;
}

int Rgn::Offset(int dx, int dy)
{
    return OffsetRgn(GetHandle(), dx, dy);
}

Rect Rgn::GetBox() const
{
    Rect box;
    GetRgnBox(GetHandle(), box);
    return box;
}

bool Rgn::operator==(const Rgn &other) const
{
    return EqualRgn(GetHandle(), other) != FALSE;
}
