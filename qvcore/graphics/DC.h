#ifndef QVCORE_GRAPHICS_DC_H
#define QVCORE_GRAPHICS_DC_H

#include "qvcore/Platform.h"
#include "qvcore/core/Rect.h"
#include "qvcore/core/String.h"
#include "qvcore/graphics/GdiObject.h"

#include <vector>

class BitmapBase;

/// A device context, owned (deleted with the object) or borrowed (left to its owner), with the
/// drawing operations in the library's coordinates (Point, Rect; right and bottom exclusive).
///
/// Selections: Select() puts a pen, brush, font or bitmap into the context and remembers what
/// the context held before the first selection of each kind; the destructor (on every path out
/// of a scope, exceptions included) and RestoreSelections() put those originals back, so that
/// no object of the caller is still selected when the context, or the object, goes. A selected
/// object must outlive its selection: declare it before the DC, or select it within a
/// SelectionScope declared after the object.
///
/// Drawing operations answer as the system calls they name (true for success) and never throw;
/// only making a context (the derived classes) throws WinException. Move-only.
class QVCORE_API DC {
public:
    /// Holds no context.
    DC() noexcept;
    /// Wraps dc; with owned, DeleteDC when the object goes (for contexts from CreateDC or
    /// CreateCompatibleDC), otherwise the context stays the caller's.
    explicit DC(HDC dc, bool owned = false) noexcept;
    DC(DC &&other) noexcept;
    DC &operator=(DC &&other) noexcept;
    DC(const DC &) = delete;
    DC &operator=(const DC &) = delete;
    /// Restores the original selections, then lets the context go as it was obtained.
    virtual ~DC();

    HDC GetHandle() const { return dc_; }
    operator HDC() const { return dc_; }

    // --- selections ----------------------------------------------------------------------------

    /// Selects the object; the previously selected one of its kind (null on failure).
    HPEN Select(const Pen &pen);
    HBRUSH Select(const Brush &brush);
    HFONT Select(const Font &font);
    /// Selects the bitmap (into a memory context only; a bitmap can be in one context at a time).
    HBITMAP Select(const BitmapBase &bitmap);
    /// Puts back the pen, brush, font and bitmap the context had before this object's first
    /// Select of each.
    void RestoreSelections();

    /// Within its lifetime, selections made on dc are undone when it ends: the pen, brush, font
    /// and bitmap current at its start are selected again. For objects declared after the DC:
    /// declare the scope after them too, so that it ends first.
    class QVCORE_API SelectionScope {
    public:
        explicit SelectionScope(DC &dc);
        ~SelectionScope();
        SelectionScope(const SelectionScope &) = delete;
        SelectionScope &operator=(const SelectionScope &) = delete;

    private:
        DC &dc_;
        HGDIOBJ saved_[4];
    };

    /// SaveDC: the saved state's number (0 on failure). RestoreDC(-1) is the last saved state.
    int Save();
    bool Restore(int state = -1);

    // --- lines and shapes (outlined with the pen, filled with the brush) -----------------------

    bool MoveTo(const Point &point);
    /// A line from the current position to point (point itself not drawn), which becomes current.
    bool LineTo(const Point &point);
    /// MoveTo(from), LineTo(to).
    bool Line(const Point &from, const Point &to);
    bool Polyline(const std::vector<Point> &points);
    bool Polygon(const std::vector<Point> &points);
    bool Rectangle(const Rect &rect);
    /// Corners rounded by ellipses corner.cx wide and corner.cy high.
    bool RoundRect(const Rect &rect, const Size &corner);
    bool Ellipse(const Rect &bounds);

    // --- fills ---------------------------------------------------------------------------------

    /// The rectangle filled with brush, no outline (FillRect).
    bool FillRect(const Rect &rect, const Brush &brush);
    /// The rectangle filled with colour (ExtTextOut's opaque fill: no brush made); the
    /// background colour is left as it was.
    bool FillSolidRect(const Rect &rect, COLORREF colour);
    /// A one-pixel frame inside rect drawn with brush.
    bool FrameRect(const Rect &rect, const Brush &brush);
    bool FillRgn(const Rgn &region, const Brush &brush);
    /// The pixel's colour, CLR_INVALID outside the clipping region or the surface.
    COLORREF GetPixel(const Point &point) const;
    /// The colour actually set (the nearest the device has), or -1 on failure.
    COLORREF SetPixel(const Point &point, COLORREF colour);

    // --- text ----------------------------------------------------------------------------------

    /// Each returns the previous setting.
    COLORREF SetTextColor(COLORREF colour);
    COLORREF SetBkColor(COLORREF colour);
    /// TRANSPARENT or OPAQUE.
    int SetBkMode(int mode);
    /// TA_LEFT, TA_CENTER, TA_RIGHT with TA_TOP, TA_BASELINE, TA_BOTTOM.
    unsigned SetTextAlign(unsigned align);
    /// The text (converted to the ANSI code page) at point, aligned as SetTextAlign says.
    /// Exported under the narrow name; TextOutW, and TextOut where a client has undefined the
    /// system's macro, lead to it whether or not the client defines UNICODE (so for DrawText).
    bool TextOutA(const Point &point, const String &text);
    bool TextOutW(const Point &point, const String &text) { return TextOutA(point, text); }
    /// DrawTextA of the text in rect with DT_ flags; the height of the text drawn, 0 on failure.
    int DrawTextA(const String &text, const Rect &rect, unsigned format);
    int DrawTextW(const String &text, const Rect &rect, unsigned format) { return DrawTextA(text, rect, format); }
#pragma push_macro("TextOut")
#pragma push_macro("DrawText")
#undef TextOut
#undef DrawText
    bool TextOut(const Point &point, const String &text) { return TextOutA(point, text); }
    int DrawText(const String &text, const Rect &rect, unsigned format) { return DrawTextA(text, rect, format); }
#pragma pop_macro("DrawText")
#pragma pop_macro("TextOut")
    /// The size the text takes with the selected font; (0, 0) on failure.
    Size GetTextExtent(const String &text) const;

    // --- clipping ------------------------------------------------------------------------------

    /// Clips to region (copied by the system; null: no clipping). The region type, ERROR on failure.
    int SelectClipRgn(const Rgn *region);
    int IntersectClipRect(const Rect &rect);
    int ExcludeClipRect(const Rect &rect);
    /// The smallest rectangle around the visible part; empty when nothing is visible.
    Rect GetClipBox() const;

protected:
    /// How the context is let go: DeleteDC for Owned; ReleaseDC(window) for Released.
    enum Ending { Borrowed, Owned, Released };
    DC(HDC dc, Ending ending, HWND window) noexcept;
    /// Restores the selections and gives the context up (null afterwards) without letting it go:
    /// for derived classes whose context ends another way (EndPaint).
    HDC Finish();

private:
    void end() noexcept;
    HGDIOBJ select(HGDIOBJ object, int kind);

    HDC dc_;
    Ending ending_;
    HWND window_;
    /// The pen, brush, font and bitmap the context held before the first Select of each.
    HGDIOBJ originals_[4];
};

/// The client area of a window (GetDC, and ReleaseDC when the object goes). Throws WinException
/// when the system gives no context.
class QVCORE_API ClientDC : public DC {
public:
    /// A null window is the whole screen.
    explicit ClientDC(HWND window);
};

/// The whole window with its frame (GetWindowDC / ReleaseDC). Throws WinException on failure.
class QVCORE_API WindowDC : public DC {
public:
    explicit WindowDC(HWND window);
};

/// Painting in answer to WM_PAINT: BeginPaint when made, EndPaint when the object goes (after
/// the selections are restored). Throws WinException when BeginPaint gives no context.
class QVCORE_API PaintDC : public DC {
public:
    explicit PaintDC(HWND window);
    ~PaintDC() override;
    /// The rectangle to be painted.
    Rect GetPaintRect() const { return Rect(paint_.rcPaint); }
    /// Whether the background must be erased by the painter.
    bool MustEraseBackground() const { return paint_.fErase != FALSE; }

private:
    HWND window_;
    PAINTSTRUCT paint_;
};

/// A memory context compatible with another (CreateCompatibleDC), deleted when the object goes.
/// It starts with a 1x1 monochrome bitmap: select a bitmap to draw into. Throws WinException
/// when the system makes none.
class QVCORE_API MemoryDC : public DC {
public:
    /// Compatible with compatible (null: the screen).
    explicit MemoryDC(HDC compatible = nullptr);
};

#endif
