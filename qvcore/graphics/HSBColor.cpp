#include "qvcore/graphics/HSBColor.h"

#include <climits>
#include <cmath>

namespace {

// Conversion of a double to an integer toward zero, as the x86 conversion instruction does it:
// values outside the int range (and NaN) give its "indefinite" value INT_MIN, where a plain
// C++ cast would be undefined.
int truncate(double x)
{
    if (!(x > -2147483649.0 && x < 2147483648.0))
        return INT_MIN;
    return static_cast<int>(x);
}

unsigned long channel(double x)
{
    return static_cast<unsigned long>(truncate(x * 255)) & 0xFF;
}

unsigned long pack(double red, double green, double blue)
{
    return channel(red) | channel(green) << 8 | channel(blue) << 16;
}

}  // namespace

HSBColor::HSBColor() : hue(0), saturation(0), brightness(0) {}

HSBColor::HSBColor(double hue, double saturation, double brightness)
    : hue(hue), saturation(saturation), brightness(brightness)
{
}

HSBColor::HSBColor(unsigned long rgb) : HSBColor(RGBtoHSB(rgb)) {}

HSBColor &HSBColor::operator=(const HSBColor &other)
{
    hue = other.hue;
    saturation = other.saturation;
    brightness = other.brightness;
    return *this;
}

HSBColor::operator unsigned long() const
{
    return HSBtoRGB(*this);
}

unsigned long HSBColor::HSBtoRGB(const double &hue, const double &saturation, const double &brightness)
{
    return HSBtoRGB(HSBColor(hue, saturation, brightness));
}

unsigned long HSBColor::HSBtoRGB(const HSBColor &color)
{
    const double v = color.brightness, s = color.saturation;
    if (s == 0)
        return pack(v, v, v);
    // Any hue, negative or above 1 too, lands on the circle.
    const double h6 = (color.hue - std::floor(color.hue)) * 6;
    const double f = h6 - std::floor(h6);
    const double p = (1 - s) * v, q = (1 - f * s) * v, t = (1 - (1 - f) * s) * v;
    switch (truncate(h6)) {
    case 0: return pack(v, t, p);
    case 1: return pack(q, v, p);
    case 2: return pack(p, v, t);
    case 3: return pack(p, q, v);
    case 4: return pack(t, p, v);
    case 5: return pack(v, p, q);
    default: return 0;  // a hue that is not finite
    }
}

HSBColor HSBColor::RGBtoHSB(unsigned long rgb)
{
    const int r = static_cast<int>(rgb & 0xFF), g = static_cast<int>(rgb >> 8 & 0xFF),
              b = static_cast<int>(rgb >> 16 & 0xFF);
    const int max = r > g ? (r > b ? r : b) : (g > b ? g : b);
    const int min = r < g ? (r < b ? r : b) : (g < b ? g : b);
    HSBColor color;
    // A product with the nearest double to 1/255, not a division: stored colours depend on the
    // last bit of it.
    color.brightness = max * (1.0 / 255);
    if (max == 0)
        return color;
    color.saturation = static_cast<double>(max - min) / max;
    if (color.saturation == 0)
        return color;
    // The order of the tests decides ties: red before green before blue.
    const double d = max - min;
    double hue;
    if (r == max)
        hue = (g - b) / d;
    else if (g == max)
        hue = (b - r) / d + 2;
    else
        hue = (r - g) / d + 4;
    hue *= 1.0 / 6;
    if (hue < 0)
        hue += 1;
    color.hue = hue;
    return color;
}
