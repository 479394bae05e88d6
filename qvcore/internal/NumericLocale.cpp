#include "qvcore/internal/NumericLocale.h"

#include "qvcore/internal/CriticalSection.h"

#include <clocale>
#include <cstdlib>
#include <cstring>
#include <string.h>

namespace {

// Created when the library loads, before any other static object of the library can format.
CriticalSection numericLocaleLock __attribute__((init_priority(101)));

}  // namespace

CNumericLocale::CNumericLocale() : saved_(nullptr)
{
    numericLocaleLock.Enter();
    const char *current = setlocale(LC_NUMERIC, nullptr);
    if (current && std::strcmp(current, "C") != 0) {
        saved_ = _strdup(current);
        setlocale(LC_NUMERIC, "C");
    }
}

CNumericLocale::~CNumericLocale()
{
    if (saved_) {
        setlocale(LC_NUMERIC, saved_);
        std::free(saved_);
    }
    numericLocaleLock.Leave();
}
