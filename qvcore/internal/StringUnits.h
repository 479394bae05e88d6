#ifndef QVCORE_INTERNAL_STRINGUNITS_H
#define QVCORE_INTERNAL_STRINGUNITS_H

// Internal to the library: what String's source files share about its units and its length
// limit.

#include "qvcore/core/String.h"
#include "qvcore/internal/SystemText.h"

#include <cstddef>
#include <stdexcept>
#include <string>

namespace stringunits {

typedef String::Base Base;
typedef unsigned short Unit;

/// The longest String there can be.
const std::size_t kMaxLength = 2147483645u;

[[noreturn]] inline void throwTooLong()
{
    throw std::length_error("String: longer than 2147483645 units");
}

inline void checkLength(std::size_t length)
{
    if (length > kMaxLength)
        throwTooLong();
}

// Wide text and the library's units are both UTF-16 here.
inline const wchar_t *wide(const Unit *s) { return reinterpret_cast<const wchar_t *>(s); }
inline wchar_t *wide(Unit *s) { return reinterpret_cast<wchar_t *>(s); }
inline const Unit *units(const wchar_t *s) { return reinterpret_cast<const Unit *>(s); }

inline std::size_t unitLength(const Unit *s)
{
    const Unit *end = s;
    while (*end)
        ++end;
    return static_cast<std::size_t>(end - s);
}

/// The text in the ANSI code page; empty when the system cannot convert it.
inline std::string ansi(const Base &text)
{
    return SystemText::Encode(CP_ACP, text.data(), text.size());
}

}  // namespace stringunits

#endif
