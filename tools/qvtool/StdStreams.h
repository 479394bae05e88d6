#ifndef QVTOOL_STDSTREAMS_H
#define QVTOOL_STDSTREAMS_H

// Byte streams over qvtool's files and its standard input and output, and a progress display,
// shared by the commands that move data through the library's stream chains.

#include "qvcore/streams/FileStream.h"

#include <memory>
#include <string>

namespace qvtool {

/// A stream over a handle qvtool does not own (standard input or output). Reads of a pipe
/// deliver what is there; its end (or a broken pipe) is the end of the data, code 5.
class HandleInputStream : public InputStream {
public:
    explicit HandleInputStream(HANDLE handle) : InputStream(nullptr), handle_(handle) {}
    void Read(char *buffer, int count) override;
    int ReadSome(char *buffer, int count) override;

private:
    HANDLE handle_;
};

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
/// The named file, created or truncated ("-" or empty: standard output). A file that cannot be
/// created throws Failure naming it.
std::unique_ptr<OutputStream> openOutput(const std::string &name);

/// Up to count bytes from stream (ReadSome); 0 at the end of its data (code 5).
int readPiece(InputStream &stream, char *buffer, int count);

/// "name: 42% (108 of 256 MiB)" on the error stream, only when it is a console and the input
/// is large; the line is cleared at the end.
class Progress {
public:
    Progress(const std::string &name, unsigned long long total);
    ~Progress();
    void Add(unsigned long long bytes);

private:
    std::string name_;
    unsigned long long total_, done_;
    int shown_;
    bool active_;
};

}  // namespace qvtool

#endif
