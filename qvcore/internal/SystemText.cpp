#include "qvcore/internal/SystemText.h"

namespace SystemText {

namespace {

const wchar_t *wide(const unsigned short *text)
{
    return reinterpret_cast<const wchar_t *>(text);
}

}  // namespace

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

String ModuleFileName(HMODULE module)
{
    if (!module)
        return String();
    return QueryString([module](char *buffer, DWORD size) { return GetModuleFileNameA(module, buffer, size); },
                       SizeConvention::TruncatedToBuffer);
}

}  // namespace SystemText
