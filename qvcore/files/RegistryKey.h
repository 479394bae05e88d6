#ifndef QVCORE_FILES_REGISTRYKEY_H
#define QVCORE_FILES_REGISTRYKEY_H

#include "qvcore/Platform.h"
#include "qvcore/core/String.h"

#include <string>
#include <vector>

class IObjectFactory;
class ISerializable;

/// One open key of the system registry, its handle shared by every copy of the object.
///
/// - Copies share one handle record with a reference count; the last copy to go closes the
///   handle, except the predefined roots (HKEY_CLASSES_ROOT to HKEY_DYN_DATA), which are never
///   closed. The count is not locked: a key and its copies belong to one thread.
/// - Nothing here throws for a registry failure. Operations that return long give the system's
///   result code (ERROR_SUCCESS, 0, on success); operations that return a key give one that is
///   not valid on failure.
/// - Names and string values go to the system's narrow functions in the ANSI code page. A
///   name or text that code page cannot hold exactly fails with ERROR_NO_UNICODE_TRANSLATION
///   instead of reaching a look-alike key or storing other text. A name holding a zero
///   character fails with ERROR_INVALID_NAME (the system would take the part before the zero
///   as the name), and string data holding one with ERROR_INVALID_DATA (it could not be read
///   back whole).
///
/// Stored forms of the typed values (what other programs see):
///   String               REG_SZ     ANSI text with its terminating zero
///   Integer, Boolean     REG_DWORD  4 bytes; a Boolean is 1 or 0, and only 1 reads as true
///   Int64                REG_SZ     decimal text
///   Float                REG_SZ     "%lf" text ("." whatever the locale)
///   Binary               REG_BINARY the bytes as given
///
/// Typed getters return the system's code when the value cannot be queried (a missing value
/// gives ERROR_FILE_NOT_FOUND) and leave their output untouched. A value of another registry
/// type, or of size 0, gives ERROR_SUCCESS with the output untouched as well: callers preset
/// the output to their default and read over it. Int64 and Float texts that are not numbers
/// give ERROR_INVALID_DATA, output untouched.
class QVCORE_API RegistryKey {
public:
    /// Wraps key (a predefined root, or a handle the caller gives up); 0 makes a key that is
    /// not valid.
    explicit RegistryKey(HKEY key = nullptr);
    RegistryKey(const RegistryKey &other);
    RegistryKey &operator=(const RegistryKey &other);
    virtual ~RegistryKey();

    /// Both objects hold the same handle.
    bool operator==(const RegistryKey &other) const;
    bool operator!=(const RegistryKey &other) const { return !(*this == other); }

    bool IsValid() const;
    /// The handle, still owned by the key and its copies.
    HKEY GetHandle() const;
    /// Lets go of the shared handle (closing it when this was the last copy); the key is then
    /// not valid.
    void Close();

    /// Connects to root (HKEY_LOCAL_MACHINE or HKEY_USERS) on machine ("" for this one). On
    /// success this object holds the connected key; on failure it is left as it was.
    long ConnectRegistry(const String &machine, HKEY root);

    // --- subkeys ----------------------------------------------------------------------------

    /// Creates the subkey, or opens it when it exists (disposition, when given, says which:
    /// REG_CREATED_NEW_KEY or REG_OPENED_EXISTING_KEY). Not valid on failure.
    RegistryKey CreateSubkey(const String &name, unsigned long options = REG_OPTION_NON_VOLATILE,
                             unsigned long access = KEY_ALL_ACCESS, unsigned long *disposition = nullptr) const;
    /// Opens an existing subkey. Not valid on failure.
    RegistryKey OpenSubkey(const String &name, unsigned long access = KEY_READ) const;
    /// recursive: deletes the subkey and everything below it. Otherwise only a subkey without
    /// subkeys and values is deleted; another gives the system's failure code.
    long DeleteSubkey(const String &name, bool recursive) const;
    /// Replaces names with the names of every subkey, in the system's enumeration order.
    long GetSubkeyNames(std::vector<String> &names) const;
    /// Sets the default value of subkey name (created when missing; "" is this key) to value.
    long SetSubkey(const String &name, const String &value) const;
    /// Writes the key's changes to the disk before returning.
    long Flush() const;

    // --- values -----------------------------------------------------------------------------

    long DeleteValue(const String &name) const;
    /// Deletes every value of the key. Stops at the first value that cannot be deleted and
    /// returns the code.
    long DeleteAllValues() const;
    /// Deletes every value whose name matches pattern (NameMatch); the code of the first
    /// failing call, or ERROR_SUCCESS.
    long DeleteMultipleValues(const String &pattern) const;

    /// The registry type of value name (REG_SZ, REG_DWORD, REG_BINARY, ...) in type; the
    /// system's code, type untouched on failure.
    long GetValueType(const String &name, unsigned long &type) const;
    long GetString(const String &name, String &value) const;
    long SetString(const String &name, const String &value) const;
    long GetInteger(const String &name, unsigned long &value) const;
    /// The stored 32 bits narrowed to the type (as a static_cast would).
    long GetInteger(const String &name, int &value) const;
    long GetInteger(const String &name, short &value) const;
    long GetInteger(const String &name, unsigned short &value) const;
    long SetInteger(const String &name, unsigned long value) const;
    long GetInt64(const String &name, __int64 &value) const;
    long SetInt64(const String &name, __int64 value) const;
    long GetBoolean(const String &name, bool &value) const;
    long SetBoolean(const String &name, bool value) const;
    long GetFloat(const String &name, double &value) const;
    long SetFloat(const String &name, double value) const;
    /// The value's bytes, one char each.
    long GetBinary(const String &name, std::string &value) const;
    /// Stores count bytes from data (data may be null when count is 0).
    long SetBinary(const String &name, const void *data, unsigned long count) const;
    long SetBinary(const String &name, const std::string &value) const;

    /// Every REG_SZ, REG_DWORD or REG_BINARY value of the key with its name, as parallel vectors
    /// in enumeration order (both replaced; values of other types are skipped).
    long GetAllStrings(std::vector<String> &names, std::vector<String> &values) const;
    long GetAllIntegers(std::vector<String> &names, std::vector<unsigned long> &values) const;
    long GetAllBinaries(std::vector<String> &names, std::vector<std::string> &values) const;

    /// Stores object as a REG_BINARY value: its graph written by a SerializingOutputStream with
    /// factory, compressed (zlib, default level). Returns SetBinary's code. A failure of the
    /// object's own Write (or a class the streams refuse) throws its StreamBase::Exception and
    /// stores nothing.
    long WriteObject(const String &name, const IObjectFactory &factory, const ISerializable &object) const;
    /// Reads into object what WriteObject stored under name: object's class must be the stored
    /// one. Returns GetBinary's code; a missing value, one of another type or an empty one
    /// leaves object untouched. Bytes that do not decompress, or are not a graph of classes
    /// factory knows, throw StreamBase::Exception (object may then be partly read).
    long ReadObject(const String &name, const IObjectFactory &factory, ISerializable &object) const;

    /// Matches a value name against a pattern, position by position over the pattern's length:
    /// "*" matches the whole rest at once, "?" any one character (also the end of the name),
    /// any other character itself (case-sensitive). The name may go on after the pattern ends,
    /// so "ab" matches "abc": stored settings are deleted by prefix this way.
    static bool NameMatch(const String &name, const String &pattern);

protected:
    /// The values of registry type type, their data as raw bytes: what the GetAll... functions
    /// convert.
    long GetTypedValues(unsigned long type, std::vector<String> &names, std::vector<std::string> &values) const;

    /// ReadObject's work. object null: the stored object is created through the factory and
    /// returned with one reference, the caller's. Otherwise object is read into and returned.
    /// Null, with result set, when nothing was read (see ReadObject).
    ISerializable *ReadObjectInternal(const String &name, const IObjectFactory &factory, ISerializable *object,
                                      long &result) const;

private:
    struct HandleRecord;
    void Release();

    HandleRecord *record_;
};

/// Registration of in-process COM classes under `HKEY_LOCAL_MACHINE\Software\Classes\CLSID`, the
/// machine-wide class registry. Every function returns false or a default text on failure and
/// never throws.
class QVCORE_API RegistryHelper {
public:
    /// The "ThreadingModel" value written for a server; any other number writes none.
    enum ThreadingModel { Apartment = 1, Both = 2, Free = 3, Neutral = 4 };

    /// "{XXXXXXXX-XXXX-XXXX-XXXX-XXXXXXXXXXXX}", the class identifier's registry form.
    static String GetClassString(const GUID &clsid);
    /// Creates the class key.
    static bool RegisterCLSID(const GUID &clsid);
    /// Deletes the class key with everything below it.
    static bool UnregisterCLSID(const GUID &clsid);
    /// Creates the class's "InprocServer32" key with serverPath as its default value and the
    /// model's name as "ThreadingModel". False at the first step that fails (the key may then
    /// hold part of it).
    static bool RegisterInprocServer32(const GUID &clsid, const String &serverPath, ThreadingModel model);
    /// Deletes the class's "InprocServer32" key with everything below it.
    static bool UnregisterInprocServer32(const GUID &clsid);
    /// The class key's default value; "no name" when the key cannot be opened or has none.
    static String GetClassDescription(const GUID &clsid);
    /// The registered server path; empty when there is none.
    static String GetClassServer(const GUID &clsid);

    /// `Software\Classes\CLSID\{...}`: the class key's path under HKEY_LOCAL_MACHINE.
    static String GetClassPath(const GUID &clsid);
};

#endif
