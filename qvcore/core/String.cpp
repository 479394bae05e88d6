#include "qvcore/core/String.h"

#include "qvcore/runtime/ModuleBase.h"

#include <algorithm>
#include <clocale>
#include <cmath>
#include <cstdlib>
#include <cstring>
#include <limits>
#include <stdexcept>
#include <stdio.h>
#include <stdlib.h>
#include <wctype.h>

// strtod in <stdlib.h> is MinGW's own C99 parser; floating-point text is read with the C
// runtime's (msvcrt) parser, reached through its import.
extern "C" double(__cdecl *__MINGW_IMP_SYMBOL(strtod))(const char *, char **);

namespace {

typedef String::Base Base;
typedef unsigned short Unit;

const std::size_t kMaxLength = 2147483645u;

[[noreturn]] void throwTooLong()
{
    throw std::length_error("String: longer than 2147483645 units");
}

void checkLength(std::size_t length)
{
    if (length > kMaxLength)
        throwTooLong();
}

inline const wchar_t *wide(const Unit *s) { return reinterpret_cast<const wchar_t *>(s); }
inline wchar_t *wide(Unit *s) { return reinterpret_cast<wchar_t *>(s); }
inline const Unit *units(const wchar_t *s) { return reinterpret_cast<const Unit *>(s); }

std::size_t unitLength(const Unit *s)
{
    const Unit *end = s;
    while (*end)
        ++end;
    return static_cast<std::size_t>(end - s);
}

// --- the numeric-locale lock --------------------------------------------------------------

// Created when the library loads, before any other static object of the library can format.
class NumericLocaleLock {
public:
    NumericLocaleLock() { InitializeCriticalSection(&section_); }
    ~NumericLocaleLock() { DeleteCriticalSection(&section_); }
    NumericLocaleLock(const NumericLocaleLock &) = delete;
    NumericLocaleLock &operator=(const NumericLocaleLock &) = delete;
    void enter() { EnterCriticalSection(&section_); }
    void leave() { LeaveCriticalSection(&section_); }

private:
    CRITICAL_SECTION section_;
};

NumericLocaleLock numericLocaleLock __attribute__((init_priority(101)));

// Holds the lock with the C runtime's numeric locale set to "C" for its lifetime, then
// restores the previous locale. Switching costs microseconds under some runtimes, so an
// already "C" locale is left alone.
class CNumericLocale {
public:
    CNumericLocale() : saved_(nullptr)
    {
        numericLocaleLock.enter();
        const char *current = setlocale(LC_NUMERIC, nullptr);
        if (current && std::strcmp(current, "C") != 0) {
            saved_ = _strdup(current);
            setlocale(LC_NUMERIC, "C");
        }
    }
    ~CNumericLocale()
    {
        if (saved_) {
            setlocale(LC_NUMERIC, saved_);
            std::free(saved_);
        }
        numericLocaleLock.leave();
    }
    CNumericLocale(const CNumericLocale &) = delete;
    CNumericLocale &operator=(const CNumericLocale &) = delete;

private:
    char *saved_;
};

// --- code-page encoding ------------------------------------------------------------------

// Multibyte() for any code page but UTF-8, over units that need not belong to a String.
std::string encodeUnits(unsigned int codePage, const Unit *text, std::size_t size)
{
    if (size == 0)
        return std::string();
    int length = static_cast<int>(size);
    std::size_t bound = 3 * size + 1;
    int capacity = bound > 0x7FFFFFFF ? 0x7FFFFFFF : static_cast<int>(bound);
    std::string result(static_cast<std::size_t>(capacity), '\0');
    int count = WideCharToMultiByte(codePage, 0, wide(text), length, &result[0], capacity, nullptr, nullptr);
    if ((count == 0 && GetLastError() == ERROR_INSUFFICIENT_BUFFER) || count >= capacity) {
        int needed = WideCharToMultiByte(codePage, 0, wide(text), length, nullptr, 0, nullptr, nullptr);
        if (needed <= 0)
            return std::string();
        result.resize(static_cast<std::size_t>(needed));
        count = WideCharToMultiByte(codePage, 0, wide(text), length, &result[0], needed, nullptr, nullptr);
    }
    if (count <= 0)
        return std::string();
    result.resize(static_cast<std::size_t>(count));
    return result;
}

inline std::string ansi(const Base &text) { return encodeUnits(CP_ACP, text.data(), text.size()); }

// --- system buffers -----------------------------------------------------------------------

// Frees a buffer that the system message formatter allocated.
class LocalBuffer {
public:
    LocalBuffer() : text(nullptr) {}
    ~LocalBuffer()
    {
        if (text)
            LocalFree(text);
    }
    LocalBuffer(const LocalBuffer &) = delete;
    LocalBuffer &operator=(const LocalBuffer &) = delete;
    char *text;
};

// Message formatting from an ANSI format string (allocate buffer, from string).
String formatMessageAnsi(const std::string &format, va_list *args)
{
    LocalBuffer buffer;
    DWORD length = ::FormatMessageA(FORMAT_MESSAGE_ALLOCATE_BUFFER | FORMAT_MESSAGE_FROM_STRING, format.c_str(), 0,
                                  0, reinterpret_cast<LPSTR>(&buffer.text), 0, args);
    if (!length || !buffer.text)
        return String();
    return String::FromSystemMultibyte(buffer.text, static_cast<int>(length));
}

// Stands in for an argument list with no arguments: any insert reads zeros instead of
// whatever lies on the stack.
const void *const kNoArguments[256] = {};

const Unit kCrLf[] = {13, 10, 0};

template <class T>
String joinParts(const T &parts, const String &separator)
{
    // Summed with a check at each step: many parts with a long separator would wrap a 32-bit
    // size before the total could be compared with the limit.
    std::size_t total = 0;
    bool first = true;
    for (const String &part : parts) {
        std::size_t step = part.size() + (first ? 0 : separator.size());
        if (step > kMaxLength || total > kMaxLength - step)
            throwTooLong();
        total += step;
        first = false;
    }
    String result;
    result.reserve(total);
    first = true;
    for (const String &part : parts) {
        if (!first)
            result.append(separator);
        result.append(part);
        first = false;
    }
    return result;
}

// The digit value of a unit judged by its low 8 bits, or 99 when it is no digit.
inline unsigned digitValue(Unit unit)
{
    unsigned c = unit & 0xFF;
    if (c >= '0' && c <= '9')
        return c - '0';
    if (c >= 'a' && c <= 'z')
        return c - 'a' + 10;
    if (c >= 'A' && c <= 'Z')
        return c - 'A' + 10;
    return 99;
}

inline bool isBlank(Unit unit) { return unit == ' ' || unit == '\t'; }

// The integer parser shared by the 32- and 64-bit forms; U is the unsigned accumulator.
template <class U>
bool parseInteger(const Base &text, int radix, U &result)
{
    result = 0;
    if (radix < 2 || radix > 36)
        return false;
    const Unit *p = text.data();
    const Unit *end = p + text.size();
    while (p != end && isBlank(*p))
        ++p;
    bool negative = false;
    if (p != end && (*p == '+' || *p == '-')) {
        negative = *p == '-';
        ++p;
    }
    U value = 0;
    for (; p != end; ++p) {
        unsigned digit = digitValue(*p);
        if (digit == 99)
            break;
        if (digit >= static_cast<unsigned>(radix))
            return false;
        U next = static_cast<U>(value * static_cast<U>(radix) + digit);
        if (next < value)
            return false;
        value = next;
    }
    // Trailing blanks are accepted only after a value beyond the signed range: kept for
    // compatibility with existing callers.
    const U signedMax = std::numeric_limits<U>::max() / 2;
    if (value > (negative ? signedMax + 1 : signedMax)) {
        while (p != end && isBlank(*p))
            ++p;
    }
    if (p != end)
        return false;
    result = negative ? static_cast<U>(0 - value) : value;
    return true;
}

}  // namespace

// --- construction and assignment ----------------------------------------------------------

String::String() {}

String::String(const unsigned short *s)
{
    if (s) {
        std::size_t n = unitLength(s);
        checkLength(n);
        assign(s, n);
    }
}

String::String(const unsigned short *s, unsigned int n)
{
    checkLength(n);
    if (s && n)
        assign(s, n);
}

String::String(const String &other) : Base(other) {}

String::String(const Base &other) : Base(other) {}

String::String(const Base &s, unsigned int pos, unsigned int n) : Base(s, pos, n) {}

String::String(const MemoryArray<unsigned short> &a)
{
    if (a.data() && a.count() > 0)
        assign(a.data(), static_cast<std::size_t>(a.count()));
}

String::String(const wchar_t *s) : String(units(s)) {}

String::String(const char16_t *s) : String(reinterpret_cast<const Unit *>(s)) {}

String::String(String &&other) noexcept : Base(std::move(other)) {}

String::~String() {}

String &String::operator=(const unsigned short *s)
{
    return *this = String(s);
}

String &String::operator=(const MemoryArray<unsigned short> &a)
{
    return *this = String(a);
}

String &String::operator=(const String &other)
{
    Base::operator=(other);
    return *this;
}

String &String::operator=(String &&other) noexcept
{
    Base::operator=(std::move(other));
    return *this;
}

// --- appending ----------------------------------------------------------------------------

String &String::operator<<(const String &s)
{
    checkLength(size() + s.size());
    append(s);
    return *this;
}

String &String::operator<<(const unsigned short *s)
{
    if (s) {
        std::size_t n = unitLength(s);
        checkLength(size() + n);
        append(s, n);
    }
    return *this;
}

String &String::operator<<(int value)
{
    return *this << FromNum(value, 10);
}

String &String::operator<<(const __int64 &value)
{
    return *this << FromNum(value, 10);
}

String &String::operator<<(double value)
{
    return *this << FromFormat(units(L"%lf"), value);
}

String &String::operator<<(const GUID &value)
{
    return *this << FromGUID(value);
}

// --- encodings ----------------------------------------------------------------------------

String String::FromMultibyte(unsigned int codePage, const char *s, int len)
{
    // -1 alone means "up to the zero byte": any other negative length is a caller's mistake.
    if (!s || len < -1)
        return String();
    if (len == -1)
        len = static_cast<int>(std::min<std::size_t>(std::strlen(s), 0x7FFFFFFF));
    if (len <= 0)
        return String();
    // One unit per byte is enough for almost every code page; the system is asked for the
    // exact size only when it is not.
    int capacity = len < 0x7FFFFFFF ? len + 1 : len;
    // Short texts are decoded on the stack and copied once into a string of the exact size.
    if (capacity <= 1024) {
        wchar_t buffer[1024];
        int count = MultiByteToWideChar(codePage, 0, s, len, buffer, capacity);
        if (count > 0 && count < capacity)
            return String(units(buffer), static_cast<unsigned int>(count));
    }
    String result;
    result.resize(static_cast<std::size_t>(capacity));
    int count = MultiByteToWideChar(codePage, 0, s, len, wide(&result[0]), capacity);
    if ((count == 0 && GetLastError() == ERROR_INSUFFICIENT_BUFFER) || count >= capacity) {
        int needed = MultiByteToWideChar(codePage, 0, s, len, nullptr, 0);
        if (needed <= 0)
            return String();
        checkLength(static_cast<std::size_t>(needed));
        result.resize(static_cast<std::size_t>(needed));
        count = MultiByteToWideChar(codePage, 0, s, len, wide(&result[0]), needed);
    }
    if (count <= 0)
        return String();
    checkLength(static_cast<std::size_t>(count));
    result.resize(static_cast<std::size_t>(count));
    return result;
}

String String::FromMultibyte(unsigned int codePage, const std::string &s)
{
    if (s.size() > 0x7FFFFFFF)
        throw std::length_error("String: narrow text longer than 2147483647 bytes");
    return FromMultibyte(codePage, s.data(), static_cast<int>(s.size()));
}

std::string String::Multibyte(unsigned int codePage) const
{
    if (codePage == CP_UTF8)
        return Utf8();
    return encodeUnits(codePage, data(), size());
}

String String::FromSystemMultibyte(const char *s, int len)
{
    return FromMultibyte(CP_ACP, s, len);
}

String String::FromSystemMultibyte(const std::string &s)
{
    return FromMultibyte(CP_ACP, s);
}

std::string String::SystemMultibyte() const
{
    return Multibyte(CP_ACP);
}

String String::FromUtf8(const char *s, int len)
{
    return FromMultibyte(CP_UTF8, s, len);
}

String String::FromUtf8(const std::string &s)
{
    return FromMultibyte(CP_UTF8, s);
}

std::string String::Utf8() const
{
    std::size_t length = 0;
    for (Unit unit : *this)
        length += unit < 0x80 ? 1 : unit < 0x800 ? 2 : 3;
    std::string result(length, '\0');
    char *out = &result[0];
    for (Unit unit : *this) {
        if (unit < 0x80) {
            *out++ = static_cast<char>(unit);
        } else if (unit < 0x800) {
            *out++ = static_cast<char>(0xC0 | (unit >> 6));
            *out++ = static_cast<char>(0x80 | (unit & 0x3F));
        } else {
            // Surrogates too, each by itself: kept for compatibility with stored data.
            *out++ = static_cast<char>(0xE0 | (unit >> 12));
            *out++ = static_cast<char>(0x80 | ((unit >> 6) & 0x3F));
            *out++ = static_cast<char>(0x80 | (unit & 0x3F));
        }
    }
    return result;
}

String String::FromLatin1(const char *s, int len)
{
    if (!s || len < -1)
        return String();
    std::size_t n = len == -1 ? std::strlen(s) : static_cast<std::size_t>(len);
    checkLength(n);
    String result;
    result.resize(n);
    for (std::size_t i = 0; i < n; ++i)
        result[i] = static_cast<unsigned char>(s[i]);
    return result;
}

String String::FromLatin1(const std::string &s)
{
    checkLength(s.size());
    return FromLatin1(s.data(), static_cast<int>(s.size()));
}

std::string String::Latin1() const
{
    std::string result(size(), '\0');
    for (std::size_t i = 0; i < size(); ++i)
        result[i] = (*this)[i] <= 0xFF ? static_cast<char>((*this)[i]) : '?';
    return result;
}

std::string String::Ascii() const
{
    std::string result(size(), '\0');
    for (std::size_t i = 0; i < size(); ++i)
        result[i] = (*this)[i] <= 0x7F ? static_cast<char>((*this)[i]) : '?';
    return result;
}

// --- formatting ---------------------------------------------------------------------------

String String::FromFormat(const unsigned short *fmt, ...)
{
    va_list args;
    va_start(args, fmt);
    String result = FromFormatV(fmt, args);
    va_end(args);
    return result;
}

String String::FromFormat(const Base &fmt, ...)
{
    va_list args;
    va_start(args, fmt);
    String result = FromFormatV(fmt.c_str(), args);
    va_end(args);
    return result;
}

String String::FromFormatV(const unsigned short *fmt, va_list args)
{
    if (!fmt)
        return String();
    CNumericLocale cLocale;
    // Almost every text fits the first buffer, which lives on the stack.
    wchar_t first[2048];
    va_list attempt;
    va_copy(attempt, args);
    int count = _vsnwprintf(first, 2048, wide(fmt), attempt);
    va_end(attempt);
    if (count >= 0)
        return String(units(first), static_cast<unsigned int>(count));

    std::size_t capacity = 4096;
    std::vector<wchar_t> buffer;
    for (;;) {
        // Doubling past the longest string could never give a valid result.
        checkLength(capacity / 2);
        buffer.resize(capacity);
        va_copy(attempt, args);
        count = _vsnwprintf(buffer.data(), capacity, wide(fmt), attempt);
        va_end(attempt);
        if (count >= 0)
            break;
        capacity *= 2;
    }
    checkLength(static_cast<std::size_t>(count));
    return String(units(buffer.data()), static_cast<unsigned int>(count));
}

String String::FromFormatV(const Base &fmt, va_list args)
{
    return FromFormatV(fmt.c_str(), args);
}

String String::FromFormat(ModuleBase *module, unsigned int id, ...)
{
    va_list args;
    va_start(args, id);
    String result = FromFormatV(module, id, args);
    va_end(args);
    return result;
}

String String::FromFormatV(ModuleBase *module, unsigned int id, va_list args)
{
    if (!module)
        return String();
    return FromFormatV(module->LoadString(id, 0, -1), args);
}

String &String::Format(const unsigned short *fmt, ...)
{
    va_list args;
    va_start(args, fmt);
    *this = FromFormatV(fmt, args);
    va_end(args);
    return *this;
}

String &String::Format(const Base &fmt, ...)
{
    va_list args;
    va_start(args, fmt);
    *this = FromFormatV(fmt.c_str(), args);
    va_end(args);
    return *this;
}

String String::FromFormatMessage(const unsigned short *fmt, ...)
{
    va_list args;
    va_start(args, fmt);
    String result = FromFormatMessageV(fmt, args);
    va_end(args);
    return result;
}

String String::FromFormatMessage(const Base &fmt, ...)
{
    va_list args;
    va_start(args, fmt);
    String result = FromFormatMessageV(fmt, args);
    va_end(args);
    return result;
}

String String::FromFormatMessageV(const unsigned short *fmt, va_list args)
{
    if (!fmt)
        return String();
    return FromFormatMessageV(Base(fmt), args);
}

String String::FromFormatMessageV(const Base &fmt, va_list args)
{
    va_list copy;
    va_copy(copy, args);
    String result = formatMessageAnsi(ansi(fmt), &copy);
    va_end(copy);
    return result;
}

String String::FromFormatMessage(ModuleBase *module, unsigned int id, ...)
{
    va_list args;
    va_start(args, id);
    String result = FromFormatMessageV(module, id, args);
    va_end(args);
    return result;
}

String String::FromFormatMessageV(ModuleBase *module, unsigned int id, va_list args)
{
    if (!module)
        return String();
    return FromFormatMessageV(module->LoadString(id, 0, -1), args);
}

String &String::FormatMessage(ModuleBase *module, unsigned int id, ...)
{
    va_list args;
    va_start(args, id);
    *this = FromFormatMessageV(module, id, args);
    va_end(args);
    return *this;
}

String &String::LoadString(unsigned int id, int firstLine, int lastLine, ModuleBase *module)
{
    *this = module ? module->LoadString(id, firstLine, lastLine) : String();
    return *this;
}

void String::AddMessage(ModuleBase *module, String &text, unsigned int id)
{
    if (id == 0) {
        text << kCrLf;
        return;
    }
    String message;
    if (module) {
        va_list none = reinterpret_cast<va_list>(const_cast<void **>(kNoArguments));
        message = formatMessageAnsi(module->LoadString(id, 0, -1).SystemMultibyte(), &none);
    }
    if (!text.empty())
        text << kCrLf;
    text << message;
}

String String::FromError(unsigned long code)
{
    LocalBuffer buffer;
    DWORD length = ::FormatMessageA(FORMAT_MESSAGE_ALLOCATE_BUFFER | FORMAT_MESSAGE_IGNORE_INSERTS |
                                      FORMAT_MESSAGE_FROM_SYSTEM,
                                  nullptr, code, MAKELANGID(LANG_NEUTRAL, SUBLANG_DEFAULT),
                                  reinterpret_cast<LPSTR>(&buffer.text), 0, nullptr);
    if (!length || !buffer.text)
        return String();
    String text = FromSystemMultibyte(buffer.text, static_cast<int>(length));
    size_type lineFeed = text.find(10);
    if (lineFeed != npos)
        text.erase(lineFeed);
    return text;
}

String String::FromChar(unsigned short ch, int count)
{
    if (count < 0)
        throw std::length_error("String::FromChar: negative count");
    checkLength(static_cast<std::size_t>(count));
    String result;
    result.assign(static_cast<std::size_t>(count), ch);
    return result;
}

// The C runtime rejects a radix outside 2 to 36 through its invalid-parameter handler, which
// ends the process: such a radix gives an empty string instead.
String String::FromNum(int value, int radix)
{
    if (radix < 2 || radix > 36)
        return String();
    wchar_t text[72];
    return String(units(_itow(value, text, radix)));
}

String String::FromNum(unsigned int value, int radix)
{
    if (radix < 2 || radix > 36)
        return String();
    wchar_t text[72];
    return String(units(_ultow(value, text, radix)));
}

String String::FromNum(__int64 value, int radix)
{
    if (radix < 2 || radix > 36)
        return String();
    wchar_t text[72];
    return String(units(_i64tow(value, text, radix)));
}

String String::FromNum(unsigned __int64 value, int radix)
{
    if (radix < 2 || radix > 36)
        return String();
    wchar_t text[72];
    return String(units(_ui64tow(value, text, radix)));
}

String String::FromGUID(const GUID &guid)
{
    wchar_t text[39];
    int count = StringFromGUID2(guid, text, 39);
    return count > 0 ? String(units(text), static_cast<unsigned int>(count)) : String();
}

String String::FromDate(const SYSTEMTIME &time, bool longForm)
{
    DWORD flags = (longForm ? DATE_LONGDATE : DATE_SHORTDATE) | LOCALE_USE_CP_ACP;
    int size = GetDateFormatA(LOCALE_USER_DEFAULT, flags, &time, nullptr, nullptr, 0);
    if (size <= 0)
        return String();
    std::string text(static_cast<std::size_t>(size), '\0');
    size = GetDateFormatA(LOCALE_USER_DEFAULT, flags, &time, nullptr, &text[0], size);
    // The count includes the terminating zero.
    return size > 0 ? FromSystemMultibyte(text.data(), size - 1) : String();
}

String String::FromTime(const SYSTEMTIME &time, bool withSeconds)
{
    DWORD flags = (withSeconds ? 0 : TIME_NOSECONDS) | LOCALE_USE_CP_ACP;
    int size = GetTimeFormatA(LOCALE_USER_DEFAULT, flags, &time, nullptr, nullptr, 0);
    if (size <= 0)
        return String();
    std::string text(static_cast<std::size_t>(size), '\0');
    size = GetTimeFormatA(LOCALE_USER_DEFAULT, flags, &time, nullptr, &text[0], size);
    return size > 0 ? FromSystemMultibyte(text.data(), size - 1) : String();
}

// --- parsing ------------------------------------------------------------------------------

bool String::ParseNum(int &value, int radix) const
{
    unsigned int raw = 0;
    bool ok = parseInteger(*this, radix, raw);
    value = static_cast<int>(raw);
    return ok;
}

bool String::ParseNum(unsigned int &value, int radix) const
{
    return parseInteger(*this, radix, value);
}

bool String::ParseNum(__int64 &value, int radix) const
{
    unsigned __int64 raw = 0;
    bool ok = parseInteger(*this, radix, raw);
    value = static_cast<__int64>(raw);
    return ok;
}

bool String::ParseNum(unsigned __int64 &value, int radix) const
{
    return parseInteger(*this, radix, value);
}

bool String::ParseNum(double &value) const
{
    value = 0;
    size_type at = 0;
    while (at < size() && isBlank((*this)[at]))
        ++at;
    std::string text;
    for (; at < size() && !isBlank((*this)[at]); ++at) {
        Unit unit = (*this)[at];
        if (unit > 127)
            return false;
        text += static_cast<char>(unit >= 'A' && unit <= 'Z' ? unit - 'A' + 'a' : unit);
    }
    if (text == "inf" || text == "+inf") {
        value = std::numeric_limits<double>::infinity();
        return true;
    }
    if (text == "-inf") {
        value = -std::numeric_limits<double>::infinity();
        return true;
    }
    if (text == "nan") {
        value = std::numeric_limits<double>::quiet_NaN();
        return true;
    }
    if (text.empty())
        return false;
    char *end = nullptr;
    double parsed;
    {
        CNumericLocale cLocale;
        parsed = __MINGW_IMP_SYMBOL(strtod)(text.c_str(), &end);
    }
    if (end != text.c_str() + text.size())
        return false;
    value = parsed;
    return true;
}

bool String::ParseNum(float &value) const
{
    double parsed = 0;
    bool ok = ParseNum(parsed);
    value = static_cast<float>(parsed);
    return ok;
}

bool String::ParseGUID(GUID &guid) const
{
    if (CLSIDFromString(const_cast<LPOLESTR>(wide(c_str())), &guid) == S_OK)
        return true;
    guid = GUID();
    return false;
}

// --- comparison ---------------------------------------------------------------------------

namespace {

int compareStrings(const String &a, const Base &b, int n, DWORD flags)
{
    std::size_t lengthA = a.size(), lengthB = b.size();
    if (n >= 0) {
        lengthA = std::min<std::size_t>(lengthA, static_cast<std::size_t>(n));
        lengthB = std::min<std::size_t>(lengthB, static_cast<std::size_t>(n));
    }
    std::size_t common = std::min(lengthA, lengthB);
    if (std::equal(a.data(), a.data() + common, b.data()))
        return static_cast<int>(static_cast<long long>(lengthA) - static_cast<long long>(lengthB));
    std::string narrowA = ansi(a);
    std::string narrowB = ansi(b);
    return CompareStringA(LOCALE_USER_DEFAULT, flags, narrowA.data(), static_cast<int>(narrowA.size()),
                          narrowB.data(), static_cast<int>(narrowB.size())) -
           2;
}

}  // namespace

int String::Compare(const Base &other, int n) const
{
    return compareStrings(*this, other, n, 0);
}

int String::CompareNoCase(const Base &other, int n) const
{
    return compareStrings(*this, other, n, NORM_IGNORECASE);
}

bool String::LocaleLess::operator()(const String &a, const String &b) const
{
    return a.Compare(b, -1) < 0;
}

// --- substrings and editing ---------------------------------------------------------------

String String::Left(int n) const
{
    if (n < 0 || static_cast<size_type>(n) >= size())
        return *this;
    return String(*this, 0, static_cast<unsigned int>(n));
}

String String::Right(int n) const
{
    if (n < 0 || static_cast<size_type>(n) >= size())
        return *this;
    const Unit *tail = data() + size() - n;
    return String(tail, static_cast<unsigned int>(std::find(tail, tail + n, 0) - tail));
}

String String::Mid(int start, int count) const
{
    if (start < 0 || static_cast<size_type>(start) > size())
        throw std::out_of_range("String::Mid: start beyond the end");
    return String(substr(static_cast<size_type>(start), count < 0 ? npos : static_cast<size_type>(count)));
}

namespace {

String mapCase(const String &text, DWORD mapping)
{
    if (text.empty())
        return String();
    std::string narrow = text.SystemMultibyte();
    int length = static_cast<int>(narrow.size());
    int size = LCMapStringA(LOCALE_USER_DEFAULT, mapping, narrow.data(), length, nullptr, 0);
    if (size <= 0)
        return text;
    std::string mapped(static_cast<std::size_t>(size), '\0');
    size = LCMapStringA(LOCALE_USER_DEFAULT, mapping, narrow.data(), length, &mapped[0], size);
    if (size <= 0)
        return text;
    return String::FromSystemMultibyte(mapped.data(), size);
}

}  // namespace

String String::LowerCase() const
{
    return mapCase(*this, LCMAP_LOWERCASE);
}

String String::UpperCase() const
{
    return mapCase(*this, LCMAP_UPPERCASE);
}

String &String::Insert(int pos, unsigned short ch, int count)
{
    if (pos < 0 || static_cast<size_type>(pos) > size())
        throw std::out_of_range("String::Insert: position beyond the end");
    if (count < 0)
        throw std::length_error("String::Insert: negative count");
    checkLength(size() + static_cast<size_type>(count));
    insert(static_cast<size_type>(pos), static_cast<size_type>(count), ch);
    return *this;
}

int String::Remove(unsigned short ch)
{
    int last = -1;
    size_type kept = 0;
    for (size_type i = 0; i < size(); ++i) {
        if ((*this)[i] == ch)
            last = static_cast<int>(kept);  // where the unit stood once the earlier ones were gone
        else
            (*this)[kept++] = (*this)[i];
    }
    resize(kept);
    return last;
}

namespace {

template <class InSet>
String trimUnits(const String &text, bool left, bool right, InSet inSet)
{
    std::size_t start = 0, end = text.size();
    if (left) {
        while (start < end && inSet(text[start]))
            ++start;
        if (start == end)
            return String();
    }
    if (right) {
        while (end > start && inSet(text[end - 1]))
            --end;
    }
    return String(text.data() + start, static_cast<unsigned int>(end - start));
}

}  // namespace

String String::Trim(bool left, bool right) const
{
    return trimUnits(*this, left, right, [](Unit unit) { return iswspace(unit) != 0; });
}

String String::Trim(const Base &set, bool left, bool right) const
{
    return trimUnits(*this, left, right, [&set](Unit unit) { return set.find(unit) != npos; });
}

String String::Trim(unsigned short ch, bool left, bool right) const
{
    return trimUnits(*this, left, right, [ch](Unit unit) { return unit == ch; });
}

String &String::Replace(const Base &find, Base with, int count)
{
    if (count == -1 || count == -2)
        count = static_cast<int>(size());
    if (count <= 0)
        return *this;
    // Built in one pass: the text after the current position is the original's tail, so
    // searching the original from the matching place gives the same occurrences.
    String result;
    size_type pos = 0;
    for (int done = 0; done < count; ++done) {
        size_type found = this->find(find, pos);
        if (found == npos)
            break;
        checkLength(result.size() + (found - pos) + with.size() + (size() - found - find.size()));
        result.append(*this, pos, found - pos);
        result.append(with);
        pos = found + find.size();
    }
    result.append(*this, pos, npos);
    swap(result);
    return *this;
}

// --- splitting, joining and lines ---------------------------------------------------------

std::list<String> String::Split(const String &delimiters, bool keepEmpty, int maxParts) const
{
    std::list<String> parts;
    std::size_t count = 0;
    size_type pos = 0;
    for (;;) {
        size_type found = find_first_of(delimiters, pos);
        if (found == npos)
            break;
        if (found == pos && !keepEmpty) {
            pos = found + 1;
            continue;
        }
        if (maxParts != 0 && static_cast<long long>(count) == static_cast<long long>(maxParts) - 1)
            break;
        parts.push_back(String(data() + pos, static_cast<unsigned int>(found - pos)));
        ++count;
        pos = found + 1;
    }
    if (pos < size() || (keepEmpty && count > 0))
        parts.push_back(String(data() + pos, static_cast<unsigned int>(size() - pos)));
    return parts;
}

std::list<String> String::Split(unsigned short delimiter, bool keepEmpty, int maxParts) const
{
    return Split(String(&delimiter, 1), keepEmpty, maxParts);
}

String String::Join(const std::list<String> &parts, String separator)
{
    return joinParts(parts, separator);
}

String String::Join(const std::vector<String> &parts, String separator)
{
    return joinParts(parts, separator);
}

String String::GetLines(const unsigned short *text, int length, int firstLine, int lastLine)
{
    if (!text)
        return String();
    std::size_t total = length < 0 ? unitLength(text) : static_cast<std::size_t>(length);
    const Unit *end = text + total;
    if (firstLine < 1 && lastLine < 0)
        return String(text, static_cast<unsigned int>(total));
    if (firstLine >= 0 && lastLine >= 0 && firstLine > lastLine)
        return String();

    const Unit *start = text;
    if (firstLine < 0) {
        int k = lastLine < 2 ? 1 : lastLine;
        for (const Unit *p = end; p != text;) {
            if (*--p == 10 && --k == 0) {
                start = p + 1;
                break;
            }
        }
        return String(start, static_cast<unsigned int>(end - start));
    }
    for (int skipped = 0; skipped < firstLine; ++skipped) {
        start = std::find(start, end, 10);
        if (start == end)
            return String();
        ++start;
    }
    const Unit *stop = end;
    if (lastLine >= 0) {
        stop = start;
        for (int line = firstLine; line <= lastLine && stop != end; ++line) {
            stop = std::find(stop, end, 10);
            if (stop != end && line < lastLine)
                ++stop;
        }
    }
    return String(start, static_cast<unsigned int>(stop - start));
}

String String::GetLines(int firstLine, int lastLine) const
{
    return GetLines(data(), static_cast<int>(size()), firstLine, lastLine);
}
