#include "Command.h"

#include <algorithm>
#include <cstdio>
#include <cstdlib>

namespace qvtool {

namespace {

std::vector<Command> &registry()
{
    static std::vector<Command> all;
    return all;
}

// The sample text built into qvtool as a resource.
std::string sampleBytes()
{
    HRSRC found = FindResourceA(nullptr, "SAMPLE", MAKEINTRESOURCEA(10) /* RT_RCDATA */);
    HGLOBAL loaded = found ? LoadResource(nullptr, found) : nullptr;
    const char *bytes = loaded ? static_cast<const char *>(LockResource(loaded)) : nullptr;
    return bytes ? std::string(bytes, SizeofResource(nullptr, found)) : std::string();
}

// Reads a whole file through the library's file stream; false with a message on failure.
bool readFile(const std::string &path, std::string &content, std::string &error)
{
    try {
        content.clear();
        FileInputStream in(String::FromSystemMultibyte(path));
        char buffer[65536];
        for (;;) {
            int got = 0;
            try {
                got = in.ReadSome(buffer, sizeof buffer);
            } catch (const StreamBase::Exception &e) {
                if (e.code != StreamBase::EndOfData)
                    throw;
            }
            if (got == 0)
                return true;
            content.append(buffer, static_cast<std::size_t>(got));
        }
    } catch (...) {
        error = "cannot read '" + path + "': " + describeCurrentException();
        return false;
    }
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
    std::fprintf(stderr, "qvtool: %s\n", message.c_str());
    return 1;
}

namespace {

// Library texts end in a line break where they come from the system.
std::string oneLine(const String &text)
{
    std::string line = text.SystemMultibyte();
    while (!line.empty() && (line.back() == '\r' || line.back() == '\n' || line.back() == ' '))
        line.pop_back();
    return line;
}

}  // namespace

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

bool loadInput(const std::string &name, std::string &content, std::string &error)
{
    if (name.empty()) {
        content = sampleBytes();
        if (content.empty()) {
            error = "the embedded sample is missing";
            return false;
        }
        return true;
    }
    return readFile(name, content, error);
}

std::string displayName(const std::string &name)
{
    return name.empty() ? "(embedded sample)" : name;
}

bool parseCount(const std::string &text, int &value)
{
    char *end = nullptr;
    long parsed = std::strtol(text.c_str(), &end, 10);
    if (text.empty() || *end != '\0' || parsed <= 0 || parsed > 0x7FFFFFFF)
        return false;
    value = static_cast<int>(parsed);
    return true;
}

}  // namespace qvtool
