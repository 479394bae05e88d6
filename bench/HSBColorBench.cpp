// HSB conversions per second over every 24-bit colour (to HSB and back), beside the system's
// own hue-luminance-saturation conversion (shlwapi's ColorRGBToHLS and ColorHLSToRGB) over the
// same colours in the same run.
//
// Usage: HSBColorBench.exe

#include "bench/BenchClock.h"
#include "qvcore/graphics/HSBColor.h"

#include <shlwapi.h>

#include <algorithm>
#include <cstdio>

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
    double bestHsb = 1e30, bestSystem = 1e30;
    volatile unsigned long sink = 0;
    for (int round = 0; round < kRounds; ++round) {
        double start = benchSeconds();
        sink = sink + hsbRoundTrips();
        bestHsb = std::min(bestHsb, benchSeconds() - start);
        start = benchSeconds();
        sink = sink + systemRoundTrips();
        bestSystem = std::min(bestSystem, benchSeconds() - start);
    }
    // One round trip is two conversions.
    double conversions = 2.0 * kColours;
    std::printf("colour conversions over all 2^24 colours, there and back (best of %d)\n", kRounds);
    std::printf("  system RGB<->HLS (shlwapi)   %8.1f million/s  (reference)\n", conversions / bestSystem / 1e6);
    std::printf("  HSBColor RGB<->HSB           %8.1f million/s  ratio %.2f  (goal: none set; measured)\n",
                conversions / bestHsb / 1e6, bestSystem / bestHsb);
    return 0;
}
