#include "Command.h"
#include "StdStreams.h"

#include <memory>

namespace qvtool {
namespace {

// Shows each argument as the application's command-line parser receives it. qvtool's own
// command word ("args") comes first and is left out.
class ShownCommandLine : public CommandLine {
public:
    void BeginParse() override
    {
        CommandLine::BeginParse();
        commandWordSeen_ = false;
    }

protected:
    void ParseOption(const String &option) override
    {
        printOut("option    '%s'\n", utf8(option).c_str());
        CommandLine::ParseOption(option);
    }
    void ParseNonOption(const String &argument) override
    {
        if (!commandWordSeen_) {
            commandWordSeen_ = true;
            return;
        }
        printOut("argument  '%s'%s\n", utf8(argument).c_str(),
                 GetDocPath().empty() ? " (the document path)" : " (ignored: the document path is set)");
        CommandLine::ParseNonOption(argument);
    }

private:
    bool commandWordSeen_ = false;
};

int runArgs()
{
    ShownCommandLine commandLine;
    application().ParseCommandLine(commandLine);
    printOut("document path: %s\n", utf8(commandLine.GetDocPath()).c_str());
    printOut("registering:   %s\n", commandLine.IsRegistering() ? "yes" : "no");
    printOut("unregistering: %s\n", commandLine.IsUnregistering() ? "yes" : "no");
    return 0;
}

Runner defineArgs(CLI::App &command)
{
    // Every word after "args" belongs to the application's parser, "-x" and "/x" alike; the
    // parser reads them from the C runtime, so what CLI11 collects here is only for its help.
    auto words = std::make_shared<std::vector<std::string>>();
    command.prefix_command();
    command.add_option("ARG", *words, "options and arguments as an application receives them");
    return [words] { return runArgs(); };
}

const CommandRegistration registration({"args",
                                         "how an application built on the library reads ARG...: options ('-' or '/' "
                                         "first), the document path, the registering and unregistering flags",
                                         defineArgs});

}  // namespace
}  // namespace qvtool
