#ifndef QVCORE_TESTS_SUPPORT_RECTPRINTING_H
#define QVCORE_TESTS_SUPPORT_RECTPRINTING_H

// GoogleTest prints points, sizes and rectangles as their fields instead of their bytes.

#include "qvcore/core/Rect.h"

#include <ostream>

inline void PrintTo(const Point &p, std::ostream *out) { *out << '(' << p.x << ", " << p.y << ')'; }
inline void PrintTo(const Size &s, std::ostream *out) { *out << '(' << s.cx << " x " << s.cy << ')'; }
inline void PrintTo(const Rect &r, std::ostream *out)
{
    *out << '(' << r.left << ", " << r.top << ", " << r.right << ", " << r.bottom << ')';
}

#endif
