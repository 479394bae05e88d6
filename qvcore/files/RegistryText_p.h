#ifndef QVCORE_FILES_REGISTRYTEXT_P_H
#define QVCORE_FILES_REGISTRYTEXT_P_H

// Private to the library (not installed): key names, value names and string values on their way to
// the narrow registry functions.

#include "qvcore/core/SystemText_p.h"

#include <string>

namespace RegistryText {

/// text in the ANSI code page, converted exactly (as paths are: no best-fit look-alike, no
/// "?"), so that a name reaches only the key or value it names and a stored text reads back
/// as written. ERROR_SUCCESS, or ERROR_NO_UNICODE_TRANSLATION with out empty.
inline long Encode(const String &text, std::string &out)
{
    return SystemText::EncodePath(text, out) ? ERROR_SUCCESS : ERROR_NO_UNICODE_TRANSLATION;
}

/// Encode for a key or value name, which the narrow functions take up to its first zero: a
/// name holding a zero would reach the key or value named by what comes before it ("Victim\0x"
/// would delete "Victim"), so it is refused with ERROR_INVALID_NAME, out empty.
inline long EncodeName(const String &name, std::string &out)
{
    out.clear();
    if (name.find(static_cast<unsigned short>(0)) != String::npos)
        return ERROR_INVALID_NAME;
    return Encode(name, out);
}

/// Encode for the text of a string value, which ends at its first zero: text holding a zero
/// could not be read back whole, so it is refused with ERROR_INVALID_DATA, out empty.
inline long EncodeText(const String &text, std::string &out)
{
    out.clear();
    if (text.find(static_cast<unsigned short>(0)) != String::npos)
        return ERROR_INVALID_DATA;
    return Encode(text, out);
}

}  // namespace RegistryText

#endif
