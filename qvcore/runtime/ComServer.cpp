// The library's COM entry points. They are exported through the module-definition file
// beside this source, which gives them their undecorated names on every architecture
// (i686 would otherwise export the __stdcall names as DllGetClassObject@12).

#include "qvcore/runtime/LogFile.h"
#include "qvcore/internal/ModuleLock.h"

#include <new>

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

STDAPI DllGetClassObject(REFCLSID rclsid, REFIID riid, LPVOID *ppv)
{
    if (!IsEqualCLSID(rclsid, CLSID_QvCore))
        return CLASS_E_CLASSNOTAVAILABLE;
    if (!IsEqualIID(riid, IID_ILogFile) && !IsEqualIID(riid, IID_ILogFile2))
        return E_INVALIDARG;
    if (!ppv)
        return E_POINTER;
    // The object itself is handed out, no class factory; both interfaces start at the same
    // address, so the one pointer serves either identifier.
    *ppv = static_cast<ILogFile2 *>(new (std::nothrow) LogFile);
    return S_OK;
}

STDAPI DllCanUnloadNow()
{
    return QvModuleLockCount() == 0 ? S_OK : S_FALSE;
}
