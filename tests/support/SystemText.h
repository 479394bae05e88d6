#ifndef QVCORE_TESTS_SUPPORT_SYSTEMTEXT_H
#define QVCORE_TESTS_SUPPORT_SYSTEMTEXT_H

#include "qvcore/Platform.h"

#include <string>

// The system's own conversion to the ANSI code page, independent of String's.
inline std::string ansi(const std::u16string &text)
{
    std::string result(text.size() * 4, '\0');
    int length = WideCharToMultiByte(CP_ACP, 0, reinterpret_cast<const wchar_t *>(text.data()),
                                     static_cast<int>(text.size()), &result[0], static_cast<int>(result.size()),
                                     nullptr, nullptr);
    result.resize(length);
    return result;
}

// The system's own text for an error code up to its first line feed (a carriage return stays).
inline std::string systemFirstLine(DWORD code)
{
    char *buffer = nullptr;
    DWORD length = ::FormatMessageA(FORMAT_MESSAGE_ALLOCATE_BUFFER | FORMAT_MESSAGE_IGNORE_INSERTS |
                                        FORMAT_MESSAGE_FROM_SYSTEM,
                                    nullptr, code, 0x400, reinterpret_cast<LPSTR>(&buffer), 0, nullptr);
    std::string text(buffer ? buffer : "", length);
    LocalFree(buffer);
    return text.substr(0, text.find('\n'));
}

#endif
