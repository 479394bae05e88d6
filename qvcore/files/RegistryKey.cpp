// RegistryKey's shared handle and its subkeys. Values are in RegistryValues.cpp.

#include "qvcore/files/RegistryKey.h"

#include "qvcore/core/ScopedHandle.h"
#include "qvcore/files/RegistryText_p.h"

#include <shlwapi.h>

namespace {

// The predefined roots are the system's own handles, shared by everything in the process:
// closing one would break every other user of the root.
bool IsPredefinedRoot(HKEY key)
{
    ULONG_PTR value = reinterpret_cast<ULONG_PTR>(key);
    return value >= reinterpret_cast<ULONG_PTR>(HKEY_CLASSES_ROOT) &&
           value <= reinterpret_cast<ULONG_PTR>(HKEY_DYN_DATA);
}

struct SharedKeyTraits {
    typedef HKEY Handle;
    static Handle Invalid() { return nullptr; }
    static void Close(Handle handle)
    {
        if (!IsPredefinedRoot(handle))
            RegCloseKey(handle);
    }
};

}  // namespace

struct RegistryKey::HandleRecord {
    explicit HandleRecord(HKEY key) : handle(key), count(1) {}
    ScopedHandle<SharedKeyTraits> handle;
    unsigned long count;
};

RegistryKey::RegistryKey(HKEY key) : record_(new HandleRecord(key)) {}

RegistryKey::RegistryKey(const RegistryKey &other) : record_(other.record_)
{
    ++record_->count;
}

RegistryKey &RegistryKey::operator=(const RegistryKey &other)
{
    // Counting the new record first keeps self-assignment from closing the handle.
    HandleRecord *shared = other.record_;
    ++shared->count;
    Release();
    record_ = shared;
    return *this;
}

RegistryKey::~RegistryKey()
{
    Release();
}

void RegistryKey::Release()
{
    if (--record_->count == 0)
        delete record_;
    record_ = nullptr;
}

bool RegistryKey::operator==(const RegistryKey &other) const
{
    return GetHandle() == other.GetHandle();
}

bool RegistryKey::IsValid() const
{
    return record_->handle.valid();
}

HKEY RegistryKey::GetHandle() const
{
    return record_->handle.get();
}

void RegistryKey::Close()
{
    HandleRecord *fresh = new HandleRecord(nullptr);
    Release();
    record_ = fresh;
}

long RegistryKey::ConnectRegistry(const String &machine, HKEY root)
{
    std::string narrow;
    if (long result = RegistryText::EncodeName(machine, narrow))
        return result;
    HKEY connected = nullptr;
    long result = RegConnectRegistryA(narrow.empty() ? nullptr : narrow.c_str(), root, &connected);
    if (result == ERROR_SUCCESS)
        *this = RegistryKey(connected);
    return result;
}

RegistryKey RegistryKey::CreateSubkey(const String &name, unsigned long options, unsigned long access,
                                      unsigned long *disposition) const
{
    std::string narrow;
    HKEY created = nullptr;
    DWORD how = 0;
    if (RegistryText::EncodeName(name, narrow) == ERROR_SUCCESS &&
        RegCreateKeyExA(GetHandle(), narrow.c_str(), 0, nullptr, options, access, nullptr, &created, &how) ==
            ERROR_SUCCESS) {
        if (disposition)
            *disposition = how;
        return RegistryKey(created);
    }
    return RegistryKey();
}

RegistryKey RegistryKey::OpenSubkey(const String &name, unsigned long access) const
{
    std::string narrow;
    HKEY opened = nullptr;
    if (RegistryText::EncodeName(name, narrow) == ERROR_SUCCESS &&
        RegOpenKeyExA(GetHandle(), narrow.c_str(), 0, access, &opened) == ERROR_SUCCESS)
        return RegistryKey(opened);
    return RegistryKey();
}

long RegistryKey::DeleteSubkey(const String &name, bool recursive) const
{
    std::string narrow;
    if (long result = RegistryText::EncodeName(name, narrow))
        return result;
    if (recursive)
        return SHDeleteKeyA(GetHandle(), narrow.c_str());
    // Some systems' shell deletes a key with values but no subkeys; values are settings a
    // caller asking for an empty-only delete means to keep.
    ScopedRegistryKey subkey;
    long result = RegOpenKeyExA(GetHandle(), narrow.c_str(), 0, KEY_QUERY_VALUE, subkey.receive());
    if (result != ERROR_SUCCESS)
        return result;
    DWORD values = 0;
    result = RegQueryInfoKeyA(subkey.get(), nullptr, nullptr, nullptr, nullptr, nullptr, nullptr,
                              &values, nullptr, nullptr, nullptr, nullptr);
    if (result != ERROR_SUCCESS)
        return result;
    if (values != 0)
        return ERROR_KEY_HAS_CHILDREN;
    return SHDeleteEmptyKeyA(GetHandle(), narrow.c_str());
}

long RegistryKey::GetSubkeyNames(std::vector<String> &names) const
{
    names.clear();
    // Key names are at most 255 characters: 510 bytes in a double-byte code page.
    char name[512];
    for (DWORD index = 0;; ++index) {
        DWORD size = sizeof name;
        long result = RegEnumKeyExA(GetHandle(), index, name, &size, nullptr, nullptr, nullptr, nullptr);
        if (result == ERROR_NO_MORE_ITEMS)
            return ERROR_SUCCESS;
        if (result != ERROR_SUCCESS)
            return result;
        names.push_back(String::FromSystemMultibyte(name, static_cast<int>(size)));
    }
}

long RegistryKey::SetSubkey(const String &name, const String &value) const
{
    if (name.empty())
        return SetString(String(), value);
    std::string narrow;
    if (long result = RegistryText::EncodeName(name, narrow))
        return result;
    HKEY created = nullptr;
    long result = RegCreateKeyExA(GetHandle(), narrow.c_str(), 0, nullptr, REG_OPTION_NON_VOLATILE, KEY_SET_VALUE,
                                  nullptr, &created, nullptr);
    if (result != ERROR_SUCCESS)
        return result;
    return RegistryKey(created).SetString(String(), value);
}

long RegistryKey::Flush() const
{
    return RegFlushKey(GetHandle());
}
