#include "qvcore/internal/NumericLocale.h"

CriticalSection numericLocaleLock __attribute__((init_priority(101)));
