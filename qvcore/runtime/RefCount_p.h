#ifndef QVCORE_RUNTIME_REFCOUNT_P_H
#define QVCORE_RUNTIME_REFCOUNT_P_H

// Private to the library (not installed): the one way the library's COM-style objects count
// their references. Counting is atomic, so an object may be shared between threads.

#include "qvcore/Platform.h"

namespace refcount {

/// Raises count; the new count.
inline ULONG Add(volatile LONG &count)
{
    return static_cast<ULONG>(InterlockedIncrement(&count));
}

/// Lowers count; the new count. At 0 the caller deletes the object (from inside a member, so
/// that objects whose destructor is private count here too).
inline ULONG Drop(volatile LONG &count)
{
    return static_cast<ULONG>(InterlockedDecrement(&count));
}

}  // namespace refcount

#endif
