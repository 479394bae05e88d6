#ifndef QVTOOL_STDSTREAMS_H
#define QVTOOL_STDSTREAMS_H

// Byte streams over qvtool's files and its standard input and output, and a progress display,
// shared by the commands that move data through the library's stream chains.

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
