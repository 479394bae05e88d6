#include "Command.h"
#include "StdStreams.h"

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

// Everything a stream delivers, as raw bytes (standard input too: the C runtime's text mode
// would change line ends).
std::string readAll(InputStream &in)
{
    std::string content;
    char buffer[65536];
    while (int got = readPiece(in, buffer, sizeof buffer))
        content.append(buffer, static_cast<std::size_t>(got));
    return content;
}

void writeAll(OutputStream &out, const std::string &content)
{
    for (std::size_t at = 0; at < content.size();) {
        int piece = static_cast<int>(std::min<std::size_t>(content.size() - at, 1 << 20));
        out.Write(content.data() + at, piece);
        at += static_cast<std::size_t>(piece);
    }
    out.Flush();
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

    std::string in = names.empty() ? "-" : names[0];
    unsigned long long size = 0;
    std::string input = aboutFile("cannot read", in == "-" ? "(standard input)" : in, [&] {
        std::unique_ptr<InputStream> source = openInput(in, size);
        return readAll(*source);
    });
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

    std::string out = names.size() < 2 ? "-" : names[1];
    std::unique_ptr<OutputStream> target = openOutput(out);
    aboutFile("cannot write", out == "-" ? "(standard output)" : out, [&] { writeAll(*target, output); });
    return 0;
}

const CommandRegistration registration({
    "convert", "qvtool convert --from CP --to CP [--info] [IN [OUT]]",
    "convert text between code pages (numbers, utf-8, utf-16le); standard input and output when IN "
    "or OUT is missing or '-'; --info reports sizes and losses on the error stream",
    runConvert});

}  // namespace
}  // namespace qvtool
