#include "Command.h"
#include "StdStreams.h"

#include <memory>
#include <vector>

namespace qvtool {
namespace {

// The system hands out section names in a buffer of this many bytes; when they do not fit, the
// profile reads no section at all.
const DWORD kSectionBuffer = 32767;

struct Releaser {
    void operator()(IPrivateProfile *profile) const { profile->Release(); }
};
using Profile = std::unique_ptr<IPrivateProfile, Releaser>;

enum class Type { Text, Int, Bool, Double, Point, Rect };

bool parseType(const std::string &name, Type &type)
{
    const struct { const char *name; Type type; } types[] = {
        {"text", Type::Text}, {"int", Type::Int},     {"bool", Type::Bool},
        {"double", Type::Double}, {"point", Type::Point}, {"rect", Type::Rect}};
    for (const auto &t : types) {
        if (name == t.name) {
            type = t.type;
            return true;
        }
    }
    return false;
}

// "a,b" or "a,b,c,d" as integers; false unless every part is one.
bool parseInts(const std::string &text, int *values, int count)
{
    std::list<String> parts = String::FromUtf8(text).Split(String(L","), /*keepEmpty=*/true);
    if (static_cast<int>(parts.size()) != count)
        return false;
    int i = 0;
    for (const String &part : parts) {
        if (!part.Trim(true, true).ParseNum(values[i++]))
            return false;
    }
    return true;
}

// True when the file holds more section names than the system hands out: the profile then
// reads none, and writing it back would lose every section.
bool tooManySections(const std::string &file)
{
    std::unique_ptr<char[]> names(new char[kSectionBuffer]);
    return GetPrivateProfileSectionNamesA(names.get(), kSectionBuffer, file.c_str()) == kSectionBuffer - 2;
}

// Saves into a temporary file beside the target and puts it in place only when that worked:
// a failure leaves the old file as it was.
void saveInPlace(IPrivateProfile &profile, const String &file)
{
    String temp = file + String(L".qvtool-new");
    try {
        aboutFile("cannot write", utf8(file), [&] { profile.Save(temp); });
    } catch (...) {
        File::DeleteFileA(temp);
        throw;
    }
    try {
        replaceFile(temp, file, utf8(file));
    } catch (...) {
        File::DeleteFileA(temp);
        throw;
    }
    profile.SetFileName(file);
}

int printValue(IPrivateProfile &profile, const String &section, const String &key, Type type)
{
    String text;
    bool found = false;
    if (type == Type::Point) {
        Point p;
        if ((found = profile.GetValue(section, key, p)))
            text = String::FromNum(static_cast<int>(p.x)) + String(L",") + String::FromNum(static_cast<int>(p.y));
    } else if (type == Type::Rect) {
        Rect r;
        if ((found = profile.GetValue(section, key, r)))
            text = String::FromFormat(reinterpret_cast<const unsigned short *>(L"%d,%d,%d,%d"), r.left, r.top, r.right,
                                      r.bottom);
    } else if (type == Type::Int) {
        long long value = 0;
        if ((found = profile.GetValue(section, key, value)))
            text = String::FromNum(static_cast<__int64>(value));
    } else if (type == Type::Bool) {
        bool value = false;
        if ((found = profile.GetValue(section, key, value)))
            text = String(value ? L"true" : L"false");
    } else if (type == Type::Double) {
        double value = 0;
        if ((found = profile.GetValue(section, key, value)))
            text = String::FromFormat(reinterpret_cast<const unsigned short *>(L"%g"), value);
    } else {
        found = profile.GetValue(section, key, text);
    }
    if (!found)
        return fail("ini: '" + utf8(profile.GetFileName()) + "' has no " + utf8(key) + " in [" + utf8(section) +
                    "]");
    writeOut(utf8(text) + "\n");
    return 0;
}

// False (with the message printed) when value does not read as the type.
bool setValue(IPrivateProfile &profile, const String &section, const String &key, const std::string &value, Type type)
{
    String text = String::FromUtf8(value);
    int numbers[4];
    switch (type) {
    case Type::Text:
        profile.SetValue(section, key, text);
        return true;
    case Type::Int: {
        long long number = 0;
        if (!text.ParseNum(number))
            return fail("ini: '" + value + "' is not an integer"), false;
        profile.SetValue(section, key, number);
        return true;
    }
    case Type::Bool: {
        String word = text.LowerCase();
        bool truth = word == String(L"1") || word == String(L"true") || word == String(L"yes");
        if (!truth && word != String(L"0") && word != String(L"false") && word != String(L"no"))
            return fail("ini: '" + value + "' is not a boolean (1/0, true/false, yes/no)"), false;
        profile.SetValue(section, key, truth);
        return true;
    }
    case Type::Double: {
        double number = 0;
        if (!text.ParseNum(number))
            return fail("ini: '" + value + "' is not a number"), false;
        profile.SetValue(section, key, number);
        return true;
    }
    case Type::Point:
        if (!parseInts(value, numbers, 2))
            return fail("ini: '" + value + "' is not a point X,Y"), false;
        profile.SetValue(section, key, Point(numbers[0], numbers[1]));
        return true;
    case Type::Rect:
        if (!parseInts(value, numbers, 4))
            return fail("ini: '" + value + "' is not a rectangle LEFT,TOP,RIGHT,BOTTOM"), false;
        profile.SetValue(section, key, Rect(numbers[0], numbers[1], numbers[2], numbers[3]));
        return true;
    }
    return false;
}

void list(IPrivateProfile &profile, const std::vector<String> &sections)
{
    for (const String &section : sections) {
        if (sections.size() > 1)
            writeOut("[" + utf8(section) + "]\n");
        std::vector<String> keys;
        profile.GetKeyNames(section, keys);
        for (const String &key : keys) {
            String value;
            profile.GetValue(section, key, value);
            writeOut(utf8(key) + "=" + utf8(value) + "\n");
        }
    }
}

struct IniOptions {
    std::string file, action, type = "text", signature;
    std::vector<std::string> words;
};

int runIni(const IniOptions &options)
{
    Type type = Type::Text;
    parseType(options.type, type);
    const std::string &signature = options.signature;
    const std::string &action = options.action;
    const std::string file = options.file;
    const std::size_t operands = options.words.size();
    if (action != "get" && action != "set" && action != "list" && action != "delete")
        return usageError("ini", "unknown action '" + action + "' (get, set, list or delete)");
    if ((action == "get" && operands != 2) || (action == "set" && operands != 3) ||
        (action == "list" && operands > 1) || (action == "delete" && (operands < 1 || operands > 2)))
        return usageError("ini", "wrong number of words for '" + action + "'");
    std::vector<std::string> words{options.file, action};
    words.insert(words.end(), options.words.begin(), options.words.end());
    const String path = fileName(options.file);

    Profile profile(CreatePrivateProfile());
    profile->SetSignature(signature);
    bool exists = File::FileExists(path);
    if (exists || action != "set") {
        aboutFile("cannot read", file, [&] { profile->Load(path); });
        if (tooManySections(path.SystemMultibyte())) {
            printErr("qvtool: ini: warning: '%s' has more section names than the system hands out "
                     "(32,767 bytes): no section was read\n", file.c_str());
            if (action == "set" || action == "delete")
                return fail("ini: '" + file + "' left unchanged: writing it back would lose its sections");
        }
    }
    String section = operands > 0 ? String::FromUtf8(words[2]) : String();
    if (action == "get")
        return printValue(*profile, section, String::FromUtf8(words[3]), type);
    if (action == "list") {
        std::vector<String> sections;
        if (operands == 0)
            profile->GetSectionNames(sections);
        else if (profile->GetKeyNames(section, sections))
            sections.assign(1, section);
        else
            return fail("ini: '" + file + "' has no section [" + words[2] + "]");
        list(*profile, sections);
        return 0;
    }
    if (action == "set") {
        if (!setValue(*profile, section, String::FromUtf8(words[3]), words[4], type))
            return 1;
    } else if (operands == 2) {
        profile->DeleteKey(section, String::FromUtf8(words[3]));
    } else {
        profile->DeleteSection(section);
    }
    saveInPlace(*profile, path);
    return 0;
}

Runner defineIni(CLI::App &command)
{
    auto options = std::make_shared<IniOptions>();
    command.add_option("FILE", options->file, "the settings file")->required();
    command.add_option("ACTION", options->action,
                       "get SECTION KEY | set SECTION KEY VALUE (creates FILE) | list [SECTION] | delete SECTION [KEY]")
        ->required();
    command.add_option("WORDS", options->words, "the section, key and value the action takes");
    command.add_option("--type", options->type, "read and write typed values: point (X,Y, stored as KEYX and KEYY), "
                                                "rect (LEFT,TOP,RIGHT,BOTTOM), int, bool, double or text")
        ->check(CLI::IsMember({"text", "int", "bool", "double", "point", "rect"}));
    command.add_option("--signature", options->signature, "the bytes FILE must begin with");
    return [options] { return runIni(*options); };
}

const CommandRegistration registration({"ini",
                                         "read and change a settings file; set and delete write the whole file again "
                                         "(into a temporary file first) and do not keep its comments",
                                         defineIni});

}  // namespace
}  // namespace qvtool
