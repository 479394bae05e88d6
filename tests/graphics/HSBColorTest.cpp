// HSB conversions against values computed independently (Python floats, which are the same
// IEEE doubles) and over every 24-bit colour.

#include "qvcore/graphics/HSBColor.h"

#include <gtest/gtest.h>

#include <cmath>
#include <limits>

namespace {

// COLORREF order: red in the lowest byte.
unsigned long rgb(int red, int green, int blue)
{
    return static_cast<unsigned long>(red | green << 8 | blue << 16);
}

struct HSBRow {
    const char *label;
    unsigned long rgb;
    double hue, saturation, brightness;
};

}  // namespace

TEST(HSBColor, ConvertsNamedAndMixedColoursToTheExactDoubles)
{
    const HSBRow rows[] = {
        {"black", rgb(0, 0, 0), 0, 0, 0},
        {"white", rgb(255, 255, 255), 0, 0, 1},
        {"red", rgb(255, 0, 0), 0, 1, 1},
        {"green", rgb(0, 255, 0), 1.0 / 3, 1, 1},
        {"blue", rgb(0, 0, 255), 0x1.5555555555555p-1, 1, 1},
        {"grey", rgb(128, 128, 128), 0, 0, 0x1.0101010101010p-1},
        {"orange", rgb(255, 128, 0), 0x1.56ac0156ac015p-4, 1, 1},
        {"dark mix", rgb(1, 2, 3), 0x1.2aaaaaaaaaaaap-1, 0x1.5555555555555p-1, 0x1.8181818181818p-7},
        {"brown", rgb(200, 100, 50), 0x1.c71c71c71c71cp-5, 0.75, 0x1.9191919191919p-1},
        {"teal", rgb(12, 200, 200), 0.5, 0x1.e147ae147ae14p-1, 0x1.9191919191919p-1},
        // Red and blue tie for the maximum: the red formula, 1 - 1/6, which differs from the
        // blue formula's 5/6 in the last bit.
        {"magenta", rgb(255, 0, 255), 0x1.aaaaaaaaaaaabp-1, 1, 1},
        // The top byte is not a channel.
        {"red with a top byte", 0xFF0000FFul, 0, 1, 1},
    };
    for (const HSBRow &row : rows) {
        HSBColor color(row.rgb);
        EXPECT_EQ(row.hue, color.hue) << row.label;
        EXPECT_EQ(row.saturation, color.saturation) << row.label;
        EXPECT_EQ(row.brightness, color.brightness) << row.label;
        HSBColor same = HSBColor::RGBtoHSB(row.rgb);
        EXPECT_EQ(color.hue, same.hue) << row.label;
    }
}

TEST(HSBColor, ConvertsToRgbWithWrappedHuesTruncatedChannelsAndTheirLowBits)
{
    struct Row {
        const char *label;
        HSBColor color;
        unsigned long expected;
    } rows[] = {
        {"default is black", HSBColor(), rgb(0, 0, 0)},
        {"hue 0 is red", HSBColor(0, 1, 1), rgb(255, 0, 0)},
        {"hue 1/2 is cyan", HSBColor(0.5, 1, 1), rgb(0, 255, 255)},
        {"hue 0.25", HSBColor(0.25, 1, 1), rgb(127, 255, 0)},
        {"hue 1.25 wraps to 0.25", HSBColor(1.25, 1, 1), rgb(127, 255, 0)},
        {"hue -0.75 wraps to 0.25", HSBColor(-0.75, 1, 1), rgb(127, 255, 0)},
        {"saturation 0 ignores the hue", HSBColor(0.7, 0, 0.5), rgb(127, 127, 127)},
        {"127.5 is truncated", HSBColor(0, 0, 0.5), rgb(127, 127, 127)},
        {"sector 5", HSBColor(5.5 / 6, 0.5, 1), rgb(255, 127, 191)},
        {"brightness 1.5 keeps the low 8 bits of 382", HSBColor(0, 0, 1.5), rgb(126, 126, 126)},
        {"brightness -0.5 keeps the low 8 bits of -127", HSBColor(0, 0, -0.5), rgb(0x81, 0x81, 0x81)},
        {"a hue that is not a number gives black", HSBColor(std::numeric_limits<double>::quiet_NaN(), 1, 1), 0},
        {"an infinite hue gives black", HSBColor(std::numeric_limits<double>::infinity(), 1, 1), 0},
    };
    for (const Row &row : rows) {
        EXPECT_EQ(row.expected, static_cast<unsigned long>(row.color)) << row.label;
        EXPECT_EQ(row.expected, HSBColor::HSBtoRGB(row.color.hue, row.color.saturation, row.color.brightness))
            << row.label;
    }
}

// 0x31 blue: 49/255 * 255 comes out just below 49.
TEST(HSBColor, RoundTripMayGiveAChannelOneLower)
{
    EXPECT_EQ(rgb(0, 0, 48), static_cast<unsigned long>(HSBColor(rgb(0, 0, 49))));
    EXPECT_EQ(rgb(0, 4, 84), static_cast<unsigned long>(HSBColor(rgb(0, 5, 84))));
}

// Every 24-bit colour: each channel comes back as it was or one lower, and exactly as many
// channels come back lower as an independent computation of the same arithmetic counts.
TEST(HSBColor, EveryColourRoundTripsToItselfOrOneLowerPerChannel)
{
    long long lowered = 0, changedColours = 0, wrong = 0;
    for (unsigned long colour = 0; colour < (1ul << 24); ++colour) {
        unsigned long back = HSBColor::HSBtoRGB(HSBColor::RGBtoHSB(colour));
        int changed = 0;
        for (int shift = 0; shift < 24; shift += 8) {
            long before = static_cast<long>(colour >> shift & 0xFF), after = static_cast<long>(back >> shift & 0xFF);
            if (after == before - 1)
                ++changed;
            else if (after != before && ++wrong <= 5)
                ADD_FAILURE() << std::hex << "colour 0x" << colour << " came back as 0x" << back;
        }
        lowered += changed;
        changedColours += changed != 0;
        if (back >> 24)
            ++wrong;
    }
    EXPECT_EQ(0, wrong);
    EXPECT_EQ(12899289, lowered);
    EXPECT_EQ(9533698, changedColours);
}
