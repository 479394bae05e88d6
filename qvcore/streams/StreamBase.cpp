#include "qvcore/streams/StreamBase.h"

#include <algorithm>
#include <climits>
#include <cstring>
#include <memory>
#include <stdexcept>

namespace {

// The failure the last stream destructor on this thread caught, if any.
thread_local bool lateFailureRecorded = false;
thread_local StreamBase::Exception lateFailure;

int checkedLength(std::size_t length, std::size_t unitSize)
{
    if (length > static_cast<std::size_t>(INT_MAX) / unitSize)
        StreamBase::ThrowMalformedData(String(L"String too long for a stream: its length prefix holds at most "
                                              L"2,147,483,647 bytes"));
    return static_cast<int>(length * unitSize);
}

void throwInvalidLength()
{
    StreamBase::ThrowMalformedData(String(L"Invalid string length"));
}

// Reads length bytes into a buffer that resize(got, size) grows to size bytes (keeping the got
// bytes already read) and returns. A length prefix is only a claim of the data: a corrupt or
// hostile one (2 GB in a 40-byte stream) must not reserve memory the source never fills. The
// first piece is at most 64 KiB and each later one at most as long as what has arrived, so the
// buffer stays within twice what the source delivered, and a genuine long run still costs
// linear copying.
template <class Resize>
void readInPieces(InputStream &stream, int length, Resize resize)
{
    const int firstPiece = 64 << 10;  // even: wide strings grow by whole units
    int got = 0;
    while (got < length) {
        int piece = std::min(length - got, std::max(firstPiece, got));
        char *buffer = resize(got, got + piece);
        stream.Read(buffer + got, piece);
        got += piece;
    }
}

}  // namespace

StreamBase::~StreamBase() noexcept(false) {}

void StreamBase::ThrowSystemError(unsigned long code)
{
    throw Exception{SystemError, String::FromError(code)};
}

void StreamBase::ThrowLastError()
{
    ThrowSystemError(GetLastError());
}

void StreamBase::ThrowCompressionError(const char *libraryText)
{
    throw Exception{CompressionError, String::FromLatin1(libraryText ? libraryText : "")};
}

void StreamBase::ThrowCompressionError(const String &message)
{
    throw Exception{CompressionError, message};
}

void StreamBase::ThrowMalformedData(const String &message)
{
    throw Exception{MalformedData, message};
}

void StreamBase::ThrowBlockCheckFailed(const String &message)
{
    throw Exception{BlockCheckFailed, message};
}

void StreamBase::ThrowEndOfData(const String &message)
{
    throw Exception{EndOfData, message};
}

bool StreamBase::TakeLateFailure(Exception &failure)
{
    if (!lateFailureRecorded)
        return false;
    failure = std::move(lateFailure);
    lateFailure = Exception{};
    lateFailureRecorded = false;
    return true;
}

StreamBase::LateFailureScope::LateFailureScope() : earlier_{0, String()}, hadEarlier_(TakeLateFailure(earlier_)) {}

StreamBase::LateFailureScope::~LateFailureScope()
{
    if (hadEarlier_ && !lateFailureRecorded) {
        lateFailure = std::move(earlier_);
        lateFailureRecorded = true;
    }
}

void OutputStream::RecordLateFailure(const Exception &failure) noexcept
{
    try {
        lateFailure = failure;
        lateFailureRecorded = true;
    } catch (...) {
        // No memory for the text: the code alone is kept.
        lateFailure.code = failure.code;
        lateFailureRecorded = true;
    }
}

// --- InputStream ---------------------------------------------------------------------------

InputStream::InputStream(InputStream *source) : source(source) {}

InputStream::~InputStream() noexcept(false) {}

int InputStream::ReadSome(char *buffer, int count)
{
    if (count < 1)
        return 0;
    Read(buffer, 1);
    return 1;
}

int InputStream::Peek(const char *&data)
{
    data = nullptr;
    return 0;
}

void InputStream::Skip(int count)
{
    char scratch[4096];
    while (count > 0) {
        int k = count < static_cast<int>(sizeof scratch) ? count : static_cast<int>(sizeof scratch);
        Read(scratch, k);
        count -= k;
    }
}

#define QVCORE_RAW_EXTRACTION(Type)                                 \
    InputStream &InputStream::operator>>(Type &value)               \
    {                                                               \
        Read(reinterpret_cast<char *>(&value), sizeof(Type));       \
        return *this;                                               \
    }
QVCORE_RAW_EXTRACTION(char)
QVCORE_RAW_EXTRACTION(signed char)
QVCORE_RAW_EXTRACTION(unsigned char)
QVCORE_RAW_EXTRACTION(short)
QVCORE_RAW_EXTRACTION(unsigned short)
QVCORE_RAW_EXTRACTION(int)
QVCORE_RAW_EXTRACTION(unsigned int)
QVCORE_RAW_EXTRACTION(long)
QVCORE_RAW_EXTRACTION(unsigned long)
QVCORE_RAW_EXTRACTION(__int64)
QVCORE_RAW_EXTRACTION(unsigned __int64)
QVCORE_RAW_EXTRACTION(float)
QVCORE_RAW_EXTRACTION(double)
QVCORE_RAW_EXTRACTION(_GUID)
#undef QVCORE_RAW_EXTRACTION

InputStream &InputStream::operator>>(bool &value)
{
    // A byte other than 0 or 1 must not become an invalid bool.
    unsigned char byte;
    Read(reinterpret_cast<char *>(&byte), 1);
    value = byte != 0;
    return *this;
}

InputStream &InputStream::operator>>(std::string &value)
{
    int length;
    *this >> length;
    if (length == 0) {
        value.clear();
        return *this;
    }
    if (length < 0)
        throwInvalidLength();
    // Read aside, so that a failed read leaves the target as it was.
    std::string bytes;
    readInPieces(*this, length, [&](int, int size) {
        bytes.resize(static_cast<std::size_t>(size));
        return &bytes[0];
    });
    value.swap(bytes);
    return *this;
}

InputStream &InputStream::operator>>(std::basic_string<unsigned short> &value)
{
    int length;
    *this >> length;
    if (length == 0) {
        value.clear();
        return *this;
    }
    if (length < 0 || length % 2 != 0)
        throwInvalidLength();
    std::basic_string<unsigned short> units;
    readInPieces(*this, length, [&](int, int size) {
        units.resize(static_cast<std::size_t>(size / 2));
        return reinterpret_cast<char *>(&units[0]);
    });
    value.swap(units);
    return *this;
}

// --- OutputStream --------------------------------------------------------------------------

OutputStream::OutputStream(OutputStream *target) : feeder(nullptr), target(target)
{
    if (target)
        target->feeder = this;
}

OutputStream::~OutputStream() noexcept(false)
{
    if (feeder)
        feeder->target = nullptr;
    if (target)
        target->feeder = nullptr;
}

void OutputStream::Flush()
{
    if (feeder)
        feeder->Flush();
    FlushSelf();
}

void OutputStream::FlushSelf() {}

int OutputStream::Reserve(char *&space)
{
    space = nullptr;
    return 0;
}

void OutputStream::Commit(int count)
{
    if (count != 0)
        throw std::logic_error("OutputStream::Commit without reserved room");
}

OutputStream &OutputStream::Target() const
{
    if (!target)
        ThrowEndOfData(String(L"The stream this one writes into has been destroyed"));
    return *target;
}

#define QVCORE_RAW_INSERTION(Type)                                      \
    OutputStream &OutputStream::operator<<(Type value)                  \
    {                                                                   \
        Write(reinterpret_cast<const char *>(&value), sizeof value);    \
        return *this;                                                   \
    }
QVCORE_RAW_INSERTION(bool)
QVCORE_RAW_INSERTION(char)
QVCORE_RAW_INSERTION(signed char)
QVCORE_RAW_INSERTION(unsigned char)
QVCORE_RAW_INSERTION(short)
QVCORE_RAW_INSERTION(unsigned short)
QVCORE_RAW_INSERTION(int)
QVCORE_RAW_INSERTION(unsigned int)
QVCORE_RAW_INSERTION(long)
QVCORE_RAW_INSERTION(unsigned long)
QVCORE_RAW_INSERTION(float)
QVCORE_RAW_INSERTION(const __int64 &)
QVCORE_RAW_INSERTION(const unsigned __int64 &)
QVCORE_RAW_INSERTION(double)
QVCORE_RAW_INSERTION(const _GUID &)
#undef QVCORE_RAW_INSERTION

OutputStream &OutputStream::operator<<(const char *value)
{
    // A null text is written as the empty text it stands for.
    int length = value ? checkedLength(std::strlen(value), 1) : 0;
    *this << length;
    Write(value, length);
    return *this;
}

OutputStream &OutputStream::operator<<(const std::string &value)
{
    int length = checkedLength(value.size(), 1);
    *this << length;
    Write(value.data(), length);
    return *this;
}

OutputStream &OutputStream::operator<<(const std::basic_string<unsigned short> &value)
{
    int length = checkedLength(value.size(), 2);
    *this << length;
    Write(reinterpret_cast<const char *>(value.data()), length);
    return *this;
}

// --- memory streams ------------------------------------------------------------------------

MemoryOutputStream::MemoryOutputStream() : OutputStream(nullptr) {}

MemoryOutputStream::~MemoryOutputStream() noexcept(false) {}

void MemoryOutputStream::Write(const char *data, int count)
{
    if (count > 0)
        content_.append(data, count);
}

std::string MemoryOutputStream::GetContent()
{
    Flush();
    return content_.toString();
}

MemoryInputStream::MemoryInputStream(const char *data, int size)
    : InputStream(nullptr), position_(data), remaining_(size)
{
}

MemoryInputStream::MemoryInputStream(const std::string &data)
    : InputStream(nullptr), position_(data.data()), remaining_(checkedLength(data.size(), 1))
{
}

MemoryInputStream::~MemoryInputStream() noexcept(false) {}

void MemoryInputStream::Read(char *buffer, int count)
{
    if (count > remaining_)
        ThrowEndOfData(String(L"Memory block too short"));
    if (count < 1)
        return;
    std::memcpy(buffer, position_, count);
    position_ += count;
    remaining_ -= count;
}

int MemoryInputStream::ReadSome(char *buffer, int count)
{
    if (count < 1)
        return 0;
    if (remaining_ < 1)
        ThrowEndOfData(String(L"Memory block too short"));
    if (count > remaining_)
        count = remaining_;
    Read(buffer, count);
    return count;
}

int MemoryInputStream::Peek(const char *&data)
{
    data = position_;
    return remaining_ > 0 ? remaining_ : 0;
}

void MemoryInputStream::Skip(int count)
{
    if (count > remaining_)
        ThrowEndOfData(String(L"Memory block too short"));
    if (count < 1)
        return;
    position_ += count;
    remaining_ -= count;
}

// --- memory blocks -------------------------------------------------------------------------

OutputStream &operator<<(OutputStream &stream, const MemoryBlock &block)
{
    stream << block.size();
    stream.Write(block, block.size());
    return stream;
}

InputStream &operator>>(InputStream &stream, MemoryBlock &block)
{
    int size;
    stream >> size;
    if (size < 0)
        StreamBase::ThrowMalformedData(String(L"Invalid block size"));
    if (size == 0)
        block.resize(0, false);
    readInPieces(stream, size, [&](int got, int grown) {
        block.resize(grown, /*keepContent=*/got > 0);
        return static_cast<char *>(block);
    });
    return stream;
}
