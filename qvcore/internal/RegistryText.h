#ifndef QVCORE_INTERNAL_REGISTRYTEXT_H
#define QVCORE_INTERNAL_REGISTRYTEXT_H

// Internal to the library: key names, value names and string values on their way to the
// narrow registry functions.

#include "qvcore/internal/SystemText.h"

#include <string>

namespace RegistryText {

/// text in the ANSI code page, converted exactly (as paths are: no best-fit look-alike, no
/// "?"), so that a name reaches only the key or value it names and a stored text reads back
/// as written. ERROR_SUCCESS, or ERROR_NO_UNICODE_TRANSLATION with out empty.
inline long Encode(const String &text, std::string &out)
{
    return SystemText::EncodePath(text, out) ? ERROR_SUCCESS : ERROR_NO_UNICODE_TRANSLATION;
}

}  // namespace RegistryText

#endif
