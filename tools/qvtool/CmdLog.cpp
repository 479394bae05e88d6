#include "Command.h"

#include "qvcore/core/ScopedHandle.h"
#include "qvcore/runtime/LogFile.h"

#include <cstdio>
#include <stdexcept>
#include <string>
#include <iostream>
#include <memory>

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

String fromAnsi(const std::string &text)
{
    return String::FromSystemMultibyte(text);
}

// Logs the text arguments (joined by blanks, one line per line of the result) or each line of
// standard input into a newly created log file.
int runLog(const Args &args)
{
    std::string file, tag;
    bool haveTag = false, fromStdin = false;
    unsigned long indent = 0;
    Args words;
    for (std::size_t i = 0; i < args.size(); ++i) {
        if (args[i] == "--tag" || args[i] == "--indent") {
            if (i + 1 == args.size())
                return fail(args[i] + " needs a value");
            if (args[i] == "--tag") {
                tag = args[++i];
                haveTag = true;
                if (tag.empty() || tag.find_first_of("\\/:*?\"<>|") != std::string::npos)
                    return fail("--tag needs a name that is a valid file name");
            } else {
                int level = 0;
                if (args[i + 1] != "0" && !parseCount(args[i + 1], level))
                    return fail("--indent needs a level from 0 up");
                indent = static_cast<unsigned long>(level);
                ++i;
            }
        } else if (args[i] == "--stdin") {
            fromStdin = true;
        } else if (file.empty()) {
            file = args[i];
        } else {
            words.push_back(args[i]);
        }
    }
    if (file.empty())
        return fail("log needs a FILE");
    if (fromStdin == !words.empty())
        return fail("log needs either TEXT or --stdin");

    std::unique_ptr<TagModule> tagModule;
    if (haveTag)
        tagModule.reset(new TagModule(tag));
    auto log = createLog();
    log->SetSourceModule(tagModule ? tagModule->address() : reinterpret_cast<const void *>(&runLog));
    log->SetIndent(indent);
    if (log->Open(fromAnsi(file).c_str()) != S_OK)
        return fail("cannot create " + file);

    std::size_t lines = 0;
    if (fromStdin) {
        std::string line;
        while (std::getline(std::cin, line)) {
            if (!line.empty() && line.back() == '\r')
                line.pop_back();
            log->LogLine(fromAnsi(line).c_str());
            ++lines;
        }
    } else {
        std::string joined;
        for (const std::string &word : words)
            joined += (joined.empty() ? "" : " ") + word;
        String text = fromAnsi(joined);
        if (log->LogText(text) != S_OK)
            return fail("could not write to " + file);
        lines = text.Split(String(u"\r\n")).size();
    }
    BSTR name = nullptr;
    if (log->GetFileName(&name) == S_OK) {
        std::printf("%s: %zu line(s) logged\n",
                    String(reinterpret_cast<const unsigned short *>(name)).SystemMultibyte().c_str(), lines);
        SysFreeString(name);
    }
    return 0;
}

const CommandRegistration registration({
    "log", "qvtool log FILE [--tag T] [--indent N] TEXT...",
    "create the log FILE and log TEXT (with --stdin instead: each line of standard input) as "
    "time-stamped lines tagged T (default: qvtool), indented by N levels",
    runLog});

}  // namespace
}  // namespace qvtool
