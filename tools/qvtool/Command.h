#ifndef QVTOOL_COMMAND_H
#define QVTOOL_COMMAND_H

// qvtool's commands: each lives in a Cmd*.cpp file of its own and registers itself with a
// static CommandRegistration, so that adding a command touches no other file.

#include "qvcore/QvCore.h"

#include <stdexcept>
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

/// A failure that a command reports in its own words, naming the file concerned
/// ("cannot open 'x.txt': <the system's text>"); main prints it after the command's name.
struct Failure : std::runtime_error {
    using std::runtime_error::runtime_error;
};

/// The exception being handled, of any family the library throws, as one line of text: the
/// system's text for system errors, the library's text for its own failures.
std::string describeCurrentException();

/// Runs action; a library exception it throws becomes a Failure "<what> '<name>': <text>".
template <class Action>
auto aboutFile(const char *what, const std::string &name, Action action) -> decltype(action())
{
    try {
        return action();
    } catch (const Failure &) {
        throw;
    } catch (...) {
        throw Failure(std::string(what) + " '" + name + "': " + describeCurrentException());
    }
}

/// The named file's bytes, or the sample text built into qvtool when name is empty.
/// False with a message in error on failure.
bool loadInput(const std::string &name, std::string &content, std::string &error);
/// The name as shown to the user ("(embedded sample)" for the empty name).
std::string displayName(const std::string &name);
/// A decimal count from 1 to 2^31-1.
bool parseCount(const std::string &text, int &value);

}  // namespace qvtool

#endif
