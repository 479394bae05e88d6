#ifndef QVCORE_TESTS_SUPPORT_RECTPRINTING_H
#define QVCORE_TESTS_SUPPORT_RECTPRINTING_H

// GoogleTest prints a Rect as its four edges instead of its bytes.

#include "qvcore/core/Rect.h"

#include <ostream>

inline void PrintTo(const Rect &r, std::ostream *out)
{
    *out << '(' << r.left << ", " << r.top << ", " << r.right << ", " << r.bottom << ')';
}

#endif
