#include "Command.h"

#include <algorithm>
#include <cstdio>

namespace qvtool {
namespace {

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

const CommandRegistration registration({
    "chunks", "qvtool chunks [--piece N] [FILE...]",
    "append each FILE (default: the embedded sample) in N-byte pieces (default 1000) to a chunked "
    "memory vector and show its chunks",
    runChunks});

}  // namespace
}  // namespace qvtool
