#ifndef QVTOOL_COMMAND_H
#define QVTOOL_COMMAND_H

// qvtool's commands: each lives in a Cmd*.cpp file of its own and registers itself with a
// static CommandRegistration, so that adding a command touches no other file. Its define
// function declares the command's options and operands to the argument parser (CLI11) and
// returns what runs the command once they have been parsed.
//
// Conventions every command keeps: exit code 0 on success, 1 for a failure at run time (one
// line on the error stream, naming the file concerned, with the system's text), 2 for a usage
// error (the parser's message and a hint). Names and text from the command line arrive as
// UTF-8 (qvtool reads its command line as wide text); every text for people is UTF-8 inside
// qvtool and leaves it through the text functions of StdStreams.h.

#include "qvcore/QvCore.h"

#include <CLI/CLI.hpp>

#include <functional>
#include <stdexcept>
#include <string>
#include <vector>

namespace qvtool {

/// Runs a command whose arguments have been parsed; the exit code.
using Runner = std::function<int()>;

struct Command {
    const char *name;     // as typed after "qvtool"
    const char *summary;  // what it does, shown by --help
    /// Declares the command's options and operands on its parser and returns its runner.
    Runner (*define)(CLI::App &command);
};

/// Every registered command, ordered by name.
const std::vector<Command> &commands();

struct CommandRegistration {
    explicit CommandRegistration(const Command &command);
};

/// Prints "qvtool: message" on the error stream and returns 1.
int fail(const std::string &message);

/// A usage error the parser could not see: "qvtool: COMMAND: message" and the hint to ask for
/// the command's help on the error stream; returns 2.
int usageError(const std::string &command, const std::string &message);

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

/// The system's text for an error code, one line.
std::string systemText(unsigned long code);

/// The library's text as UTF-8, every character exact (a pair of surrogates is one character);
/// commands build their messages and output from it and from the command line's UTF-8.
std::string utf8(const String &text);

/// text in codePage. A character the page lacks becomes its default character ("?"), never a
/// look-alike: a best-fit "L" for "\u0141" would name another file to a reader that opens
/// the names it is given. Empty when the system knows no such page.
std::string encoded(const String &text, unsigned codePage);

/// A file name from the command line for the library. The file functions take names in the
/// ANSI code page: a name it cannot hold exactly throws Failure saying so, rather than reaching
/// another file through a look-alike or a "?". qvtool's manifest makes that page UTF-8, which
/// holds every name, wherever the system honours it (Windows 10 1903 and later, Wine 8).
String fileName(const std::string &utf8);

/// The sample text built into qvtool as a resource.
std::string sampleBytes();

/// Adds the --quiet flag that silences progress on the error stream.
void addQuiet(CLI::App &command, bool &quiet);

/// "a.b.c.d" of a version's high and low halves.
std::string versionText(unsigned long high, unsigned long low);

/// The running qvtool application.
const ApplicationBase &application();

}  // namespace qvtool

#endif
