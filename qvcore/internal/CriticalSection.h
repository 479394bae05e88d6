#ifndef QVCORE_INTERNAL_CRITICALSECTION_H
#define QVCORE_INTERNAL_CRITICALSECTION_H

// Internal to the library: the system's critical section as an object, and the guard that
// holds it for a scope. Recursive, as the system's is.

#include "qvcore/Platform.h"

class CriticalSection {
public:
    CriticalSection() { InitializeCriticalSection(&section_); }
    ~CriticalSection() { DeleteCriticalSection(&section_); }
    CriticalSection(const CriticalSection &) = delete;
    CriticalSection &operator=(const CriticalSection &) = delete;

    void Enter() { EnterCriticalSection(&section_); }
    void Leave() { LeaveCriticalSection(&section_); }

private:
    CRITICAL_SECTION section_;
};

/// Enters the section on construction and leaves it on destruction.
class CriticalSectionGuard {
public:
    explicit CriticalSectionGuard(CriticalSection &section) : section_(section) { section_.Enter(); }
    ~CriticalSectionGuard() { section_.Leave(); }
    CriticalSectionGuard(const CriticalSectionGuard &) = delete;
    CriticalSectionGuard &operator=(const CriticalSectionGuard &) = delete;

private:
    CriticalSection &section_;
};

#endif
