// Registration of in-process COM classes in the machine's class registry.

#include "qvcore/files/RegistryKey.h"

namespace {

// KEY_READ | KEY_WRITE, KEY_WRITE and KEY_READ.
const unsigned long kReadWrite = 0x2001F;
const unsigned long kWrite = 0x20006;
const unsigned long kRead = 0x20019;

String InprocServerPath(const GUID &clsid)
{
    return RegistryHelper::GetClassPath(clsid) + String(L"\\InprocServer32");
}

String ThreadingModelName(RegistryHelper::ThreadingModel model)
{
    switch (model) {
    case RegistryHelper::Apartment:
        return String(L"Apartment");
    case RegistryHelper::Both:
        return String(L"Both");
    case RegistryHelper::Free:
        return String(L"Free");
    case RegistryHelper::Neutral:
        return String(L"Neutral");
    }
    return String();
}

// The default value of a key under HKEY_LOCAL_MACHINE, or fallback.
String DefaultValue(const String &path, const String &fallback)
{
    String value = fallback;
    RegistryKey(HKEY_LOCAL_MACHINE).OpenSubkey(path, kRead).GetString(String(), value);
    return value;
}

}  // namespace

String RegistryHelper::GetClassString(const GUID &clsid)
{
    String text = String::FromGUID(clsid);
    // FromGUID keeps the system's terminating zero as a unit of the text.
    while (!text.empty() && text.back() == 0)
        text.pop_back();
    return text;
}

String RegistryHelper::GetClassPath(const GUID &clsid)
{
    return String(L"Software\\Classes\\CLSID\\") + GetClassString(clsid);
}

bool RegistryHelper::RegisterCLSID(const GUID &clsid)
{
    return RegistryKey(HKEY_LOCAL_MACHINE).CreateSubkey(GetClassPath(clsid), REG_OPTION_NON_VOLATILE, kReadWrite).IsValid();
}

bool RegistryHelper::UnregisterCLSID(const GUID &clsid)
{
    return RegistryKey(HKEY_LOCAL_MACHINE).DeleteSubkey(GetClassPath(clsid), /*recursive=*/true) == ERROR_SUCCESS;
}

bool RegistryHelper::RegisterInprocServer32(const GUID &clsid, const String &serverPath, ThreadingModel model)
{
    RegistryKey server =
        RegistryKey(HKEY_LOCAL_MACHINE).CreateSubkey(InprocServerPath(clsid), REG_OPTION_NON_VOLATILE, kWrite);
    if (!server.IsValid() || server.SetString(String(), serverPath) != ERROR_SUCCESS)
        return false;
    String modelName = ThreadingModelName(model);
    return modelName.empty() || server.SetString(String(L"ThreadingModel"), modelName) == ERROR_SUCCESS;
}

bool RegistryHelper::UnregisterInprocServer32(const GUID &clsid)
{
    return RegistryKey(HKEY_LOCAL_MACHINE).DeleteSubkey(InprocServerPath(clsid), /*recursive=*/true) == ERROR_SUCCESS;
}

String RegistryHelper::GetClassDescription(const GUID &clsid)
{
    return DefaultValue(GetClassPath(clsid), String(L"no name"));
}

String RegistryHelper::GetClassServer(const GUID &clsid)
{
    return DefaultValue(InprocServerPath(clsid), String());
}
