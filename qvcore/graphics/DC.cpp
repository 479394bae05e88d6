#include "qvcore/graphics/DC.h"

#include "qvcore/graphics/Bitmap.h"
#include "qvcore/graphics/Graphics_p.h"

#include <algorithm>

using qvgraphics::checked;

namespace {

// The kinds of object a context holds one of at a time, in the order of DC::originals_.
const int kObjectKinds[4] = {OBJ_PEN, OBJ_BRUSH, OBJ_FONT, OBJ_BITMAP};
enum { PenKind, BrushKind, FontKind, BitmapKind };

}  // namespace

// --- making and ending ---------------------------------------------------------------------------

DC::DC() noexcept : DC(nullptr, Borrowed, nullptr) {}

DC::DC(HDC dc, bool owned) noexcept : DC(dc, owned ? Owned : Borrowed, nullptr) {}

DC::DC(HDC dc, Ending ending, HWND window) noexcept : dc_(dc), ending_(ending), window_(window), originals_() {}

DC::DC(DC &&other) noexcept : dc_(other.dc_), ending_(other.ending_), window_(other.window_)
{
    std::copy(other.originals_, other.originals_ + 4, originals_);
    other.dc_ = nullptr;
}

DC &DC::operator=(DC &&other) noexcept
{
    if (this != &other) {
        end();
        dc_ = other.dc_;
        ending_ = other.ending_;
        window_ = other.window_;
        std::copy(other.originals_, other.originals_ + 4, originals_);
        other.dc_ = nullptr;
    }
    return *this;
}

DC::~DC()
{
    end();
}

void DC::end() noexcept
{
    HDC dc = Finish();
    if (!dc)
        return;
    DWORD lastError = GetLastError();
    if (ending_ == Owned)
        DeleteDC(dc);
    else if (ending_ == Released)
        ReleaseDC(window_, dc);
    SetLastError(lastError);
}

HDC DC::Finish()
{
    if (dc_)
        RestoreSelections();
    HDC dc = dc_;
    dc_ = nullptr;
    return dc;
}

ClientDC::ClientDC(HWND window) : DC(checked(GetDC(window), L"GetDC"), Released, window) {}

WindowDC::WindowDC(HWND window) : DC(checked(GetWindowDC(window), L"GetWindowDC"), Released, window) {}

PaintDC::PaintDC(HWND window) : DC(nullptr, Borrowed, nullptr), window_(window), paint_()
{
    // BeginPaint fills paint_ first, so the context is taken over once the call has returned.
    DC painting(checked(BeginPaint(window, &paint_), L"BeginPaint"));
    static_cast<DC &>(*this) = std::move(painting);
}

PaintDC::~PaintDC()
{
    if (Finish())
        EndPaint(window_, &paint_);
}

MemoryDC::MemoryDC(HDC compatible) : DC(checked(CreateCompatibleDC(compatible), L"CreateCompatibleDC"), Owned, nullptr) {}

// --- selections ----------------------------------------------------------------------------------

HGDIOBJ DC::select(HGDIOBJ object, int kind)
{
    HGDIOBJ previous = SelectObject(dc_, object);
    if (previous == HGDI_ERROR)
        return nullptr;
    if (previous && !originals_[kind])
        originals_[kind] = previous;
    return previous;
}

HPEN DC::Select(const Pen &pen)
{
    return static_cast<HPEN>(select(pen.GetHandle(), PenKind));
}

HBRUSH DC::Select(const Brush &brush)
{
    return static_cast<HBRUSH>(select(brush.GetHandle(), BrushKind));
}

HFONT DC::Select(const Font &font)
{
    return static_cast<HFONT>(select(font.GetHandle(), FontKind));
}

HBITMAP DC::Select(const BitmapBase &bitmap)
{
    return static_cast<HBITMAP>(select(bitmap.GetHBitmap(), BitmapKind));
}

void DC::RestoreSelections()
{
    for (HGDIOBJ &original : originals_) {
        if (original)
            SelectObject(dc_, original);
        original = nullptr;
    }
}

DC::SelectionScope::SelectionScope(DC &dc) : dc_(dc)
{
    for (int kind = 0; kind < 4; ++kind)
        saved_[kind] = GetCurrentObject(dc, kObjectKinds[kind]);
}

DC::SelectionScope::~SelectionScope()
{
    for (int kind = 0; kind < 4; ++kind)
        if (saved_[kind] && GetCurrentObject(dc_, kObjectKinds[kind]) != saved_[kind])
            SelectObject(dc_, saved_[kind]);
}

int DC::Save()
{
    return SaveDC(dc_);
}

bool DC::Restore(int state)
{
    return RestoreDC(dc_, state) != FALSE;
}

// --- lines and shapes ----------------------------------------------------------------------------

bool DC::MoveTo(const Point &point)
{
    return MoveToEx(dc_, point.x, point.y, nullptr) != FALSE;
}

bool DC::LineTo(const Point &point)
{
    return ::LineTo(dc_, point.x, point.y) != FALSE;
}

bool DC::Line(const Point &from, const Point &to)
{
    return MoveTo(from) && LineTo(to);
}

bool DC::Polyline(const std::vector<Point> &points)
{
    return ::Polyline(dc_, points.data(), static_cast<int>(points.size())) != FALSE;
}

bool DC::Polygon(const std::vector<Point> &points)
{
    return ::Polygon(dc_, points.data(), static_cast<int>(points.size())) != FALSE;
}

bool DC::Rectangle(const Rect &rect)
{
    return ::Rectangle(dc_, rect.left, rect.top, rect.right, rect.bottom) != FALSE;
}

bool DC::RoundRect(const Rect &rect, const Size &corner)
{
    return ::RoundRect(dc_, rect.left, rect.top, rect.right, rect.bottom, corner.cx, corner.cy) != FALSE;
}

bool DC::Ellipse(const Rect &bounds)
{
    return ::Ellipse(dc_, bounds.left, bounds.top, bounds.right, bounds.bottom) != FALSE;
}

// --- fills ---------------------------------------------------------------------------------------

bool DC::FillRect(const Rect &rect, const Brush &brush)
{
    return ::FillRect(dc_, rect, brush) != 0;
}

bool DC::FillSolidRect(const Rect &rect, COLORREF colour)
{
    COLORREF previous = ::SetBkColor(dc_, colour);
    bool filled = ExtTextOutA(dc_, 0, 0, ETO_OPAQUE, rect, "", 0, nullptr) != FALSE;
    ::SetBkColor(dc_, previous);
    return filled;
}

bool DC::FrameRect(const Rect &rect, const Brush &brush)
{
    return ::FrameRect(dc_, rect, brush) != 0;
}

bool DC::FillRgn(const Rgn &region, const Brush &brush)
{
    return ::FillRgn(dc_, region, brush) != FALSE;
}

COLORREF DC::GetPixel(const Point &point) const
{
    return ::GetPixel(dc_, point.x, point.y);
}

COLORREF DC::SetPixel(const Point &point, COLORREF colour)
{
    return ::SetPixel(dc_, point.x, point.y, colour);
}

// --- text ----------------------------------------------------------------------------------------

COLORREF DC::SetTextColor(COLORREF colour)
{
    return ::SetTextColor(dc_, colour);
}

COLORREF DC::SetBkColor(COLORREF colour)
{
    return ::SetBkColor(dc_, colour);
}

int DC::SetBkMode(int mode)
{
    return ::SetBkMode(dc_, mode);
}

unsigned DC::SetTextAlign(unsigned align)
{
    return ::SetTextAlign(dc_, align);
}

bool DC::TextOutA(const Point &point, const String &text)
{
    std::string narrow = text.SystemMultibyte();
    return ::TextOutA(dc_, point.x, point.y, narrow.c_str(), static_cast<int>(narrow.size())) != FALSE;
}

int DC::DrawTextA(const String &text, const Rect &rect, unsigned format)
{
    std::string narrow = text.SystemMultibyte();
    Rect area(rect);  // DT_CALCRECT writes into it; the caller's stays as it was
    return ::DrawTextA(dc_, narrow.c_str(), static_cast<int>(narrow.size()), area, format);
}

Size DC::GetTextExtent(const String &text) const
{
    std::string narrow = text.SystemMultibyte();
    SIZE size = {};
    if (!GetTextExtentPoint32A(dc_, narrow.c_str(), static_cast<int>(narrow.size()), &size))
        return Size();
    return Size(size);
}

// --- clipping ------------------------------------------------------------------------------------

int DC::SelectClipRgn(const Rgn *region)
{
    return ::SelectClipRgn(dc_, region ? region->GetHandle() : nullptr);
}

int DC::IntersectClipRect(const Rect &rect)
{
    return ::IntersectClipRect(dc_, rect.left, rect.top, rect.right, rect.bottom);
}

int DC::ExcludeClipRect(const Rect &rect)
{
    return ::ExcludeClipRect(dc_, rect.left, rect.top, rect.right, rect.bottom);
}

Rect DC::GetClipBox() const
{
    Rect box;
    if (::GetClipBox(dc_, box) == ERROR)
        box.Empty();
    return box;
}
