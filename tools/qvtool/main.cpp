// qvtool: the library's facilities on the command line.

#include "Command.h"
#include "StdStreams.h"

#include <shellapi.h>

#include <map>
#include <memory>

using namespace qvtool;

namespace {

// The file version recorded in qvcore.dll's version resource, as "a.b.c.d".
std::string libraryVersion()
{
    ModuleVersion version = ModuleBase::GetModuleVersion(GetModuleHandleA("qvcore.dll"));
    if (!version.fileHigh && !version.fileLow)
        return "unknown";
    return versionText(version.fileHigh, version.fileLow);
}

// The command line as the system keeps it (wide), in UTF-8: no name is turned into another by
// the ANSI code page on the way in.
std::vector<std::string> utf8Arguments()
{
    int count = 0;
    std::vector<std::string> arguments;
    LPWSTR *wide = CommandLineToArgvW(GetCommandLineW(), &count);
    for (int i = 1; wide && i < count; ++i)
        arguments.push_back(utf8(String(wide[i])));
    LocalFree(wide);
    return arguments;
}

const char kFooter[] =
    "FILE arguments: '-' is standard input or output. Exit codes: 0 success, 1 failure at run "
    "time, 2 usage error.\nRun 'qvtool help COMMAND' or 'qvtool COMMAND --help' for a command's options.";

// Standard output is buffered: a write to a full device or a closed pipe may show only when
// the rest is flushed.
int checkedStandardOutput(const std::string &command, int status)
{
    unsigned long code = 0;
    if (flushText(code))
        return status;
    return fail(command + ": cannot write standard output: " +
                (code ? systemText(code) : std::string("write failed")));
}

}  // namespace

namespace {

// The command line's grammar: the global options, one subcommand per command (with the runner
// its definition returns) and "help".
struct Grammar {
    CLI::App app{"qvtool: the QvCore library's facilities on the command line.", "qvtool"};
    std::map<CLI::App *, Runner> runners;
    CLI::App *help = nullptr;
    std::string helpFor;
};

void defineGrammar(Grammar &grammar)
{
    CLI::App &app = grammar.app;
    app.footer(kFooter);
    app.get_formatter()->label("SUBCOMMAND", "COMMAND");
    app.set_version_flag("--version", "qvtool, qvcore.dll " + libraryVersion() + " (" +
                                          (sizeof(void *) == 8 ? "x86_64" : "i686") + ")");
    app.require_subcommand(0, 1);
    // "/tmp/x" is a path (Wine takes Unix paths), never an option.
    app.allow_windows_style_options(false);
    app.add_flag_callback("--ansi", [] { setTextEncoding(TextEncoding::Ansi); },
                 "write text to pipes and files in the system's ANSI code page instead of UTF-8 (a console "
                 "always shows every character)")
        ->trigger_on_parse();
    // --ansi may also follow the command's name.
    app.fallthrough();

    for (const Command &command : commands()) {
        CLI::App *sub = app.add_subcommand(command.name, command.summary);
        sub->group("Commands");
        sub->footer(kFooter);
        grammar.runners[sub] = command.define(*sub);
        // Except where a command hands every word on ("args"): there it goes before the name.
        sub->fallthrough(!sub->get_prefix_command());
    }
    grammar.help = app.add_subcommand("help", "the commands, or the options of one COMMAND");
    grammar.help->group("Commands");
    grammar.help->add_option("COMMAND", grammar.helpFor, "the command to describe");
}

// Parses the process's arguments: -1 when a command is to run, else the exit code of what the
// parse itself answered (help, the version, a usage error).
int parseArguments(Grammar &grammar)
{
    CLI::App &app = grammar.app;
    std::vector<std::string> arguments = utf8Arguments();
    std::vector<std::string> reversed(arguments.rbegin(), arguments.rend());  // the parser's order
    try {
        app.parse(reversed);
    } catch (const CLI::CallForHelp &) {
        writeOut(app.help());
        return checkedStandardOutput("help", 0);
    } catch (const CLI::CallForAllHelp &) {
        writeOut(app.help("", CLI::AppFormatMode::All));
        return checkedStandardOutput("help", 0);
    } catch (const CLI::CallForVersion &e) {
        writeOut(std::string(e.what()) + "\n");
        return checkedStandardOutput("--version", 0);
    } catch (const CLI::ParseError &e) {
        std::string where = app.get_subcommands().empty() ? "" : app.get_subcommands().front()->get_name();
        printErr("qvtool: %s%s%s\nRun 'qvtool %s%s--help' for usage.\n", where.c_str(), where.empty() ? "" : ": ",
                 e.what(), where.c_str(), where.empty() ? "" : " ");
        return 2;
    }
    if (app.get_subcommands().empty()) {
        writeErr("qvtool: no command given\nRun 'qvtool --help' for the commands.\n");
        return 2;
    }
    return -1;
}

// "qvtool help [COMMAND]".
int showHelp(Grammar &grammar)
{
    if (grammar.helpFor.empty()) {
        writeOut(grammar.app.help());
        return checkedStandardOutput("help", 0);
    }
    for (const auto &entry : grammar.runners) {
        if (entry.first->get_name() == grammar.helpFor) {
            writeOut(entry.first->help("qvtool"));
            return checkedStandardOutput("help", 0);
        }
    }
    printErr("qvtool: help: no command '%s'\nRun 'qvtool --help' for the commands.\n", grammar.helpFor.c_str());
    return 2;
}

// The one error boundary of the tool: whatever a command lets escape, of any family the
// library throws, is reported in one voice with exit code 1.
int runCommand(CLI::App *chosen, const Runner &runner)
{
    int status;
    try {
        status = runner();
    } catch (...) {
        status = fail(chosen->get_name() + ": " + describeCurrentException());
    }
    return checkedStandardOutput(chosen->get_name(), status);
}

int runCommandLine()
{
    Grammar grammar;
    defineGrammar(grammar);
    int parsed = parseArguments(grammar);
    if (parsed >= 0)
        return parsed;
    if (grammar.help->parsed())
        return showHelp(grammar);
    CLI::App *chosen = grammar.app.get_subcommands().front();
    return runCommand(chosen, grammar.runners[chosen]);
}

// qvtool is an application of the library like any other: its module is initialised (and its
// language file chosen) through the console application's run.
class Tool : public ConsoleApplication {
protected:
    void Execute() override { SetExitCode(runCommandLine()); }
};

Tool *runningTool = nullptr;

}  // namespace

const ApplicationBase &qvtool::application()
{
    return *runningTool;
}

int main()
{
    Tool tool;
    runningTool = &tool;
    return tool.Run(GetModuleHandleA(nullptr));
}
