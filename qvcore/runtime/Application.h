#ifndef QVCORE_RUNTIME_APPLICATION_H
#define QVCORE_RUNTIME_APPLICATION_H

#include "qvcore/Platform.h"
#include "qvcore/core/String.h"
#include "qvcore/runtime/ModuleBase.h"

/// What an application's command line says: a document to open and whether to register or
/// unregister the application ("regserver", "unregserver"). Derive to understand more
/// options; ApplicationBase::ParseCommandLine feeds it.
///
/// The virtual functions are declared in the order of their slots, which derived parsers
/// built against the library rely on. The destructor is not virtual: never delete a derived
/// parser through a CommandLine pointer.
class QVCORE_API CommandLine {
public:
    /// Empty document path, neither flag set.
    CommandLine();
    CommandLine(const CommandLine &other);
    CommandLine &operator=(const CommandLine &other);
    ~CommandLine();

    /// One argument: ParseOption(argument) when isOption (the argument without its "-" or "/"),
    /// else ParseNonOption(argument). isLast marks the final argument, for derived parsers.
    void Parse(const String &argument, bool isOption, bool isLast);

    /// The first argument that was not an option; empty when there was none.
    const String &GetDocPath() const { return docPath_; }
    virtual bool IsRegistering() const;
    virtual bool IsUnregistering() const;
    /// Before the first argument: back to the defaults.
    virtual void BeginParse();
    /// After the last argument (also when there was none): nothing here.
    virtual void EndParse();

protected:
    /// "regserver" and "unregserver" (in any case) set their flags; other options are ignored.
    virtual void ParseOption(const String &option);
    /// The first non-option argument becomes the document path; later ones are ignored.
    virtual void ParseNonOption(const String &argument);

    /// Empty document path, both flags false.
    void SetDefaults();

    String docPath_;
    bool registering_;
    bool unregistering_;
};

/// The base of every application: its module (ModuleBase) and its command line.
class QVCORE_API ApplicationBase : public ModuleBase {
public:
    /// Reads the C runtime's narrow argument vector into commandLine: BeginParse, then every
    /// argument after the program's name in order (a first character "-" or "/" is dropped and
    /// the rest is an option; text in the ANSI code page), then EndParse. Arguments are taken
    /// as the runtime split them: no quoting or splitting of its own.
    void ParseCommandLine(CommandLine &commandLine) const;

    /// The process exit code the application reports (0 until set).
    int GetExitCode() const { return exitCode_; }
    void SetExitCode(int exitCode) { exitCode_ = exitCode; }

protected:
    ApplicationBase();

    int exitCode_;
};

/// An application without a main window, run from main():
///
///     class Tool : public ConsoleApplication {
///         void Execute() override { ...; SetExitCode(0); }
///     };
///     int main() { Tool tool; return tool.Run(GetModuleHandleA(nullptr)); }
class QVCORE_API ConsoleApplication : public ApplicationBase {
public:
    /// Initialises the module part with instance (language file included), calls Initialize()
    /// and, when it returns true, Execute(); then frees the module part (also when either
    /// throws, the exception continuing to the caller) and returns GetExitCode().
    int Run(HINSTANCE instance);

protected:
    ConsoleApplication();

    /// Before the main work; false ends the application at once (set the exit code first).
    /// This one returns true.
    virtual bool Initialize();
    /// The main work.
    virtual void Execute() = 0;
};

#endif
