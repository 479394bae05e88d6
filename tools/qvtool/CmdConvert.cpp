#include "Command.h"

#include <algorithm>
#include <cstdio>

namespace qvtool {
namespace {

// UTF-16LE has no code page of its own for the system conversions: its bytes are the units.
const unsigned int kUtf16le = 1200;

// A code page number the system knows, "utf-8" or "utf-16le".
bool parseCodePage(const std::string &text, unsigned int &codePage)
{
    std::string name = String::FromLatin1(text).LowerCase().Latin1();
    if (name == "utf-8" || name == "utf8") {
        codePage = CP_UTF8;
        return true;
    }
    if (name == "utf-16le" || name == "utf16le") {
        codePage = kUtf16le;
        return true;
    }
    unsigned int number = 0;
    if (name.empty() || !String::FromLatin1(name).ParseNum(number))
        return false;
    codePage = number;
    return codePage == kUtf16le || IsValidCodePage(codePage);
}

String decode(unsigned int codePage, const std::string &bytes)
{
    if (codePage == kUtf16le)
        return String(reinterpret_cast<const unsigned short *>(bytes.data()), static_cast<unsigned int>(bytes.size() / 2));
    return String::FromMultibyte(codePage, bytes);
}

std::string encode(unsigned int codePage, const String &text)
{
    if (codePage == kUtf16le)
        return std::string(reinterpret_cast<const char *>(text.data()), text.size() * 2);
    return text.Multibyte(codePage);
}

// Standard input or output as raw bytes: the C runtime's text mode would change line ends.
bool readAll(HANDLE handle, std::string &content)
{
    char buffer[65536];
    for (;;) {
        DWORD got = 0;
        if (!ReadFile(handle, buffer, sizeof buffer, &got, nullptr))
            return GetLastError() == ERROR_BROKEN_PIPE;  // the writer closed the pipe: the end
        if (got == 0)
            return true;
        content.append(buffer, got);
    }
}

bool writeAll(HANDLE handle, const std::string &content)
{
    std::size_t at = 0;
    while (at < content.size()) {
        DWORD piece = static_cast<DWORD>(std::min<std::size_t>(content.size() - at, 1 << 20)), written = 0;
        if (!WriteFile(handle, content.data() + at, piece, &written, nullptr) || written == 0)
            return false;
        at += written;
    }
    return true;
}

int runConvert(const Args &args)
{
    unsigned int from = 0, to = 0;
    bool haveFrom = false, haveTo = false, info = false;
    std::vector<std::string> names;
    for (std::size_t i = 0; i < args.size(); ++i) {
        if (args[i] == "--from" || args[i] == "--to") {
            if (i + 1 == args.size())
                return fail(args[i] + " needs a code page");
            unsigned int &codePage = args[i] == "--from" ? from : to;
            if (!parseCodePage(args[i + 1], codePage))
                return fail("unknown code page '" + args[i + 1] + "' (a code page number, utf-8 or utf-16le)");
            (args[i] == "--from" ? haveFrom : haveTo) = true;
            ++i;
        } else if (args[i] == "--info") {
            info = true;
        } else {
            names.push_back(args[i]);
        }
    }
    if (!haveFrom || !haveTo)
        return fail("convert needs --from CP and --to CP");
    if (names.size() > 2)
        return fail("convert takes at most an input and an output file");

    std::string input, error;
    std::string in = names.empty() ? "-" : names[0];
    if (in == "-") {
        if (!readAll(GetStdHandle(STD_INPUT_HANDLE), input))
            return fail("cannot read standard input");
    } else if (!loadInput(in, input, error)) {
        return fail(error);
    }
    if (from == kUtf16le && input.size() % 2)
        return fail(displayName(in) + ": odd byte count for utf-16le");
    if (input.size() > 0x7FFFFFFF)
        return fail(displayName(in) + ": larger than 2 GiB");

    String text = decode(from, input);
    std::string output = encode(to, text);
    if (info) {
        // Whether the output reads back as the same text tells if anything was replaced.
        bool lossless = decode(to, output) == text;
        std::fprintf(stderr, "%s: %zu bytes -> %zu UTF-16 units -> %zu bytes (%s)\n",
                     in == "-" ? "(standard input)" : in.c_str(), input.size(), text.size(), output.size(),
                     lossless ? "lossless" : "lossy: some characters replaced");
    }

    if (names.size() < 2 || names[1] == "-") {
        if (!writeAll(GetStdHandle(STD_OUTPUT_HANDLE), output))
            return fail("cannot write standard output");
        return 0;
    }
    HANDLE file = CreateFileA(names[1].c_str(), GENERIC_WRITE, 0, nullptr, CREATE_ALWAYS, FILE_ATTRIBUTE_NORMAL, nullptr);
    if (file == INVALID_HANDLE_VALUE)
        return fail(names[1] + ": cannot create (system error " + std::to_string(GetLastError()) + ")");
    bool written = writeAll(file, output);
    CloseHandle(file);
    return written ? 0 : fail(names[1] + ": write failed");
}

const CommandRegistration registration({
    "convert", "qvtool convert --from CP --to CP [--info] [IN [OUT]]",
    "convert text between code pages (numbers, utf-8, utf-16le); standard input and output when IN "
    "or OUT is missing or '-'; --info reports sizes and losses on the error stream",
    runConvert});

}  // namespace
}  // namespace qvtool
