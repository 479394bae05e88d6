#ifndef QVCORE_INTERNAL_MODULELOCK_H
#define QVCORE_INTERNAL_MODULELOCK_H

// Internal to the library (not exported): the process-wide lock count that DllCanUnloadNow
// reads. Which objects hold it is documented in qvcore/runtime/LogFile.h.

/// Raise and lower the count (interlocked).
void QvLockModule();
void QvUnlockModule();
/// The current count.
long QvModuleLockCount();

#endif
