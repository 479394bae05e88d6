#include "qvcore/files/PrivateProfile.h"

#include "qvcore/core/SystemText_p.h"
#include "qvcore/core/TextCast_p.h"
#include "qvcore/files/File.h"

#include <cstdlib>
#include <cstring>
#include <cwchar>
#include <memory>

using textcast::wide;

namespace {

// The system's section functions are given buffers of this many bytes.
const DWORD kSectionBuffer = 32767;
// What the section-names function returns when the names did not fit (the size less two).
const DWORD kNamesCut = kSectionBuffer - 2;

String suffixed(const String &key, const wchar_t *suffix)
{
    return key + String(suffix);
}

// The stored file name for the narrow profile functions, made full: they look for a bare or
// relative name in the Windows folder, not where File (and the caller) found it. 0 with narrow
// set, or the system code for a name they cannot be given: none, one the ANSI code page cannot
// hold exactly, or one too long to be made full.
unsigned long narrowFileName(const String &fileName, std::string &narrow)
{
    std::string given;
    if (fileName.empty())
        return ERROR_INVALID_NAME;
    if (!SystemText::EncodePath(fileName, given))
        return ERROR_NO_UNICODE_TRANSLATION;
    String full = File::GetFullPath(fileName);
    if (full.empty() || !SystemText::EncodePath(full, narrow))
        return ERROR_FILENAME_EXCED_RANGE;
    return 0;
}

// A list of zero-terminated strings ending with an empty one, as the section functions fill
// their buffers.
template <class Visit>
void forEachString(const char *list, DWORD length, Visit visit)
{
    const char *end = list + length;
    for (const char *item = list; item < end && *item; item += std::strlen(item) + 1)
        visit(item);
}

// The longest prefix of text that reads as a floating-point number in the C runtime's
// notation: blanks, a sign, digits with at most one point, an exponent.
String numberPrefix(const String &text)
{
    String::size_type at = 0, size = text.size();
    auto digits = [&] {
        String::size_type start = at;
        while (at < size && text[at] >= '0' && text[at] <= '9')
            ++at;
        return at > start;
    };
    while (at < size && (text[at] == ' ' || text[at] == '\t' || text[at] == '\n' || text[at] == '\r'))
        ++at;
    String::size_type start = at;
    if (at < size && (text[at] == '+' || text[at] == '-'))
        ++at;
    bool mantissa = digits();
    if (at < size && text[at] == '.') {
        ++at;
        mantissa = digits() || mantissa;
    }
    if (!mantissa)
        return String();
    String::size_type end = at;
    if (at < size && (text[at] == 'e' || text[at] == 'E')) {
        ++at;
        if (at < size && (text[at] == '+' || text[at] == '-'))
            ++at;
        if (digits())
            end = at;
    }
    return text.substr(start, end - start);
}

[[noreturn]] void throwFileError(unsigned long code)
{
    throw File::Exception{code, String::FromError(code)};
}

}  // namespace

IPrivateProfile *CreatePrivateProfile()
{
    return new PrivateProfile;
}

PrivateProfile::PrivateProfile() {}

PrivateProfile::~PrivateProfile() {}

// --- the file -------------------------------------------------------------------------------

void PrivateProfile::Load(const String &fileName)
{
    fileName_ = fileName;
    {
        File file;
        file.OpenForReading(fileName, FILE_SHARE_READ, OPEN_EXISTING, false, FILE_ATTRIBUTE_NORMAL);
        std::string start;
        if (!signature_.empty())
            file.Read(start, static_cast<unsigned long>(signature_.size()));
        if (start != signature_)
            throw PPException{1, String(L"The file does not begin with the profile's signature")};
    }
    ReadSections();
}

void PrivateProfile::Save(const String &fileName)
{
    refuseToOverwriteCutFile(fileName);
    // A name the section functions cannot be given fails before the file is replaced.
    std::string narrow;
    if (unsigned long code = narrowFileName(fileName, narrow))
        throwFileError(code);
    fileName_ = fileName;
    {
        File file;
        file.Create(fileName, GENERIC_READ | GENERIC_WRITE, 0, false, CREATE_ALWAYS, FILE_ATTRIBUTE_NORMAL);
        file.Write(signature_);
    }
    WriteSections();
}

String PrivateProfile::GetFileName()
{
    return fileName_;
}

void PrivateProfile::SetFileName(const String &fileName)
{
    fileName_ = fileName;
}

void PrivateProfile::SetSignature(const std::string &signature)
{
    signature_ = signature;
}

void PrivateProfile::ReadSections()
{
    // A name the functions cannot be given reads as a file that does not exist.
    std::string file;
    if (narrowFileName(fileName_, file) != 0)
        return;
    std::unique_ptr<char[]> names(new char[kSectionBuffer]);
    DWORD length = GetPrivateProfileSectionNamesA(names.get(), kSectionBuffer, file.c_str());
    if (length == kNamesCut) {
        cutFile_ = File::GetFullPath(fileName_);
        return;
    }
    cutFile_.clear();
    std::unique_ptr<char[]> entries(new char[kSectionBuffer]);
    forEachString(names.get(), length, [&](const char *name) {
        Keys &keys = sections_[String::FromSystemMultibyte(name)];
        DWORD size = GetPrivateProfileSectionA(name, entries.get(), kSectionBuffer, file.c_str());
        forEachString(entries.get(), size, [&](const char *entry) {
            const char *equals = std::strchr(entry, '=');
            if (*entry == ';' || !equals)
                return;
            keys[String::FromSystemMultibyte(entry, static_cast<int>(equals - entry))] =
                String::FromSystemMultibyte(equals + 1);
        });
    });
}

bool PrivateProfile::IsSectionListCut() const
{
    return !cutFile_.empty();
}

void PrivateProfile::refuseToOverwriteCutFile(const String &fileName) const
{
    if (!cutFile_.empty() && File::GetFullPath(fileName).CompareNoCase(cutFile_) == 0 && File::FileExists(cutFile_))
        throwFileError(ERROR_MORE_DATA);
}

void PrivateProfile::WriteSections()
{
    refuseToOverwriteCutFile(fileName_);
    std::string file;
    if (unsigned long code = narrowFileName(fileName_, file))
        throwFileError(code);
    for (const auto &section : sections_) {
        // key=value entries, each ending in a zero byte, the list in another.
        std::string entries;
        for (const auto &entry : section.second) {
            entries += entry.first.SystemMultibyte();
            entries += '=';
            entries += entry.second.SystemMultibyte();
            entries += '\0';
        }
        entries += '\0';
        if (!WritePrivateProfileSectionA(section.first.SystemMultibyte().c_str(), entries.c_str(), file.c_str())) {
            // Some systems fail here without setting an error code.
            unsigned long code = GetLastError();
            throwFileError(code ? code : ERROR_WRITE_FAULT);
        }
    }
}

// --- sections and keys ----------------------------------------------------------------------

void PrivateProfile::DeleteKey(const String &section, const String &key)
{
    auto found = sections_.find(section);
    if (found != sections_.end())
        found->second.erase(key);
}

void PrivateProfile::DeleteSection(const String &section)
{
    sections_.erase(section);
}

void PrivateProfile::Clear()
{
    sections_.clear();
}

bool PrivateProfile::GetSectionNames(std::vector<String> &names)
{
    names.clear();
    for (const auto &section : sections_)
        names.push_back(section.first);
    return true;
}

bool PrivateProfile::GetKeyNames(const String &section, std::vector<String> &keys)
{
    keys.clear();
    auto found = sections_.find(section);
    if (found == sections_.end())
        return false;
    for (const auto &entry : found->second)
        keys.push_back(entry.first);
    return true;
}

// --- text, the base of every typed value ----------------------------------------------------

bool PrivateProfile::GetValue(const String &section, const String &key, String &value)
{
    auto found = sections_.find(section);
    if (found == sections_.end())
        return false;
    auto entry = found->second.find(key);
    if (entry == found->second.end())
        return false;
    value = entry->second;
    return true;
}

void PrivateProfile::SetValue(const String &section, const String &key, const String &value)
{
    sections_[section][key] = value;
}

// --- integers -------------------------------------------------------------------------------

namespace {

template <class Integer>
bool getWide64(IPrivateProfile &profile, const String &section, const String &key, Integer &value)
{
    String text;
    if (!profile.GetValue(section, key, text))
        return false;
    value = static_cast<Integer>(_wtoi64(wide(text.c_str())));
    return true;
}

template <class Integer>
bool getWide32(IPrivateProfile &profile, const String &section, const String &key, Integer &value)
{
    String text;
    if (!profile.GetValue(section, key, text))
        return false;
    value = static_cast<Integer>(_wtoi(wide(text.c_str())));
    return true;
}

}  // namespace

bool PrivateProfile::GetValue(const String &section, const String &key, long long &value)
{
    return getWide64(*this, section, key, value);
}

bool PrivateProfile::GetValue(const String &section, const String &key, unsigned long long &value)
{
    return getWide64(*this, section, key, value);
}

bool PrivateProfile::GetValue(const String &section, const String &key, int &value)
{
    return getWide32(*this, section, key, value);
}

bool PrivateProfile::GetValue(const String &section, const String &key, unsigned int &value)
{
    return getWide32(*this, section, key, value);
}

bool PrivateProfile::GetValue(const String &section, const String &key, unsigned short &value)
{
    return getWide32(*this, section, key, value);
}

bool PrivateProfile::GetValue(const String &section, const String &key, short &value)
{
    return getWide32(*this, section, key, value);
}

bool PrivateProfile::GetValue(const String &section, const String &key, bool &value)
{
    int number = 0;
    if (!GetValue(section, key, number))
        return false;
    value = number != 0;
    return true;
}

// Every integer is written as a signed number of its width: the bits read back whichever
// getter of that width reads them.
void PrivateProfile::SetValue(const String &section, const String &key, long long value)
{
    SetValue(section, key, String::FromNum(static_cast<__int64>(value), 10));
}

void PrivateProfile::SetValue(const String &section, const String &key, unsigned long long value)
{
    SetValue(section, key, static_cast<long long>(value));
}

void PrivateProfile::SetValue(const String &section, const String &key, int value)
{
    SetValue(section, key, String::FromNum(value, 10));
}

void PrivateProfile::SetValue(const String &section, const String &key, unsigned int value)
{
    SetValue(section, key, static_cast<int>(value));
}

void PrivateProfile::SetValue(const String &section, const String &key, unsigned short value)
{
    SetValue(section, key, static_cast<int>(value));
}

void PrivateProfile::SetValue(const String &section, const String &key, short value)
{
    SetValue(section, key, static_cast<int>(value));
}

void PrivateProfile::SetValue(const String &section, const String &key, bool value)
{
    SetValue(section, key, String(value ? L"1" : L"0"));
}

// --- doubles --------------------------------------------------------------------------------

bool PrivateProfile::GetValue(const String &section, const String &key, double &value)
{
    String text;
    if (!GetValue(section, key, text))
        return false;
    // The library's parser reads with "." as the decimal point whatever the runtime's locale.
    double parsed = 0;
    value = numberPrefix(text).ParseNum(parsed) ? parsed : 0;
    return true;
}

void PrivateProfile::SetValue(const String &section, const String &key, double value)
{
    SetValue(section, key, String::FromFormat(reinterpret_cast<const unsigned short *>(L"%lf"), value));
}

// --- geometry -------------------------------------------------------------------------------

bool PrivateProfile::GetValue(const String &section, const String &key, Point &value)
{
    int x = 0, y = 0;
    if (!GetValue(section, suffixed(key, L"X"), x) || !GetValue(section, suffixed(key, L"Y"), y))
        return false;
    value = Point(x, y);
    return true;
}

bool PrivateProfile::GetValue(const String &section, const String &key, Size &value)
{
    int cx = 0, cy = 0;
    if (!GetValue(section, suffixed(key, L"X"), cx) || !GetValue(section, suffixed(key, L"Y"), cy))
        return false;
    value = Size(cx, cy);
    return true;
}

bool PrivateProfile::GetValue(const String &section, const String &key, Rect &value)
{
    int left = 0, top = 0, right = 0, bottom = 0;
    if (!GetValue(section, suffixed(key, L"Left"), left) || !GetValue(section, suffixed(key, L"Top"), top) ||
        !GetValue(section, suffixed(key, L"Right"), right) || !GetValue(section, suffixed(key, L"Bottom"), bottom))
        return false;
    value = Rect(left, top, right, bottom);
    return true;
}

void PrivateProfile::SetValue(const String &section, const String &key, const Point &value)
{
    SetValue(section, suffixed(key, L"X"), static_cast<int>(value.x));
    SetValue(section, suffixed(key, L"Y"), static_cast<int>(value.y));
}

void PrivateProfile::SetValue(const String &section, const String &key, const Size &value)
{
    SetValue(section, suffixed(key, L"X"), static_cast<int>(value.cx));
    SetValue(section, suffixed(key, L"Y"), static_cast<int>(value.cy));
}

void PrivateProfile::SetValue(const String &section, const String &key, const Rect &value)
{
    SetValue(section, suffixed(key, L"Left"), static_cast<unsigned int>(value.left));
    SetValue(section, suffixed(key, L"Top"), static_cast<unsigned int>(value.top));
    SetValue(section, suffixed(key, L"Right"), static_cast<unsigned int>(value.right));
    SetValue(section, suffixed(key, L"Bottom"), static_cast<unsigned int>(value.bottom));
}
