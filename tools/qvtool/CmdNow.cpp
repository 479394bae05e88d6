#include "Command.h"

#include <cstdio>

namespace qvtool {
namespace {

// The current time and the local time zone as the library sees them.
int runNow()
{
    std::printf("time (UTC):       %s\n", DateTime::Now().ToString().SystemMultibyte().c_str());
    std::printf("local time zone:  %s\n", DateTime::GetLocalTimeZoneName().SystemMultibyte().c_str());
    std::printf("UTC bias:         %s (UTC = local time + bias)\n",
                DateTime::GetLocalUTCBias().ToString().SystemMultibyte().c_str());
    std::printf("daylight saving:  %s\n", DateTime::GetLocalDayLightSaving() ? "in force" : "not in force");
    return 0;
}

Runner defineNow(CLI::App &)
{
    return runNow;
}

const CommandRegistration registration({"now",
                                         "the current time in ISO 8601 form, the local time zone, its UTC bias and "
                                         "whether daylight saving time is in force",
                                         defineNow});

}  // namespace
}  // namespace qvtool
