#ifndef QVCORE_CORE_STRING_H
#define QVCORE_CORE_STRING_H

#include "qvcore/Platform.h"
#include "qvcore/core/MemoryBlock.h"

#include <cstdarg>
#include <list>
#include <string>
#include <vector>

class ModuleBase;

/// The library's text type: UTF-16 units in a standard string of unsigned 16-bit units, with
/// conversions, formatting, parsing, comparison and editing for the Windows setting.
///
/// - Adds no data members: any std::basic_string<unsigned short> converts to String and back.
/// - Lengths and positions count 16-bit units. The longest string has 2,147,483,645 units;
///   longer results raise std::length_error.
/// - Only std::length_error and std::out_of_range (positions beyond the end) are thrown.
///   Failed system conversions give an empty string, failed parses false and a zero value.
/// - Narrow text (std::string, char*) is in the system ANSI code page unless a code page is
///   named; every system call is made through the narrow ("A") functions.
class QVCORE_API String : public std::basic_string<unsigned short> {
public:
    typedef std::basic_string<unsigned short> Base;

    /// Orders by Compare(): the ordering of sorted containers keyed by String.
    struct QVCORE_API LocaleLess {
        bool operator()(const String &a, const String &b) const;
    };

    // --- construction and assignment ------------------------------------------------------

    String();
    /// Units of s up to its terminating zero.
    String(const unsigned short *s);
    /// Exactly n units from s, zero units included.
    String(const unsigned short *s, unsigned int n);
    String(const String &other);
    String(const Base &other);
    /// At most n units of s from pos; pos beyond the length of s throws std::out_of_range.
    String(const Base &s, unsigned int pos, unsigned int n);
    /// size()/2 units from a's data.
    String(const MemoryArray<unsigned short> &a);
    /// Wide and UTF-16 literals (L"..." and u"..."), up to the terminating zero.
    String(const wchar_t *s);
    String(const char16_t *s);
    String(String &&other) noexcept;
    ~String();

    String &operator=(const unsigned short *s);
    String &operator=(const MemoryArray<unsigned short> &a);
    String &operator=(const String &other);
    String &operator=(String &&other) noexcept;

    // --- appending (in place; each returns the string) -------------------------------------

    String &operator<<(const String &s);
    String &operator<<(const unsigned short *s);
    String &operator<<(int value);                // FromNum(value, 10)
    String &operator<<(const __int64 &value);     // FromNum(value, 10)
    String &operator<<(double value);             // "%lf": six decimals, always a "."
    String &operator<<(const GUID &value);        // FromGUID, including its trailing zero unit

    // --- encodings -------------------------------------------------------------------------

    /// Decodes len bytes (-1: up to the zero byte) from the code page; invalid bytes are what
    /// the system decoder makes of them.
    static String FromMultibyte(unsigned int codePage, const char *s, int len = -1);
    static String FromMultibyte(unsigned int codePage, const std::string &s);
    /// Encodes to the code page (65001 goes to Utf8()); unmappable units become the code page's
    /// default character.
    std::string Multibyte(unsigned int codePage) const;
    static String FromSystemMultibyte(const char *s, int len = -1);
    static String FromSystemMultibyte(const std::string &s);
    std::string SystemMultibyte() const;
    static String FromUtf8(const char *s, int len = -1);
    static String FromUtf8(const std::string &s);
    /// Each unit encoded by itself: surrogates become 3-byte sequences each.
    std::string Utf8() const;
    static String FromLatin1(const char *s, int len = -1);
    static String FromLatin1(const std::string &s);
    /// Units above 255 become "?".
    std::string Latin1() const;
    /// Units above 127 become "?".
    std::string Ascii() const;

    // --- formatting ------------------------------------------------------------------------

    /// printf-style through the C runtime's wide formatter ("%s" takes a wide string, "%S" a
    /// narrow one, "%I64d" a 64-bit integer), with the numeric locale "C".
    static String FromFormat(const unsigned short *fmt, ...);
    static String FromFormat(const Base &fmt, ...);
    static String FromFormatV(const unsigned short *fmt, va_list args);
    static String FromFormatV(const Base &fmt, va_list args);
    /// The format is the whole text of string resource id of module (empty for a null module).
    static String FromFormat(ModuleBase *module, unsigned int id, ...);
    static String FromFormatV(ModuleBase *module, unsigned int id, va_list args);
    /// Assigns FromFormatV(fmt, ...) and returns the string.
    String &Format(const unsigned short *fmt, ...);
    String &Format(const Base &fmt, ...);

    /// Message-style (%1, %2!d!, ...) through the system's narrow message formatter: a plain
    /// string insert takes a narrow string. Empty when the formatter fails.
    static String FromFormatMessage(const unsigned short *fmt, ...);
    static String FromFormatMessage(const Base &fmt, ...);
    static String FromFormatMessageV(const unsigned short *fmt, va_list args);
    static String FromFormatMessageV(const Base &fmt, va_list args);
    static String FromFormatMessage(ModuleBase *module, unsigned int id, ...);
    static String FromFormatMessageV(ModuleBase *module, unsigned int id, va_list args);
    // FormatMessage and LoadString are names the system's headers turn into ...A or ...W. The
    // library exports the narrow names; the wide names, and the plain ones where a client has
    // undefined the macros, lead to them, so clients link whether or not they define UNICODE.

    /// Assigns FromFormatMessageV(module, id, ...) and returns the string.
    String &FormatMessageA(ModuleBase *module, unsigned int id, ...);
    String &FormatMessageW(ModuleBase *module, unsigned int id, ...)
    {
        va_list args;
        va_start(args, id);
        *this = FromFormatMessageV(module, id, args);
        va_end(args);
        return *this;
    }

    /// Assigns lines firstLine to lastLine (as GetLines) of string resource id of module (empty
    /// for a null module).
    String &LoadStringA(unsigned int id, int firstLine, int lastLine, ModuleBase *module);
    String &LoadStringW(unsigned int id, int firstLine, int lastLine, ModuleBase *module)
    {
        return LoadStringA(id, firstLine, lastLine, module);
    }
#pragma push_macro("FormatMessage")
#pragma push_macro("LoadString")
#undef FormatMessage
#undef LoadString
    String &FormatMessage(ModuleBase *module, unsigned int id, ...)
    {
        va_list args;
        va_start(args, id);
        *this = FromFormatMessageV(module, id, args);
        va_end(args);
        return *this;
    }
    String &LoadString(unsigned int id, int firstLine, int lastLine, ModuleBase *module)
    {
        return LoadStringA(id, firstLine, lastLine, module);
    }
#pragma pop_macro("LoadString")
#pragma pop_macro("FormatMessage")
    /// Appends the message of string resource id to text on a new line ("\r\n" alone for id 0).
    static void AddMessage(ModuleBase *module, String &text, unsigned int id);
    /// The system's text for a Win32 error code, first line only (a trailing CR stays);
    /// empty for an unknown code.
    static String FromError(unsigned long code);

    /// count copies of ch; a negative count (such as -1) throws std::length_error.
    static String FromChar(unsigned short ch, int count = 1);
    /// Lower-case digits; a minus sign only for negative signed values in radix 10 (other radixes
    /// write the two's-complement bits). A radix outside 2 to 36 gives an empty string.
    static String FromNum(int value, int radix = 10);
    static String FromNum(unsigned int value, int radix = 10);
    static String FromNum(__int64 value, int radix = 10);
    static String FromNum(unsigned __int64 value, int radix = 10);
    /// "{XXXXXXXX-XXXX-XXXX-XXXX-XXXXXXXXXXXX}" plus a zero unit: 39 units.
    static String FromGUID(const GUID &guid);
    /// The user's date format (long or short form); empty on failure.
    static String FromDate(const SYSTEMTIME &time, bool longForm = false);
    /// The user's time format, seconds only when withSeconds; empty on failure.
    static String FromTime(const SYSTEMTIME &time, bool withSeconds = true);

    // --- parsing: true and the value, or false and zero ------------------------------------

    /// Leading blanks, an optional sign, digits of the radix (2 to 36; a unit counts by its low
    /// 8 bits), then the end. Trailing blanks are accepted only after a value beyond the signed
    /// range ("12 " fails, "4000000000 " parses). Blanks or a sign alone parse as 0; values
    /// beyond the signed range wrap in the signed forms.
    bool ParseNum(int &value, int radix = 10) const;
    bool ParseNum(unsigned int &value, int radix = 10) const;
    bool ParseNum(__int64 &value, int radix = 10) const;
    bool ParseNum(unsigned __int64 &value, int radix = 10) const;
    /// Decimal with "." whatever the locale, "inf", "+inf", "-inf", "nan", or the C runtime's
    /// own texts for them, which the "%lf" formatting here writes ("1.#INF00", "-1.#IND00",
    /// "1.#QNAN0"); text after the first blank is ignored.
    bool ParseNum(double &value) const;
    bool ParseNum(float &value) const;
    /// On failure the GUID is all zeros.
    bool ParseGUID(GUID &guid) const;

    // --- comparison ------------------------------------------------------------------------

    /// Equal leading units decide by length difference (any integer); otherwise the user
    /// locale's order: -1, 0 or +1 (-2 when the system call fails). n >= 0 compares at most the
    /// first n units in the quick test.
    int Compare(const Base &other, int n = -1) const;
    int CompareNoCase(const Base &other, int n = -1) const;

    // --- substrings and editing ------------------------------------------------------------

    /// The first n units; n negative or not less than the length: the whole string.
    String Left(int n) const;
    /// The last n units up to the first zero unit among them; n negative or not less than the
    /// length: the whole string.
    String Right(int n) const;
    /// count units from start (-1: to the end); start beyond the length throws std::out_of_range.
    String Mid(int start, int count = -1) const;
    /// Mapped through the ANSI code page and the user locale; an unchanged copy on failure.
    String LowerCase() const;
    String UpperCase() const;
    /// Inserts count copies of ch before pos, in place; pos beyond the length throws
    /// std::out_of_range.
    String &Insert(int pos, unsigned short ch, int count = 1);
    /// Removes every ch; returns the position at which the last one was found, or -1.
    int Remove(unsigned short ch);
    /// Without leading (left) and/or trailing (right) white space (iswspace), units of set, or ch.
    String Trim(bool left = true, bool right = true) const;
    String Trim(const Base &set, bool left = true, bool right = true) const;
    String Trim(unsigned short ch, bool left = true, bool right = true) const;
    /// Character literals: without these, Trim('-') would be ambiguous with Trim(bool, bool).
    String Trim(char ch, bool left = true, bool right = true) const
    {
        return Trim(static_cast<unsigned short>(static_cast<unsigned char>(ch)), left, right);
    }
    String Trim(wchar_t ch, bool left = true, bool right = true) const
    {
        return Trim(static_cast<unsigned short>(ch), left, right);
    }
    /// Replaces up to count occurrences left to right, never searching inserted text. count -1
    /// (or -2) is the string's length: every occurrence of a non-empty find; an empty find
    /// matches at the current position, so "abc" with find "" and with "x" gives "xxxabc".
    String &Replace(const Base &find, Base with, int count = -1);

    // --- splitting, joining and lines ------------------------------------------------------

    /// Any unit of delimiters separates; maxParts 0 means no limit, otherwise the last part
    /// holds the rest.
    std::list<String> Split(const String &delimiters, bool keepEmpty = false, int maxParts = 0) const;
    std::list<String> Split(unsigned short delimiter, bool keepEmpty = false, int maxParts = 0) const;
    static String Join(const std::list<String> &parts, String separator);
    static String Join(const std::vector<String> &parts, String separator);
    /// Lines firstLine to lastLine, separated by line feeds (kept CRs) and numbered from 0.
    /// firstLine below 1 with a negative lastLine: the whole text. A negative firstLine: the last
    /// max(lastLine, 1) lines. A negative lastLine: to the end. Lines past the text: empty.
    /// A negative length reads text up to its terminating zero.
    static String GetLines(const unsigned short *text, int length, int firstLine, int lastLine);
    String GetLines(int firstLine, int lastLine) const;
};

#endif
