#include "Command.h"
#include "StdStreams.h"

#include "qvcore/graphics/HSBColor.h"

#include <cmath>
#include <cstdlib>
#include <list>
#include <memory>

namespace qvtool {
namespace {

// A colour as typed: "#RRGGBB" (or "RRGGBB": an unquoted "#" starts a shell comment) or
// "H,S,B" with saturation and brightness from 0 to 1 and any finite hue (it wraps).
struct ColorArgument {
    bool isRgb = false;
    unsigned long rgb = 0;  // COLORREF order: red in the lowest byte
    HSBColor hsb;
};

bool parseRgb(const std::string &text, unsigned long &rgb)
{
    std::string digits = !text.empty() && text[0] == '#' ? text.substr(1) : text;
    if (digits.size() != 6 || digits.find_first_not_of("0123456789abcdefABCDEF") != std::string::npos)
        return false;
    unsigned long value = std::strtoul(digits.c_str(), nullptr, 16);
    rgb = RGB(value >> 16 & 0xFF, value >> 8 & 0xFF, value & 0xFF);
    return true;
}

bool parseHsb(const std::string &text, HSBColor &hsb)
{
    std::list<String> parts = String::FromUtf8(text).Split(static_cast<unsigned short>(','), /*keepEmpty=*/true);
    double values[3];
    if (parts.size() != 3)
        return false;
    int i = 0;
    for (const String &part : parts) {
        // ParseNum ignores what follows a blank: "0.5 x" is not a number here.
        String number = part.Trim();
        if (number.empty() || number.find(' ') != String::npos || !number.ParseNum(values[i]) ||
            !std::isfinite(values[i]))
            return false;
        ++i;
    }
    if (values[1] < 0 || values[1] > 1 || values[2] < 0 || values[2] > 1)
        return false;
    hsb = HSBColor(values[0], values[1], values[2]);
    return true;
}

// Empty when text is a colour, else what is wrong with it (for the parser's message).
std::string checkColor(const std::string &text, ColorArgument *out = nullptr)
{
    ColorArgument colour;
    if (parseRgb(text, colour.rgb))
        colour.isRgb = true;
    else if (!parseHsb(text, colour.hsb))
        return "'" + text + "' is neither #RRGGBB nor H,S,B (saturation and brightness from 0 to 1)";
    if (out)
        *out = colour;
    return std::string();
}

// One line with the colour in each form; the form not typed is the converted one.
int runColor(const std::string &text)
{
    ColorArgument colour;
    checkColor(text, &colour);
    unsigned long rgb = colour.isRgb ? colour.rgb : HSBColor::HSBtoRGB(colour.hsb);
    HSBColor hsb = colour.isRgb ? HSBColor::RGBtoHSB(rgb) : colour.hsb;
    printOut("#%02lX%02lX%02lX  hsb %.10g,%.10g,%.10g  COLORREF 0x%08lX\n", rgb & 0xFF, rgb >> 8 & 0xFF,
             rgb >> 16 & 0xFF, hsb.hue, hsb.saturation, hsb.brightness, rgb);
    return 0;
}

Runner defineColor(CLI::App &command)
{
    auto text = std::make_shared<std::string>();
    command.add_option("COLOR", *text, "#RRGGBB (quoted in a shell) or RRGGBB, or H,S,B (hue 0 to 1, wrapping)")
        ->required()
        ->check([](const std::string &value) { return checkColor(value); });
    return [text] { return runColor(*text); };
}

const CommandRegistration registration({"color", "converts a colour between #RRGGBB and hue,saturation,brightness",
                                         defineColor});

}  // namespace
}  // namespace qvtool
