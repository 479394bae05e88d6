#include "qvcore/core/SystemText_p.h"

#include "qvcore/core/TextCast_p.h"

using textcast::wide;

namespace SystemText {

std::string Encode(unsigned codePage, const unsigned short *text, std::size_t count)
{
    if (count == 0 || count > 0x7FFFFFFF)
        return std::string();
    int length = static_cast<int>(count);
    // Three bytes per unit hold every code page's longest character for a unit: most texts
    // convert in one call, and only the rest ask the system for the exact size.
    std::size_t bound = 3 * count + 1;
    int capacity = bound > 0x7FFFFFFF ? 0x7FFFFFFF : static_cast<int>(bound);
    std::string result(static_cast<std::size_t>(capacity), '\0');
    int written = EncodeInto(codePage, text, length, &result[0], capacity);
    if (written == 0) {
        int needed = WideCharToMultiByte(codePage, 0, wide(text), length, nullptr, 0, nullptr, nullptr);
        if (needed <= 0)
            return std::string();
        result.resize(static_cast<std::size_t>(needed));
        written = WideCharToMultiByte(codePage, 0, wide(text), length, &result[0], needed, nullptr, nullptr);
        if (written <= 0)
            return std::string();
    }
    result.resize(static_cast<std::size_t>(written));
    return result;
}

int EncodeInto(unsigned codePage, const unsigned short *text, int count, char *buffer, int capacity)
{
    if (count <= 0 || capacity <= 0)
        return 0;
    int written = WideCharToMultiByte(codePage, 0, wide(text), count, buffer, capacity, nullptr, nullptr);
    // A conversion that filled the buffer to its last byte may have been cut short.
    return written > 0 && written < capacity ? written : 0;
}

bool EncodePath(const String &path, std::string &out)
{
    out.clear();
    if (path.empty())
        return true;
    if (path.size() > 0x7FFFFFFF)
        return false;
    int count = static_cast<int>(path.size());
    // UTF-8 as the ANSI code page holds every character, and its converter takes neither flag.
    bool utf8 = GetACP() == CP_UTF8;
    DWORD flags = utf8 ? 0 : WC_NO_BEST_FIT_CHARS;
    int needed = WideCharToMultiByte(CP_ACP, flags, wide(path.data()), count, nullptr, 0, nullptr, nullptr);
    if (needed <= 0)
        return false;
    out.resize(static_cast<std::size_t>(needed));
    BOOL usedDefault = FALSE;
    int written = WideCharToMultiByte(CP_ACP, flags, wide(path.data()), count, &out[0], needed, nullptr,
                                      utf8 ? nullptr : &usedDefault);
    if (written != needed || usedDefault) {
        out.clear();
        return false;
    }
    return true;
}

bool EncodePathOrFail(const String &path, std::string &out)
{
    if (EncodePath(path, out))
        return true;
    SetLastError(ERROR_FILE_NOT_FOUND);
    return false;
}

String ModuleFileName(HMODULE module)
{
    if (!module)
        return String();
    return QueryString([module](char *buffer, DWORD size) { return GetModuleFileNameA(module, buffer, size); },
                       SizeConvention::TruncatedToBuffer);
}

HMODULE ModuleOfAddress(const void *address)
{
    MEMORY_BASIC_INFORMATION info;
    if (VirtualQuery(address, &info, sizeof info) == 0)
        return nullptr;
    return static_cast<HMODULE>(info.AllocationBase);
}

}  // namespace SystemText
