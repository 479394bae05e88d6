// Applications: the command line as the C runtime split it, the parser's hooks, and the run of
// a console application.

#include "qvcore/runtime/Application.h"
#include "tests/support/StringPrinting.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cstddef>
#include <cstdlib>
#include <cstring>
#include <ostream>
#include <stdexcept>
#include <string>
#include <vector>

namespace {

// Runs ParseCommandLine over arguments as if the program had been started with them: the C
// runtime's argument vector is swapped for the test's and restored.
void parseAs(std::vector<const char *> arguments, CommandLine &commandLine)
{
    arguments.insert(arguments.begin(), "program.exe");
    arguments.push_back(nullptr);
    const int savedCount = __argc;
    char **const savedVector = __argv;
    __argc = static_cast<int>(arguments.size()) - 1;
    __argv = const_cast<char **>(arguments.data());
    struct Application : ApplicationBase {
    } application;
    application.ParseCommandLine(commandLine);
    __argc = savedCount;
    __argv = savedVector;
}

// The same for a program whose entry point is wmain: the runtime fills only its wide vector
// (wide null: not even that, as for an entry point of the program's own).
void parseAsWide(std::vector<const wchar_t *> arguments, CommandLine &commandLine, bool wide = true)
{
    arguments.insert(arguments.begin(), L"program.exe");
    arguments.push_back(nullptr);
    const int savedCount = __argc;
    char **const savedVector = __argv;
    wchar_t **const savedWide = __wargv;
    __argc = wide ? static_cast<int>(arguments.size()) - 1 : 0;
    __argv = nullptr;
    __wargv = wide ? const_cast<wchar_t **>(arguments.data()) : nullptr;
    struct Application : ApplicationBase {
    } application;
    application.ParseCommandLine(commandLine);
    __argc = savedCount;
    __argv = savedVector;
    __wargv = savedWide;
}

// Records every call the parser receives, then lets the base class decide.
class RecordingCommandLine : public CommandLine {
public:
    std::vector<std::string> calls;
    void BeginParse() override
    {
        calls.push_back("begin");
        CommandLine::BeginParse();
    }
    void EndParse() override { calls.push_back("end"); }

protected:
    void ParseOption(const String &option) override
    {
        calls.push_back("option '" + option.Utf8() + "'");
        CommandLine::ParseOption(option);
    }
    void ParseNonOption(const String &argument) override
    {
        calls.push_back("argument '" + argument.Utf8() + "'");
        CommandLine::ParseNonOption(argument);
    }
};

}  // namespace

// The registration options in any case and the document path: qvtool.commands' "args" rows.
TEST(CommandLine, EveryArgumentReachesTheHooksInOrderWithItsPrefixDropped)
{
    RecordingCommandLine commandLine;
    parseAs({"-", "/Regserver", "-unregserverx", "--long", "C:\\doc.txt", "caf\xe9"}, commandLine);
    const std::vector<std::string> expected = {
        "begin", "option ''", "option 'Regserver'", "option 'unregserverx'", "option '-long'", "argument 'C:\\doc.txt'",
        // Narrow arguments are text in the ANSI code page.
        "argument '" + String::FromMultibyte(GetACP(), "caf\xe9").Utf8() + "'", "end"};
    EXPECT_EQ(commandLine.calls, expected);
    EXPECT_TRUE(commandLine.IsRegistering());
    EXPECT_FALSE(commandLine.IsUnregistering()) << "an option is the whole word";

    // No arguments: still a begin and an end, and the defaults again.
    commandLine.calls.clear();
    parseAs({}, commandLine);
    EXPECT_EQ(commandLine.calls, (std::vector<std::string>{"begin", "end"}));
    EXPECT_FALSE(commandLine.IsRegistering());
    EXPECT_EQ(commandLine.GetDocPath(), String());
}

namespace {

// The slot of a virtual member function in its class's table, as the compiler lays it out.
template <class Function>
std::ptrdiff_t slotOf(Function function)
{
    // A pointer to a virtual member is the slot's byte offset plus one, then an adjustment.
    struct { std::ptrdiff_t pointer, adjustment; } representation;
    static_assert(sizeof representation == sizeof function, "the compiler's member pointer layout");
    std::memcpy(&representation, &function, sizeof function);
    return (representation.pointer - 1) / static_cast<std::ptrdiff_t>(sizeof(void *));
}

// Makes the protected hooks nameable.
struct OpenCommandLine : CommandLine {
    using CommandLine::ParseNonOption;
    using CommandLine::ParseOption;
};

}  // namespace

TEST(CommandLine, AWideEntryPointsArgumentsAreTheOnesParsed)
{
    CommandLine wide;
    parseAsWide({L"/regserver", L"caf\u00e9 \u65e5\u672c.txt"}, wide);
    EXPECT_TRUE(wide.IsRegistering());
    EXPECT_EQ(String(L"caf\u00e9 \u65e5\u672c.txt"), wide.GetDocPath());

    // Without either vector the process's own command line is split: this program was started
    // with options of the test framework only, so no document path arrives.
    RecordingCommandLine own;
    parseAsWide({}, own, /*wide=*/false);
    ASSERT_GE(own.calls.size(), 2u);
    EXPECT_EQ("begin", own.calls.front());
    EXPECT_EQ("end", own.calls.back());
    EXPECT_TRUE(own.GetDocPath().empty());
}

TEST(CommandLine, VirtualFunctionsKeepTheirSlotsForDerivedParsers)
{
    EXPECT_EQ(slotOf(&CommandLine::IsRegistering), 0);
    EXPECT_EQ(slotOf(&CommandLine::IsUnregistering), 1);
    EXPECT_EQ(slotOf(&CommandLine::BeginParse), 2);
    EXPECT_EQ(slotOf(&CommandLine::EndParse), 3);
    EXPECT_EQ(slotOf(&OpenCommandLine::ParseOption), 4);
    EXPECT_EQ(slotOf(&OpenCommandLine::ParseNonOption), 5);
}

namespace {

class Tool : public ConsoleApplication {
public:
    bool initializes = true;
    bool throws = false;
    std::vector<std::string> steps;
    bool listedWhileRunning = false;

protected:
    bool Initialize() override
    {
        steps.push_back("initialize");
        SetExitCode(3);
        return initializes;
    }
    void Execute() override
    {
        steps.push_back("execute");
        const std::vector<ModuleBase *> &modules = GetModules();
        listedWhileRunning = std::find(modules.begin(), modules.end(), this) != modules.end();
        if (throws)
            throw std::runtime_error("failed");
        SetExitCode(7);
    }
};

bool listed(const ModuleBase *module)
{
    const std::vector<ModuleBase *> &modules = ModuleBase::GetModules();
    return std::find(modules.begin(), modules.end(), module) != modules.end();
}

}  // namespace

TEST(ConsoleApplication, RunInitialisesTheModuleRunsTheHooksUnlessInitialisationFailsAndReturnsTheExitCode)
{
    Tool tool;
    EXPECT_EQ(tool.Run(GetModuleHandleA(nullptr)), 7);
    EXPECT_EQ(tool.steps, (std::vector<std::string>{"initialize", "execute"}));
    EXPECT_TRUE(tool.listedWhileRunning);
    EXPECT_FALSE(listed(&tool));
    EXPECT_EQ(tool.GetModule(), GetModuleHandleA(nullptr));

    Tool declining;
    declining.initializes = false;
    EXPECT_EQ(declining.Run(GetModuleHandleA(nullptr)), 3);
    EXPECT_EQ(declining.steps, (std::vector<std::string>{"initialize"}));
    EXPECT_FALSE(listed(&declining));
}

TEST(ConsoleApplication, AnExceptionLeavesRunWithTheModuleFreed)
{
    Tool tool;
    tool.throws = true;
    EXPECT_THROW(tool.Run(GetModuleHandleA(nullptr)), std::runtime_error);
    EXPECT_TRUE(tool.listedWhileRunning);
    EXPECT_FALSE(listed(&tool));
}
