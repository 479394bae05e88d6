#ifndef QVCORE_FILES_FILE_H
#define QVCORE_FILES_FILE_H

#include "qvcore/Platform.h"
#include "qvcore/core/DateTime.h"
#include "qvcore/core/NotCopyable.h"
#include "qvcore/core/String.h"
#include "qvcore/core/ScopedHandle.h"

#include <string>

/// One open disk file, and the library's file-system helpers.
///
/// Every name reaches the system through its narrow ("A") functions: a String is converted to
/// the ANSI code page right before each call and every returned path is converted back, so
/// characters outside the ANSI code page cannot be used in names. The conversion is exact: a
/// name with such a character fails as a missing file does (error 2) and never reaches a file
/// whose name looks alike.
///
/// Instance operations throw File::Exception (the system's error code and its text) when a
/// system call fails; the object then keeps its handle and path. Static helpers never throw
/// on system failures: tests give false, paths an empty String, sizes 0.
class QVCORE_API File : public NotCopyable {
public:
    /// A failed system call: its error code and the system's text for it (String::FromError).
    struct Exception {
        unsigned long code;
        String message;
    };

    /// A closed file.
    File();
    /// Create() with the same arguments; a failure leaves the object closed and propagates.
    File(const String &name, unsigned access, unsigned share, bool inheritable, unsigned disposition,
         unsigned flags);
    /// Closes the file.
    virtual ~File();

    // --- opening and closing ----------------------------------------------------------------

    /// Opens or creates name: access, share, disposition and flags go to the system's
    /// CreateFile unchanged; inheritable makes the handle inheritable by child processes.
    /// A handle already held is not closed (close first). On success the stored path is
    /// GetFullPath(name), or name itself where the system opens a name it cannot expand; on
    /// failure the handle is invalid and File::Exception is thrown.
    void Create(const String &name, unsigned access, unsigned share, bool inheritable, unsigned disposition,
                unsigned flags);
    /// The same as Create().
    void Open(const String &name, unsigned access, unsigned share, bool inheritable, unsigned disposition,
              unsigned flags);
    /// Create() with generic read access. Note the order of the arguments.
    void OpenForReading(const String &name, unsigned share, unsigned disposition, bool inheritable, unsigned flags);
    /// Create() with generic read and write access, arguments as OpenForReading().
    void OpenForReadWrite(const String &name, unsigned share, unsigned disposition, bool inheritable, unsigned flags);
    /// Closes the handle and empties the path; nothing happens on a closed file.
    void Close();
    bool IsValid() const;

    // --- data ---------------------------------------------------------------------------------

    /// Reads up to count bytes into buffer; the number read (less at the end of the file).
    /// A count of 0 returns 0 without asking the system.
    unsigned long Read(char *buffer, unsigned long count);
    /// Replaces out with up to count bytes read in one call; a count of 0 leaves out untouched.
    unsigned long Read(std::string &out, unsigned long count);
    /// Reads, in one call, as many bytes as the whole file holds (at most 0xFFFFFFFF), from the
    /// current position: out gets what is there up to the end.
    unsigned long Read(std::string &out);
    /// One system write of count bytes (even for 0); the number written.
    unsigned long Write(const char *data, unsigned long count);
    unsigned long Write(const std::string &data);
    /// Flushes the system's buffers to disk.
    void Flush();

    // --- position, size, times, locks ---------------------------------------------------------

    /// Moves the file pointer by offset from the beginning (origin 0), the current position (1)
    /// or the end (2); the new position.
    long long SetFilePos(long long offset, int origin);
    long long GetFilePos() const;
    unsigned long long GetFileSize() const;
    /// Reads the three times; a null pointer skips that time.
    void GetFileTimes(DateTime *creation, DateTime *lastAccess, DateTime *lastWrite) const;
    /// Sets the given times; a null pointer leaves that time unchanged.
    void SetFileTimes(const DateTime *creation, const DateTime *lastAccess, const DateTime *lastWrite);
    /// Locks or unlocks length bytes from offset. Both numbers are split into the system's two
    /// 32-bit halves as value / 0xFFFFFFFF and value % 0xFFFFFFFF (kept for compatibility: the
    /// halves differ from the bit halves from 0xFFFFFFFF on). On the Windows 9x family the high
    /// half of the offset is only its sign (0 or all ones).
    void LockRegion(long long offset, long long length);
    void UnlockRegion(long long offset, long long length);
    /// Locks or unlocks from 0 over the current size of the file.
    void Lock();
    void Unlock();

    // --- the stored full path -----------------------------------------------------------------

    String GetFilePath() const;
    /// The name with its extension (the same as GetBasename()).
    String GetFileName() const;
    String GetBasename() const;
    String GetDirname() const;
    String GetFileExtension() const;
    String GetFileTitleA() const;
    String GetShortPath() const;

    // --- path text (no file-system access) ----------------------------------------------------

    /// Everything before the last backslash; "." without one; a drive root as it is; a file on
    /// a drive root gives the root with its backslash ("C:\x" gives "C:\").
    static String GetDirname(const String &path);
    /// The part after the last backslash (a leading "X:" dropped), "\" for a drive root. When
    /// ext is given, its length in units is cut from the end without checking that the name
    /// ends in it (a name equal to ext is kept whole); a name shorter than ext throws
    /// std::length_error. Pass the extension the name is known to have.
    static String GetBasename(const String &path, const String &ext);
    /// dir and name joined by exactly one backslash; onto a drive root the name is appended as
    /// it is; a name starting with one backslash goes onto dir's drive ("C:\a" + "\b" is "C:\b").
    static String MakePath(const String &dir, const String &name);
    /// The basename from its last dot on (".txt"); empty without a dot.
    static String GetFileExtension(const String &path);
    /// The basename without its extension.
    static String GetFileTitleA(const String &path);
    /// path without the extension found after its last backslash (from the last dot on). ext is
    /// the extension the caller expects; it is not checked.
    static String CutExtension(const String &path, const String &ext = String());
    /// CutExtension(path) followed by newExt as given (include its dot).
    static String SwitchExtension(const String &path, const String &newExt);
    /// Exactly three units: a letter, ':' and '\'.
    static bool IsDriveRoot(const String &path);
    /// Starts with a letter, ':' and '\', or with two backslashes.
    static bool IsPathAbsolute(const String &path);
    /// Replaces each of < > : " / \ | ? * in name by replacement: for bare names, not paths.
    static void CleanFilename(String &name, unsigned short replacement);
    /// path shortened with an ellipsis by the shell to at most maxChars characters; a path that
    /// fits already is returned as it is.
    static String CompactPath(const String &path, unsigned maxChars);

    // --- file system (never throw) ------------------------------------------------------------

    /// True when the path exists (a directory counts).
    static bool FileExists(const String &path);
    static bool IsDirectory(const String &path);
    /// The size of the file the path finds (wildcards allowed: the first match); 0 for a
    /// directory or when nothing is found.
    static unsigned long long GetFileSize(const String &path);
    /// The size of a file, or the sum over every file in a directory tree.
    static unsigned long long GetSizeRecursive(const String &path);
    static String GetFullPath(const String &path);
    /// The 8.3 form of an existing path; empty when it does not exist.
    static String GetShortPath(const String &path);
    /// One spelling per existing file: the long path with the case stored on disk. Empty when
    /// the file does not exist.
    static String GetCanonicalPath(const String &path);
    /// Creates the directory when nothing exists at path; true when path is a directory.
    static bool CreateDirectoryA(const String &path);
    /// Creates every missing directory along path; true when the whole path is a directory.
    static bool CreatePath(const String &path);
    /// Deletes the file; failures are ignored.
    static void DeleteFileA(const String &path);
    /// The full path of the temporary directory, with its trailing backslash.
    static String GetTempDirectory();
    /// The user's application-data folder, created when missing.
    static String GetApplicationDataDirectory();
    /// The user's application-data folder whatever folder is given (folder is not used, kept
    /// for compatibility); create and owner go to the shell.
    static String GetSpecialFolderPath(int folder, bool create, HWND owner);
    /// Creates a new empty file "TMPxxxx.tmp" in dir (the temporary directory when dir is
    /// empty) and returns its path.
    static String GetTempFilePath(const String &dir);
    /// A path in dir that does not exist yet: name, a dot, a number formatted with format
    /// ("%04d" when null), ext. A name ending in ".<digits>" is continued from those digits
    /// ("a.0007" tries "a.0007" first); a name of digits only is a bare number. counter, when
    /// given, holds the first number to try and receives the one after the number used. Invalid
    /// name characters become '_'. Nothing is created. Empty when no name can be found because
    /// the directory cannot be searched (counter then unchanged).
    static String GetNextFilePath(const String &dir, const String &name, const String &ext, unsigned *counter,
                                  const wchar_t *format);
    /// A path in dir that does not exist yet: name up to its last dot, ten random digits, ext.
    /// Reseeds the C runtime's random generator with the time in seconds. Empty as above.
    static String GetRandomFilePath(const String &dir, const String &name, const String &ext);
    /// True when the volume holding path reports the file system "NTFS".
    static bool IsNTFSPath(const String &path);
    /// The system's drive type of path's root (of the current drive when path has none).
    static unsigned GetDriveTypeA(const String &path);

    // The system's A/W macros rename GetFileTitle, CreateDirectory, DeleteFile and
    // GetDriveType in clients: the W spellings (UNICODE clients) and the plain ones (clients
    // that undefine a macro) lead to the narrow exports above.
    String GetFileTitleW() const { return GetFileTitleA(); }
    static String GetFileTitleW(const String &path) { return GetFileTitleA(path); }
    static bool CreateDirectoryW(const String &path) { return CreateDirectoryA(path); }
    static void DeleteFileW(const String &path) { DeleteFileA(path); }
    static unsigned GetDriveTypeW(const String &path) { return GetDriveTypeA(path); }
#pragma push_macro("GetFileTitle")
#pragma push_macro("CreateDirectory")
#pragma push_macro("DeleteFile")
#pragma push_macro("GetDriveType")
#undef GetFileTitle
#undef CreateDirectory
#undef DeleteFile
#undef GetDriveType
    String GetFileTitle() const { return GetFileTitleA(); }
    static String GetFileTitle(const String &path) { return GetFileTitleA(path); }
    static bool CreateDirectory(const String &path) { return CreateDirectoryA(path); }
    static void DeleteFile(const String &path) { DeleteFileA(path); }
    static unsigned GetDriveType(const String &path) { return GetDriveTypeA(path); }
#pragma pop_macro("GetDriveType")
#pragma pop_macro("DeleteFile")
#pragma pop_macro("CreateDirectory")
#pragma pop_macro("GetFileTitle")

protected:
    /// The system handle, for the file streams; INVALID_HANDLE_VALUE when closed.
    HANDLE GetHandle() const { return handle_.get(); }

    // The file streams read and write the handle of a File they are given (without owning it).
    friend class FileStream;
    friend class FileInputStream;
    friend class FileOutputStream;

private:
    void lockOrUnlock(long long offset, long long length, bool lock);

    String path_;
    ScopedFileHandle handle_;
};

#endif
