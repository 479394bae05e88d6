#include "qvcore/core/NumericLocale_p.h"

namespace {

struct ClassicLocale {
    _locale_t locale = _create_locale(LC_ALL, "C");
    ~ClassicLocale()
    {
        if (locale)
            _free_locale(locale);
    }
};

// Before any other static object of the library can format.
ClassicLocale classic __attribute__((init_priority(101)));

}  // namespace

_locale_t ClassicNumericLocale()
{
    return classic.locale;
}
