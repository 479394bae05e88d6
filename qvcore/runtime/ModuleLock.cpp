// The count of objects that keep the library loaded, which DllCanUnloadNow reads.

#include "qvcore/runtime/ModuleLock_p.h"

#include "qvcore/Platform.h"

namespace {

volatile LONG moduleLockCount = 0;

}  // namespace

void QvLockModule()
{
    InterlockedIncrement(&moduleLockCount);
}

void QvUnlockModule()
{
    InterlockedDecrement(&moduleLockCount);
}

long QvModuleLockCount()
{
    return InterlockedCompareExchange(&moduleLockCount, 0, 0);
}
