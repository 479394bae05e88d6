#include "qvcore/runtime/Application.h"

#include <cstdlib>

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

void ApplicationBase::ParseCommandLine(CommandLine &commandLine) const
{
    commandLine.BeginParse();
    for (int i = 1; i < __argc; ++i) {
        const char *argument = __argv[i];
        const bool isOption = argument[0] == '-' || argument[0] == '/';
        commandLine.Parse(String::FromSystemMultibyte(argument + (isOption ? 1 : 0)), isOption, i == __argc - 1);
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
