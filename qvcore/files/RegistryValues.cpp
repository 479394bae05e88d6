// RegistryKey's values: the typed getters and setters, enumeration and deletion.

#include "qvcore/files/RegistryKey.h"
#include "qvcore/files/RegistryText_p.h"

#include <cstring>

namespace {

// Value names are at most 16,383 characters; in a double-byte code page that is twice as
// many bytes, plus the zero.
const DWORD kLongestValueName = 2 * 16383 + 1;

// Reads the value name of registry type type. The system is asked for type and size first:
// when that fails, its code is returned; a value of another type or of size 0 gives
// ERROR_SUCCESS without calling convert. Otherwise convert(const char *data, DWORD size) sets
// the caller's output and returns its code; data has a zero byte after its size bytes.
template <class Convert>
long ReadValue(HKEY key, const String &name, DWORD type, Convert convert)
{
    std::string narrow;
    if (long result = RegistryText::EncodeName(name, narrow))
        return result;
    DWORD actualType = REG_NONE;
    DWORD size = 0;
    long result = RegQueryValueExA(key, narrow.c_str(), nullptr, &actualType, nullptr, &size);
    if (result != ERROR_SUCCESS)
        return result;
    if (actualType != type || size == 0)
        return ERROR_SUCCESS;
    std::vector<char> data(size + 1, '\0');
    result = RegQueryValueExA(key, narrow.c_str(), nullptr, &actualType, reinterpret_cast<BYTE *>(data.data()), &size);
    if (result != ERROR_SUCCESS)
        return result;
    // Changed by another program between the two calls.
    if (actualType != type || size == 0)
        return ERROR_SUCCESS;
    data[size] = '\0';
    return convert(data.data(), size);
}

long WriteValue(HKEY key, const String &name, DWORD type, const void *data, DWORD size)
{
    std::string narrow;
    if (long result = RegistryText::EncodeName(name, narrow))
        return result;
    return RegSetValueExA(key, narrow.c_str(), 0, type, static_cast<const BYTE *>(data), size);
}

// Text of a REG_SZ value: up to its first zero (the stored terminator, or the end).
String StringData(const char *data, DWORD size)
{
    return String::FromSystemMultibyte(data, static_cast<int>(strnlen(data, size)));
}

unsigned long NumberData(const char *data, DWORD size)
{
    unsigned long number = 0;
    std::memcpy(&number, data, size < sizeof number ? size : sizeof number);
    return number;
}

// A REG_DWORD value narrowed to Number as a static_cast does.
template <class Number>
long ReadNumber(HKEY key, const String &name, Number &value)
{
    return ReadValue(key, name, REG_DWORD, [&](const char *data, DWORD size) {
        value = static_cast<Number>(NumberData(data, size));
        return ERROR_SUCCESS;
    });
}

// A number stored as REG_SZ text; text that does not parse as one is ERROR_INVALID_DATA.
template <class Number>
long ReadNumberText(HKEY key, const String &name, Number &value)
{
    return ReadValue(key, name, REG_SZ, [&](const char *data, DWORD size) {
        Number number = 0;
        if (!StringData(data, size).ParseNum(number))
            return ERROR_INVALID_DATA;
        value = number;
        return ERROR_SUCCESS;
    });
}

long WriteText(HKEY key, const String &name, const String &text)
{
    std::string narrow;
    if (long result = RegistryText::EncodeText(text, narrow))
        return result;
    // The terminating zero is part of the stored value.
    return WriteValue(key, name, REG_SZ, narrow.c_str(), static_cast<DWORD>(narrow.size() + 1));
}

// The value at index, its name in name (grown when too small) and, when data is given, its
// type and bytes. Returns the system's code; ERROR_NO_MORE_ITEMS past the last value.
long EnumerateValue(HKEY key, DWORD index, std::vector<char> &name, std::string &nameOut, DWORD *type,
                    std::vector<char> *data)
{
    for (;;) {
        DWORD nameSize = static_cast<DWORD>(name.size());
        DWORD dataSize = data ? static_cast<DWORD>(data->size()) : 0;
        long result = RegEnumValueA(key, index, name.data(), &nameSize, nullptr, type,
                                    data ? reinterpret_cast<BYTE *>(data->data()) : nullptr, data ? &dataSize : nullptr);
        if (result == ERROR_SUCCESS) {
            nameOut.assign(name.data(), nameSize);
            if (data)
                data->resize(dataSize);
            return result;
        }
        if (result != ERROR_MORE_DATA)
            return result;
        // The system says how many data bytes it needs but not how long the name is.
        bool grown = false;
        if (name.size() < kLongestValueName) {
            name.resize(kLongestValueName);
            grown = true;
        }
        if (data && dataSize > data->size()) {
            data->resize(dataSize);
            grown = true;
        } else if (data && !grown) {
            data->resize(data->size() * 2 + 256);
            grown = true;
        }
        if (!grown)
            return result;
    }
}

}  // namespace

// --- typed values -------------------------------------------------------------------------

long RegistryKey::GetString(const String &name, String &value) const
{
    return ReadValue(GetHandle(), name, REG_SZ, [&](const char *data, DWORD size) {
        value = StringData(data, size);
        return ERROR_SUCCESS;
    });
}

long RegistryKey::SetString(const String &name, const String &value) const
{
    return WriteText(GetHandle(), name, value);
}

long RegistryKey::GetInteger(const String &name, unsigned long &value) const
{
    return ReadNumber(GetHandle(), name, value);
}

long RegistryKey::GetInteger(const String &name, int &value) const
{
    return ReadNumber(GetHandle(), name, value);
}

long RegistryKey::GetInteger(const String &name, short &value) const
{
    return ReadNumber(GetHandle(), name, value);
}

long RegistryKey::GetInteger(const String &name, unsigned short &value) const
{
    return ReadNumber(GetHandle(), name, value);
}

long RegistryKey::SetInteger(const String &name, unsigned long value) const
{
    DWORD number = value;
    return WriteValue(GetHandle(), name, REG_DWORD, &number, sizeof number);
}

long RegistryKey::GetInt64(const String &name, __int64 &value) const
{
    return ReadNumberText(GetHandle(), name, value);
}

long RegistryKey::SetInt64(const String &name, __int64 value) const
{
    return WriteText(GetHandle(), name, String::FromNum(value));
}

long RegistryKey::GetBoolean(const String &name, bool &value) const
{
    return ReadValue(GetHandle(), name, REG_DWORD, [&](const char *data, DWORD size) {
        value = NumberData(data, size) == 1;
        return ERROR_SUCCESS;
    });
}

long RegistryKey::SetBoolean(const String &name, bool value) const
{
    return SetInteger(name, value ? 1 : 0);
}

long RegistryKey::GetFloat(const String &name, double &value) const
{
    return ReadNumberText(GetHandle(), name, value);
}

long RegistryKey::SetFloat(const String &name, double value) const
{
    return WriteText(GetHandle(), name, String::FromFormat(reinterpret_cast<const unsigned short *>(L"%lf"), value));
}

long RegistryKey::GetBinary(const String &name, std::string &value) const
{
    return ReadValue(GetHandle(), name, REG_BINARY, [&](const char *data, DWORD size) {
        value.assign(data, size);
        return ERROR_SUCCESS;
    });
}

long RegistryKey::SetBinary(const String &name, const void *data, unsigned long count) const
{
    return WriteValue(GetHandle(), name, REG_BINARY, data, count);
}

long RegistryKey::SetBinary(const String &name, const std::string &value) const
{
    return SetBinary(name, value.data(), static_cast<unsigned long>(value.size()));
}

// --- all values of one type -----------------------------------------------------------------

long RegistryKey::GetTypedValues(unsigned long type, std::vector<String> &names, std::vector<std::string> &values) const
{
    names.clear();
    values.clear();
    std::vector<char> name(MAX_PATH);
    std::vector<char> data(MAX_PATH);
    std::string narrowName;
    for (DWORD index = 0;; ++index) {
        DWORD valueType = REG_NONE;
        data.resize(data.capacity());
        long result = EnumerateValue(GetHandle(), index, name, narrowName, &valueType, &data);
        if (result == ERROR_NO_MORE_ITEMS)
            return ERROR_SUCCESS;
        if (result != ERROR_SUCCESS)
            return result;
        if (valueType != type)
            continue;
        names.push_back(String::FromSystemMultibyte(narrowName));
        values.emplace_back(data.data(), data.size());
    }
}

long RegistryKey::GetAllStrings(std::vector<String> &names, std::vector<String> &values) const
{
    std::vector<std::string> raw;
    long result = GetTypedValues(REG_SZ, names, raw);
    values.clear();
    for (const std::string &bytes : raw)
        values.push_back(StringData(bytes.c_str(), static_cast<DWORD>(bytes.size())));
    return result;
}

long RegistryKey::GetAllIntegers(std::vector<String> &names, std::vector<unsigned long> &values) const
{
    std::vector<std::string> raw;
    long result = GetTypedValues(REG_DWORD, names, raw);
    values.clear();
    for (const std::string &bytes : raw)
        values.push_back(NumberData(bytes.data(), static_cast<DWORD>(bytes.size())));
    return result;
}

long RegistryKey::GetAllBinaries(std::vector<String> &names, std::vector<std::string> &values) const
{
    return GetTypedValues(REG_BINARY, names, values);
}

// --- deletion ---------------------------------------------------------------------------------

long RegistryKey::GetValueType(const String &name, unsigned long &type) const
{
    std::string narrow;
    if (long result = RegistryText::EncodeName(name, narrow))
        return result;
    DWORD stored = REG_NONE;
    long result = RegQueryValueExA(GetHandle(), narrow.c_str(), nullptr, &stored, nullptr, nullptr);
    if (result == ERROR_SUCCESS)
        type = stored;
    return result;
}

long RegistryKey::DeleteValue(const String &name) const
{
    std::string narrow;
    if (long result = RegistryText::EncodeName(name, narrow))
        return result;
    return RegDeleteValueA(GetHandle(), narrow.c_str());
}

long RegistryKey::DeleteAllValues() const
{
    // 520 bytes hold the names of every ordinary setting; EnumerateValue grows it for longer ones.
    std::vector<char> name(520);
    std::string narrow;
    for (;;) {
        long result = EnumerateValue(GetHandle(), 0, name, narrow, nullptr, nullptr);
        if (result == ERROR_NO_MORE_ITEMS)
            return ERROR_SUCCESS;
        if (result != ERROR_SUCCESS)
            return result;
        // A value that cannot be deleted would come back at index 0 for ever.
        if ((result = RegDeleteValueA(GetHandle(), narrow.c_str())) != ERROR_SUCCESS)
            return result;
    }
}

long RegistryKey::DeleteMultipleValues(const String &pattern) const
{
    DWORD longestName = 0;
    long result = RegQueryInfoKeyA(GetHandle(), nullptr, nullptr, nullptr, nullptr, nullptr, nullptr, nullptr,
                                   &longestName, nullptr, nullptr, nullptr);
    if (result != ERROR_SUCCESS)
        return result;
    std::vector<char> name(longestName + 1);
    std::string narrow;
    for (DWORD index = 0;;) {
        result = EnumerateValue(GetHandle(), index, name, narrow, nullptr, nullptr);
        if (result == ERROR_NO_MORE_ITEMS)
            return ERROR_SUCCESS;
        if (result != ERROR_SUCCESS)
            return result;
        if (!NameMatch(String::FromSystemMultibyte(narrow), pattern)) {
            ++index;
            continue;
        }
        // The next value moves up into this index.
        if ((result = RegDeleteValueA(GetHandle(), narrow.c_str())) != ERROR_SUCCESS)
            return result;
    }
}

bool RegistryKey::NameMatch(const String &name, const String &pattern)
{
    for (String::size_type i = 0; i < pattern.size(); ++i) {
        unsigned short wanted = pattern[i];
        if (wanted == '*')
            return true;
        // Positions at and past the end of the name read as its terminating zero.
        unsigned short actual = i < name.size() ? name[i] : 0;
        if (wanted != '?' && wanted != actual)
            return false;
    }
    return true;
}
