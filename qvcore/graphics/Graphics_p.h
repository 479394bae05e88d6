#ifndef QVCORE_GRAPHICS_GRAPHICS_P_H
#define QVCORE_GRAPHICS_GRAPHICS_P_H

// Private to the library (not installed): what the graphics sources share.

#include "qvcore/Platform.h"
#include "qvcore/core/WinException.h"
#include "qvcore/core/TextCast_p.h"

namespace qvgraphics {

using textcast::units;

/// Throws WinException for a system call named by context that failed: the thread's last
/// error, or ERROR_INVALID_PARAMETER when the graphics functions left none (most of them set
/// none for bad arguments).
[[noreturn]] void throwSystemFailure(const wchar_t *context);

/// handle, or WinException for context when it is null.
template <class Handle>
Handle checked(Handle handle, const wchar_t *context)
{
    if (!handle)
        throwSystemFailure(context);
    return handle;
}

/// Divides the colours of count bytes of blue, green, red, alpha pixels by their alpha
/// (rounded; transparent pixels become 0 0 0 0): premultiplied pixels back to straight ones.
void unpremultiply(BYTE *pixels, size_t count);

}  // namespace qvgraphics

#endif
