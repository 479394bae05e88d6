#include "qvcore/runtime/SysInfo.h"

#include "qvcore/core/ScopedHandle.h"
#include "qvcore/core/SystemText_p.h"
#include "qvcore/runtime/LogFile.h"

// The diagnostic provider's identifiers are defined here: no import library carries them.
#include <initguid.h>
#include <dxdiag.h>
#include <objbase.h>
#include <oleauto.h>

#include <atomic>

namespace SysInfo {

namespace {

OSVERSIONINFOA queryVersion()
{
    OSVERSIONINFOA version = {};
    version.dwOSVersionInfoSize = sizeof version;  // the 148-byte narrow record
    ::GetVersionExA(&version);
    return version;
}

}  // namespace

System SystemFromVersion(const OSVERSIONINFOA &version)
{
    if (version.dwPlatformId == VER_PLATFORM_WIN32_WINDOWS) {
        if (version.dwMinorVersion == 0)
            return Windows95;
        return version.dwMinorVersion == 90 ? WindowsMe : Windows98;
    }
    if (version.dwMajorVersion == 4)
        return WindowsNT4;
    // Only the minor version decides: a later system with minor version 0 reads as 2000.
    return version.dwMinorVersion == 0 ? Windows2000 : WindowsXP;
}

System GetSystem()
{
    // Cached without a lock: a race only asks the system twice for the same answer.
    static std::atomic<int> cached{0};
    int system = cached.load();
    if (system == 0) {
        system = SystemFromVersion(queryVersion());
        cached.store(system);
    }
    return static_cast<System>(system);
}

String OSNameFromVersion(unsigned long major, unsigned long minor, bool mediaCenter)
{
    const char *part = nullptr;
    if (major == 4 && minor == 10)
        part = "98";
    else if (major == 4 && minor == 90)
        part = "Me";
    else if (major == 5 && minor == 0)
        part = "2000";
    else if (major == 5 && minor == 1)
        part = mediaCenter ? "XP Media Center Edition" : "XP";
    else if (major == 5 && minor == 2)
        part = ".NET Server";
    return String::FromLatin1(part ? std::string("Windows ") + part : std::string("Unsupported"));
}

String GetOSName()
{
    OSVERSIONINFOA version = queryVersion();
    return OSNameFromVersion(version.dwMajorVersion, version.dwMinorVersion, GetSystemMetrics(SM_MEDIACENTER) != 0);
}

String ProcessorName(unsigned int architecture)
{
    switch (architecture) {
    case 0:
        return String::FromLatin1("Intel");
    case 6:
    case 10:
        return String::FromLatin1("Intel 64");
    case 9:
        return String::FromLatin1("AMD 64");
    default:
        return String::FromLatin1("Unknown");
    }
}

void GetSystemInfo(SYSTEM_INFO &info, String &processorName)
{
    ::GetSystemInfo(&info);
    processorName = ProcessorName(info.wProcessorArchitecture);
}

unsigned long PackDirectXVersion(unsigned long major, unsigned long minor, unsigned short letter)
{
    unsigned long n = letter >= 'a' && letter <= 'z' ? letter - 'a' + 1 : 0;
    return major * 65536 + minor * 256 + n;
}

namespace {

// A VARIANT cleared when it goes out of scope.
struct Variant : VARIANT {
    Variant() { VariantInit(this); }
    ~Variant() { VariantClear(this); }
};

bool readUnsigned(IDxDiagContainer *container, const wchar_t *name, unsigned long &value)
{
    Variant v;
    if (FAILED(container->GetProp(name, &v)) || (v.vt != VT_UI4 && v.vt != VT_I4))
        return false;
    value = v.vt == VT_UI4 ? v.ulVal : static_cast<unsigned long>(v.lVal);
    return true;
}

// The version the system's diagnostic provider reports; false when it cannot be read.
bool queryDxDiag(unsigned long &major, unsigned long &minor, unsigned short &letter)
{
    ComPtr<IDxDiagProvider> provider;
    if (FAILED(CoCreateInstance(CLSID_DxDiagProvider, nullptr, CLSCTX_INPROC_SERVER, IID_IDxDiagProvider,
                                reinterpret_cast<void **>(provider.receive()))))
        return false;
    DXDIAG_INIT_PARAMS params = {};
    params.dwSize = sizeof params;
    params.dwDxDiagHeaderVersion = DXDIAG_DX9_SDK_VERSION;
    params.bAllowWHQLChecks = FALSE;
    ComPtr<IDxDiagContainer> root, system;
    if (FAILED(provider->Initialize(&params)) || FAILED(provider->GetRootContainer(root.receive())) ||
        FAILED(root->GetChildContainer(L"DxDiag_SystemInfo", system.receive())))
        return false;
    if (!readUnsigned(system.get(), L"dwDirectXVersionMajor", major) ||
        !readUnsigned(system.get(), L"dwDirectXVersionMinor", minor))
        return false;
    Variant text;
    letter = 0;
    if (SUCCEEDED(system->GetProp(L"szDirectXVersionLetter", &text)) && text.vt == VT_BSTR && text.bstrVal)
        letter = text.bstrVal[0];
    return true;
}

// Writes one line through the library's own log object, as any client module would.
void logDirectXVersion(unsigned long major, unsigned long minor, unsigned short letter)
{
    ComPtr<ILogFile2> log;
    if (SUCCEEDED(DllGetClassObject(CLSID_QvCore, IID_ILogFile2, reinterpret_cast<void **>(log.receive()))) && log.get()) {
        log->SetSourceModule(reinterpret_cast<const void *>(&logDirectXVersion));
        log->LogFormat(reinterpret_cast<const unsigned short *>(L"Detected DirectX Version: %i.%i%c"),
                       static_cast<int>(major), static_cast<int>(minor), static_cast<int>(letter ? letter : L' '));
    }
}

// The class probed when the diagnostic provider cannot answer.
const CLSID probeClass = {0x51B4ABF3, 0x748F, 0x4E3B, {0xA2, 0x76, 0xC8, 0x28, 0x33, 0x0E, 0x92, 0x6A}};

}  // namespace

unsigned long GetDirectXVersion()
{
    // The provider is a COM object: make sure this thread has COM, and undo only what we did.
    HRESULT init = CoInitialize(nullptr);
    unsigned long major = 0, minor = 0;
    unsigned short letter = 0;
    unsigned long result;
    if (queryDxDiag(major, minor, letter)) {
        logDirectXVersion(major, minor, letter);
        result = PackDirectXVersion(major, minor, letter);
    } else {
        ComPtr<IUnknown> probe;
        HRESULT hr = CoCreateInstance(probeClass, nullptr, CLSCTX_INPROC_SERVER | CLSCTX_LOCAL_SERVER, IID_IUnknown,
                                      reinterpret_cast<void **>(probe.receive()));
        result = hr == REGDB_E_CLASSNOTREG ? major : 0x00090000;
    }
    if (SUCCEEDED(init))
        CoUninitialize();
    return result;
}

String GetEnvironmentVariableA(const String &name)
{
    std::string narrowName = name.SystemMultibyte();
    // Unset, empty and failing all answer 0: an empty String.
    return SystemText::QueryString(
        [&](char *buffer, DWORD size) { return ::GetEnvironmentVariableA(narrowName.c_str(), buffer, size); },
        SystemText::SizeConvention::NeededOnShortage);
}

namespace {

// The map of the enumeration running on this thread: the system's callback has no user data.
thread_local std::map<unsigned int, String> *enumTarget = nullptr;

BOOL CALLBACK addCodepage(LPSTR text)
{
    unsigned int page = 0;
    CPINFOEXA info;
    if (String::FromSystemMultibyte(text).ParseNum(page, 10) && IsValidCodePage(page) &&
        GetCPInfoExA(page, 0, &info))
        (*enumTarget)[page] = String::FromSystemMultibyte(info.CodePageName);
    return TRUE;
}

}  // namespace

void EnumInstalledCodepages(std::map<unsigned int, String> &codepages)
{
    codepages.clear();
    std::map<unsigned int, String> *outer = enumTarget;
    enumTarget = &codepages;
    EnumSystemCodePagesA(addCodepage, CP_INSTALLED);
    enumTarget = outer;
}

}  // namespace SysInfo

// --- SysParamWatcher ---------------------------------------------------------------------

SysParamWatcher::SysParamWatcher() : timerId_(0), interval_(10), watching_(false) {}

SysParamWatcher::~SysParamWatcher()
{
    if (watching_)
        RestoreDefaults();
    stopTimer();
}

unsigned __int64 SysParamWatcher::key(unsigned int setAction, unsigned int getAction)
{
    return (static_cast<unsigned __int64>(setAction) << 32) | getAction;
}

unsigned int SysParamWatcher::currentValue(unsigned int getAction)
{
    unsigned int value = 0;
    SystemParametersInfoA(getAction, 0, &value, 0);
    return value;
}

void SysParamWatcher::setValue(unsigned int setAction, unsigned int value)
{
    SystemParametersInfoA(setAction, value, nullptr, SPIF_UPDATEINIFILE);
}

void SysParamWatcher::stopTimer()
{
    if (timerId_) {
        QvKillTimer(timerId_);
        timerId_ = 0;
    }
}

void SysParamWatcher::startTimer()
{
    stopTimer();
    timerId_ = QvSetTimer(1000, interval_ * 1000, this, true);
}

void SysParamWatcher::SetParamToWatch(unsigned int setAction, unsigned int getAction, unsigned int value)
{
    parameters_[key(setAction, getAction)] = Values{value, currentValue(getAction)};
}

void SysParamWatcher::RemoveParamFromWatchlist(unsigned int setAction)
{
    // The timer is restarted anyway: stopping it first keeps a tick from re-applying the
    // wanted value between the restore and the removal, or walking the map while it changes.
    if (watching_)
        stopTimer();
    for (auto it = parameters_.begin(); it != parameters_.end();) {
        if (setActionOf(it->first) == setAction) {
            if (watching_)
                setValue(setAction, it->second.saved);
            it = parameters_.erase(it);
        } else {
            ++it;
        }
    }
    if (watching_)
        startTimer();
}

void SysParamWatcher::SetUpdateInterval(unsigned int seconds)
{
    interval_ = seconds;
    if (watching_)
        startTimer();
}

void SysParamWatcher::StartWatching(bool saveCurrent)
{
    stopTimer();
    if (saveCurrent)
        SaveCurrentSystemValues();
    ApplyValues();
    startTimer();
    watching_ = true;
}

void SysParamWatcher::StopWatching()
{
    RestoreDefaults();
}

void SysParamWatcher::ApplyValues()
{
    for (const auto &entry : parameters_)
        setValue(setActionOf(entry.first), entry.second.wanted);
}

void SysParamWatcher::RestoreDefaults()
{
    stopTimer();
    watching_ = false;
    for (const auto &entry : parameters_)
        setValue(setActionOf(entry.first), entry.second.saved);
}

void SysParamWatcher::SaveCurrentSystemValues()
{
    for (auto &entry : parameters_)
        entry.second.saved = currentValue(getActionOf(entry.first));
}

void SysParamWatcher::OnTimer(unsigned int timerId)
{
    if (timerId == timerId_)
        ApplyValues();
}
