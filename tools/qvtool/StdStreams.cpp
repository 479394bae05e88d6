#include "StdStreams.h"

#include "Command.h"

#include <algorithm>
#include <cstdarg>
#include <cstdio>

namespace qvtool {

namespace {

// Every byte of count, or false with the system's error as the last error: a pipe whose reader
// has gone or a full device.
bool writeHandle(HANDLE handle, const char *data, std::size_t count)
{
    while (count > 0) {
        DWORD piece = static_cast<DWORD>(std::min<std::size_t>(count, 1u << 30));
        DWORD written = 0;
        if (!WriteFile(handle, data, piece, &written, nullptr))
            return false;
        if (written == 0) {
            SetLastError(ERROR_WRITE_FAULT);
            return false;
        }
        data += written;
        count -= written;
    }
    return true;
}

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
    if (count > 0 && !writeHandle(handle_, data, static_cast<std::size_t>(count)))
        StreamBase::ThrowLastError();
}

std::unique_ptr<InputStream> openInput(const std::string &name, unsigned long long &size)
{
    size = 0;
    if (isStandard(name))
        return std::unique_ptr<InputStream>(new HandleInputStream(GetStdHandle(STD_INPUT_HANDLE)));
    String path = fileName(name);
    auto *file = aboutFile("cannot open", name, [&] { return new FileInputStream(path); });
    LARGE_INTEGER length;
    if (GetFileSizeEx(file->GetHandle(), &length))
        size = static_cast<unsigned long long>(length.QuadPart);
    return std::unique_ptr<InputStream>(file);
}

OutputTarget::OutputTarget(const std::string &name) : shownName_(isStandard(name) ? "(standard output)" : name)
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

namespace {

TextEncoding chosenEncoding = TextEncoding::Utf8;

// The system's ANSI code page. qvtool's manifest makes UTF-8 the ANSI code page of its own
// process (GetACP), so the page that older programs read is asked of the system's locale.
unsigned systemAnsiCodePage()
{
    DWORD page = 0;
    if (GetLocaleInfoA(LOCALE_SYSTEM_DEFAULT, LOCALE_IDEFAULTANSICODEPAGE | LOCALE_RETURN_NUMBER,
                       reinterpret_cast<LPSTR>(&page), sizeof page) &&
        page != 0)
        return page;
    return GetACP();
}

// Text in the encoding of pipes and files; utf8 holds whole characters only.
std::string redirectedBytes(const std::string &utf8)
{
    if (chosenEncoding == TextEncoding::Utf8)
        return utf8;
    unsigned page = systemAnsiCodePage();
    return page == CP_UTF8 ? utf8 : encoded(String::FromUtf8(utf8), page);
}

// One standard stream as a destination of text: a console or a byte stream (pipe, file,
// device), found out on first use.
class TextSink {
public:
    explicit TextSink(DWORD which) : which_(which) {}

    void Append(const std::string &utf8, bool crlf)
    {
        for (char c : utf8) {
            if (crlf && c == '\n' && last_ != '\r')
                pending_ += '\r';
            pending_ += c;
            last_ = c;
        }
    }

    // A console shows each write at once; pipes and files get pieces of 64 KiB.
    void FlushIfDue()
    {
        Open();
        if (console_ || pending_.size() >= (64u << 10))
            Flush();
    }

    bool Flush()
    {
        Open();
        std::string text;
        text.swap(pending_);
        if (failed_ || text.empty() || handle_ == nullptr || handle_ == INVALID_HANDLE_VALUE)
            return !failed_;
        bool written;
        if (console_) {
            written = ShowOnConsole(String::FromUtf8(text));
        } else {
            std::string bytes = redirectedBytes(text);
            written = writeHandle(handle_, bytes.data(), bytes.size());
        }
        if (!written) {
            failed_ = true;
            error_ = GetLastError();
        }
        return written;
    }

    unsigned long Error() const { return error_; }
    bool Failed() const { return failed_; }

private:
    void Open()
    {
        if (opened_)
            return;
        opened_ = true;
        handle_ = GetStdHandle(which_);
        DWORD mode;
        console_ = handle_ && GetConsoleMode(handle_, &mode);
    }

    // Older consoles take at most some 64 KB in one write. A piece never ends between the two
    // halves of a surrogate pair, which the console would show as two broken characters.
    bool ShowOnConsole(const String &text)
    {
        const unsigned short *units = text.data();
        std::size_t left = text.size();
        while (left > 0) {
            DWORD piece = static_cast<DWORD>(std::min<std::size_t>(left, 16384));
            if (piece < left && units[piece - 1] >= 0xD800 && units[piece - 1] < 0xDC00)
                --piece;
            DWORD written = 0;
            if (!WriteConsoleW(handle_, units, piece, &written, nullptr) || written == 0)
                return false;
            units += written;
            left -= written;
        }
        return true;
    }

    DWORD which_;
    HANDLE handle_ = nullptr;
    bool opened_ = false, console_ = false, failed_ = false;
    unsigned long error_ = 0;
    char last_ = 0;
    std::string pending_;
};

TextSink &standardOutput()
{
    static TextSink sink(STD_OUTPUT_HANDLE);
    return sink;
}

TextSink &errorStream()
{
    static TextSink sink(STD_ERROR_HANDLE);
    return sink;
}

std::string formatted(const char *format, va_list arguments)
{
    va_list again;
    va_copy(again, arguments);
    int length = std::vsnprintf(nullptr, 0, format, again);
    va_end(again);
    if (length <= 0)
        return std::string();
    std::string text(static_cast<std::size_t>(length) + 1, '\0');
    std::vsnprintf(&text[0], text.size(), format, arguments);
    text.resize(static_cast<std::size_t>(length));
    return text;
}

}  // namespace

void setTextEncoding(TextEncoding encoding)
{
    chosenEncoding = encoding;
}

void writeOut(const std::string &utf8)
{
    standardOutput().Append(utf8, /*crlf=*/true);
    standardOutput().FlushIfDue();
}

void writeOutLines(const std::string &utf8)
{
    standardOutput().Append(utf8, /*crlf=*/false);
    standardOutput().FlushIfDue();
}

void writeErr(const std::string &utf8)
{
    standardOutput().Flush();
    errorStream().Append(utf8, /*crlf=*/true);
    errorStream().Flush();
}

void printOut(const char *format, ...)
{
    va_list arguments;
    va_start(arguments, format);
    writeOut(formatted(format, arguments));
    va_end(arguments);
}

void printErr(const char *format, ...)
{
    va_list arguments;
    va_start(arguments, format);
    writeErr(formatted(format, arguments));
    va_end(arguments);
}

bool flushText(unsigned long &error)
{
    TextSink &sink = standardOutput();
    sink.Flush();
    error = sink.Error();
    return !sink.Failed();
}

String textFromInput(const std::string &bytes)
{
    if (chosenEncoding == TextEncoding::Utf8)
        return String::FromUtf8(bytes);
    return String::FromMultibyte(systemAnsiCodePage(), bytes);
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
        printErr("\r%*s\r", static_cast<int>(name_.size()) + 60, "");
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
    printErr("\r%s: %d%% %llu of %llu MiB, %.0f MiB/s, %.0f s left   ", name_.c_str(), percent, done_ >> 20,
             total_ >> 20, rate / (1 << 20), left);
}

}  // namespace qvtool
