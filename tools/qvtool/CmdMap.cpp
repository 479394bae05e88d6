#include "Command.h"
#include "StdStreams.h"

#include "qvcore/files/MemoryMappedFile.h"

#include <algorithm>
#include <cstdio>
#include <memory>

namespace qvtool {
namespace {

struct MapOptions {
    std::string file;
    std::string offset = "0";
    std::string length = "256";
};

// A decimal or 0x-prefixed hexadecimal byte count; false for anything else.
bool parseCount(const std::string &text, unsigned long long &value)
{
    bool hex = text.size() > 2 && text[0] == '0' && (text[1] == 'x' || text[1] == 'X');
    std::string digits = hex ? text.substr(2) : text;
    const char *allowed = hex ? "0123456789abcdefABCDEF" : "0123456789";
    if (digits.empty() || digits.size() > 16 || digits.find_first_not_of(allowed) != std::string::npos)
        return false;
    unsigned __int64 parsed = 0;
    if (!String::FromUtf8(digits).ParseNum(parsed, hex ? 16 : 10))
        return false;
    value = parsed;
    return value <= 0x7FFFFFFFFFFFFFFFull;
}

std::string checkCount(const std::string &text)
{
    unsigned long long ignored;
    return parseCount(text, ignored) ? std::string() : "'" + text + "' is not a byte count (decimal or 0x...)";
}

// hexdump -C's layout: the file offset, 16 bytes in two groups of 8, the printable ones.
void printLine(unsigned long long offset, const unsigned char *bytes, int count)
{
    char text[17] = {};
    char number[24];
    std::snprintf(number, sizeof number, "%08llx ", offset);
    std::string line = number;
    for (int i = 0; i < 16; ++i) {
        if (i == 8)
            line += ' ';
        if (i < count) {
            std::snprintf(number, sizeof number, " %02x", bytes[i]);
            line += number;
            text[i] = bytes[i] >= 0x20 && bytes[i] < 0x7F ? static_cast<char>(bytes[i]) : '.';
        } else {
            line += "   ";
        }
    }
    writeOut(line + "  |" + text + "|\n");
}

// The range is mapped one view at a time, so a file of any size is looked into without being
// read whole; views are a multiple of 16 bytes, so lines run on across them.
int runMap(const MapOptions &options)
{
    unsigned long long offset = 0, length = 0;
    parseCount(options.offset, offset);
    parseCount(options.length, length);
    const std::string name = options.file;
    String path = fileName(options.file);
    MemoryMappedFile file(path);
    if (!file.isOpen()) {
        // The system maps no empty file: there is nothing to show in one.
        if (File::FileExists(path) && !File::IsDirectory(path) && File::GetFileSize(path) == 0 && offset == 0)
            return 0;
        return fail("map: cannot open '" + name + "': " + systemText(file.openError()));
    }
    unsigned long long size = static_cast<unsigned long long>(file.fileSize());
    if (offset > size || (offset == size && length > 0))
        return fail("map: offset " + std::to_string(offset) + " is beyond the end of '" + name + "' (" +
                    std::to_string(size) + " bytes)");
    unsigned long long remaining = std::min(length, size - offset);
    const int kRange = 1 << 20;
    unsigned long long lineOffset = offset;
    int n = file.map(static_cast<long long>(offset), static_cast<int>(std::min<unsigned long long>(remaining, kRange)));
    while (remaining > 0) {
        if (n <= 0)
            return fail("map: cannot map '" + name + "' at offset " + std::to_string(lineOffset) + ": " +
                        systemText(GetLastError()));
        const unsigned char *bytes = file.view<unsigned char>();
        for (int at = 0; at < n; at += 16, lineOffset += 16)
            printLine(lineOffset, bytes + at, std::min(16, n - at));
        remaining -= static_cast<unsigned long long>(n);
        if (remaining > 0)
            n = file.mapNext(static_cast<int>(std::min<unsigned long long>(remaining, kRange)));
    }
    return 0;
}

Runner defineMap(CLI::App &command)
{
    auto options = std::make_shared<MapOptions>();
    command.add_option("FILE", options->file, "the file to look into (opened without sharing)")->required();
    command.add_option("OFFSET", options->offset, "where to start (decimal or 0x...; default 0)")
        ->check([](const std::string &text) { return checkCount(text); });
    command.add_option("LENGTH", options->length, "how many bytes to show (default 256; cut at the end of the file)")
        ->check([](const std::string &text) { return checkCount(text); });
    return [options] { return runMap(*options); };
}

const CommandRegistration registration({"map", "a hex dump of a range of a file of any size, through a mapped view",
                                         defineMap});

}  // namespace
}  // namespace qvtool
