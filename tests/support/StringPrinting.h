#ifndef QVCORE_TESTS_SUPPORT_STRINGPRINTING_H
#define QVCORE_TESTS_SUPPORT_STRINGPRINTING_H

// How tests write String values and literals: GoogleTest prints a String as UTF-8 text with
// its unit count instead of a list of numbers, and wide or UTF-16 literals become the units
// the library's functions take (both are UTF-16 here); S() makes a String of a wide literal.

#include "qvcore/core/String.h"

#include <ostream>

inline void PrintTo(const String &s, std::ostream *out)
{
    *out << '"' << s.Utf8() << "\" (" << s.size() << " units)";
}

inline String S(const wchar_t *s) { return String(s); }

inline const unsigned short *units(const wchar_t *literal)
{
    return reinterpret_cast<const unsigned short *>(literal);
}

inline const unsigned short *units(const char16_t *literal)
{
    return reinterpret_cast<const unsigned short *>(literal);
}

#endif
