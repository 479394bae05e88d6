#include "Command.h"

#include "StdStreams.h"

#include <algorithm>

namespace qvtool {

namespace {

std::vector<Command> &registry()
{
    static std::vector<Command> all;
    return all;
}

// Library texts end in a line break where they come from the system.
std::string oneLine(const String &text)
{
    std::string line = utf8(text);
    while (!line.empty() && (line.back() == '\r' || line.back() == '\n' || line.back() == ' '))
        line.pop_back();
    return line;
}

}  // namespace

const std::vector<Command> &commands()
{
    return registry();
}

CommandRegistration::CommandRegistration(const Command &command)
{
    std::vector<Command> &all = registry();
    auto at = std::find_if(all.begin(), all.end(),
                           [&](const Command &c) { return std::string(c.name) > command.name; });
    all.insert(at, command);
}

int fail(const std::string &message)
{
    writeErr("qvtool: " + message + "\n");
    return 1;
}

int usageError(const std::string &command, const std::string &message)
{
    printErr("qvtool: %s: %s\nRun 'qvtool %s --help' for usage.\n", command.c_str(), message.c_str(), command.c_str());
    return 2;
}

std::string describeCurrentException()
{
    try {
        throw;
    } catch (const Failure &e) {
        return e.what();
    } catch (const File::Exception &e) {
        std::string text = oneLine(e.message);
        return text.empty() ? "system error " + std::to_string(e.code) : text;
    } catch (const StreamBase::Exception &e) {
        std::string text = oneLine(e.message);
        return text.empty() ? "stream error " + std::to_string(e.code) : text;
    } catch (const IPrivateProfile::PPException &e) {
        return oneLine(e.message);
    } catch (const SEHException &e) {
        return oneLine(e.GetMsg());
    } catch (const WinException &e) {
        return oneLine(e.GetText());
    } catch (const std::exception &e) {
        return e.what();
    } catch (...) {
        return "an unknown failure";
    }
}

std::string systemText(unsigned long code)
{
    return oneLine(String::FromError(code));
}

std::string utf8(const String &text)
{
    // String::Utf8 writes each surrogate by itself (its stored data depends on that); text
    // for people needs the four-byte form, which the system's encoder gives.
    return encoded(text, CP_UTF8);
}

std::string encoded(const String &text, unsigned codePage)
{
    if (text.empty())
        return std::string();
    const wchar_t *units = reinterpret_cast<const wchar_t *>(text.data());
    int count = static_cast<int>(text.size());
    // UTF-8 and a few other pages refuse the flag: they have no best fit to leave out.
    DWORD flags = WC_NO_BEST_FIT_CHARS;
    int bytes = WideCharToMultiByte(codePage, flags, units, count, nullptr, 0, nullptr, nullptr);
    if (bytes <= 0 && GetLastError() == ERROR_INVALID_FLAGS) {
        flags = 0;
        bytes = WideCharToMultiByte(codePage, flags, units, count, nullptr, 0, nullptr, nullptr);
    }
    if (bytes <= 0)
        return std::string();
    std::string result(static_cast<std::size_t>(bytes), '\0');
    WideCharToMultiByte(codePage, flags, units, count, &result[0], bytes, nullptr, nullptr);
    return result;
}

String fileName(const std::string &utf8)
{
    String name = String::FromUtf8(utf8);
    const std::wstring wide(name.begin(), name.end());
    BOOL lossy = FALSE;
    bool utf8System = GetACP() == CP_UTF8;
    int bytes = WideCharToMultiByte(CP_ACP, utf8System ? 0 : WC_NO_BEST_FIT_CHARS, wide.data(),
                                    static_cast<int>(wide.size()), nullptr, 0, nullptr, utf8System ? nullptr : &lossy);
    if ((bytes == 0 && !wide.empty()) || lossy)
        throw Failure("'" + utf8 + "': the name holds characters that the ANSI code page (" +
                      std::to_string(GetACP()) + ") of the file functions cannot represent");
    return name;
}

std::string sampleBytes()
{
    HRSRC found = FindResourceA(nullptr, "SAMPLE", MAKEINTRESOURCEA(10) /* RT_RCDATA */);
    HGLOBAL loaded = found ? LoadResource(nullptr, found) : nullptr;
    const char *bytes = loaded ? static_cast<const char *>(LockResource(loaded)) : nullptr;
    if (!bytes)
        throw Failure("the embedded sample is missing");
    return std::string(bytes, SizeofResource(nullptr, found));
}

void addQuiet(CLI::App &command, bool &quiet)
{
    command.add_flag("-q,--quiet", quiet, "show no progress on the error stream");
}

std::string versionText(unsigned long high, unsigned long low)
{
    return std::to_string(HIWORD(high)) + "." + std::to_string(LOWORD(high)) + "." + std::to_string(HIWORD(low)) + "." +
           std::to_string(LOWORD(low));
}

}  // namespace qvtool
