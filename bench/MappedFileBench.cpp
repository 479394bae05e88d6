// A sequential read of a large file through MemoryMappedFile range by range, beside ReadFile of
// the same file in 1 MiB pieces, in the same run; each pass adds up the file's 64-bit words so
// that both touch every byte. Goal: the mapped read at least as fast as ReadFile.
//
// Usage: MappedFileBench.exe [SIZE_MIB [FILE]]   (default 1024 MiB in the temporary folder;
// the file is written once with non-zero data and removed at the end unless FILE was named)

#include "bench/Bench.h"
#include "qvcore/core/ScopedHandle.h"
#include "qvcore/files/MemoryMappedFile.h"

#include <cstdio>
#include <cstdlib>
#include <string>
#include <vector>

namespace {

const int kPiece = 1 << 20;
const int kRange = 64 << 20;
const int kRounds = 3;

unsigned long long sum(const char *bytes, int count)
{
    const unsigned long long *words = reinterpret_cast<const unsigned long long *>(bytes);
    unsigned long long total = 0;
    for (int i = 0; i < count / 8; ++i)
        total += words[i];
    return total;
}

bool writeFile(const std::string &name, long long size)
{
    ScopedFileHandle file(CreateFileA(name.c_str(), GENERIC_WRITE, 0, nullptr, CREATE_ALWAYS, 0, nullptr));
    if (!file)
        return false;
    std::vector<unsigned long long> piece(kPiece / 8);
    for (long long written = 0; written < size; written += kPiece) {
        for (std::size_t i = 0; i < piece.size(); ++i)
            piece[i] = static_cast<unsigned long long>(written) + i * 0x9E3779B97F4A7C15ull;
        DWORD done = 0;
        if (!WriteFile(file.get(), piece.data(), kPiece, &done, nullptr) || done != kPiece)
            return false;
    }
    return true;
}

unsigned long long readWithReadFile(const std::string &name)
{
    ScopedFileHandle file(CreateFileA(name.c_str(), GENERIC_READ, 0, nullptr, OPEN_EXISTING,
                                      FILE_FLAG_SEQUENTIAL_SCAN, nullptr));
    std::vector<char> piece(kPiece);
    unsigned long long total = 0;
    DWORD got = 0;
    while (file && ReadFile(file.get(), piece.data(), kPiece, &got, nullptr) && got > 0)
        total += sum(piece.data(), static_cast<int>(got));
    return total;
}

unsigned long long readMapped(const std::string &name)
{
    MemoryMappedFile file(String::FromSystemMultibyte(name));
    unsigned long long total = 0;
    for (int n = file.map(0, kRange); n > 0; n = file.mapNext(kRange))
        total += sum(file.data(), n);
    return total;
}

// The file to read: the one named, or one in the temporary folder.
std::string fileName(int argc, char **argv)
{
    if (argc > 2)
        return argv[2];
    char temp[MAX_PATH + 1] = {};
    GetTempPathA(sizeof temp, temp);
    return std::string(temp) + "qvcore-mapped-bench.bin";
}

}  // namespace

int main(int argc, char **argv)
{
    long long sizeMiB = argc > 1 ? std::atoll(argv[1]) : 1024;
    std::string name = fileName(argc, argv);
    if (sizeMiB <= 0 || !writeFile(name, sizeMiB << 20)) {
        std::fprintf(stderr, "cannot write %lld MiB to %s\n", sizeMiB, name.c_str());
        return 1;
    }
    unsigned long long readTotal = 0, mappedTotal = 0;
    std::vector<double> seconds = bench::bestTimes(kRounds, {[&] { readTotal = readWithReadFile(name); },
                                                             [&] { mappedTotal = readMapped(name); }});
    if (argc <= 2)
        DeleteFileA(name.c_str());
    if (readTotal != mappedTotal) {
        std::fprintf(stderr, "the two reads disagree: %llx and %llx\n", readTotal, mappedTotal);
        return 1;
    }
    double mib = static_cast<double>(sizeMiB);
    std::printf("sequential read of %lld MiB (best of %d, file in the system cache)\n", sizeMiB, kRounds);
    bench::row("MemoryMappedFile, 64 MiB views", mib / seconds[1], "ReadFile, 1 MiB pieces", mib / seconds[0], "MiB/s",
               bench::ratioAtLeast(1.0));
    return 0;
}
