#ifndef QVCORE_RUNTIME_REFCOUNT_P_H
#define QVCORE_RUNTIME_REFCOUNT_P_H

// Private to the library (not installed): the one way the library's COM-style objects count
// their references. Counting is atomic, so an object may be shared between threads.

#include "qvcore/Platform.h"

#include <initializer_list>

namespace refcount {

/// Raises count; the new count.
inline ULONG Add(volatile LONG &count)
{
    return static_cast<ULONG>(InterlockedIncrement(&count));
}

/// Lowers count; at 0 calls destroy (a lambda of the object's own, which may reach a private
/// destructor). The new count.
template <class Destroy>
ULONG Release(volatile LONG &count, Destroy destroy)
{
    const LONG left = InterlockedDecrement(&count);
    if (left == 0)
        destroy();
    return static_cast<ULONG>(left);
}

/// QueryInterface for an object that answers the identifiers in answered with self: S_OK with
/// *ppv set and a reference added; E_NOINTERFACE with *ppv null for any other; E_POINTER for a
/// null ppv.
template <class Interface>
HRESULT Query(Interface *self, REFIID riid, void **ppv, std::initializer_list<const IID *> answered)
{
    if (!ppv)
        return E_POINTER;
    for (const IID *iid : answered) {
        if (IsEqualIID(riid, *iid)) {
            *ppv = self;
            self->AddRef();
            return S_OK;
        }
    }
    *ppv = nullptr;
    return E_NOINTERFACE;
}

}  // namespace refcount

#endif
