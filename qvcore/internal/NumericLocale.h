#ifndef QVCORE_INTERNAL_NUMERICLOCALE_H
#define QVCORE_INTERNAL_NUMERICLOCALE_H

// Internal to the library: the C runtime's numeric locale set to "C" for a scope, under the one
// process-wide lock that every switch of it takes, so that formatting writes "." and parsing
// reads it whatever locale the application has set, and no thread sees another's switch.

#include "qvcore/internal/CriticalSection.h"

#include <clocale>
#include <cstdlib>
#include <cstring>
#include <string.h>

/// The lock every switch of the numeric locale takes. Constructed when the library loads,
/// before any other static object of the library can format.
extern CriticalSection numericLocaleLock;

/// Holds the lock with the numeric locale "C" for its lifetime, then restores the previous
/// locale. Switching costs microseconds under some runtimes, so an already "C" locale is left
/// alone. Inline: formatting a number costs little more than the lock and this test.
class CNumericLocale {
public:
    CNumericLocale() : saved_(nullptr)
    {
        numericLocaleLock.Enter();
        const char *current = setlocale(LC_NUMERIC, nullptr);
        if (current && std::strcmp(current, "C") != 0) {
            saved_ = _strdup(current);
            setlocale(LC_NUMERIC, "C");
        }
    }
    ~CNumericLocale()
    {
        if (saved_) {
            setlocale(LC_NUMERIC, saved_);
            std::free(saved_);
        }
        numericLocaleLock.Leave();
    }
    CNumericLocale(const CNumericLocale &) = delete;
    CNumericLocale &operator=(const CNumericLocale &) = delete;

private:
    char *saved_;
};

#endif
