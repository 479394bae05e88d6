#ifndef QVCORE_CORE_MEMORYBLOCK_H
#define QVCORE_CORE_MEMORYBLOCK_H

#include "qvcore/Platform.h"

#include <string>
#include <vector>

// Raw byte buffers from the C run-time heap.
//
// Shared rules of every type in this header:
// - A negative size or length is a caller error and is rejected with std::invalid_argument
//   before anything changes.
// - A failed allocation throws std::bad_alloc; the object keeps its previous state.
// - None of them is safe for concurrent use from several threads (reference counts are
//   plain integers).

/// A buffer with one owner and a fixed, resizable size. Not copyable.
class QVCORE_API MemoryBlock {
public:
    /// Empty: null data, size 0.
    MemoryBlock();
    /// size uninitialised bytes; size 0 gives null data.
    explicit MemoryBlock(int size);
    /// size bytes, each set to fill (zero-filled straight from the heap when fill is 0).
    MemoryBlock(int size, char fill);
    ~MemoryBlock();

    MemoryBlock(const MemoryBlock &) = delete;
    MemoryBlock &operator=(const MemoryBlock &) = delete;

    /// The bytes, or null when the block is empty. The block keeps ownership.
    operator char *() { return data_; }
    operator const char *() const { return data_; }
    int size() const { return size_; }

    /// Size 0 frees the bytes. Without keepContent the old bytes are always dropped and a new
    /// uninitialised buffer is taken, even for an unchanged size; with keepContent the first
    /// min(old, new) bytes are kept.
    void resize(int size, bool keepContent);

protected:
    char *data_;
    int size_;
};

/// The typed form of MemoryBlock: a count of T elements in the same two fields (the size
/// stays counted in bytes). Header only.
template <class T>
class MemoryArray : public MemoryBlock {
public:
    MemoryArray() {}
    explicit MemoryArray(int count) : MemoryBlock(byteSize(count)) {}

    /// Resizes to count elements (keepContent as MemoryBlock::resize).
    void resize(int count, bool keepContent = true) { MemoryBlock::resize(byteSize(count), keepContent); }

    T *data() { return reinterpret_cast<T *>(data_); }
    const T *data() const { return reinterpret_cast<const T *>(data_); }
    /// The element count: the byte size divided by the element size.
    int count() const { return size_ / static_cast<int>(sizeof(T)); }

private:
    static int byteSize(int count)
    {
        // An element count whose byte size cannot be held is as much a caller error as a
        // negative one: MemoryBlock rejects the negative value this yields.
        return count > 0x7FFFFFFF / static_cast<int>(sizeof(T)) ? -1 : count * static_cast<int>(sizeof(T));
    }
};

namespace NewMemoryBlock {

/// A shared, reference-counted buffer with copy-on-write: copies share the bytes until one of
/// them asks for the writable view.
class QVCORE_API MemoryBlock {
public:
    /// A null handle (no bytes, size 0).
    MemoryBlock();
    /// size uninitialised bytes with count 1; a size of 0 or below gives a null handle.
    explicit MemoryBlock(int size);
    MemoryBlock(const MemoryBlock &other);
    ~MemoryBlock();
    MemoryBlock &operator=(const MemoryBlock &other);

    /// The shared bytes for reading, or null for a null handle.
    operator const char *() const;
    /// The bytes for writing: a handle that shares its bytes first takes a private copy.
    operator char *();
    /// The size, 0 for a null handle.
    int size() const;
    /// Resizes, keeping the first min(old, new) bytes; a shared handle moves to a private copy
    /// and the other handles keep the old bytes. Size 0 makes the handle null.
    void resize(int size);

    /// Number of handles sharing the bytes (0 for a null handle).
    int shareCount() const;

private:
    struct Rep {
        int refs;
        char *data;
        int size;
    };
    static Rep *newRep(int size);
    void release();

    Rep *rep_;
};

}  // namespace NewMemoryBlock

/// A growable buffer made of chunks that are never moved: appending never copies what is
/// already stored. Not copyable.
class QVCORE_API MemoryBlockVector {
public:
    MemoryBlockVector();
    ~MemoryBlockVector();

    MemoryBlockVector(const MemoryBlockVector &) = delete;
    MemoryBlockVector &operator=(const MemoryBlockVector &) = delete;

    /// Appends length bytes: fills the spare tail of the last chunk, then adds chunks of
    /// 4096, 8192, 16384 or 32768 bytes (the smallest that holds the rest) or 65536 bytes while
    /// more than 32768 bytes remain.
    void append(const char *data, int length);

    /// Always 0: the total is not maintained by append (callers that depend on this take the
    /// length of the content from toString()).
    int size() const { return total_; }

    /// The whole content, chunk by chunk (embedded zero bytes kept).
    std::string toString();
    /// Copies the whole content to destination, which the caller makes large enough.
    void toMemory(char *destination) const;

    /// Number of chunks and the capacity of one of them (index in order of addition), for
    /// callers that size their own buffers from the layout.
    int chunkCount() const;
    int chunkCapacity(int index) const;

private:
    struct Chunk {
        int capacity;
        char *data;
    };
    int usedBytes(std::size_t index) const;

    std::vector<Chunk> *chunks_;
    int total_;
    int free_;
};

#endif
