#ifndef QVCORE_CORE_STRINGUNITS_P_H
#define QVCORE_CORE_STRINGUNITS_P_H

// Private to the library (not installed): what String's source files share about its units and its
// length limit.

#include "qvcore/core/String.h"
#include "qvcore/core/SystemText_p.h"
#include "qvcore/core/TextCast_p.h"

#include <cstddef>
#include <stdexcept>
#include <string>

namespace stringunits {

typedef String::Base Base;
typedef unsigned short Unit;
using textcast::units;
using textcast::wide;

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
