#include "Command.h"
#include "StdStreams.h"

#include "qvcore/streams/MD5Sum.h"

#include <cctype>
#include <cstdio>
#include <fcntl.h>
#include <io.h>
#include <vector>

namespace qvtool {
namespace {

// md5sum's format: the digest in lower case, two blanks, the name ("-" for standard input).
int runMd5(const Args &args)
{
    std::vector<std::string> names(args);
    _setmode(_fileno(stdout), _O_BINARY);  // line feeds only, as md5sum writes them
    if (names.empty())
        names.push_back("-");
    const int pieceSize = 64 << 10;  // stays in the cache between the read and the digest
    std::vector<char> piece(pieceSize);
    int status = 0;
    for (const std::string &name : names) {
        try {
            unsigned long long size;
            std::unique_ptr<InputStream> in = openInput(name, size);
            Progress progress(name, size);
            MD5SumStream md5;
            while (int got = readPiece(*in, piece.data(), pieceSize)) {
                md5.Write(piece.data(), got);
                progress.Add(static_cast<unsigned long long>(got));
            }
            std::string hex = md5.GetMD5Sum().HexString();
            for (char &c : hex)
                c = static_cast<char>(std::tolower(static_cast<unsigned char>(c)));
            std::printf("%s  %s\n", hex.c_str(), name.c_str());
        } catch (const Failure &e) {
            std::fflush(stdout);
            status = fail(std::string("md5: ") + e.what());
        } catch (...) {
            std::fflush(stdout);
            status = fail("md5: " + name + ": " + describeCurrentException());
        }
    }
    return status;
}

const CommandRegistration md5({"md5", "qvtool md5 [FILE...]",
                               "the MD5 digest of each FILE (default: standard input) as md5sum shows it",
                               runMd5});

}  // namespace
}  // namespace qvtool
