#include "qvcore/core/Rect.h"

#include <climits>
#include <cmath>
#include <utility>

Rect::Rect()
{
    Empty();
}

Rect::Rect(int l, int t, int r, int b)
{
    left = l;
    top = t;
    right = r;
    bottom = b;
}

Rect::Rect(const tagRECT &rect) : tagRECT(rect) {}

Rect::Rect(const tagRECT *rect)
{
    if (rect)
        *static_cast<tagRECT *>(this) = *rect;
    else
        Empty();
}

Rect::Rect(const tagPOINT &topLeft, const tagPOINT &bottomRight)
    : Rect(topLeft.x, topLeft.y, bottomRight.x, bottomRight.y)
{
}

Rect::Rect(const tagPOINT &topLeft, const tagSIZE &size)
    : Rect(topLeft.x, topLeft.y, topLeft.x + size.cx, topLeft.y + size.cy)
{
}

Rect &Rect::operator=(const tagRECT &rect)
{
    *static_cast<tagRECT *>(this) = rect;
    return *this;
}

Point Rect::CenterPoint() const
{
    return Point((left + right) / 2, (top + bottom) / 2);
}

bool Rect::IsEmpty() const
{
    return ::IsRectEmpty(this) != FALSE;
}

void Rect::Empty()
{
    left = top = right = bottom = 0;
}

bool Rect::PtInRect(const tagPOINT &point) const
{
    return ::PtInRect(this, point) != FALSE;
}

bool Rect::HasEqualSize(const tagRECT &other) const
{
    return Width() == other.right - other.left && Height() == other.bottom - other.top;
}

bool Rect::operator==(const tagRECT &other) const
{
    return ::EqualRect(this, &other) != FALSE;
}

bool Rect::operator!=(const tagRECT &other) const
{
    return !(*this == other);
}

void Rect::NormalizeRect()
{
    if (left > right)
        std::swap(left, right);
    if (top > bottom)
        std::swap(top, bottom);
}

// --- moving ---------------------------------------------------------------------------------

void Rect::OffsetRect(int dx, int dy)
{
    ::OffsetRect(this, dx, dy);
}

void Rect::OffsetRect(int d)
{
    OffsetRect(d, d);
}

void Rect::OffsetRect(const tagPOINT &by)
{
    OffsetRect(by.x, by.y);
}

void Rect::OffsetRect(const tagSIZE &by)
{
    OffsetRect(by.cx, by.cy);
}

Rect &Rect::operator+=(const tagPOINT &by)
{
    OffsetRect(by);
    return *this;
}

Rect &Rect::operator+=(const tagSIZE &by)
{
    OffsetRect(by);
    return *this;
}

Rect &Rect::operator-=(const tagPOINT &by)
{
    OffsetRect(-by.x, -by.y);
    return *this;
}

Rect &Rect::operator-=(const tagSIZE &by)
{
    OffsetRect(-by.cx, -by.cy);
    return *this;
}

Rect Rect::operator+(const tagPOINT &by) const
{
    return Rect(*this) += by;
}

Rect Rect::operator+(const tagSIZE &by) const
{
    return Rect(*this) += by;
}

Rect Rect::operator-(const tagPOINT &by) const
{
    return Rect(*this) -= by;
}

Rect Rect::operator-(const tagSIZE &by) const
{
    return Rect(*this) -= by;
}

// --- growing and shrinking ------------------------------------------------------------------

void Rect::InflateRect(int d)
{
    InflateRect(d, d, d, d);
}

void Rect::InflateRect(int dx, int dy)
{
    ::InflateRect(this, dx, dy);
}

void Rect::InflateRect(int l, int t, int r, int b)
{
    left -= l;
    top -= t;
    right += r;
    bottom += b;
}

void Rect::InflateRect(const tagSIZE &size)
{
    InflateRect(size.cx, size.cy);
}

void Rect::InflateRect(const tagRECT &margins)
{
    InflateRect(margins.left, margins.top, margins.right, margins.bottom);
}

void Rect::DeflateRect(int d)
{
    InflateRect(-d);
}

void Rect::DeflateRect(int dx, int dy)
{
    InflateRect(-dx, -dy);
}

void Rect::DeflateRect(int l, int t, int r, int b)
{
    InflateRect(-l, -t, -r, -b);
}

void Rect::DeflateRect(const tagSIZE &size)
{
    InflateRect(-size.cx, -size.cy);
}

void Rect::DeflateRect(const tagRECT &margins)
{
    InflateRect(-margins.left, -margins.top, -margins.right, -margins.bottom);
}

Rect &Rect::operator+=(const tagRECT *margins)
{
    InflateRect(Rect(margins));
    return *this;
}

Rect &Rect::operator-=(const tagRECT *margins)
{
    DeflateRect(Rect(margins));
    return *this;
}

Rect Rect::operator+(const tagRECT *margins) const
{
    return Rect(*this) += margins;
}

Rect Rect::operator-(const tagRECT *margins) const
{
    return Rect(*this) -= margins;
}

// --- combining ------------------------------------------------------------------------------

bool Rect::IntersectRect(const tagRECT &other)
{
    tagRECT result;
    ::IntersectRect(&result, this, &other);
    *this = result;
    return !IsEmpty();
}

bool Rect::UnionRect(const tagRECT &a, const tagRECT &b)
{
    tagRECT result;
    ::UnionRect(&result, &a, &b);
    *this = result;
    return !IsEmpty();
}

bool Rect::SubtractRect(const tagRECT &a, const tagRECT &b)
{
    tagRECT result;
    ::SubtractRect(&result, &a, &b);
    *this = result;
    return !IsEmpty();
}

Rect Rect::operator&(const tagRECT &other) const
{
    return Rect(*this) &= other;
}

Rect &Rect::operator&=(const tagRECT &other)
{
    IntersectRect(other);
    return *this;
}

Rect Rect::operator|(const tagRECT &other) const
{
    return Rect(*this) |= other;
}

Rect &Rect::operator|=(const tagRECT &other)
{
    UnionRect(Rect(*this), other);
    return *this;
}

Rect Rect::MulDiv(int numerator, int denominator) const
{
    return Rect(::MulDiv(left, numerator, denominator), ::MulDiv(top, numerator, denominator),
                ::MulDiv(right, numerator, denominator), ::MulDiv(bottom, numerator, denominator));
}

// --- fitting an aspect ----------------------------------------------------------------------

namespace {

// trunc(value + 0.5) as an int: NaN (infinity times zero) gives 0 and values beyond int's
// range its limit, where a plain conversion is undefined.
int roundedSize(double value)
{
    value += 0.5;
    if (std::isnan(value))
        return 0;
    if (value >= static_cast<double>(INT_MAX))
        return INT_MAX;
    if (value <= static_cast<double>(INT_MIN))
        return INT_MIN;
    return static_cast<int>(value);
}

}  // namespace

Rect Rect::CreateProportionalRect(Rect r, double aspect, int stepX, int stepY)
{
    stepX = stepX < 1 ? 1 : stepX;
    stepY = stepY < 1 ? 1 : stepY;
    const int cx = (r.left + r.right) / 2;
    const int cy = (r.top + r.bottom) / 2;
    int w = r.Width();
    int h = r.Height();
    if (!(aspect > 0) || h == 0)
        return Rect(Point(cx - w / 2, cy - h / 2), Size(w, h));
    // roundedSize rounds; the step quantisation truncates.
    int fittedW, fittedH;
    if (static_cast<double>(w) / h < aspect) {
        // Too tall: the width stays and the height follows it.
        fittedH = roundedSize(w / aspect) / stepY * stepY;
        if (stepY > 1)
            w = roundedSize(fittedH * aspect);
        fittedW = w / stepX * stepX;
    } else {
        // As wide as the aspect or wider: the height stays and the width follows it.
        fittedW = roundedSize(h * aspect) / stepX * stepX;
        if (stepX > 1)
            h = roundedSize(fittedW / aspect);
        fittedH = h / stepY * stepY;
    }
    Point topLeft(cx - fittedW / 2, cy - fittedH / 2);
    return Rect(topLeft, Size(fittedW, fittedH));
}
