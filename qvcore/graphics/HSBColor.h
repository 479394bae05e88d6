#ifndef QVCORE_GRAPHICS_HSBCOLOR_H
#define QVCORE_GRAPHICS_HSBCOLOR_H

#include "qvcore/Platform.h"

/// A colour as hue, saturation and brightness, converting exactly to and from the system's
/// packed colour value (COLORREF: red in the lowest byte, then green, then blue).
///
/// hue is a fraction of the colour circle (red 0, green 1/3, blue 2/3), saturation and
/// brightness run from 0 to 1. Nothing is range-checked: a hue outside 0 to 1 wraps onto the
/// circle, and a brightness or saturation outside 0 to 1 gives channels cut to their low 8 bits.
///
/// Conversions to RGB truncate each channel rather than round it, so RGB to HSB and back may
/// give a channel one lower than it was; colours already stored as HSB by earlier versions
/// convert to the same values they always did.
class QVCORE_API HSBColor {
public:
    /// Black (0, 0, 0).
    HSBColor();
    HSBColor(double hue, double saturation, double brightness);
    /// RGBtoHSB(rgb).
    HSBColor(unsigned long rgb);
    HSBColor(const HSBColor &other) = default;
    HSBColor &operator=(const HSBColor &other);

    /// HSBtoRGB(*this).
    operator unsigned long() const;

    static unsigned long HSBtoRGB(const HSBColor &color);
    static unsigned long HSBtoRGB(const double &hue, const double &saturation, const double &brightness);
    static HSBColor RGBtoHSB(unsigned long rgb);

    double hue;
    double saturation;
    double brightness;
};

#endif
