// qvtool: the library's facilities on the command line.

#include "qvcore/QvCore.h"

#include <algorithm>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <string>
#include <vector>

namespace {

using Args = std::vector<std::string>;

struct Command {
    const char *name;
    const char *usage;
    const char *summary;
    int (*run)(const Args &args);
};

int fail(const std::string &message)
{
    std::fprintf(stderr, "qvtool: %s\n", message.c_str());
    return 1;
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

// The named file, or the embedded sample when the name is empty.
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

// --- version -----------------------------------------------------------------------------

// The file version recorded in qvcore.dll's version resource, as "a.b.c.d".
std::string libraryVersion()
{
    char path[MAX_PATH];
    HMODULE module = GetModuleHandleA("qvcore.dll");
    if (!module || !GetModuleFileNameA(module, path, sizeof path))
        return "unknown";
    DWORD ignored = 0;
    DWORD size = GetFileVersionInfoSizeA(path, &ignored);
    std::vector<char> info(size ? size : 1);
    VS_FIXEDFILEINFO *fixed = nullptr;
    UINT fixedSize = 0;
    if (!size || !GetFileVersionInfoA(path, 0, size, info.data()) ||
        !VerQueryValueA(info.data(), "\\", reinterpret_cast<void **>(&fixed), &fixedSize) || !fixed)
        return "unknown";
    char text[64];
    std::snprintf(text, sizeof text, "%u.%u.%u.%u", HIWORD(fixed->dwFileVersionMS), LOWORD(fixed->dwFileVersionMS),
                  HIWORD(fixed->dwFileVersionLS), LOWORD(fixed->dwFileVersionLS));
    return text;
}

int runVersion(const Args &)
{
    std::printf("qvtool, qvcore.dll %s (%s)\n", libraryVersion().c_str(), sizeof(void *) == 8 ? "x86_64" : "i686");
    return 0;
}

// --- chunks ------------------------------------------------------------------------------

// Appends each input in pieces to a chunked memory vector and shows the chunks it made.
int runChunks(const Args &args)
{
    int piece = 1000;
    std::vector<std::string> names;
    for (std::size_t i = 0; i < args.size(); ++i) {
        if (args[i] == "--piece") {
            if (i + 1 == args.size() || !parseCount(args[i + 1], piece))
                return fail("--piece needs a positive byte count");
            ++i;
        } else {
            names.push_back(args[i]);
        }
    }
    if (names.empty())
        names.push_back("");

    for (const std::string &name : names) {
        std::string content, error;
        if (!loadInput(name, content, error))
            return fail(error);
        if (content.size() > 0x7FFFFFFF)
            return fail(displayName(name) + ": larger than 2 GiB");

        MemoryBlockVector vector;
        int pieces = 0;
        for (std::size_t at = 0; at < content.size(); at += piece, ++pieces)
            vector.append(content.data() + at, static_cast<int>(std::min<std::size_t>(piece, content.size() - at)));

        std::printf("%s: %zu bytes appended in %d piece(s) of at most %d bytes\n", displayName(name).c_str(),
                    content.size(), pieces, piece);
        std::printf("  chunks:");
        long long capacity = 0;
        for (int i = 0; i < vector.chunkCount(); ++i) {
            std::printf(" %d", vector.chunkCapacity(i));
            capacity += vector.chunkCapacity(i);
        }
        std::printf("%s (%d chunk(s), %lld bytes reserved, %lld spare)\n", vector.chunkCount() ? "" : " none",
                    vector.chunkCount(), capacity, capacity - static_cast<long long>(content.size()));
        std::string back = vector.toString();
        std::printf("  content read back: %zu bytes, %s\n", back.size(),
                    back == content ? "identical" : "DIFFERENT");
        if (back != content)
            return fail(displayName(name) + ": content changed in the memory vector");
    }
    return 0;
}

int runHelp(const Args &);

const Command commands[] = {
    {"--help", "qvtool --help", "this text", runHelp},
    {"--version", "qvtool --version", "the version of qvcore.dll in use", runVersion},
    {"chunks", "qvtool chunks [--piece N] [FILE...]",
     "append each FILE (default: the embedded sample) in N-byte pieces (default 1000) to a chunked memory "
     "vector and show its chunks",
     runChunks},
};

int runHelp(const Args &)
{
    std::printf("qvtool: the QvCore library's facilities on the command line.\n\nUsage:\n");
    for (const Command &command : commands)
        std::printf("  %-40s %s\n", command.usage, command.summary);
    std::printf("\nCommands that read a FILE use the embedded sample text when none is named.\n");
    return 0;
}

}  // namespace

int main(int argc, char **argv)
{
    if (argc < 2) {
        runHelp({});
        return 2;
    }
    std::string name = argv[1];
    if (name == "-h" || name == "help")
        name = "--help";
    Args args(argv + 2, argv + argc);
    for (const Command &command : commands) {
        if (name == command.name) {
            try {
                return command.run(args);
            } catch (const std::exception &e) {
                return fail(std::string(command.name) + ": " + e.what());
            }
        }
    }
    return fail("unknown command '" + name + "' (qvtool --help lists the commands)");
}
