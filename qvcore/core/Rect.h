#ifndef QVCORE_CORE_RECT_H
#define QVCORE_CORE_RECT_H

#include "qvcore/Platform.h"

// Integer plane geometry with the system's own layouts: Point is a POINT, Size a SIZE and Rect
// a RECT (right and bottom exclusive), so each passes by pointer wherever the system takes the
// structure. Nothing here allocates or throws.

/// What Point and Size share: two signed 32-bit fields that add, subtract and compare as a
/// pair. Self is the class built on it, Fields the system structure it extends; Other is the
/// other structure, which every operator accepts as well (a size is a vector, and so is a
/// point).
template <class Self, class Fields, class Other>
class CoordinatePair : public Fields {
public:
    CoordinatePair() { set(0, 0); }
    CoordinatePair(int first, int second) { set(first, second); }
    /// The packed coordinates of window messages: the low 16 bits, then the high 16 bits, each
    /// read as a signed 16-bit number.
    CoordinatePair(unsigned int packed)
    {
        set(static_cast<short>(packed & 0xFFFF), static_cast<short>(packed >> 16));
    }
    CoordinatePair(const tagPOINT &point) { set(point.x, point.y); }
    CoordinatePair(const tagSIZE &size) { set(size.cx, size.cy); }

    bool operator==(const Fields &other) const { return equal(pairOf(other)); }
    bool operator!=(const Fields &other) const { return !equal(pairOf(other)); }
    Self operator+(const Fields &other) const { return moved(pairOf(other), 1); }
    Self operator-(const Fields &other) const { return moved(pairOf(other), -1); }
    Self &operator+=(const Fields &other) { return move(pairOf(other), 1); }
    Self &operator-=(const Fields &other) { return move(pairOf(other), -1); }
    bool operator==(const Other &other) const { return equal(pairOf(other)); }
    bool operator!=(const Other &other) const { return !equal(pairOf(other)); }
    Self operator+(const Other &other) const { return moved(pairOf(other), 1); }
    Self operator-(const Other &other) const { return moved(pairOf(other), -1); }
    Self &operator+=(const Other &other) { return move(pairOf(other), 1); }
    Self &operator-=(const Other &other) { return move(pairOf(other), -1); }
    Self operator-() const { return Self(-first(), -second()); }

    operator Fields *() { return this; }
    operator const Fields *() const { return this; }

private:
    struct Values {
        LONG first, second;
    };
    static Values pairOf(const tagPOINT &point) { return {point.x, point.y}; }
    static Values pairOf(const tagSIZE &size) { return {size.cx, size.cy}; }
    LONG first() const { return pairOf(*static_cast<const Fields *>(this)).first; }
    LONG second() const { return pairOf(*static_cast<const Fields *>(this)).second; }
    void set(LONG first, LONG second);
    bool equal(Values other) const { return first() == other.first && second() == other.second; }
    Self moved(Values by, int sign) const
    {
        Self result(first(), second());
        result.move(by, sign);
        return result;
    }
    Self &move(Values by, int sign)
    {
        set(first() + sign * by.first, second() + sign * by.second);
        return static_cast<Self &>(*this);
    }
};

class Point;
class Size;

/// A point (x, y).
class Point : public CoordinatePair<Point, tagPOINT, tagSIZE> {
public:
    using CoordinatePair::CoordinatePair;
};

/// A size (cx, cy).
class Size : public CoordinatePair<Size, tagSIZE, tagPOINT> {
public:
    using CoordinatePair::CoordinatePair;
};

/// @cond implementation
// Which system fields hold the pair (the reference generator cannot match these explicit
// specializations to their declaration, so it skips them).
template <>
inline void CoordinatePair<Point, tagPOINT, tagSIZE>::set(LONG first, LONG second)
{
    x = first;
    y = second;
}

template <>
inline void CoordinatePair<Size, tagSIZE, tagPOINT>::set(LONG first, LONG second)
{
    cx = first;
    cy = second;
}
/// @endcond

/// A rectangle: left and top inclusive, right and bottom exclusive. Most operations are the
/// system's rectangle functions.
class QVCORE_API Rect : public tagRECT {
public:
    /// All four fields 0.
    Rect();
    Rect(int left, int top, int right, int bottom);
    Rect(const tagRECT &rect);
    /// A copy of *rect, or all zeros for a null pointer.
    Rect(const tagRECT *rect);
    Rect(const tagPOINT &topLeft, const tagPOINT &bottomRight);
    /// right = left + cx, bottom = top + cy.
    Rect(const tagPOINT &topLeft, const tagSIZE &size);

    Rect &operator=(const tagRECT &rect);

    operator tagRECT *() { return this; }
    operator const tagRECT *() const { return this; }

    /// right - left and bottom - top: negative for a rectangle that is not normalised.
    int Width() const { return right - left; }
    int Height() const { return bottom - top; }
    Size GetSize() const { return Size(Width(), Height()); }
    /// The corners as points inside this rectangle (references into its fields).
    Point &TopLeft() { return *reinterpret_cast<Point *>(&left); }
    Point &BottomRight() { return *reinterpret_cast<Point *>(&right); }
    const Point &TopLeft() const { return *reinterpret_cast<const Point *>(&left); }
    const Point &BottomRight() const { return *reinterpret_cast<const Point *>(&right); }
    /// Halves truncated toward zero: the centre of (-3, -3, 0, 0) is (-1, -1).
    Point CenterPoint() const;

    /// True when the width or the height is not positive.
    bool IsEmpty() const;
    /// Sets all four fields to 0.
    void Empty();
    /// left <= x < right and top <= y < bottom.
    bool PtInRect(const tagPOINT &point) const;
    bool HasEqualSize(const tagRECT &other) const;
    bool operator==(const tagRECT &other) const;
    bool operator!=(const tagRECT &other) const;

    /// Swaps left and right when left > right, then top and bottom when top > bottom.
    void NormalizeRect();

    void OffsetRect(int dx, int dy);
    /// Moves by d to the right and by d down.
    void OffsetRect(int d);
    void OffsetRect(const tagPOINT &by);
    void OffsetRect(const tagSIZE &by);
    Rect &operator+=(const tagPOINT &by);
    Rect &operator+=(const tagSIZE &by);
    Rect &operator-=(const tagPOINT &by);
    Rect &operator-=(const tagSIZE &by);
    Rect operator+(const tagPOINT &by) const;
    Rect operator+(const tagSIZE &by) const;
    Rect operator-(const tagPOINT &by) const;
    Rect operator-(const tagSIZE &by) const;

    /// Every side moves outward by d.
    void InflateRect(int d);
    /// left - dx, top - dy, right + dx, bottom + dy.
    void InflateRect(int dx, int dy);
    void InflateRect(int l, int t, int r, int b);
    void InflateRect(const tagSIZE &size);
    /// Per side: left - margins.left, top - margins.top, right + margins.right, bottom + margins.bottom.
    void InflateRect(const tagRECT &margins);
    /// The five InflateRect forms with every sign reversed.
    void DeflateRect(int d);
    void DeflateRect(int dx, int dy);
    void DeflateRect(int l, int t, int r, int b);
    void DeflateRect(const tagSIZE &size);
    void DeflateRect(const tagRECT &margins);
    Rect &operator+=(const tagRECT *margins);
    Rect &operator-=(const tagRECT *margins);
    /// A copy inflated or deflated by the margins.
    Rect operator+(const tagRECT *margins) const;
    Rect operator-(const tagRECT *margins) const;

    /// This becomes the intersection with other (all zeros when they do not overlap); true when
    /// it is not empty.
    bool IntersectRect(const tagRECT &other);
    /// This becomes the union, or the difference, of a and b (the system's rules: the union
    /// ignores empty operands); true when the result is not empty.
    bool UnionRect(const tagRECT &a, const tagRECT &b);
    bool SubtractRect(const tagRECT &a, const tagRECT &b);
    Rect operator&(const tagRECT &other) const;
    Rect &operator&=(const tagRECT &other);
    Rect operator|(const tagRECT &other) const;
    Rect &operator|=(const tagRECT &other);

    /// Each field through the system's MulDiv(field, numerator, denominator): rounded, -1 on
    /// overflow or a zero denominator.
    Rect MulDiv(int numerator, int denominator) const;

    /// The largest rectangle of the given aspect (width / height) centred in r, its width a
    /// multiple of stepX and its height a multiple of stepY (steps below 1 count as 1). An
    /// aspect of 0 or below (or NaN), or an r of height 0, gives r re-centred on integer halves.
    /// Sizes are rounded to int, saturating at its limits; a size the arithmetic leaves
    /// undefined (an infinite aspect times a height of 0) is 0, so an infinite aspect gives a
    /// rectangle of height 0 (and width 0 when stepY is above 1).
    static Rect CreateProportionalRect(Rect r, double aspect, int stepX, int stepY);
};

static_assert(sizeof(Point) == sizeof(tagPOINT) && sizeof(Size) == sizeof(tagSIZE) && sizeof(Rect) == sizeof(tagRECT),
              "Point, Size and Rect must keep the system's layouts");

#endif
