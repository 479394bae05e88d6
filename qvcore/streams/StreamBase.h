#ifndef QVCORE_STREAMS_STREAMBASE_H
#define QVCORE_STREAMS_STREAMBASE_H

#include "qvcore/Platform.h"
#include "qvcore/core/MemoryBlock.h"
#include "qvcore/core/NotCopyable.h"
#include "qvcore/core/String.h"

#include <exception>
#include <string>

// Byte streams that are stacked into chains. Output chains are built front to back (each
// filter is constructed over the stream it writes into), input chains back to front (each
// stream is constructed over the stream it reads from). No stream owns the stream it chains
// to: the caller keeps every member of a chain alive while the chain is used and destroys an
// output chain from its front, because filters write what they hold back in their destructors.
//
// Values travel in their raw in-memory form, little-endian, without tags or padding; strings
// carry a 32-bit length prefix. Every failure throws StreamBase::Exception.
//
// Destructors that write (filters holding bytes back) never let a failure out, since an owner
// such as std::unique_ptr, or a destructor running during unwinding, would end the process:
// they record it instead, for StreamBase::TakeLateFailure. Call Flush() on the last stream of a
// chain before destroying it to see every failure as an exception.

class QVCORE_API StreamBase : public NotCopyable {
public:
    /// The codes of Exception. The numbers are stored by callers and compared by tools: they
    /// never change.
    enum ErrorCode {
        /// A system call on a file failed (the system's text for the error).
        SystemError = 1,
        /// The compression library reported an error (its own text).
        CompressionError = 2,
        /// Malformed data ("Invalid string length", ...).
        MalformedData = 3,
        /// A block check failed ("Illegal CRC block size", "CRC checksum error").
        BlockCheckFailed = 4,
        /// End of data ("Read beyond end of file", "Memory block too short").
        EndOfData = 5,
        /// "Object version too high".
        VersionTooHigh = 6,
    };

    /// What every stream throws: one of the codes above and a fixed English text (or the
    /// system's text).
    struct Exception {
        int code;
        String message;
    };

    // One thrower per kind of failure, for streams inside and outside the library.

    /// SystemError with the system's text for code (String::FromError).
    [[noreturn]] static void ThrowSystemError(unsigned long code);
    /// SystemError for the calling thread's last error.
    [[noreturn]] static void ThrowLastError();
    /// CompressionError with the compression library's text (null: an empty text).
    [[noreturn]] static void ThrowCompressionError(const char *libraryText);
    [[noreturn]] static void ThrowCompressionError(const String &message);
    [[noreturn]] static void ThrowMalformedData(const String &message);
    [[noreturn]] static void ThrowBlockCheckFailed(const String &message);
    [[noreturn]] static void ThrowEndOfData(const String &message);

    /// The failure that a stream destructor caught last on this thread (the target refused the
    /// bytes it held back), moved into failure; false when none was caught since the last call.
    static bool TakeLateFailure(Exception &failure);

    /// Keeps the late failures of one chain apart from the thread's: a failure recorded before
    /// the scope began (another chain's, not yet taken) is set aside, Take() gives only a
    /// failure recorded since, and when the scope ends the set-aside failure is recorded again
    /// unless a newer one is waiting. For code that builds, uses and destroys a chain of its
    /// own inside a call.
    class QVCORE_API LateFailureScope {
    public:
        LateFailureScope();
        ~LateFailureScope();
        LateFailureScope(const LateFailureScope &) = delete;
        LateFailureScope &operator=(const LateFailureScope &) = delete;
        /// TakeLateFailure for the failures recorded while the scope lives.
        bool Take(Exception &failure) { return TakeLateFailure(failure); }

    private:
        Exception earlier_;
        bool hadEarlier_;
    };

    virtual ~StreamBase() noexcept(false);

protected:
    StreamBase() {}
};

/// A stream that delivers bytes on request, possibly pulling them from a source stream.
class QVCORE_API InputStream : public StreamBase {
public:
    /// source may be null (a stream that produces bytes itself). Not owned.
    explicit InputStream(InputStream *source);
    ~InputStream() noexcept(false) override;

    /// Delivers exactly count bytes into buffer or throws; there is no partial read and no
    /// end-of-data result. A count below 1 does nothing.
    virtual void Read(char *buffer, int count) = 0;

    // The three operations below let bulk readers (buffers, decoders) move bytes in large
    // pieces without changing what a caller of Read observes.

    /// Delivers between 1 and count bytes (count > 0) and returns how many, reading no more
    /// from the source than a Read of count bytes would (buffering streams read ahead by
    /// design). At the end of the data it throws as Read does; it returns 0 only where Read
    /// silently delivers nothing (a file stream over a closed File). The default delivers one
    /// byte through Read; streams that can say how much is at hand deliver more.
    virtual int ReadSome(char *buffer, int count);
    /// The bytes the stream holds in memory and would deliver next, without reading anything
    /// from a source: sets data and returns their count (0, the default: nothing at hand). The
    /// view stays valid until the next operation on the stream.
    virtual int Peek(const char *&data);
    /// Consumes count bytes, as a Read into a scratch buffer would. After Peek, skipping at
    /// most the count Peek gave never reads from a source.
    virtual void Skip(int count);

    InputStream &operator>>(bool &value);
    InputStream &operator>>(char &value);
    InputStream &operator>>(signed char &value);
    InputStream &operator>>(unsigned char &value);
    InputStream &operator>>(short &value);
    InputStream &operator>>(unsigned short &value);
    InputStream &operator>>(int &value);
    InputStream &operator>>(unsigned int &value);
    InputStream &operator>>(long &value);
    InputStream &operator>>(unsigned long &value);
    InputStream &operator>>(__int64 &value);
    InputStream &operator>>(unsigned __int64 &value);
    InputStream &operator>>(float &value);
    InputStream &operator>>(double &value);
    InputStream &operator>>(_GUID &value);
    /// A 32-bit length, then that many bytes. A negative length throws code 3 "Invalid string
    /// length"; there is no upper limit, but memory is taken as the bytes arrive (a length the
    /// source cannot honour fails at its end without reserving the whole length). On failure
    /// the string is left as it was.
    InputStream &operator>>(std::string &value);
    /// A 32-bit length in bytes, then the UTF-16LE units. A negative or odd length throws code
    /// 3 "Invalid string length". Memory and failure as for std::string.
    InputStream &operator>>(std::basic_string<unsigned short> &value);

protected:
    InputStream *source;
};

/// A stream that accepts bytes, possibly pushing them into a target stream.
class QVCORE_API OutputStream : public StreamBase {
public:
    /// target may be null (a sink). Not owned; the target learns this stream as its feeder.
    explicit OutputStream(OutputStream *target);
    /// Unlinks: the feeder loses its target and the target its feeder.
    ~OutputStream() noexcept(false) override;

    /// Accepts count bytes. A count below 1 does nothing.
    virtual void Write(const char *data, int count) = 0;

    // The two operations below let a filter that writes many small pieces (the Base64 encoder)
    // put them straight into a buffering stream's memory; what the streams behind see is the
    // same as with the small writes.

    /// Free room in the stream's own buffer: sets space and returns its size (0, the default:
    /// none). Bytes put there count as written only through Commit; the room stays valid
    /// until the next operation on the stream.
    virtual int Reserve(char *&space);
    /// Takes the first count bytes of the room Reserve gave, exactly as a Write of them would.
    virtual void Commit(int count);

    /// Flushes the streams in front of this one (the front-most first), then this one: called
    /// on the last stream of a chain it pushes out everything the chain holds back.
    void Flush();

    /// The stream writing into this one and the stream this one writes into (null: none).
    OutputStream *GetFeeder() const { return feeder; }
    OutputStream *GetTarget() const { return target; }

    // Each insertion is a single Write of the value's raw little-endian bytes.
    OutputStream &operator<<(bool value);  // 1 byte, 0 or 1
    OutputStream &operator<<(char value);
    OutputStream &operator<<(signed char value);
    OutputStream &operator<<(unsigned char value);
    OutputStream &operator<<(short value);  // 2 bytes
    OutputStream &operator<<(unsigned short value);
    OutputStream &operator<<(int value);  // 4 bytes
    OutputStream &operator<<(unsigned int value);
    OutputStream &operator<<(long value);
    OutputStream &operator<<(unsigned long value);
    OutputStream &operator<<(float value);
    OutputStream &operator<<(const __int64 &value);  // 8 bytes
    OutputStream &operator<<(const unsigned __int64 &value);
    OutputStream &operator<<(double value);
    OutputStream &operator<<(const _GUID &value);  // 16 bytes as the structure lies in memory
    /// 32-bit character count (the terminating zero excluded), then the characters; a null
    /// pointer is written as the empty text.
    OutputStream &operator<<(const char *value);
    /// 32-bit character count, then the characters (zero bytes included).
    OutputStream &operator<<(const std::string &value);
    /// 32-bit length in bytes (twice the unit count), then the UTF-16LE units.
    OutputStream &operator<<(const std::basic_string<unsigned short> &value);

protected:
    /// Pushes out whatever the stream holds back; a no-op unless overridden.
    virtual void FlushSelf();

    /// The target of a filter; throws code 5 when the target has been destroyed.
    OutputStream &Target() const;

    /// Runs the final writes of a destructor: a failure is recorded for TakeLateFailure and
    /// goes no further.
    template <class F>
    static void WriteFromDestructor(F write) noexcept
    {
        try {
            write();
        } catch (const Exception &e) {
            RecordLateFailure(e);
        } catch (const std::exception &e) {
            RecordLateFailure(Exception{SystemError, String::FromLatin1(e.what())});
        } catch (...) {
            RecordLateFailure(Exception{SystemError, String(L"Unknown failure of a stream's final write")});
        }
    }
    static void RecordLateFailure(const Exception &failure) noexcept;

    OutputStream *feeder;
    OutputStream *target;
};

/// A sink that collects everything written into a chunked memory buffer.
class QVCORE_API MemoryOutputStream : public OutputStream {
public:
    MemoryOutputStream();
    ~MemoryOutputStream() noexcept(false) override;

    void Write(const char *data, int count) override;
    /// Flushes the chain in front of the stream, then returns every byte written so far. The
    /// content is kept; later writes add to it.
    std::string GetContent();

private:
    MemoryBlockVector content_;
};

/// A source over bytes in the caller's memory. Nothing is copied: the buffer or string must
/// outlive the stream and stay unchanged.
class QVCORE_API MemoryInputStream : public InputStream {
public:
    MemoryInputStream(const char *data, int size);
    explicit MemoryInputStream(const std::string &data);
    ~MemoryInputStream() noexcept(false) override;

    /// More than the remaining bytes throws code 5 "Memory block too short" and consumes
    /// nothing.
    void Read(char *buffer, int count) override;
    int ReadSome(char *buffer, int count) override;
    int Peek(const char *&data) override;
    void Skip(int count) override;

    /// The count of unread bytes.
    int Remaining() const { return remaining_; }

private:
    const char *position_;
    int remaining_;
};

/// The size as a 32-bit integer, then the bytes.
QVCORE_API OutputStream &operator<<(OutputStream &stream, const MemoryBlock &block);
/// A 32-bit size, then that many bytes into the block (resized without keeping its content).
/// A negative size throws code 3 "Invalid block size". Memory is taken as the bytes arrive, as
/// for strings; after a failure the block holds an unspecified part of the data.
QVCORE_API InputStream &operator>>(InputStream &stream, MemoryBlock &block);

#endif
