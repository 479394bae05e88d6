#ifndef QVCORE_GRAPHICS_GDIOBJECT_H
#define QVCORE_GRAPHICS_GDIOBJECT_H

#include "qvcore/Platform.h"
#include "qvcore/core/Rect.h"
#include "qvcore/core/ScopedHandle.h"
#include "qvcore/core/String.h"
#include "qvcore/core/WinException.h"

#include <vector>

/// What Pen, Brush, Font and Rgn share: one drawing object, owned (deleted with the object) or
/// borrowed from the system (stock objects, system-colour brushes, never deleted).
///
/// A drawing object must not be deleted while a device context still has it selected (the
/// system refuses and the object leaks): declare it before the DC that selects it, or select it
/// inside a DC::SelectionScope, and the DC puts its own objects back first. Move-only.
class QVCORE_API GdiObject {
public:
    GdiObject(GdiObject &&other) noexcept;
    GdiObject &operator=(GdiObject &&other) noexcept;
    GdiObject(const GdiObject &) = delete;
    GdiObject &operator=(const GdiObject &) = delete;
    /// Deletes the object when it is owned.
    ~GdiObject();

    HGDIOBJ GetObjectHandle() const { return handle_; }
    /// False for a borrowed system object.
    bool IsOwned() const { return owned_.valid(); }
    explicit operator bool() const { return handle_ != nullptr; }

protected:
    /// Owns handle when owned is set. A null handle throws WinException with the thread's last
    /// error (ERROR_INVALID_PARAMETER when the system left none): context names what failed.
    GdiObject(HGDIOBJ handle, bool owned, const unsigned short *context);
    /// Holds nothing.
    GdiObject() noexcept;

private:
    HGDIOBJ handle_;
    /// The object when it is the caller's (DeleteObject); never a stock object or a
    /// system-colour brush, which belong to the system.
    ScopedGdiObject<HGDIOBJ> owned_;
};

/// A pen (CreatePen).
class QVCORE_API Pen : public GdiObject {
public:
    /// CreatePen(style, width, colour): PS_SOLID, PS_DASH, ...; width 0 is one pixel in any
    /// mapping. Throws WinException when the system makes none.
    Pen(int style, int width, COLORREF colour);
    /// A stock pen (BLACK_PEN, WHITE_PEN, NULL_PEN, DC_PEN), borrowed.
    static Pen Stock(int which);
    HPEN GetHandle() const { return static_cast<HPEN>(GetObjectHandle()); }
    operator HPEN() const { return GetHandle(); }

private:
    Pen(HGDIOBJ handle, bool owned, const unsigned short *context) : GdiObject(handle, owned, context) {}
};

/// A brush (solid, hatched or a pattern bitmap).
class QVCORE_API Brush : public GdiObject {
public:
    /// CreateSolidBrush. Throws WinException when the system makes none.
    explicit Brush(COLORREF colour);
    /// CreateHatchBrush(hatch, colour): HS_HORIZONTAL, HS_CROSS, ...
    Brush(int hatch, COLORREF colour);
    /// CreatePatternBrush: the pattern is copied, the bitmap stays the caller's.
    explicit Brush(HBITMAP pattern);
    /// A stock brush (WHITE_BRUSH, NULL_BRUSH, DC_BRUSH, ...), borrowed.
    static Brush Stock(int which);
    /// The system's brush of a system colour (COLOR_WINDOW, ...), borrowed: the system owns it
    /// and it follows changes of the colour.
    static Brush SystemColor(int index);
    HBRUSH GetHandle() const { return static_cast<HBRUSH>(GetObjectHandle()); }
    operator HBRUSH() const { return GetHandle(); }

private:
    Brush(HGDIOBJ handle, bool owned, const unsigned short *context) : GdiObject(handle, owned, context) {}
};

/// A logical font.
class QVCORE_API Font : public GdiObject {
public:
    /// The fonts the system uses for its own elements (its non-client metrics and the GUI font).
    enum SystemFont { Caption, SmallCaption, Menu, Status, Message, Gui };

    /// CreateFontIndirect with face (converted to the ANSI code page; at most 31 characters are
    /// used), height in logical units (negative: the character height, positive: the cell
    /// height, 0: the default), weight (FW_NORMAL, FW_BOLD, ...) and italic, other attributes
    /// at their defaults. Throws WinException when the system makes none.
    Font(const String &face, int height, int weight = FW_NORMAL, bool italic = false);
    /// CreateFontIndirectA of every attribute.
    explicit Font(const LOGFONTA &attributes);
    /// A copy of one of the system's fonts, owned; throws WinException when the system cannot
    /// say which font it uses.
    static Font System(SystemFont which);
    /// The attributes (GetObjectA); all zero for an empty object.
    LOGFONTA GetAttributes() const;
    String GetFaceName() const;
    HFONT GetHandle() const { return static_cast<HFONT>(GetObjectHandle()); }
    operator HFONT() const { return GetHandle(); }

private:
    Font(HGDIOBJ handle, bool owned, const unsigned short *context) : GdiObject(handle, owned, context) {}
};

/// A region: the shape clipping and region fills take. Operations answer as the system does;
/// only creation throws (WinException).
class QVCORE_API Rgn : public GdiObject {
public:
    /// A rectangular region (right and bottom exclusive, as everywhere).
    explicit Rgn(const Rect &rect);
    static Rgn Elliptic(const Rect &bounds);
    /// A rectangle with corners rounded by ellipses of corner's width and height.
    static Rgn RoundRect(const Rect &rect, const Size &corner);
    /// A polygon of the points (ALTERNATE or WINDING fill).
    static Rgn Polygon(const std::vector<Point> &points, int fillMode = ALTERNATE);
    /// An independent copy.
    Rgn Copy() const;

    /// This becomes a combined with b (RGN_AND, RGN_OR, RGN_XOR, RGN_DIFF, RGN_COPY; this may
    /// be a or b): the system's NULLREGION, SIMPLEREGION or COMPLEXREGION, ERROR on failure.
    int Combine(const Rgn &a, const Rgn &b, int mode);
    /// This becomes this combined with other.
    int Combine(const Rgn &other, int mode) { return Combine(*this, other, mode); }
    bool Contains(const Point &point) const;
    /// Whether any part of rect lies in the region.
    bool Intersects(const Rect &rect) const;
    /// The region type, as Combine.
    int Offset(int dx, int dy);
    /// The bounding box; empty for an empty region.
    Rect GetBox() const;
    /// Same shape (EqualRgn).
    bool operator==(const Rgn &other) const;
    bool operator!=(const Rgn &other) const { return !(*this == other); }
    HRGN GetHandle() const { return static_cast<HRGN>(GetObjectHandle()); }
    operator HRGN() const { return GetHandle(); }

private:
    Rgn(HGDIOBJ handle, const unsigned short *context) : GdiObject(handle, true, context) {}
};

/// The system colours (COLOR_WINDOW, COLOR_HIGHLIGHT, ...) and their brushes.
class QVCORE_API SystemColor {
public:
    /// GetSysColor: 0 (black) for an index the system does not know.
    static COLORREF Get(int index);
    /// Brush::SystemColor(index): borrowed, never deleted.
    static Brush GetBrush(int index) { return Brush::SystemColor(index); }
};

#endif
