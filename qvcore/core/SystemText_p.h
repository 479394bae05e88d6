#ifndef QVCORE_CORE_SYSTEMTEXT_P_H
#define QVCORE_CORE_SYSTEMTEXT_P_H

// Private to the library (not installed), shared by every layer: the two patterns every narrow
// system call repeats, written once.
// - Code-page conversion of UTF-16 units to bytes, allocating or into the caller's buffer.
// - The "ask the size, then fill" loop of the system's text queries, for each of the two
//   conventions by which those functions say that a buffer was too small.

#include "qvcore/Platform.h"
#include "qvcore/core/String.h"

#include <cstddef>
#include <string>
#include <vector>

namespace SystemText {

/// count units of text in codePage (any code page but UTF-8's own encoder, which String
/// keeps), allocated to the exact size. Empty when the system cannot convert them.
std::string Encode(unsigned codePage, const unsigned short *text, std::size_t count);

/// The same conversion into buffer (capacity bytes), for callers that must not allocate:
/// the number of bytes written, or 0 when they do not fit or the conversion fails (call
/// Encode then).
int EncodeInto(unsigned codePage, const unsigned short *text, int count, char *buffer, int capacity);

/// path in the ANSI code page for the narrow file functions, converted exactly: no best-fit
/// mapping ("ａ" would become "a", another existing name) and no default character ("?", which
/// the find functions take as a wildcard). False, out empty, when a character has no exact
/// counterpart; the caller then fails as for a file that does not exist.
bool EncodePath(const String &path, std::string &out);

/// EncodePath for callers that report failure through the last error: true with out set, or
/// false with the last error ERROR_FILE_NOT_FOUND (ERROR_PATH_NOT_FOUND would name a folder).
bool EncodePathOrFail(const String &path, std::string &out);

/// How a narrow system text query says that the buffer it was given is too small.
enum class SizeConvention {
    /// On success the length without the terminating zero; when the buffer is too small, the
    /// size needed including the zero. GetFullPathName, GetShortPathName, GetLongPathName,
    /// GetTempPath, GetEnvironmentVariable, GetCurrentDirectory.
    NeededOnShortage,
    /// Fills what fits and returns the buffer's size when the text was cut, without saying how
    /// much is needed (older systems do not even set an error). GetModuleFileName.
    TruncatedToBuffer,
};

/// Calls query(char *buffer, DWORD size) with a buffer that starts at MAX_PATH bytes and grows
/// as the convention says until the answer fits. True with the text (without its zero) in out;
/// false when the query returns 0 (the system failed, or the text is empty) or a size no
/// buffer can hold, out then empty.
template <class QueryFunction>
bool Query(QueryFunction query, SizeConvention convention, std::string &out)
{
    // Text the system hands out never exceeds 32,767 characters (its longest paths and
    // environment values); a size beyond this is an answer no buffer should be made for.
    const DWORD kLimit = 0x10000;
    std::vector<char> buffer(MAX_PATH);
    out.clear();
    for (;;) {
        DWORD size = static_cast<DWORD>(buffer.size());
        DWORD answer = query(buffer.data(), size);
        if (answer == 0)
            return false;
        if (answer < size) {
            out.assign(buffer.data(), answer);
            return true;
        }
        DWORD next = convention == SizeConvention::NeededOnShortage && answer > size ? answer : 2 * size;
        if (next > kLimit)
            return false;
        buffer.resize(next);
    }
}

/// Query() with the text converted from the ANSI code page; empty on failure.
template <class QueryFunction>
String QueryString(QueryFunction query, SizeConvention convention)
{
    std::string text;
    if (!Query(query, convention, text))
        return String();
    return String::FromSystemMultibyte(text);
}

/// The full path of a loaded module; empty for a null module or on failure.
String ModuleFileName(HMODULE module);

/// The allocation base of the memory region holding address: for code or data of a module, its
/// handle. Null when the address lies in no allocated region.
HMODULE ModuleOfAddress(const void *address);

}  // namespace SystemText

#endif
