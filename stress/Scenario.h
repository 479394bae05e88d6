#ifndef QVSTRESS_SCENARIO_H
#define QVSTRESS_SCENARIO_H

// Load scenarios: the library's shared services driven from many threads at once, each result
// checked exactly. A scenario's size is scaled (1.0: the full load; the test suite runs a
// small fraction of it).

#include <string>
#include <vector>

namespace qvstress {

struct Scenario {
    const char *name;
    const char *summary;
    /// Runs at the given scale; false for a defect. report receives the figures (and the
    /// defects) in one or more lines.
    bool (*run)(double scale, std::string &report);
};

const std::vector<Scenario> &scenarios();

struct ScenarioRegistration {
    explicit ScenarioRegistration(const Scenario &scenario);
};

}  // namespace qvstress

#endif
