#include "StdStreams.h"

#include "Command.h"

#include <cstdio>

namespace qvtool {

namespace {

// One ReadFile; 0 at the end of a file or a pipe.
int readHandle(HANDLE handle, char *buffer, int count)
{
    DWORD got = 0;
    if (!ReadFile(handle, buffer, static_cast<DWORD>(count), &got, nullptr)) {
        if (GetLastError() == ERROR_BROKEN_PIPE)
            return 0;
        StreamBase::ThrowLastError();
    }
    return static_cast<int>(got);
}

}  // namespace

void HandleInputStream::Read(char *buffer, int count)
{
    while (count > 0) {
        int got = ReadSome(buffer, count);
        buffer += got;
        count -= got;
    }
}

int HandleInputStream::ReadSome(char *buffer, int count)
{
    if (count < 1)
        return 0;
    int got = readHandle(handle_, buffer, count);
    if (got == 0)
        ThrowEndOfData(String(L"Read beyond end of file"));
    return got;
}

void HandleOutputStream::Write(const char *data, int count)
{
    while (count > 0) {
        DWORD written = 0;
        if (!WriteFile(handle_, data, static_cast<DWORD>(count), &written, nullptr) || written == 0)
            StreamBase::ThrowLastError();
        data += written;
        count -= static_cast<int>(written);
    }
}

std::unique_ptr<InputStream> openInput(const std::string &name, unsigned long long &size)
{
    size = 0;
    if (name.empty() || name == "-")
        return std::unique_ptr<InputStream>(new HandleInputStream(GetStdHandle(STD_INPUT_HANDLE)));
    auto *file = aboutFile("cannot open", name, [&] { return new FileInputStream(String::FromSystemMultibyte(name)); });
    LARGE_INTEGER length;
    if (GetFileSizeEx(file->GetHandle(), &length))
        size = static_cast<unsigned long long>(length.QuadPart);
    return std::unique_ptr<InputStream>(file);
}

std::unique_ptr<OutputStream> openOutput(const std::string &name)
{
    if (name.empty() || name == "-")
        return std::unique_ptr<OutputStream>(new HandleOutputStream(GetStdHandle(STD_OUTPUT_HANDLE)));
    return std::unique_ptr<OutputStream>(
        aboutFile("cannot create", name, [&] { return new FileOutputStream(String::FromSystemMultibyte(name), false); }));
}

int readPiece(InputStream &stream, char *buffer, int count)
{
    try {
        return stream.ReadSome(buffer, count);
    } catch (const StreamBase::Exception &e) {
        if (e.code == StreamBase::EndOfData)
            return 0;
        throw;
    }
}

Progress::Progress(const std::string &name, unsigned long long total)
    : name_(name), total_(total), done_(0), shown_(-1), active_(false)
{
    DWORD mode;
    active_ = total >= (16ull << 20) && GetConsoleMode(GetStdHandle(STD_ERROR_HANDLE), &mode);
}

Progress::~Progress()
{
    if (active_ && shown_ >= 0)
        std::fprintf(stderr, "\r%*s\r", static_cast<int>(name_.size()) + 32, "");
}

void Progress::Add(unsigned long long bytes)
{
    done_ += bytes;
    if (!active_)
        return;
    int percent = static_cast<int>(done_ * 100 / total_);
    if (percent == shown_)
        return;
    shown_ = percent;
    std::fprintf(stderr, "\r%s: %d%% (%llu of %llu MiB)", name_.c_str(), percent, done_ >> 20, total_ >> 20);
    std::fflush(stderr);
}


}  // namespace qvtool
