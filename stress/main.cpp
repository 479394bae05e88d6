// qvstress: mutation campaigns against the library's decoders (see Campaign.h).
//   qvstress [--inputs N] [--seed S] [--first K] [--time-limit MS] [--memory-growth KIB]
//            [--except CAMPAIGN]... [CAMPAIGN...]
//   qvstress --list
//   qvstress load [--scale F] [SCENARIO...]
// Prints one line per campaign: inputs, inputs per second, memory before and after, defects;
// with load, one line of figures per scenario (scale 1: the full load).
// Exit code 0 when no campaign found a defect, 1 otherwise, 2 for a usage error, 3 when an
// input ran past the time limit (the process is ended there, since the decoder cannot be).
#include "Campaign.h"
#include "Scenario.h"

#include "qvcore/core/WinException.h"
#include "qvcore/Platform.h"

#include <psapi.h>

#include <algorithm>
#include <atomic>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <exception>
#include <string>
#include <thread>
#include <vector>

using namespace qvstress;

namespace {

struct Options {
    uint64_t inputs = 1000000;
    uint64_t seed = 0;
    uint64_t first = 0;
    unsigned timeLimitMs = 5000;
    size_t memoryGrowthKiB = 16 * 1024;
    std::vector<std::string> names;
    std::vector<std::string> except;
};

/// The process's committed private memory (Wine leaves PrivateUsage at 0; PagefileUsage is
/// the same figure there and on Windows).
size_t privateBytes()
{
    PROCESS_MEMORY_COUNTERS counters = {};
    counters.cb = sizeof counters;
    GetProcessMemoryInfo(GetCurrentProcess(), &counters, sizeof counters);
    return counters.PagefileUsage;
}

size_t peakBytes()
{
    PROCESS_MEMORY_COUNTERS counters = {};
    counters.cb = sizeof counters;
    GetProcessMemoryInfo(GetCurrentProcess(), &counters, sizeof counters);
    return counters.PeakPagefileUsage;
}

std::string saveInput(const char *campaign, uint64_t index, const std::string &input)
{
    char name[128];
    std::snprintf(name, sizeof name, "qvstress-%s-%llu.bin", campaign, static_cast<unsigned long long>(index));
    if (FILE *file = std::fopen(name, "wb")) {
        std::fwrite(input.data(), 1, input.size(), file);
        std::fclose(file);
    }
    return name;
}

/// Ends the process when one input has been decoding for longer than the limit: a decoder that
/// loops forever cannot be stopped from inside, and the campaign must not hang.
class Watchdog {
public:
    explicit Watchdog(unsigned limitMs) : limitMs(limitMs), thread([this] { watch(); }) {}
    ~Watchdog()
    {
        stopping = true;
        thread.join();
    }
    void Begin(const char *campaign, uint64_t seed, uint64_t index, const std::string *input)
    {
        this->campaign = campaign;
        this->seed = seed;
        this->input = input;
        this->index = index;
        started = GetTickCount64();
    }
    void End() { started = 0; }

private:
    void watch()
    {
        while (!stopping) {
            Sleep(50);
            unsigned long long since = started;
            if (since && GetTickCount64() - since > limitMs) {
                std::printf("HANG %s: input %llu (seed %llu) ran past %u ms; saved as %s\n", campaign.load(),
                            static_cast<unsigned long long>(index.load()), static_cast<unsigned long long>(seed.load()),
                            limitMs, saveInput(campaign, index, *input).c_str());
                std::fflush(stdout);
                TerminateProcess(GetCurrentProcess(), 3);
            }
        }
    }

    const unsigned limitMs;
    std::atomic<bool> stopping{false};
    std::atomic<const char *> campaign{""};
    std::atomic<uint64_t> seed{0}, index{0};
    std::atomic<const std::string *> input{nullptr};
    std::atomic<unsigned long long> started{0};
    std::thread thread;
};

/// Input index of a campaign: its own stream of numbers, independent of the other campaigns.
uint64_t inputSeed(uint64_t seed, const char *campaign, uint64_t index)
{
    uint64_t h = seed;
    for (const char *c = campaign; *c; ++c)
        h = h * 1099511628211ull ^ static_cast<unsigned char>(*c);
    return h ^ (index * 0xD6E8FEB86659FD93ull);
}

/// Decodes one input; false and why for a defect.
bool decodeOne(const Campaign &campaign, const std::string &input, std::string &why)
{
    try {
        SEHException::TryCatchEnabler translate;
        return campaign.decode(input, why);
    } catch (const SEHException &e) {
        why = "hardware exception: " + e.GetMsg().Utf8();
    } catch (const std::exception &e) {
        why = std::string("exception outside the contract: ") + typeid(e).name() + ": " + e.what();
    } catch (...) {
        why = "exception of a type outside the contract";
    }
    return false;
}

int runCampaign(const Campaign &campaign, const Options &options, Watchdog &watchdog)
{
    Random sampleRandom(inputSeed(options.seed, campaign.name, ~0ull));
    const std::vector<std::string> samples = campaign.samples(sampleRandom);
    if (campaign.checkSample)
        for (const std::string &sample : samples) {
            std::string why;
            if (!campaign.checkSample(sample, why)) {
                std::printf("DEFECT %s: an undamaged sample does not decode: %s\n", campaign.name, why.c_str());
                return 1;
            }
        }
    const uint64_t warmup = options.inputs / 20;
    size_t before = privateBytes();
    const ULONGLONG start = GetTickCount64();
    int defects = 0;
    std::string input;
    for (uint64_t n = 0; n < options.inputs && defects < 10; ++n) {
        const uint64_t index = options.first + n;
        Random random(inputSeed(options.seed, campaign.name, index));
        input = samples[random.Below(static_cast<uint32_t>(samples.size()))];
        Mutate(input, random);
        std::string why;
        watchdog.Begin(campaign.name, options.seed, index, &input);
        bool ok = decodeOne(campaign, input, why);
        watchdog.End();
        if (!ok) {
            ++defects;
            std::printf("DEFECT %s: input %llu (seed %llu): %s; saved as %s\n", campaign.name,
                        static_cast<unsigned long long>(index), static_cast<unsigned long long>(options.seed),
                        why.c_str(), saveInput(campaign.name, index, input).c_str());
        }
        if (n + 1 == warmup)  // the heap has reached its working size
            before = privateBytes();
    }
    const double seconds = (GetTickCount64() - start) / 1000.0;
    const size_t after = privateBytes();
    const long long growthKiB = (static_cast<long long>(after) - static_cast<long long>(before)) / 1024;
    std::printf("%-20s %9llu inputs %10.0f/s  memory %6zu -> %6zu KiB (peak %zu KiB)  defects %d\n", campaign.name,
                static_cast<unsigned long long>(options.inputs), seconds > 0 ? options.inputs / seconds : 0.0,
                before / 1024, after / 1024, peakBytes() / 1024, defects);
    if (growthKiB > static_cast<long long>(options.memoryGrowthKiB)) {
        std::printf("DEFECT %s: memory grew by %lld KiB across the campaign (limit %zu KiB)\n", campaign.name,
                    growthKiB, options.memoryGrowthKiB);
        ++defects;
    }
    std::fflush(stdout);
    return defects;
}

bool parse(int argc, char **argv, Options &options)
{
    for (int i = 1; i < argc; ++i) {
        std::string arg = argv[i];
        auto number = [&](uint64_t &out) {
            if (i + 1 >= argc)
                return false;
            char *end = nullptr;
            out = std::strtoull(argv[++i], &end, 10);
            return *end == '\0';
        };
        uint64_t value = 0;
        if (arg == "--list") {
            for (const Campaign &c : campaigns())
                std::printf("%-20s %s\n", c.name, c.summary);
            std::exit(0);
        } else if (arg == "--inputs" && number(value)) {
            options.inputs = value;
        } else if (arg == "--seed" && number(value)) {
            options.seed = value;
        } else if (arg == "--first" && number(value)) {
            options.first = value;
        } else if (arg == "--time-limit" && number(value)) {
            options.timeLimitMs = static_cast<unsigned>(value);
        } else if (arg == "--memory-growth" && number(value)) {
            options.memoryGrowthKiB = static_cast<size_t>(value);
        } else if (arg == "--except" && i + 1 < argc) {
            options.except.push_back(argv[++i]);
        } else if (!arg.empty() && arg[0] != '-') {
            options.names.push_back(arg);
        } else {
            return false;
        }
    }
    return true;
}

}  // namespace

int runScenarios(int argc, char **argv)
{
    double scale = 1.0;
    std::vector<std::string> names;
    for (int i = 2; i < argc; ++i) {
        std::string arg = argv[i];
        if (arg == "--scale" && i + 1 < argc) {
            scale = std::atof(argv[++i]);
        } else if (arg == "--list") {
            for (const Scenario &s : scenarios())
                std::printf("%-20s %s\n", s.name, s.summary);
            return 0;
        } else if (!arg.empty() && arg[0] != '-') {
            names.push_back(arg);
        } else {
            std::fprintf(stderr, "usage: qvstress load [--scale F] [SCENARIO...] | load --list\n");
            return 2;
        }
    }
    int defects = 0, ran = 0;
    for (const Scenario &scenario : scenarios()) {
        if (!names.empty() && std::find(names.begin(), names.end(), scenario.name) == names.end())
            continue;
        ++ran;
        std::string report;
        bool ok = false;
        try {
            ok = scenario.run(scale, report);
        } catch (...) {
            report += " (an exception left the scenario)";
        }
        std::printf("%s %-8s %s\n", ok ? "ok    " : "DEFECT", scenario.name, report.c_str());
        std::fflush(stdout);
        defects += !ok;
    }
    if (!ran) {
        std::fprintf(stderr, "qvstress: unknown scenario (see load --list)\n");
        return 2;
    }
    return defects ? 1 : 0;
}

int main(int argc, char **argv)
{
    if (argc > 1 && std::string(argv[1]) == "load")
        return runScenarios(argc, argv);
    // The XML parser is a COM object, made on this thread.
    CoInitializeEx(nullptr, COINIT_APARTMENTTHREADED);
    Options options;
    options.seed = GetTickCount64() ^ (static_cast<uint64_t>(GetCurrentProcessId()) << 32);
    if (!parse(argc, argv, options)) {
        std::fprintf(stderr, "usage: qvstress [--inputs N] [--seed S] [--first K] [--time-limit MS] "
                             "[--memory-growth KIB] [--except CAMPAIGN]... [CAMPAIGN...] | --list\n");
        return 2;
    }
    std::vector<const Campaign *> chosen;
    for (const Campaign &c : campaigns())
        if ((options.names.empty() || std::find(options.names.begin(), options.names.end(), c.name) != options.names.end()) &&
            std::find(options.except.begin(), options.except.end(), c.name) == options.except.end())
            chosen.push_back(&c);
    if (chosen.empty()) {
        std::fprintf(stderr, "qvstress: unknown campaign (see --list)\n");
        return 2;
    }
    std::printf("qvstress: seed %llu, %llu inputs per campaign from input %llu, time limit %u ms\n",
                static_cast<unsigned long long>(options.seed), static_cast<unsigned long long>(options.inputs),
                static_cast<unsigned long long>(options.first), options.timeLimitMs);
    std::fflush(stdout);
    Watchdog watchdog(options.timeLimitMs);
    int defects = 0;
    for (const Campaign *c : chosen)
        defects += runCampaign(*c, options, watchdog);
    std::printf("qvstress: %d defect%s\n", defects, defects == 1 ? "" : "s");
    return defects ? 1 : 0;
}
