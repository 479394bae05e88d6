#ifndef QVCORE_FILES_MEMORYMAPPEDFILE_H
#define QVCORE_FILES_MEMORYMAPPEDFILE_H

#include "qvcore/Platform.h"
#include "qvcore/core/ScopedHandle.h"
#include "qvcore/core/String.h"

/// Views of the system's file mappings (MapViewOfFile), released with UnmapViewOfFile.
struct MappedViewTraits {
    typedef void *Handle;
    static Handle Invalid() { return nullptr; }
    static void Close(Handle view) { UnmapViewOfFile(view); }
};
typedef ScopedHandle<MappedViewTraits> ScopedMappedView;

/// One range of an existing file mapped into memory, for reading or for reading and writing.
/// At most one view is mapped at a time: mapping a range releases the previous view.
///
/// A base class: derived classes give typed access to the mapped bytes (MemoryMappedFile below
/// is the one users instantiate). Nothing throws: a file that cannot be opened or mapped
/// leaves a closed object whose map() fails, and a failed map() leaves nothing mapped.
///
/// The file is opened without sharing for as long as the object lives, so no other handle,
/// of this process or another, can open it meanwhile. Writes through a writable view reach the
/// file through the system's cache; the size of the file never changes.
class QVCORE_API MemoryMappedFileBase {
public:
    MemoryMappedFileBase(const MemoryMappedFileBase &) = delete;
    MemoryMappedFileBase &operator=(const MemoryMappedFileBase &) = delete;

    /// Maps length bytes from offset (a negative length: up to the end of the file) and returns
    /// the number of bytes now available at the data pointer: at most what the file holds from
    /// offset. Returns 0 for a length of 0 at an offset inside the file, and for any offset
    /// with a length of 0 when the offset is outside it. Returns -1, with nothing mapped, for
    /// an offset outside the file (negative, or not below its size) with a non-zero length,
    /// for a count above 2,147,483,647 minus ten allocation granularities (views stay well
    /// below 2 GB; a shorter count is never substituted: map a large file range by range),
    /// for a closed object and when the system refuses the view. offset needs no alignment:
    /// the view starts at the granularity boundary below it and data points at offset itself.
    int map(long long offset, int length);

    /// The system's allocation granularity, the unit in which views start: asked of the
    /// system once per process and cached.
    static int pageSize();

protected:
    /// Opens the file named path (exactly converted to the ANSI code page) for reading, or
    /// reading and writing, without sharing and with the sequential-scan hint, reads its size
    /// and creates a mapping over the whole file. Any failure leaves the object closed (the
    /// thread's last error says why); nothing is thrown. An empty file cannot be mapped.
    MemoryMappedFileBase(const String &path, bool writable);
    /// unmap(true).
    ~MemoryMappedFileBase();

    /// Releases the current view and clears view, data and length. With closeAll the mapping
    /// and the file are closed too and the size set to 0: the object is closed for good.
    void unmap(bool closeAll);

    bool writable_;
    ScopedFileHandle file_;
    ScopedKernelHandle mapping_;
    ScopedMappedView view_;
    /// The byte asked for in the last successful map(), inside view_; null when none.
    char *data_;
    /// The number of bytes available at data_.
    int length_;
    /// The file's size when it was opened (0 when closed).
    long long fileSize_;
};

/// A file mapped range by range: the mapped-file class to instantiate.
///
///     MemoryMappedFile file(L"C:\\data\\big.bin");   // read-only
///     const int range = 64 << 20;
///     for (int n = file.map(0, range); n > 0; n = file.mapNext(range))
///         total += sum(file.data(), n);               // bytes file.offset() ... offset() + n
///
/// data() and view<T>() are valid until the next map(), mapNext() or unmap() and the object's
/// end. A view at an offset that is not a multiple of sizeof(T) gives unaligned T objects,
/// which x86 reads and writes correctly.
class QVCORE_API MemoryMappedFile : public MemoryMappedFileBase {
public:
    /// Opens and prepares the mapping; check isOpen() (openError() says why it failed).
    explicit MemoryMappedFile(const String &path, bool writable = false);
    ~MemoryMappedFile();

    /// As MemoryMappedFileBase::map(), and remembers offset for offset() and mapNext().
    int map(long long offset, int length);
    /// Maps up to length bytes from where the current view ends (after a failed or empty map,
    /// from the offset last asked for). 0 at the end of the file; -1 as map().
    int mapNext(int length);
    /// Releases the current view; the file stays open.
    void unmap() { MemoryMappedFileBase::unmap(false); }

    bool isOpen() const { return mapping_.valid(); }
    bool isWritable() const { return writable_; }
    /// The system error code of a failed opening; 0 when the file is open.
    unsigned long openError() const { return openError_; }
    /// The file's size when it was opened; 0 when it could not be opened.
    long long fileSize() const { return fileSize_; }

    /// The file offset of data(); the offset last asked for when nothing is mapped.
    long long offset() const { return offset_; }
    /// The number of bytes mapped at data() (0 when nothing is mapped).
    int length() const { return length_; }
    /// The mapped bytes, read-only; null when nothing is mapped.
    const char *data() const { return data_; }
    /// The mapped bytes for writing; null when nothing is mapped or the file is read-only
    /// (writing through a read-only view would fault).
    char *writableData() { return writable_ ? data_ : nullptr; }

    /// The mapped bytes as an array of count() T values (a last partial T is not counted).
    template <class T>
    const T *view() const
    {
        return reinterpret_cast<const T *>(data_);
    }
    /// The same for writing; null unless the file is writable.
    template <class T>
    T *writableView()
    {
        return reinterpret_cast<T *>(writableData());
    }
    template <class T>
    int count() const
    {
        return length_ / static_cast<int>(sizeof(T));
    }

    /// Asks the system to write the view's changed pages to the file now (they reach it in any
    /// case when the view is released). False when nothing is mapped or the system fails.
    bool flush();

private:
    unsigned long openError_;
    long long offset_;
};

#endif
