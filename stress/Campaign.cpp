#include "Campaign.h"
#include "Scenario.h"

#include <algorithm>
#include <cstring>

namespace qvstress {

std::string Random::Bytes(size_t n)
{
    std::string bytes(n, '\0');
    for (size_t i = 0; i < n; ++i)
        bytes[i] = static_cast<char>(Next());
    return bytes;
}

namespace {

void overwriteWord(std::string &data, Random &random)
{
    static const uint32_t words[] = {0xFFFFFFFFu, 0x7FFFFFFFu, 0x80000000u, 0u, 0x00010000u, 0x7FFFFFF0u};
    if (data.size() < 4)
        return;
    uint32_t word = words[random.Below(sizeof words / sizeof words[0])];
    std::memcpy(&data[random.Below(static_cast<uint32_t>(data.size() - 3))], &word, 4);
}

void editOnce(std::string &data, Random &random)
{
    static const unsigned char boundaries[] = {0x00, 0x7F, 0x80, 0xFF, '=', '\n', '['};
    const uint32_t size = static_cast<uint32_t>(data.size());
    switch (size == 0 ? 4 : random.Below(8)) {
    case 0:  // one bit
        data[random.Below(size)] ^= static_cast<char>(1u << random.Below(8));
        break;
    case 1:  // one byte, random
        data[random.Below(size)] = static_cast<char>(random.Next());
        break;
    case 2:  // one byte, a boundary value
        data[random.Below(size)] = static_cast<char>(boundaries[random.Below(sizeof boundaries)]);
        break;
    case 3:
        overwriteWord(data, random);
        break;
    case 4:  // a run inserted
        data.insert(size ? random.Below(size + 1) : 0, random.Bytes(1 + random.Below(16)));
        break;
    case 5: {  // a run deleted
        uint32_t at = random.Below(size);
        data.erase(at, 1 + random.Below(std::min<uint32_t>(size - at, 64)));
        break;
    }
    case 6:  // cut short
        data.resize(random.Below(size));
        break;
    default: {  // a run repeated
        uint32_t at = random.Below(size);
        uint32_t length = 1 + random.Below(std::min<uint32_t>(size - at, 64));
        data.insert(random.Below(size + 1), data.substr(at, length));
        break;
    }
    }
}

std::vector<Campaign> &registry()
{
    static std::vector<Campaign> all;
    return all;
}

}  // namespace

void Mutate(std::string &data, Random &random)
{
    for (uint32_t edits = 1 + random.Below(4); edits > 0; --edits)
        editOnce(data, random);
}

const std::vector<Campaign> &campaigns()
{
    std::sort(registry().begin(), registry().end(),
              [](const Campaign &a, const Campaign &b) { return std::strcmp(a.name, b.name) < 0; });
    return registry();
}

CampaignRegistration::CampaignRegistration(const Campaign &campaign)
{
    registry().push_back(campaign);
}

namespace {
std::vector<Scenario> &scenarioRegistry()
{
    static std::vector<Scenario> all;
    return all;
}
}  // namespace

const std::vector<Scenario> &scenarios()
{
    std::sort(scenarioRegistry().begin(), scenarioRegistry().end(),
              [](const Scenario &a, const Scenario &b) { return std::strcmp(a.name, b.name) < 0; });
    return scenarioRegistry();
}

ScenarioRegistration::ScenarioRegistration(const Scenario &scenario)
{
    scenarioRegistry().push_back(scenario);
}

}  // namespace qvstress
