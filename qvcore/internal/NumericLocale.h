#ifndef QVCORE_INTERNAL_NUMERICLOCALE_H
#define QVCORE_INTERNAL_NUMERICLOCALE_H

// Internal to the library: the C runtime's numeric locale set to "C" for a scope, under the one
// process-wide lock that every switch of it takes, so that formatting writes "." and parsing
// reads it whatever locale the application has set, and no thread sees another's switch.

/// Holds the lock with the numeric locale "C" for its lifetime, then restores the previous
/// locale. Switching costs microseconds under some runtimes, so an already "C" locale is left
/// alone.
class CNumericLocale {
public:
    CNumericLocale();
    ~CNumericLocale();
    CNumericLocale(const CNumericLocale &) = delete;
    CNumericLocale &operator=(const CNumericLocale &) = delete;

private:
    char *saved_;
};

#endif
