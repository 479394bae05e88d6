#include "Command.h"
#include "StdStreams.h"

#include "qvcore/core/ScopedHandle.h"

#include <cstdio>
#include <memory>

namespace qvtool {
namespace {

enum class Type { String, Int, Int64, Bool, Float, Binary };

const struct {
    const char *name;
    Type type;
} kTypes[] = {{"string", Type::String}, {"int", Type::Int},     {"int64", Type::Int64},
              {"bool", Type::Bool},     {"float", Type::Float}, {"binary", Type::Binary}};

// The registry type each of the tool's types is stored as.
DWORD storedAs(Type type)
{
    switch (type) {
    case Type::Int:
    case Type::Bool:
        return REG_DWORD;
    case Type::Binary:
        return REG_BINARY;
    default:
        return REG_SZ;
    }
}

const char *registryTypeName(DWORD type)
{
    switch (type) {
    case REG_SZ: return "REG_SZ";
    case REG_EXPAND_SZ: return "REG_EXPAND_SZ";
    case REG_BINARY: return "REG_BINARY";
    case REG_DWORD: return "REG_DWORD";
    case REG_MULTI_SZ: return "REG_MULTI_SZ";
    case REG_QWORD: return "REG_QWORD";
    default: return "another type";
    }
}

// "HKCU\Software\X": the root and the path below it. False for another root.
bool splitKeyPath(const std::string &keyPath, HKEY &root, String &path)
{
    const struct { const char *name; HKEY root; } roots[] = {
        {"HKCU", HKEY_CURRENT_USER}, {"HKEY_CURRENT_USER", HKEY_CURRENT_USER},
        {"HKLM", HKEY_LOCAL_MACHINE}, {"HKEY_LOCAL_MACHINE", HKEY_LOCAL_MACHINE}};
    std::string head = keyPath.substr(0, keyPath.find('\\'));
    for (const auto &r : roots) {
        if (_stricmp(head.c_str(), r.name) == 0) {
            root = r.root;
            path = head.size() < keyPath.size() ? String::FromUtf8(keyPath.substr(head.size() + 1)) : String();
            return true;
        }
    }
    return false;
}

std::string hex(const std::string &bytes)
{
    static const char digits[] = "0123456789ABCDEF";
    std::string text;
    for (unsigned char byte : bytes) {
        text += digits[byte >> 4];
        text += digits[byte & 15];
    }
    return text;
}

bool unhex(const std::string &text, std::string &bytes)
{
    auto digit = [](char c) { return c >= '0' && c <= '9' ? c - '0' : c >= 'a' && c <= 'f' ? c - 'a' + 10
                                                        : c >= 'A' && c <= 'F' ? c - 'A' + 10 : -1; };
    if (text.size() % 2)
        return false;
    bytes.clear();
    for (std::size_t i = 0; i < text.size(); i += 2) {
        int high = digit(text[i]), low = digit(text[i + 1]);
        if (high < 0 || low < 0)
            return false;
        bytes += static_cast<char>(high * 16 + low);
    }
    return true;
}

struct RegOptions {
    std::string action, type;
    std::vector<std::string> words;
};

class RegCommand {
public:
    explicit RegCommand(const RegOptions &options) : options_(options) {}
    int run();

private:
    int get(const RegistryKey &key, const String &name);
    /// The type to show a value of registry type stored as: --type when given, else the one
    /// the registry type suggests.
    Type shownAs(unsigned long stored) const;
    /// The value read as type, as the text to show; the library's result code.
    static long readAs(const RegistryKey &key, const String &name, Type type, std::string &text);
    int set(const RegistryKey &key, const String &name, const std::string &value, Type type);
    int list(const RegistryKey &key);
    int remove(HKEY root, const String &path);
    int server(bool registering);
    int failed(const std::string &what, long code)
    {
        return fail("reg: cannot " + what + " '" + keyPath_ + "': " + systemText(code));
    }

    const RegOptions &options_;
    std::string keyPath_;
};

int RegCommand::get(const RegistryKey &key, const String &name)
{
    // The registry type decides how to show a value when no --type is asked for.
    unsigned long stored = REG_NONE;
    long result = key.GetValueType(name, stored);
    if (result != ERROR_SUCCESS)
        return fail("reg: cannot read '" + options_.words[1] + "' in '" + keyPath_ + "': " + systemText(result));
    Type type = shownAs(stored);
    if (storedAs(type) != stored)
        return fail("reg: '" + options_.words[1] + "' in '" + keyPath_ + "' is " + registryTypeName(stored) + ", not " +
                    registryTypeName(storedAs(type)));
    std::string text;
    result = readAs(key, name, type, text);
    if (result != ERROR_SUCCESS)
        return fail("reg: cannot read '" + options_.words[1] + "' in '" + keyPath_ + "': " + systemText(result));
    printOut("%s\n", text.c_str());
    return 0;
}

Type RegCommand::shownAs(unsigned long stored) const
{
    for (const auto &t : kTypes)
        if (options_.type == t.name)
            return t.type;
    return stored == REG_DWORD ? Type::Int : stored == REG_BINARY ? Type::Binary : Type::String;
}

long RegCommand::readAs(const RegistryKey &key, const String &name, Type type, std::string &text)
{
    long result = ERROR_SUCCESS;
    switch (type) {
    case Type::String: {
        String value;
        result = key.GetString(name, value);
        text = utf8(value);
        break;
    }
    case Type::Int: {
        unsigned long value = 0;
        result = key.GetInteger(name, value);
        text = std::to_string(value);
        break;
    }
    case Type::Int64: {
        __int64 value = 0;
        result = key.GetInt64(name, value);
        text = std::to_string(value);
        break;
    }
    case Type::Bool: {
        bool value = false;
        result = key.GetBoolean(name, value);
        text = value ? "true" : "false";
        break;
    }
    case Type::Float: {
        double value = 0;
        result = key.GetFloat(name, value);
        text = utf8(String::FromFormat(reinterpret_cast<const unsigned short *>(L"%.17g"), value));
        break;
    }
    case Type::Binary: {
        std::string value;
        result = key.GetBinary(name, value);
        text = hex(value);
        break;
    }
    }
    return result;
}

int RegCommand::set(const RegistryKey &key, const String &name, const std::string &value, Type type)
{
    String text = String::FromUtf8(value);
    long result = ERROR_SUCCESS;
    switch (type) {
    case Type::String:
        result = key.SetString(name, text);
        break;
    case Type::Int: {
        unsigned __int64 number = 0;
        __int64 negative = 0;
        if (text.ParseNum(number) && number <= 0xFFFFFFFFull)
            result = key.SetInteger(name, static_cast<unsigned long>(number));
        else if (text.ParseNum(negative) && negative < 0 && negative >= -0x80000000ll)
            result = key.SetInteger(name, static_cast<unsigned long>(negative));
        else
            return fail("reg: '" + value + "' is not a 32-bit integer");
        break;
    }
    case Type::Int64: {
        __int64 number = 0;
        if (!text.ParseNum(number))
            return fail("reg: '" + value + "' is not a 64-bit integer");
        result = key.SetInt64(name, number);
        break;
    }
    case Type::Bool: {
        String word = text.LowerCase();
        bool truth = word == String(L"1") || word == String(L"true") || word == String(L"yes");
        if (!truth && word != String(L"0") && word != String(L"false") && word != String(L"no"))
            return fail("reg: '" + value + "' is not a boolean (1/0, true/false, yes/no)");
        result = key.SetBoolean(name, truth);
        break;
    }
    case Type::Float: {
        double number = 0;
        if (!text.ParseNum(number))
            return fail("reg: '" + value + "' is not a number");
        result = key.SetFloat(name, number);
        break;
    }
    case Type::Binary: {
        std::string bytes;
        if (!unhex(value, bytes))
            return fail("reg: '" + value + "' is not hexadecimal bytes (e.g. 00FF10)");
        result = key.SetBinary(name, bytes);
        break;
    }
    }
    return result == ERROR_SUCCESS ? 0 : failed("write '" + options_.words[1] + "' in", result);
}

int RegCommand::list(const RegistryKey &key)
{
    std::vector<String> names;
    long result = key.GetSubkeyNames(names);
    if (result != ERROR_SUCCESS)
        return failed("list", result);
    for (const String &name : names)
        writeOut(utf8(name) + "\\\n");

    auto shownName = [](const String &name) { return name.empty() ? std::string("(default)") : utf8(name); };
    std::vector<String> texts;
    std::vector<unsigned long> numbers;
    std::vector<std::string> blobs;
    if ((result = key.GetAllStrings(names, texts)) != ERROR_SUCCESS)
        return failed("list", result);
    for (std::size_t i = 0; i < names.size(); ++i)
        printOut("%s\tREG_SZ\t%s\n", shownName(names[i]).c_str(), utf8(texts[i]).c_str());
    if ((result = key.GetAllIntegers(names, numbers)) != ERROR_SUCCESS)
        return failed("list", result);
    for (std::size_t i = 0; i < names.size(); ++i)
        printOut("%s\tREG_DWORD\t%lu\n", shownName(names[i]).c_str(), numbers[i]);
    if ((result = key.GetAllBinaries(names, blobs)) != ERROR_SUCCESS)
        return failed("list", result);
    for (std::size_t i = 0; i < names.size(); ++i)
        printOut("%s\tREG_BINARY\t%s\n", shownName(names[i]).c_str(), hex(blobs[i]).c_str());
    return 0;
}

// The key itself, with everything below it.
int RegCommand::remove(HKEY root, const String &path)
{
    String::size_type cut = path.rfind('\\');
    if (path.empty())
        return fail("reg: will not delete a whole root key");
    RegistryKey parent(root);
    if (cut != String::npos)
        parent = parent.OpenSubkey(path.substr(0, cut), KEY_ALL_ACCESS);
    String last = cut == String::npos ? path : String(path.substr(cut + 1));
    long result = parent.IsValid() ? parent.DeleteSubkey(last, /*recursive=*/true) : static_cast<long>(ERROR_FILE_NOT_FOUND);
    return result == ERROR_SUCCESS ? 0 : failed("delete", result);
}

// As regsvr32 does: the DLL's own entry point, found by name.
int RegCommand::server(bool registering)
{
    const std::string &dll = options_.words[0];
    const char *entry = registering ? "DllRegisterServer" : "DllUnregisterServer";
    std::string path = fileName(dll).SystemMultibyte();
    // Its own folder first for the DLLs it needs, as COM loads in-process servers.
    ScopedLibrary library(LoadLibraryExA(path.c_str(), nullptr, LOAD_WITH_ALTERED_SEARCH_PATH));
    if (!library)
        return fail("reg: cannot load '" + dll + "': " + systemText(GetLastError()));
    auto function = reinterpret_cast<HRESULT(STDAPICALLTYPE *)()>(
        reinterpret_cast<void *>(GetProcAddress(library.get(), entry)));
    if (!function)
        return fail("reg: '" + dll + "' has no " + entry);
    HRESULT result = function();
    if (FAILED(result)) {
        char code[16];
        std::snprintf(code, sizeof code, "0x%08lX", static_cast<unsigned long>(result));
        return fail("reg: " + std::string(entry) + " of '" + dll + "' failed with " + code + ": " +
                    systemText(static_cast<unsigned long>(result)));
    }
    return 0;
}

int RegCommand::run()
{
    const std::string &action = options_.action;
    const std::size_t operands = options_.words.size();
    if (action == "register" || action == "unregister") {
        if (operands != 1)
            return usageError("reg", "'" + action + "' takes one DLL");
        return server(action == "register");
    }
    if (action != "get" && action != "set" && action != "list" && action != "delete")
        return usageError("reg", "unknown action '" + action +
                                     "' (get, set, list, delete, register or unregister)");
    if ((action == "get" && operands != 2) || (action == "set" && operands != 3) ||
        (action == "list" && operands != 1) || (action == "delete" && (operands < 1 || operands > 2)))
        return usageError("reg", "wrong number of words for '" + action + "'");
    if (!options_.type.empty() && action != "get" && action != "set")
        return usageError("reg", "--type goes with get and set only");

    keyPath_ = options_.words[0];
    HKEY root = nullptr;
    String path;
    if (!splitKeyPath(keyPath_, root, path))
        return usageError("reg", "'" + keyPath_ + "' does not begin with HKCU\\ or HKLM\\");
    RegistryKey rootKey(root);
    if (action == "delete" && operands == 1)
        return remove(root, path);

    RegistryKey key = action == "set" ? rootKey.CreateSubkey(path, REG_OPTION_NON_VOLATILE, KEY_ALL_ACCESS)
                                      : rootKey.OpenSubkey(path, action == "delete" ? KEY_ALL_ACCESS : KEY_READ);
    if (!key.IsValid()) {
        // The key operations answer with a key only: ask the system for the reason.
        HKEY probe = nullptr;
        std::string narrow = path.SystemMultibyte();
        long result = action == "set" ? RegCreateKeyExA(root, narrow.c_str(), 0, nullptr, 0, KEY_ALL_ACCESS, nullptr,
                                                        &probe, nullptr)
                                      : RegOpenKeyExA(root, narrow.c_str(), 0, KEY_READ, &probe);
        RegistryKey owner(probe);
        return failed("open", result != ERROR_SUCCESS ? result : ERROR_NO_UNICODE_TRANSLATION);
    }
    String name = operands > 1 ? String::FromUtf8(options_.words[1]) : String();
    if (action == "get")
        return get(key, name);
    if (action == "list")
        return list(key);
    if (action == "set") {
        Type type = Type::String;
        for (const auto &t : kTypes)
            if (options_.type == t.name)
                type = t.type;
        return set(key, name, options_.words[2], type);
    }
    long result = key.DeleteValue(name);
    return result == ERROR_SUCCESS ? 0 : failed("delete '" + options_.words[1] + "' in", result);
}

Runner defineReg(CLI::App &command)
{
    auto options = std::make_shared<RegOptions>();
    command.add_option("ACTION", options->action,
                       "get KEYPATH NAME | set KEYPATH NAME VALUE (creates the key) | list KEYPATH | "
                       "delete KEYPATH [NAME] (without NAME: the key and all below it) | register DLL | unregister DLL")
        ->required();
    command.add_option("WORDS", options->words,
                       "KEYPATH is HKCU\\... or HKLM\\...; NAME \"\" is the key's default value");
    command.add_option("--type", options->type,
                       "the value's type: string, int (32-bit), int64 and float (stored as text), bool "
                       "(1/0, true/false, yes/no) or binary (hexadecimal bytes); get shows a value by its "
                       "registry type when not given, set stores a string")
        ->check(CLI::IsMember({"string", "int", "int64", "bool", "float", "binary"}));
    return [options] { return RegCommand(*options).run(); };
}

const CommandRegistration registration({"reg",
                                         "read and change registry values under HKCU and HKLM, and register or "
                                         "unregister an in-process COM server DLL",
                                         defineReg});

}  // namespace
}  // namespace qvtool
