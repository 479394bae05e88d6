#ifndef QVTOOL_STDSTREAMS_H
#define QVTOOL_STDSTREAMS_H

// Byte streams over qvtool's files and its standard input and output, and a progress display,
// shared by the commands that move data through the library's stream chains; and the one path
// by which every command's text for people reaches standard output and the error stream.

#include "qvcore/files/FileStream.h"

#include <memory>
#include <string>

namespace qvtool {

/// A stream over a handle qvtool does not own (standard input or output). Reads of a pipe
/// deliver what is there; its end (or a broken pipe) is the end of the data.
class HandleInputStream : public InputStream {
public:
    explicit HandleInputStream(HANDLE handle) : InputStream(nullptr), handle_(handle) {}
    void Read(char *buffer, int count) override;
    int ReadSome(char *buffer, int count) override;

private:
    HANDLE handle_;
};

/// Every write is checked: a pipe whose reader has gone or a full device is a failure.
class HandleOutputStream : public OutputStream {
public:
    explicit HandleOutputStream(HANDLE handle) : OutputStream(nullptr), handle_(handle) {}
    void Write(const char *data, int count) override;

private:
    HANDLE handle_;
};

/// The named file ("-" or empty: standard input) as a stream; size is its length when known
/// (0 otherwise). A file that cannot be opened throws Failure naming it.
std::unique_ptr<InputStream> openInput(const std::string &name, unsigned long long &size);

/// Where a command writes: standard output for "-" (or no name), otherwise a temporary file
/// beside the named one that Commit puts in its place. Until then the named file is left as
/// it was, and a target destroyed without Commit removes its temporary file: a command that
/// fails half-way leaves nothing half-written behind.
class OutputTarget {
public:
    explicit OutputTarget(const std::string &name);
    ~OutputTarget();
    OutputTarget(const OutputTarget &) = delete;
    OutputTarget &operator=(const OutputTarget &) = delete;

    OutputStream &Stream() { return *stream_; }
    /// Closes the stream, then renames the temporary file over the named one.
    /// Throws Failure naming the file when any of it fails.
    void Commit();
    /// The name for messages.
    const std::string &Name() const { return shownName_; }

private:
    std::string shownName_;
    String target_, temporary_;
    std::unique_ptr<OutputStream> stream_;
};

/// Renames temporary over target (both names from fileName()); Failure naming shownName when
/// the system refuses.
void replaceFile(const String &temporary, const String &target, const std::string &shownName);

/// Up to count bytes from stream (ReadSome); 0 at the end of its data.
int readPiece(InputStream &stream, char *buffer, int count);

/// How text reaches standard output and the error stream when they are pipes or files. A console
/// always receives it as UTF-16 through WriteConsoleW, whatever its code page.
enum class TextEncoding {
    /// The default: what current command-line tools write and read, and it holds every character.
    Utf8,
    /// The system's ANSI code page (--ansi), for consumers that read nothing else; characters it
    /// lacks become its default character ("?").
    Ansi,
};

/// Chosen once, before a command runs; Utf8 until then.
void setTextEncoding(TextEncoding encoding);

/// Text (UTF-8) for standard output or the error stream, delivered in the form each reader takes
/// (see TextEncoding). Every line feed not already preceded by a carriage return goes out as
/// CR LF, the line end of Windows text files and of this tool's output from its first version.
/// Standard output is buffered (flushText); the error stream is written at once, after whatever
/// standard output holds, so that both keep their order on a shared console. A failed write is
/// remembered and reported by flushText; nothing is written to that stream after it.
void writeOut(const std::string &utf8);
void writeErr(const std::string &utf8);
/// writeOut/writeErr of a printf format (the C runtime's, "%s" narrow: UTF-8 arguments).
void printOut(const char *format, ...) __attribute__((format(__MINGW_PRINTF_FORMAT, 1, 2)));
void printErr(const char *format, ...) __attribute__((format(__MINGW_PRINTF_FORMAT, 1, 2)));
/// writeOut of lines that keep bare line feeds (md5sum's format): on a pipe or in a file they
/// are the bytes md5sum writes, with names in the chosen encoding.
void writeOutLines(const std::string &utf8);

/// Writes what standard output holds. False, with the system's error code (0 when it gave none),
/// when this or any earlier write to standard output failed.
bool flushText(unsigned long &error);

/// Text read from standard input (a pipe or a file) in the same encoding as qvtool writes there.
String textFromInput(const std::string &bytes);

/// "name: 42% 108 of 256 MiB, 95 MiB/s, 2 s left" on the error stream, only when it is a
/// console, the input is large and quiet is false; the line is cleared at the end.
class Progress {
public:
    Progress(const std::string &name, unsigned long long total, bool quiet);
    ~Progress();
    void Add(unsigned long long bytes);

private:
    std::string name_;
    unsigned long long total_, done_;
    int shown_;
    bool active_;
    DWORD start_;
};

}  // namespace qvtool

#endif
