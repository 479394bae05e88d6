#ifndef QVTOOL_COMMAND_H
#define QVTOOL_COMMAND_H

// qvtool's commands: each lives in a Cmd*.cpp file of its own and registers itself with a
// static CommandRegistration, so that adding a command touches no other file.

#include "qvcore/QvCore.h"

#include <string>
#include <vector>

namespace qvtool {

using Args = std::vector<std::string>;

struct Command {
    const char *name;     // as typed after "qvtool"
    const char *usage;    // one line, e.g. "qvtool chunks [--piece N] [FILE...]"
    const char *summary;  // what it does, shown by --help
    int (*run)(const Args &args);  // exit code; may throw (reported as an error)
};

/// Every registered command, ordered by name.
const std::vector<Command> &commands();

struct CommandRegistration {
    explicit CommandRegistration(const Command &command);
};

/// Prints "qvtool: message" on the error stream and returns 1.
int fail(const std::string &message);

/// The named file's bytes, or the sample text built into qvtool when name is empty.
/// False with a message in error on failure.
bool loadInput(const std::string &name, std::string &content, std::string &error);
/// The name as shown to the user ("(embedded sample)" for the empty name).
std::string displayName(const std::string &name);
/// A decimal count from 1 to 2^31-1.
bool parseCount(const std::string &text, int &value);

}  // namespace qvtool

#endif
