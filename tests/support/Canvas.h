#ifndef QVCORE_TESTS_SUPPORT_CANVAS_H
#define QVCORE_TESTS_SUPPORT_CANVAS_H

// A 32-bit DIB selected into a memory DC: drawing needs no screen, and every pixel is read back
// from memory.

#include "qvcore/graphics/Bitmap.h"
#include "qvcore/graphics/DC.h"

#include <gtest/gtest.h>

struct Canvas {
    explicit Canvas(int width, int height, COLORREF background = RGB(255, 255, 255))
        : bitmap(GDIBitmap::CreateDIB(Size(width, height)))
    {
        dc.Select(bitmap);
        dc.FillSolidRect(Rect(0, 0, width, height), background);
    }
    /// The colour at (x, y) as a COLORREF (red in the lowest byte).
    COLORREF at(int x, int y) const
    {
        DWORD argb = bitmap.GetPixel(Point(x, y));
        return RGB(argb >> 16 & 0xFF, argb >> 8 & 0xFF, argb & 0xFF);
    }
    /// How many pixels of rect have colour.
    int count(const Rect &rect, COLORREF colour) const
    {
        int n = 0;
        for (int y = rect.top; y < rect.bottom; ++y)
            for (int x = rect.left; x < rect.right; ++x)
                n += at(x, y) == colour;
        return n;
    }

    GDIBitmap bitmap;  // declared before the DC, which deselects it first
    MemoryDC dc;
};

#endif
