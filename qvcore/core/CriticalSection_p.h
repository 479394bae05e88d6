#ifndef QVCORE_CORE_CRITICALSECTION_P_H
#define QVCORE_CORE_CRITICALSECTION_P_H

// Private to the library (not installed): the system's critical section as an object, and the
// guard that holds it for a scope (recursive, as the system's is); guards for slim reader/writer
// locks.

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

// Holds a slim reader/writer lock for a scope, shared or exclusive. Not recursive.
template <void(WINAPI *Acquire)(PSRWLOCK), void(WINAPI *Release)(PSRWLOCK)>
class SRWGuard {
public:
    explicit SRWGuard(SRWLOCK &lock) : lock_(lock) { Acquire(&lock_); }
    ~SRWGuard() { Release(&lock_); }
    SRWGuard(const SRWGuard &) = delete;
    SRWGuard &operator=(const SRWGuard &) = delete;

private:
    SRWLOCK &lock_;
};
typedef SRWGuard<AcquireSRWLockShared, ReleaseSRWLockShared> SharedGuard;
typedef SRWGuard<AcquireSRWLockExclusive, ReleaseSRWLockExclusive> ExclusiveGuard;

#endif
