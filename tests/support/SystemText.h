#ifndef QVCORE_TESTS_SUPPORT_SYSTEMTEXT_H
#define QVCORE_TESTS_SUPPORT_SYSTEMTEXT_H

#include "qvcore/Platform.h"

#include <string>

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
