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

// Reads a whole file through the system; false with a message on failure.
bool readFile(const std::string &path, std::string &content, std::string &error)
{
    HANDLE file = CreateFileA(path.c_str(), GENERIC_READ, FILE_SHARE_READ, nullptr, OPEN_EXISTING,
                              FILE_ATTRIBUTE_NORMAL, nullptr);
    if (file == INVALID_HANDLE_VALUE) {
        error = path + ": cannot open (system error " + std::to_string(GetLastError()) + ")";
        return false;
    }
    content.clear();
    char buffer[65536];
    DWORD got = 0;
    bool ok = true;
    while ((ok = ReadFile(file, buffer, sizeof buffer, &got, nullptr) != 0) && got > 0)
        content.append(buffer, got);
    if (!ok)
        error = path + ": read failed (system error " + std::to_string(GetLastError()) + ")";
    CloseHandle(file);
    return ok;
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
