#ifndef QVCORE_PLATFORM_H
#define QVCORE_PLATFORM_H

// The one header through which the library and its clients see <windows.h>, so that both
// agree on its settings. The system's A/W macros (LoadString, FormatMessage, ...) are left
// in force: they rename the library's members of those names alike for library and clients.

#ifndef NOMINMAX
#define NOMINMAX  // std::min/std::max must stay usable in headers
#endif
#ifndef STRICT
#define STRICT
#endif

#include <windows.h>

#if defined(QVCORE_BUILDING)
#define QVCORE_API __declspec(dllexport)
#else
#define QVCORE_API __declspec(dllimport)
#endif

#endif
