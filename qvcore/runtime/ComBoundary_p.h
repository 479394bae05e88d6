#ifndef QVCORE_RUNTIME_COMBOUNDARY_P_H
#define QVCORE_RUNTIME_COMBOUNDARY_P_H

// Private to the library (not installed): the one place where a COM-facing slot stops exceptions.
// A COM caller may be built with another compiler and runtime and cannot catch what the library
// throws, so nothing may leave a slot but its HRESULT.

#include "qvcore/Platform.h"

/// Runs body (a callable returning HRESULT) and returns its result; any exception that
/// escapes it, whatever its type, becomes E_FAIL.
template <class Body>
HRESULT ComBoundary(Body body) noexcept
{
    try {
        return body();
    } catch (...) {
        return E_FAIL;
    }
}

#endif
