// The library's COM entry points: above every layer, since they hand out the log object and
// register the library through the registry. They are exported through the module-definition
// file beside this source, which gives them their undecorated names on every architecture
// (i686 would otherwise export the __stdcall names as DllGetClassObject@12).

#include "qvcore/files/RegistryKey.h"
#include "qvcore/runtime/ComBoundary_p.h"
#include "qvcore/runtime/LogFile.h"
#include "qvcore/runtime/ModuleBase.h"
#include "qvcore/runtime/ModuleLock_p.h"

#include <olectl.h>

#include <new>

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

// Registers this file, wherever it was loaded from, as the in-process server of the library's
// class, usable from any apartment.
STDAPI DllRegisterServer()
{
    char path[1024];
    HINSTANCE self = ModuleBase::GetHInstance(reinterpret_cast<const void *>(&DllRegisterServer));
    DWORD length = GetModuleFileNameA(self, path, sizeof path);
    // A cut path would register a file that does not exist.
    if (length == 0 || length >= sizeof path)
        return SELFREG_E_CLASS;
    bool registered = ComBoundary([&] {
        return RegistryHelper::RegisterInprocServer32(CLSID_QvCore, String::FromSystemMultibyte(path, length),
                                                      RegistryHelper::Both) ? S_OK : E_FAIL;
    }) == S_OK;
    return registered ? S_OK : SELFREG_E_CLASS;
}

// Succeeds whether or not the class was registered: regsvr32 /u of an unregistered library
// is not an error. When the server key cannot be removed, the class key is left too, so the
// registration stays whole rather than half removed.
STDAPI DllUnregisterServer()
{
    ComBoundary([] {
        if (RegistryHelper::UnregisterInprocServer32(CLSID_QvCore))
            RegistryHelper::UnregisterCLSID(CLSID_QvCore);
        return S_OK;
    });
    return S_OK;
}
