#ifndef QVCORE_FILES_FILEDATA_H
#define QVCORE_FILES_FILEDATA_H

#include "qvcore/Platform.h"
#include "qvcore/core/DateTime.h"
#include "qvcore/core/ScopedHandle.h"
#include "qvcore/core/String.h"

/// One directory entry as the system's find functions report it, names in UTF-16.
///
/// The layout is the system's wide find record, 592 bytes on every architecture, and the
/// whole record is what streams write and read: do not add fields. A cleared entry is all
/// zero bytes; copying copies all 592 bytes.
class QVCORE_API FileData {
public:
    /// A cleared entry.
    FileData();

    String GetFileName() const;
    /// The 8.3 name; empty when the system has none.
    String GetShortFileName() const;
    /// The long name from its last dot on (".txt"); empty without a dot.
    String GetFileExtension() const;
    unsigned long long GetFileSize() const;
    DateTime GetCreationTime() const;
    DateTime GetLastAccessTime() const;
    DateTime GetLastWriteTime() const;

    bool IsReadOnly() const { return (attributes_ & 0x1) != 0; }
    bool IsHidden() const { return (attributes_ & 0x2) != 0; }
    bool IsSystem() const { return (attributes_ & 0x4) != 0; }
    bool IsDirectory() const { return (attributes_ & 0x10) != 0; }
    bool IsArchived() const { return (attributes_ & 0x20) != 0; }
    bool IsCompressed() const { return (attributes_ & 0x800) != 0; }
    /// A link, junction or other reparse point: the recursive searches do not descend into
    /// one, since a link to a folder above it would make them loop.
    bool IsReparsePoint() const { return (attributes_ & 0x400) != 0; }
    /// A directory named "." or "..".
    bool IsDots() const;

    /// Equal attributes, names (ignoring case), sizes, and creation and last-write times as
    /// IsEqualFileTime() sees them; last-access times are not compared.
    bool operator==(const FileData &other) const;
    bool operator!=(const FileData &other) const { return !(*this == other); }

    /// True for identical times and for times one hour apart within a millisecond (the shift
    /// some file systems show across summer time). Only the low 32 bits of the difference are
    /// looked at, so one hour plus any multiple of 2^32 ticks (about 429.5 s) also counts as
    /// equal: kept for compatibility.
    static bool IsEqualFileTime(const DateTime &a, const DateTime &b);

    /// Zeroes every byte.
    void Clear();

protected:
    /// Takes over a record of the narrow find functions, names converted from the ANSI code
    /// page (cut to the fields' sizes).
    void Assign(const WIN32_FIND_DATAA &found);

private:
    unsigned long attributes_;
    FILETIME creationTime_;
    FILETIME lastAccessTime_;
    FILETIME lastWriteTime_;
    unsigned long sizeHigh_;
    unsigned long sizeLow_;
    unsigned long reserved0_;
    unsigned long reserved1_;
    unsigned short fileName_[260];
    unsigned short shortFileName_[14];

    friend struct FileDataLayout;
};

/// Enumerates the entries that match a wildcard pattern. The current entry is read through
/// the FileData operations; it is all zeros when there is none. Nothing here throws: a failed
/// start or the end of the search leaves the finder not valid.
class QVCORE_API FileFinder : public FileData {
public:
    /// Told about each file FindFilesRecursive() finds.
    class IFindCallback {
    public:
        /// dir is the directory searched, as handed to FindFilesRecursive() or built from it;
        /// false stops the whole walk.
        virtual bool OnFileFound(const String &dir, const String &fileName) = 0;

    protected:
        ~IFindCallback() {}
    };

    /// Not searching.
    FileFinder();
    /// Start(pattern, includeDots).
    FileFinder(const String &pattern, bool includeDots);
    /// Ends an open search.
    ~FileFinder();

    FileFinder(const FileFinder &) = delete;
    FileFinder &operator=(const FileFinder &) = delete;

    /// Ends any open search and begins one for pattern (a path whose last part may hold * and
    /// ?); with includeDots false the "." and ".." directories are skipped. True when an entry
    /// was found.
    bool Start(const String &pattern, bool includeDots);
    /// Moves to the next entry; false (and not valid) at the end.
    bool Next();
    bool IsValid() const { return valid_; }
    /// The current entry's path in the searched directory; empty when not valid.
    String GetFilePath() const;
    /// The current entry's name without extension; empty when not valid.
    String GetFileTitleA() const;
    // The system's GetFileTitle macro renames this member in clients: the W spelling and the
    // plain one lead to the narrow export.
    String GetFileTitleW() const { return GetFileTitleA(); }
#pragma push_macro("GetFileTitle")
#undef GetFileTitle
    String GetFileTitle() const { return GetFileTitleA(); }
#pragma pop_macro("GetFileTitle")
    /// The directory part of the pattern given to Start().
    String GetSearchPath() const;

    /// Walks dir for entries matching pattern: each matching file goes to the callback as
    /// (directory, name); each matching directory is walked the same way. The pattern filters
    /// directories too, so "*.txt" normally enters no sub-directory (kept for compatibility);
    /// use "*" to walk the whole tree. False as soon as the callback returns false.
    static bool FindFilesRecursive(const String &dir, const String &pattern, IFindCallback &callback);

private:
    void endSearch();

    bool valid_;
    bool includeDots_;
    String searchDir_;
    ScopedFindHandle handle_;
};

#endif
