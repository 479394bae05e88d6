#include "Command.h"
#include "StdStreams.h"

#include "qvcore/core/ScopedHandle.h"
#include "qvcore/runtime/LogFile.h"

#include <stdexcept>
#include <string>
#include <iostream>
#include <memory>
#include <vector>

namespace qvtool {
namespace {

typedef HRESULT(__stdcall *GetClassObjectFunction)(REFCLSID, REFIID, void **);

// A log object from qvcore.dll's COM entry point, looked up by name as any COM client does.
ComPtr<ILogFile2> createLog()
{
    HMODULE library = GetModuleHandleA("qvcore.dll");
    auto getClassObject = reinterpret_cast<GetClassObjectFunction>(
        reinterpret_cast<void *>(library ? GetProcAddress(library, "DllGetClassObject") : nullptr));
    void *object = nullptr;
    if (!getClassObject || getClassObject(CLSID_QvCore, IID_ILogFile2, &object) != S_OK || !object)
        throw std::runtime_error("qvcore.dll handed out no log object");
    return ComPtr<ILogFile2>(static_cast<ILogFile2 *>(object));
}

// The log tags lines with the name of a module: for a tag of the user's choice, qvtool's own
// image is mapped (never run) under the name TAG.exe in a folder of its own, and the lines
// are attributed to that module.
class TagModule {
public:
    explicit TagModule(const std::string &tag)
    {
        char self[MAX_PATH];
        std::string temp = File::GetTempDirectory().SystemMultibyte();
        DWORD selfLength = GetModuleFileNameA(nullptr, self, MAX_PATH);
        if (temp.empty() || selfLength == 0 || selfLength >= MAX_PATH)
            throw std::runtime_error("no temporary folder for the tag");
        folder_ = temp + "qvtool-tag-" + std::to_string(GetCurrentProcessId());
        path_ = folder_ + "\\" + tag + ".exe";
        if (!CreateDirectoryA(folder_.c_str(), nullptr))
            throw std::runtime_error("cannot create " + folder_);
        if (!CopyFileA(self, path_.c_str(), TRUE))
            throw std::runtime_error("'" + tag + "' cannot be used as a tag (it must be a valid file name)");
        module_.reset(LoadLibraryExA(path_.c_str(), nullptr, DONT_RESOLVE_DLL_REFERENCES));
        if (!module_)
            throw std::runtime_error("cannot map " + path_ + " for the tag");
    }
    ~TagModule()
    {
        module_.reset();
        if (!path_.empty())
            DeleteFileA(path_.c_str());
        if (!folder_.empty())
            RemoveDirectoryA(folder_.c_str());
    }
    TagModule(const TagModule &) = delete;
    TagModule &operator=(const TagModule &) = delete;

    const void *address() const { return module_.get(); }

private:
    std::string folder_, path_;
    ScopedLibrary module_;
};

struct LogOptions {
    std::string file, tag;
    unsigned long indent = 0;
    bool fromStdin = false;
    std::vector<std::string> words;
};

// Logs the text arguments (joined by blanks, one line per line of the result) or each line of
// standard input into a newly created log file.
int runLog(const LogOptions &options)
{
    const bool haveTag = !options.tag.empty();
    const std::string &tag = options.tag;
    const unsigned long indent = options.indent;
    // "-" as the text stands for standard input, as --stdin does.
    const bool fromStdin = options.fromStdin || (options.words.size() == 1 && options.words[0] == "-");
    if (fromStdin && !options.words.empty() && !(options.words.size() == 1 && options.words[0] == "-"))
        return usageError("log", "give either TEXT or --stdin");
    if (!fromStdin && options.words.empty())
        return usageError("log", "give TEXT, or --stdin for the lines of standard input");
    const String file = fileName(options.file);

    std::unique_ptr<TagModule> tagModule;
    if (haveTag)
        tagModule.reset(new TagModule(tag));
    auto log = createLog();
    log->SetSourceModule(tagModule ? tagModule->address() : reinterpret_cast<const void *>(&runLog));
    log->SetIndent(indent);
    if (log->Open(file.c_str()) != S_OK)
        return fail("log: cannot create '" + options.file + "'");

    std::size_t lines = 0;
    if (fromStdin) {
        std::string line;
        while (std::getline(std::cin, line)) {
            if (!line.empty() && line.back() == '\r')
                line.pop_back();
            log->LogLine(textFromInput(line).c_str());
            ++lines;
        }
    } else {
        std::string joined;
        for (const std::string &word : options.words)
            joined += (joined.empty() ? "" : " ") + word;
        String text = String::FromUtf8(joined);
        if (log->LogText(text) != S_OK)
            return fail("log: cannot write to '" + options.file + "'");
        lines = text.Split(String(u"\r\n")).size();
    }
    BSTR name = nullptr;
    if (log->GetFileName(&name) == S_OK) {
        printOut("%s: %zu line(s) logged\n",
                 utf8(String(reinterpret_cast<const unsigned short *>(name))).c_str(), lines);
        SysFreeString(name);
    }
    return 0;
}

Runner defineLog(CLI::App &command)
{
    auto options = std::make_shared<LogOptions>();
    command.add_option("FILE", options->file, "the log file, created anew")->required();
    command.add_option("TEXT", options->words, "the text to log ('-': the lines of standard input)");
    command.add_flag("--stdin", options->fromStdin, "log each line of standard input instead of TEXT");
    command.add_option("--tag", options->tag, "the tag of the lines (default: qvtool); a valid file name")
        ->check([](const std::string &tag) {
            return tag.empty() || tag.find_first_of("\\/:*?\"<>|") != std::string::npos
                       ? std::string("--tag needs a name that is a valid file name")
                       : std::string();
        });
    command.add_option("--indent", options->indent, "indent the lines by N levels (default 0)")
        ->check(CLI::NonNegativeNumber);
    return [options] { return runLog(*options); };
}

const CommandRegistration registration({"log",
                                         "create the log FILE and log TEXT as time-stamped lines, tagged and indented",
                                         defineLog});

}  // namespace
}  // namespace qvtool
