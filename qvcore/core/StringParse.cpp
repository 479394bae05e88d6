#include "qvcore/core/NumericLocale_p.h"
#include "qvcore/core/String.h"
#include "qvcore/core/StringUnits_p.h"

#include <cmath>
#include <limits>
#include <objbase.h>
#include <stdlib.h>

// Numbers and GUIDs read from text. Failures give false and zero, never an exception.

// strtod in <stdlib.h> is MinGW's own C99 parser; floating-point text is read with the C
// runtime's (msvcrt) parser, reached through its import.
extern "C" double(__cdecl *__MINGW_IMP_SYMBOL(strtod))(const char *, char **);

using namespace stringunits;

namespace {

// The digit value of a unit judged by its low 8 bits, or 99 when it is no digit.
inline unsigned digitValue(Unit unit)
{
    unsigned c = unit & 0xFF;
    if (c >= '0' && c <= '9')
        return c - '0';
    if (c >= 'a' && c <= 'z')
        return c - 'a' + 10;
    if (c >= 'A' && c <= 'Z')
        return c - 'A' + 10;
    return 99;
}

inline bool isBlank(Unit unit) { return unit == ' ' || unit == '\t'; }

// The integer parser shared by the 32- and 64-bit forms; U is the unsigned accumulator.
template <class U>
bool parseInteger(const Base &text, int radix, U &result)
{
    result = 0;
    if (radix < 2 || radix > 36)
        return false;
    const Unit *p = text.data();
    const Unit *end = p + text.size();
    while (p != end && isBlank(*p))
        ++p;
    bool negative = false;
    if (p != end && (*p == '+' || *p == '-')) {
        negative = *p == '-';
        ++p;
    }
    U value = 0;
    for (; p != end; ++p) {
        unsigned digit = digitValue(*p);
        if (digit == 99)
            break;
        if (digit >= static_cast<unsigned>(radix))
            return false;
        U next = static_cast<U>(value * static_cast<U>(radix) + digit);
        if (next < value)
            return false;
        value = next;
    }
    // Trailing blanks are accepted only after a value beyond the signed range: kept for
    // compatibility with existing callers.
    const U signedMax = std::numeric_limits<U>::max() / 2;
    if (value > (negative ? signedMax + 1 : signedMax)) {
        while (p != end && isBlank(*p))
            ++p;
    }
    if (p != end)
        return false;
    result = negative ? static_cast<U>(0 - value) : value;
    return true;
}

// The C runtime's "%f" texts of infinities and NaNs, "1.#INF00", "-1.#IND00", "1.#QNAN0" (given
// in lower case), so that numbers formatted here read back: true with value set for one.
bool runtimeSpecial(const std::string &text, double &value)
{
    size_t at = text[0] == '-' || text[0] == '+' ? 1 : 0;
    if (text.compare(at, 3, "1.#") != 0)
        return false;
    size_t word = at + 3, end = text.find_first_not_of('0', text.find_first_of("0", word));
    std::string name = text.substr(word, text.find('0', word) - word);
    if (end != std::string::npos || (name != "inf" && name != "ind" && name != "qnan" && name != "snan"))
        return false;
    if (name == "inf")
        value = at == 1 && text[0] == '-' ? -std::numeric_limits<double>::infinity()
                                          : std::numeric_limits<double>::infinity();
    else
        value = std::numeric_limits<double>::quiet_NaN();
    return true;
}

}  // namespace

// --- parsing ------------------------------------------------------------------------------

bool String::ParseNum(int &value, int radix) const
{
    unsigned int raw = 0;
    bool ok = parseInteger(*this, radix, raw);
    value = static_cast<int>(raw);
    return ok;
}

bool String::ParseNum(unsigned int &value, int radix) const
{
    return parseInteger(*this, radix, value);
}

bool String::ParseNum(__int64 &value, int radix) const
{
    unsigned __int64 raw = 0;
    bool ok = parseInteger(*this, radix, raw);
    value = static_cast<__int64>(raw);
    return ok;
}

bool String::ParseNum(unsigned __int64 &value, int radix) const
{
    return parseInteger(*this, radix, value);
}

bool String::ParseNum(double &value) const
{
    value = 0;
    size_type at = 0;
    while (at < size() && isBlank((*this)[at]))
        ++at;
    std::string text;
    for (; at < size() && !isBlank((*this)[at]); ++at) {
        Unit unit = (*this)[at];
        if (unit > 127)
            return false;
        text += static_cast<char>(unit >= 'A' && unit <= 'Z' ? unit - 'A' + 'a' : unit);
    }
    if (text == "inf" || text == "+inf") {
        value = std::numeric_limits<double>::infinity();
        return true;
    }
    if (text == "-inf") {
        value = -std::numeric_limits<double>::infinity();
        return true;
    }
    if (text == "nan") {
        value = std::numeric_limits<double>::quiet_NaN();
        return true;
    }
    if (runtimeSpecial(text, value))
        return true;
    if (text.empty())
        return false;
    char *end = nullptr;
    const double parsed = _strtod_l(text.c_str(), &end, ClassicNumericLocale());
    if (end != text.c_str() + text.size())
        return false;
    value = parsed;
    return true;
}

bool String::ParseNum(float &value) const
{
    double parsed = 0;
    bool ok = ParseNum(parsed);
    value = static_cast<float>(parsed);
    return ok;
}

bool String::ParseGUID(GUID &guid) const
{
    if (CLSIDFromString(const_cast<LPOLESTR>(wide(c_str())), &guid) == S_OK)
        return true;
    guid = GUID();
    return false;
}
