#include "Command.h"
#include "StdStreams.h"

namespace qvtool {
namespace {

// The current time and the local time zone as the library sees them.
int runNow()
{
    printOut("time (UTC):       %s\n", utf8(DateTime::Now().ToString()).c_str());
    printOut("local time zone:  %s\n", utf8(DateTime::GetLocalTimeZoneName()).c_str());
    printOut("UTC bias:         %s (UTC = local time + bias)\n",
             utf8(DateTime::GetLocalUTCBias().ToString()).c_str());
    printOut("daylight saving:  %s\n", DateTime::GetLocalDayLightSaving() ? "in force" : "not in force");
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
