// HSB conversions per second over every 24-bit colour (to HSB and back), beside the system's
// own hue-luminance-saturation conversion (shlwapi's ColorRGBToHLS and ColorHLSToRGB) over the
// same colours in the same run.
//
// Usage: HSBColorBench.exe

#include "bench/Bench.h"
#include "qvcore/graphics/HSBColor.h"

#include <shlwapi.h>

#include <cstdio>
#include <vector>

namespace {

const unsigned long kColours = 1ul << 24;
const int kRounds = 3;

unsigned long hsbRoundTrips()
{
    unsigned long check = 0;
    for (unsigned long colour = 0; colour < kColours; ++colour)
        check += HSBColor::HSBtoRGB(HSBColor::RGBtoHSB(colour));
    return check;
}

unsigned long systemRoundTrips()
{
    unsigned long check = 0;
    for (unsigned long colour = 0; colour < kColours; ++colour) {
        WORD hue, luminance, saturation;
        ColorRGBToHLS(colour, &hue, &luminance, &saturation);
        check += ColorHLSToRGB(hue, luminance, saturation);
    }
    return check;
}

}  // namespace

int main()
{
    volatile unsigned long sink = 0;
    std::vector<double> seconds = bench::bestTimes(kRounds, {[&] { sink = sink + hsbRoundTrips(); },
                                                             [&] { sink = sink + systemRoundTrips(); }});
    // One round trip is two conversions.
    double conversions = 2.0 * kColours;
    std::printf("colour conversions over all 2^24 colours, there and back (best of %d)\n", kRounds);
    bench::row("HSBColor RGB<->HSB", conversions / seconds[0] / 1e6, "system RGB<->HLS (shlwapi)",
               conversions / seconds[1] / 1e6, "M/s");
    return 0;
}
