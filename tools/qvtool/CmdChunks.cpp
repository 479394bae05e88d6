#include "Command.h"
#include "StdStreams.h"

#include <algorithm>
#include <memory>
#include <vector>

namespace qvtool {
namespace {

// Inputs pass through in windows of this many bytes, each appended to a vector of its own, so
// that memory stays bounded whatever the input's size.
const std::size_t kWindow = 2u << 20;

struct ChunksOptions {
    int piece = 1000;
    std::vector<std::string> files;
    bool quiet = false;
};

// The bytes from in up to kWindow, or fewer at its end.
std::string nextWindow(InputStream &in)
{
    std::string window(kWindow, '\0');
    std::size_t filled = 0;
    while (filled < kWindow) {
        int got = readPiece(in, &window[filled], static_cast<int>(std::min<std::size_t>(kWindow - filled, 1 << 20)));
        if (got == 0)
            break;
        filled += static_cast<std::size_t>(got);
    }
    window.resize(filled);
    return window;
}

// Appends the input in pieces to chunked memory vectors and shows the chunks they made; each
// window is read back and compared.
int chunkOne(const std::string &name, const ChunksOptions &options)
{
    unsigned long long size = 0;
    std::unique_ptr<InputStream> in;
    std::string sample;
    std::unique_ptr<MemoryInputStream> sampleStream;
    const std::string label = name.empty() ? "(embedded sample)" : name == "-" ? "(standard input)" : name;
    if (name.empty()) {
        sample = sampleBytes();
        size = sample.size();
        in.reset(new MemoryInputStream(sample));
    } else {
        in = openInput(name, size);
    }
    Progress progress(label, size, options.quiet);
    unsigned long long total = 0, pieces = 0, reserved = 0;
    long long chunkCount = 0;
    std::string chunkList;
    for (;;) {
        std::string window = aboutFile("cannot read", label, [&] { return nextWindow(*in); });
        if (window.empty())
            break;
        MemoryBlockVector vector;
        for (std::size_t at = 0; at < window.size(); at += static_cast<std::size_t>(options.piece), ++pieces)
            vector.append(window.data() + at,
                          static_cast<int>(std::min<std::size_t>(static_cast<std::size_t>(options.piece), window.size() - at)));
        for (int i = 0; i < vector.chunkCount(); ++i) {
            chunkList += " " + std::to_string(vector.chunkCapacity(i));
            reserved += static_cast<unsigned long long>(vector.chunkCapacity(i));
        }
        chunkCount += vector.chunkCount();
        if (vector.toString() != window)
            return fail("chunks: " + label + ": content changed in the memory vector");
        total += window.size();
        progress.Add(window.size());
        if (window.size() < kWindow)
            break;
    }
    printOut("%s: %llu bytes appended in %llu piece(s) of at most %d bytes\n", label.c_str(), total, pieces,
             options.piece);
    printOut("  chunks:%s (%lld chunk(s), %llu bytes reserved, %lld spare)\n",
             chunkList.empty() ? " none" : chunkList.c_str(), chunkCount, reserved,
             static_cast<long long>(reserved) - static_cast<long long>(total));
    printOut("  content read back: %llu bytes, identical\n", total);
    return 0;
}

int runChunks(const ChunksOptions &options)
{
    std::vector<std::string> names(options.files);
    if (names.empty())
        names.push_back("");
    for (const std::string &name : names) {
        if (int status = chunkOne(name, options))
            return status;
    }
    return 0;
}

Runner defineChunks(CLI::App &command)
{
    auto options = std::make_shared<ChunksOptions>();
    command.add_option("--piece", options->piece, "bytes per append (default 1000)")
        ->check(CLI::Range(1, 0x7FFFFFFF));
    command.add_option("FILE", options->files,
                       "files to append ('-': standard input; none: the embedded sample). Inputs beyond 2 MiB are "
                       "taken in 2 MiB windows, each appended to a vector of its own");
    addQuiet(command, options->quiet);
    return [options] { return runChunks(*options); };
}

const CommandRegistration registration({"chunks",
                                         "append each FILE in pieces to a chunked memory vector and show its chunks",
                                         defineChunks});

}  // namespace
}  // namespace qvtool
