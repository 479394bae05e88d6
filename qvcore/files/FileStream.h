#ifndef QVCORE_STREAMS_FILESTREAM_H
#define QVCORE_STREAMS_FILESTREAM_H

#include "qvcore/files/File.h"
#include "qvcore/files/FileData.h"
#include "qvcore/streams/StreamBase.h"

// Streams over disk files. Paths are converted to the ANSI code page and opened with the
// narrow system calls. A failed system call throws code 1 with the system's text for the
// error. A stream built over a File that is not open does nothing on Read, Write and flush.
//
// Every Write and Read is one system call: put a BufferedOutputStream or BufferedInputStream
// between a file and filters that move a few bytes at a time.

/// What the file streams share: the handle and whether the stream opened (and closes) it.
class QVCORE_API FileStream {
public:
    /// The system handle; INVALID_HANDLE_VALUE when none.
    HANDLE GetHandle() const { return handle.get(); }

protected:
    FileStream(HANDLE handle, bool ownsHandle);
    /// Closes the handle when the stream opened it.
    ~FileStream();
    FileStream(const FileStream &) = delete;
    FileStream &operator=(const FileStream &) = delete;

    /// True when the stream opened the handle itself; otherwise it is a File's, and is given
    /// back unclosed on destruction.
    bool ownsHandle;
    ScopedFileHandle handle;
};

/// A sink writing into a file.
class QVCORE_API FileOutputStream : public OutputStream, public FileStream {
public:
    /// Opens path for exclusive writing: appended to when append is true (created when
    /// missing), otherwise created or truncated. The stream owns the handle.
    FileOutputStream(const String &path, bool append);
    /// Writes through the open handle of file (not owned), at its end when append is true.
    FileOutputStream(File &file, bool append);
    ~FileOutputStream() noexcept(false) override;

    /// Writes all count bytes (nothing for a count below 1): WriteFile again for the rest when
    /// the system takes part of them, so that a failure is thrown rather than bytes dropped.
    void Write(const char *data, int count) override;

protected:
    /// FlushFileBuffers: forces the data to the disk (costly).
    void FlushSelf() override;
};

/// A source reading a file from its current position.
class QVCORE_API FileInputStream : public InputStream, public FileStream {
public:
    /// Opens an existing file for reading, shared with other readers. The stream owns the
    /// handle.
    explicit FileInputStream(const String &path);
    /// Reads through the open handle of file (not owned).
    explicit FileInputStream(File &file);
    ~FileInputStream() noexcept(false) override;

    /// One ReadFile; fewer bytes than count throws code 5 "Read beyond end of file" (the bytes
    /// read stay consumed).
    void Read(char *buffer, int count) override;
    /// One ReadFile of up to count bytes; at the end of the file throws code 5 "Read beyond end
    /// of file". Returns 0 only for a File that is not open.
    int ReadSome(char *buffer, int count) override;
};

/// The entry's 592-byte record, raw, without a length prefix.
QVCORE_API OutputStream &operator<<(OutputStream &stream, const FileData &entry);
/// Reads 592 bytes into the entry's record. The entry is taken by const reference and
/// overwritten all the same (kept for compatibility).
QVCORE_API InputStream &operator>>(InputStream &stream, const FileData &entry);

#endif
