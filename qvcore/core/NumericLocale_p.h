#ifndef QVCORE_CORE_NUMERICLOCALE_P_H
#define QVCORE_CORE_NUMERICLOCALE_P_H

// Private to the library (not installed): the C runtime's "C" locale as an object of its own, for
// formatting and parsing numbers through the runtime's locale-taking functions (_vsnwprintf_l,
// _strtod_l). They write and read "." whatever locale the application has set, and they never read
// the runtime's global locale: an application thread may switch that at any moment, and the
// runtime frees the old locale's data under any other thread formatting with it. (Switching the
// global locale to "C" around each call, under a lock of the library's own, protected the
// library's threads from each other but not from the application's setlocale.)

#include <locale.h>

/// The "C" locale, created when the library loads and freed when it unloads.
_locale_t ClassicNumericLocale();

#endif
