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

bool isStandard(const std::string &name)
{
    return name.empty() || name == "-";
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
    if (isStandard(name))
        return std::unique_ptr<InputStream>(new HandleInputStream(GetStdHandle(STD_INPUT_HANDLE)));
    String path = fileName(name);
    auto *file = aboutFile("cannot open", shown(name), [&] { return new FileInputStream(path); });
    LARGE_INTEGER length;
    if (GetFileSizeEx(file->GetHandle(), &length))
        size = static_cast<unsigned long long>(length.QuadPart);
    return std::unique_ptr<InputStream>(file);
}

OutputTarget::OutputTarget(const std::string &name) : shownName_(isStandard(name) ? "(standard output)" : shown(name))
{
    if (isStandard(name)) {
        stream_.reset(new HandleOutputStream(GetStdHandle(STD_OUTPUT_HANDLE)));
        return;
    }
    target_ = fileName(name);
    temporary_ = target_ + String(L".qvtool-") + String::FromNum(static_cast<unsigned int>(GetCurrentProcessId())) +
                 String(L".tmp");
    stream_.reset(aboutFile("cannot create", shownName_, [&] { return new FileOutputStream(temporary_, false); }));
}

OutputTarget::~OutputTarget()
{
    stream_.reset();
    if (!temporary_.empty())
        File::DeleteFileA(temporary_);
}

void OutputTarget::Commit()
{
    // Closing is enough: the file streams write through at once. Forcing the bytes to the disk
    // (Flush) before the rename would cost a second per gigabyte.
    aboutFile("cannot write", shownName_, [&] {
        stream_.reset();
        StreamBase::Exception late;
        if (StreamBase::TakeLateFailure(late))
            throw late;
    });
    if (temporary_.empty())
        return;
    replaceFile(temporary_, target_, shownName_);
    temporary_.clear();
}

void replaceFile(const String &temporary, const String &target, const std::string &shownName)
{
    // Both names hold only characters the ANSI code page has: fileName() made sure.
    if (!MoveFileExA(temporary.SystemMultibyte().c_str(), target.SystemMultibyte().c_str(), MOVEFILE_REPLACE_EXISTING))
        throw Failure("cannot replace '" + shownName + "': " + systemText(GetLastError()));
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

Progress::Progress(const std::string &name, unsigned long long total, bool quiet)
    : name_(name), total_(total), done_(0), shown_(-1), active_(false), start_(GetTickCount())
{
    DWORD mode;
    active_ = !quiet && total >= (16ull << 20) && GetConsoleMode(GetStdHandle(STD_ERROR_HANDLE), &mode);
}

Progress::~Progress()
{
    if (active_ && shown_ >= 0)
        std::fprintf(stderr, "\r%*s\r", static_cast<int>(name_.size()) + 60, "");
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
    double seconds = (GetTickCount() - start_) / 1000.0;
    double rate = seconds > 0 ? done_ / seconds : 0;
    double left = rate > 0 && total_ > done_ ? (total_ - done_) / rate : 0;
    std::fprintf(stderr, "\r%s: %d%% %llu of %llu MiB, %.0f MiB/s, %.0f s left   ", name_.c_str(), percent,
                 done_ >> 20, total_ >> 20, rate / (1 << 20), left);
    std::fflush(stderr);
}

}  // namespace qvtool
