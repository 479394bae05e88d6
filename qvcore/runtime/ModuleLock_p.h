#ifndef QVCORE_RUNTIME_MODULELOCK_P_H
#define QVCORE_RUNTIME_MODULELOCK_P_H

// Private to the library (not installed): the process-wide lock count that DllCanUnloadNow reads.
// Which objects hold it is documented in qvcore/runtime/LogFile.h.

/// Raise and lower the count (interlocked).
void QvLockModule();
void QvUnlockModule();
/// The current count.
long QvModuleLockCount();

#endif
