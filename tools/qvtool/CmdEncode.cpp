#include "Command.h"
#include "FilterChain.h"
#include "StdStreams.h"

#include "qvcore/streams/BufferedStream.h"

#include <memory>
#include <vector>

namespace qvtool {
namespace {

struct ChainOptions {
    std::string filters, in = "-", out = "-";
    bool quiet = false, ignoreGarbage = false;
};

const int pieceSize = 1 << 20;

// The failures of a chain concern the file on the side where they happen.
std::string inName(const ChainOptions &a)
{
    return a.in == "-" ? "(standard input)" : a.in;
}

int runEncode(const ChainOptions &a, const std::vector<Filter> &filters)
{
    {
        unsigned long long size;
        std::unique_ptr<InputStream> in = openInput(a.in, size);
        OutputTarget target(a.out);
        Chain<OutputStream> out;
        out.Add<BufferedOutputStream>(target.Stream(), pieceSize);
        addEncoders(out, filters);
        Progress progress(inName(a), size, a.quiet);
        std::vector<char> piece(pieceSize);
        for (;;) {
            int got = aboutFile("cannot read", inName(a), [&] { return readPiece(*in, piece.data(), pieceSize); });
            if (got == 0)
                break;
            aboutFile("cannot write", target.Name(), [&] { out.Front().Write(piece.data(), got); });
            progress.Add(static_cast<unsigned long long>(got));
        }
        aboutFile("cannot write", target.Name(), [&] { out.Close(); });
        target.Commit();
    }
    return 0;
}

int runDecode(const ChainOptions &a, const std::vector<Filter> &filters)
{
    {
        unsigned long long size;
        Chain<InputStream> in;
        in.Adopt(openInput(a.in, size));
        Progress progress(inName(a), size, a.quiet);
        DecodingStages stages = addDecoders(in, filters, a.ignoreGarbage, &progress);
        OutputTarget target(a.out);
        Chain<OutputStream> out;
        out.Add<BufferedOutputStream>(target.Stream(), pieceSize);
        std::vector<char> piece(pieceSize);
        for (;;) {
            int got;
            try {
                got = in.Front().ReadSome(piece.data(), pieceSize);
            } catch (const StreamBase::Exception &e) {
                if (stages.CleanEnd(e))
                    break;
                if (e.code == StreamBase::EndOfData)
                    throw Failure("cannot decode '" + inName(a) + "': the data ends too early");
                throw Failure("cannot decode '" + inName(a) + "': " + describeCurrentException());
            }
            aboutFile("cannot write", target.Name(), [&] { out.Front().Write(piece.data(), got); });
        }
        aboutFile("cannot write", target.Name(), [&] { out.Close(); });
        target.Commit();
    }
    return 0;
}

// --filters LIST [IN [OUT]]: the list is checked while the command line is parsed.
template <int (*Run)(const ChainOptions &, const std::vector<Filter> &)>
Runner defineChain(CLI::App &command, bool decoding)
{
    auto options = std::make_shared<ChainOptions>();
    addFiltersOption(command, options->filters)->required();
    command.add_option("IN", options->in, "input file (default or '-': standard input)");
    command.add_option("OUT", options->out,
                       "output file (default or '-': standard output); written in full or not at all");
    if (decoding)
        command.add_flag("-i,--ignore-garbage", options->ignoreGarbage,
                         "skip characters outside the Base64 alphabet instead of failing on them");
    addQuiet(command, options->quiet);
    return [options] {
        std::vector<Filter> filters;
        std::string error;
        parseFilters(options->filters, filters, error);
        return Run(*options, filters);
    };
}

Runner defineEncode(CLI::App &command)
{
    return defineChain<runEncode>(command, false);
}

Runner defineDecode(CLI::App &command)
{
    return defineChain<runDecode>(command, true);
}

const CommandRegistration encode({"encode", "pass IN through the filters of LIST in order into OUT", defineEncode});
const CommandRegistration decode({"decode", "undo encode: the mirror chain of the same LIST", defineDecode});

}  // namespace
}  // namespace qvtool
