#include "Command.h"
#include "StdStreams.h"

#include "qvcore/streams/MD5Sum.h"

#include <cctype>
#include <memory>
#include <vector>

namespace qvtool {
namespace {

struct Md5Options {
    std::vector<std::string> files;
    bool quiet = false;
};

// md5sum's format: the digest in lower case, two blanks, the name ("-" for standard input).
// A file that fails is reported and the others are still digested; the exit code is then 1.
int runMd5(const Md5Options &options)
{
    std::vector<std::string> names(options.files);
    if (names.empty())
        names.push_back("-");
    const int pieceSize = 64 << 10;  // stays in the cache between the read and the digest
    std::vector<char> piece(pieceSize);
    int status = 0;
    for (const std::string &name : names) {
        try {
            unsigned long long size;
            std::unique_ptr<InputStream> in = openInput(name, size);
            Progress progress(name, size, options.quiet);
            MD5SumStream md5;
            while (int got = aboutFile("cannot read", name, [&] { return readPiece(*in, piece.data(), pieceSize); })) {
                md5.Write(piece.data(), got);
                progress.Add(static_cast<unsigned long long>(got));
            }
            std::string hex = md5.GetMD5Sum().HexString();
            for (char &c : hex)
                c = static_cast<char>(std::tolower(static_cast<unsigned char>(c)));
            writeOutLines(hex + "  " + name + "\n");  // line feeds only, as md5sum writes them
        } catch (...) {
            status = fail("md5: " + describeCurrentException());
        }
    }
    return status;
}

Runner defineMd5(CLI::App &command)
{
    auto options = std::make_shared<Md5Options>();
    command.add_option("FILE", options->files, "files to digest (none or '-': standard input)");
    addQuiet(command, options->quiet);
    return [options] { return runMd5(*options); };
}

const CommandRegistration registration({"md5", "the MD5 digest of each FILE as md5sum shows it", defineMd5});

}  // namespace
}  // namespace qvtool
