#include "qvcore/runtime/Application.h"

#include "qvcore/core/ScopedHandle.h"

#include <shellapi.h>

#include <cstdlib>
#include <vector>

CommandLine::CommandLine()
{
    SetDefaults();
}

CommandLine::CommandLine(const CommandLine &other)
    : docPath_(other.docPath_), registering_(other.registering_), unregistering_(other.unregistering_)
{
}

CommandLine &CommandLine::operator=(const CommandLine &other)
{
    docPath_ = other.docPath_;
    registering_ = other.registering_;
    unregistering_ = other.unregistering_;
    return *this;
}

CommandLine::~CommandLine() {}

void CommandLine::SetDefaults()
{
    docPath_.clear();
    registering_ = false;
    unregistering_ = false;
}

void CommandLine::Parse(const String &argument, bool isOption, bool)
{
    if (isOption)
        ParseOption(argument);
    else
        ParseNonOption(argument);
}

bool CommandLine::IsRegistering() const
{
    return registering_;
}

bool CommandLine::IsUnregistering() const
{
    return unregistering_;
}

void CommandLine::BeginParse()
{
    SetDefaults();
}

void CommandLine::EndParse() {}

void CommandLine::ParseOption(const String &option)
{
    if (option.CompareNoCase(String(L"regserver")) == 0)
        registering_ = true;
    else if (option.CompareNoCase(String(L"unregserver")) == 0)
        unregistering_ = true;
}

void CommandLine::ParseNonOption(const String &argument)
{
    if (docPath_.empty())
        docPath_ = argument;
}

ApplicationBase::ApplicationBase() : exitCode_(0) {}

namespace {

// The arguments after the program's name. The C runtime fills only the vector its program's
// entry point asked for: the narrow one for main and WinMain, the wide one for wmain and
// wWinMain. Where neither is filled (an entry point of its own), the system's command line
// is split as the runtime would.
std::vector<String> processArguments()
{
    std::vector<String> arguments;
    if (__argv) {
        for (int i = 1; i < __argc && __argv[i]; ++i)
            arguments.push_back(String::FromSystemMultibyte(__argv[i]));
    } else if (__wargv) {
        for (int i = 1; i < __argc && __wargv[i]; ++i)
            arguments.push_back(String(reinterpret_cast<const unsigned short *>(__wargv[i])));
    } else {
        int count = 0;
        ScopedLocalMemory split(CommandLineToArgvW(GetCommandLineW(), &count));
        const wchar_t *const *vector = static_cast<const wchar_t *const *>(split.get());
        for (int i = 1; vector && i < count; ++i)
            arguments.push_back(String(reinterpret_cast<const unsigned short *>(vector[i])));
    }
    return arguments;
}

}  // namespace

void ApplicationBase::ParseCommandLine(CommandLine &commandLine) const
{
    commandLine.BeginParse();
    const std::vector<String> arguments = processArguments();
    for (std::size_t i = 0; i < arguments.size(); ++i) {
        const String &argument = arguments[i];
        const bool isOption = !argument.empty() && (argument[0] == '-' || argument[0] == '/');
        commandLine.Parse(isOption ? String(argument.substr(1)) : argument, isOption, i + 1 == arguments.size());
    }
    commandLine.EndParse();
}

ConsoleApplication::ConsoleApplication() {}

bool ConsoleApplication::Initialize()
{
    return true;
}

int ConsoleApplication::Run(HINSTANCE instance)
{
    Init(instance);
    try {
        if (Initialize())
            Execute();
    } catch (...) {
        Free();
        throw;
    }
    Free();
    return GetExitCode();
}
