#ifndef QVSTRESS_CAMPAIGN_H
#define QVSTRESS_CAMPAIGN_H

// Mutation campaigns against the library's decoders. Each campaign starts from valid data,
// damages a copy of it for every input and hands it to one decoder. The decoder may throw the
// exceptions its contract names (a campaign's Decode catches exactly those); anything else that
// leaves Decode, a hardware fault, an input that runs past the time limit or memory that keeps
// growing is a defect, reported with the seed and input number that reproduce it.

#include <cstdint>
#include <functional>
#include <string>
#include <vector>

namespace qvstress {

/// A small, fast generator (splitmix64): every input of a campaign is derived from the seed and
/// its number alone, so any input can be made again without the ones before it.
class Random {
public:
    explicit Random(uint64_t seed) : state(seed) {}
    uint64_t Next()
    {
        uint64_t z = (state += 0x9E3779B97F4A7C15ull);
        z = (z ^ (z >> 30)) * 0xBF58476D1CE4E5B9ull;
        z = (z ^ (z >> 27)) * 0x94D049BB133111EBull;
        return z ^ (z >> 31);
    }
    /// A number in [0, n); n > 0.
    uint32_t Below(uint32_t n) { return static_cast<uint32_t>(Next() % n); }
    std::string Bytes(size_t n);

private:
    uint64_t state;
};

/// Damages data in place with one to four edits: bit flips, bytes overwritten with random or
/// boundary values (0, 0x7F, 0x80, 0xFF, a 32-bit -1, 0x7FFFFFFF or 0x80000000 at any position,
/// which is what length prefixes and counts meet), inserted or deleted runs, a truncation, a
/// duplicated run. Empty data only grows.
void Mutate(std::string &data, Random &random);

struct Campaign {
    const char *name;
    const char *summary;
    /// Valid inputs to start from (made once, from the campaign's seed).
    std::vector<std::string> (*samples)(Random &random);
    /// Decodes one input, catching only the exceptions the decoder's contract allows. A false
    /// return is a defect the campaign saw itself (a result outside what the contract allows);
    /// it explains it in why.
    bool (*decode)(const std::string &input, std::string &why);
    /// Optional: checks that an undamaged sample decodes cleanly, so that a campaign whose
    /// decoder fails on everything (a parser that cannot even start) does not pass unnoticed.
    bool (*checkSample)(const std::string &sample, std::string &why) = nullptr;
};

const std::vector<Campaign> &campaigns();

struct CampaignRegistration {
    explicit CampaignRegistration(const Campaign &campaign);
};

}  // namespace qvstress

#endif
