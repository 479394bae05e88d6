#include "Command.h"
#include "StdStreams.h"

#include <algorithm>
#include <memory>

namespace qvtool {
namespace {

// UTF-16LE has no code page of its own for the system conversions: its bytes are the units.
const unsigned int kUtf16le = 1200;
// The input is converted in pieces of this size, so that memory stays bounded.
const int kPiece = 1 << 20;

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

// The length of the valid UTF-8 sequence at text[0], 0 when it is invalid, -1 when it may be
// a sequence cut by the end of text.
int utf8Sequence(const unsigned char *text, std::size_t available)
{
    unsigned char lead = text[0];
    if (lead < 0x80)
        return 1;
    int length = lead >= 0xF0 ? 4 : lead >= 0xE0 ? 3 : lead >= 0xC0 ? 2 : 0;
    if (length == 0 || lead > 0xF4 || lead == 0xC0 || lead == 0xC1)
        return 0;
    for (int i = 1; i < length; ++i) {
        if (static_cast<std::size_t>(i) >= available)
            return -1;
        if ((text[i] & 0xC0) != 0x80)
            return 0;
    }
    // Overlong forms, surrogates and values beyond U+10FFFF.
    if ((lead == 0xE0 && text[1] < 0xA0) || (lead == 0xED && text[1] >= 0xA0) || (lead == 0xF0 && text[1] < 0x90) ||
        (lead == 0xF4 && text[1] >= 0x90))
        return 0;
    return length;
}

// Counts the invalid sequences of the input and where the first one starts.
struct Validity {
    unsigned long long invalid = 0, firstAt = 0;
    void Found(unsigned long long offset)
    {
        if (invalid++ == 0)
            firstAt = offset;
    }
};

// The input, decoded piece by piece: a piece ends before a character that the next piece
// completes, whose bytes are carried over.
class Decoder {
public:
    Decoder(unsigned int codePage, bool check) : codePage_(codePage), check_(check) {}

    // Text of the complete characters of carried bytes + bytes; last marks the input's end.
    String Decode(const char *bytes, std::size_t count, bool last)
    {
        pending_.append(bytes, count);
        std::size_t complete = last ? pending_.size() : CompleteLength();
        if (check_)
            Validate(complete, last);
        String text = Convert(pending_.data(), complete);
        consumed_ += complete;
        pending_.erase(0, complete);
        return text;
    }
    const Validity &validity() const { return validity_; }

private:
    std::size_t CompleteLength() const
    {
        const unsigned char *p = reinterpret_cast<const unsigned char *>(pending_.data());
        std::size_t size = pending_.size();
        if (codePage_ == kUtf16le) {
            std::size_t even = size & ~std::size_t(1);
            // A high surrogate waits for its partner.
            if (even >= 2 && p[even - 1] >= 0xD8 && p[even - 1] <= 0xDB)
                even -= 2;
            return even;
        }
        if (codePage_ == CP_UTF8) {
            std::size_t start = size;
            for (int back = 0; back < 4 && start > 0; ++back) {
                --start;
                if ((p[start] & 0xC0) != 0x80)
                    return utf8Sequence(p + start, size - start) < 0 ? start : size;
            }
            return size;
        }
        CPINFO info;
        if (GetCPInfo(codePage_, &info) && info.MaxCharSize == 2) {
            std::size_t at = 0;
            while (at < size)
                at += IsDBCSLeadByteEx(codePage_, p[at]) ? 2 : 1;
            return at > size ? size - 1 : size;
        }
        return size;
    }

    void Validate(std::size_t complete, bool last)
    {
        const unsigned char *p = reinterpret_cast<const unsigned char *>(pending_.data());
        if (codePage_ == CP_UTF8) {
            for (std::size_t at = 0; at < complete;) {
                int length = utf8Sequence(p + at, complete - at);
                if (length <= 0) {
                    validity_.Found(consumed_ + at);
                    ++at;
                } else {
                    at += static_cast<std::size_t>(length);
                }
            }
        } else if (codePage_ == kUtf16le) {
            for (std::size_t at = 0; at + 1 < complete; at += 2) {
                unsigned unit = p[at] | (p[at + 1] << 8);
                bool high = unit >= 0xD800 && unit <= 0xDBFF, low = unit >= 0xDC00 && unit <= 0xDFFF;
                unsigned next = at + 3 < complete ? (p[at + 2] | (p[at + 3] << 8)) : 0;
                if (high && next >= 0xDC00 && next <= 0xDFFF)
                    at += 2;
                else if (high || low)
                    validity_.Found(consumed_ + at);
            }
            if (last && (complete & 1))
                validity_.Found(consumed_ + complete - 1);
        } else if (complete > 0 &&
                   !MultiByteToWideChar(codePage_, MB_ERR_INVALID_CHARS, pending_.data(), static_cast<int>(complete),
                                        nullptr, 0)) {
            // Only a piece that fails is looked at character by character.
            for (std::size_t at = 0; at < complete;) {
                int length = IsDBCSLeadByteEx(codePage_, p[at]) && at + 1 < complete ? 2 : 1;
                if (!MultiByteToWideChar(codePage_, MB_ERR_INVALID_CHARS, pending_.data() + at, length, nullptr, 0))
                    validity_.Found(consumed_ + at);
                at += static_cast<std::size_t>(length);
            }
        }
    }

    String Convert(const char *bytes, std::size_t count) const
    {
        if (codePage_ == kUtf16le)
            return String(reinterpret_cast<const unsigned short *>(bytes), static_cast<unsigned int>(count / 2));
        return String::FromMultibyte(codePage_, bytes, static_cast<int>(count));
    }

    unsigned int codePage_;
    bool check_;
    std::string pending_;
    unsigned long long consumed_ = 0;
    Validity validity_;
};

std::string encode(unsigned int codePage, const String &text, bool &lossy)
{
    if (codePage == kUtf16le)
        return std::string(reinterpret_cast<const char *>(text.data()), text.size() * 2);
    if (codePage == CP_UTF8)
        return text.Utf8();
    std::string bytes = text.Multibyte(codePage);
    if (!lossy && !text.empty()) {
        // The system's default character stands for each character the code page lacks.
        BOOL usedDefault = FALSE;
        WideCharToMultiByte(codePage, 0, reinterpret_cast<const wchar_t *>(text.data()), static_cast<int>(text.size()),
                            nullptr, 0, nullptr, &usedDefault);
        lossy = usedDefault != FALSE;
    }
    return bytes;
}

struct ConvertOptions {
    std::string from, to, in = "-", out = "-";
    bool info = false, quiet = false;
};

int runConvert(const ConvertOptions &options)
{
    unsigned int from = 0, to = 0;
    parseCodePage(options.from, from);
    parseCodePage(options.to, to);
    unsigned long long size = 0;
    std::unique_ptr<InputStream> in = openInput(options.in, size);
    const std::string inName = options.in == "-" ? "(standard input)" : options.in;
    OutputTarget out(options.out);
    Progress progress(inName, size, options.quiet);
    Decoder decoder(from, options.info);
    std::vector<char> piece(kPiece);
    unsigned long long read = 0, units = 0, written = 0;
    bool lossy = false;
    for (bool last = false; !last;) {
        int got = aboutFile("cannot read", inName, [&] { return readPiece(*in, piece.data(), kPiece); });
        last = got == 0;
        String text = decoder.Decode(piece.data(), static_cast<std::size_t>(got), last);
        if (last && from == kUtf16le && read % 2)
            throw Failure(inName + ": odd byte count for utf-16le");
        std::string bytes = encode(to, text, lossy);
        aboutFile("cannot write", out.Name(), [&] { out.Stream().Write(bytes.data(), static_cast<int>(bytes.size())); });
        read += static_cast<unsigned long long>(got);
        units += text.size();
        written += bytes.size();
        progress.Add(static_cast<unsigned long long>(got));
    }
    out.Commit();
    if (options.info) {
        const Validity &validity = decoder.validity();
        std::string found = validity.invalid == 0
                                ? "no invalid sequences"
                                : std::to_string(validity.invalid) + " invalid sequence(s), the first at byte " +
                                      std::to_string(validity.firstAt);
        printErr("%s: %llu bytes -> %llu UTF-16 units -> %llu bytes; %s; %s\n", inName.c_str(), read, units,
                 written, found.c_str(),
                 lossy ? "some characters replaced (the target lacks them)" : "every character kept");
    }
    return 0;
}

Runner defineConvert(CLI::App &command)
{
    auto options = std::make_shared<ConvertOptions>();
    CLI::Validator codePage(
        [](std::string &text) {
            unsigned int number = 0;
            return parseCodePage(text, number) ? std::string()
                                               : "unknown code page '" + text + "' (a code page number, utf-8 or utf-16le)";
        },
        "CP");
    command.add_option("--from", options->from, "the input's code page: a number (1252, 437, ...), utf-8 or utf-16le")
        ->required()
        ->check(codePage);
    command.add_option("--to", options->to, "the output's code page, as --from")->required()->check(codePage);
    command.add_flag("--info", options->info,
                     "report sizes, invalid input sequences (count and first offset) and replaced characters on "
                     "the error stream");
    command.add_option("IN", options->in, "input file (default or '-': standard input)");
    command.add_option("OUT", options->out, "output file (default or '-': standard output)");
    addQuiet(command, options->quiet);
    return [options] { return runConvert(*options); };
}

const CommandRegistration registration({"convert", "convert text between code pages through String", defineConvert});

}  // namespace
}  // namespace qvtool
