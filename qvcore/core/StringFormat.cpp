#include "qvcore/core/NumericLocale_p.h"
#include "qvcore/core/ScopedHandle.h"
#include "qvcore/core/String.h"
#include "qvcore/core/StringUnits_p.h"

#include <cstdarg>
#include <stdio.h>
#include <stdlib.h>
#include <vector>

// Text made from values: printf-style formatting under the numeric locale "C", the system's
// message formatter, resource texts, error texts, numbers, GUIDs, dates and times.

using namespace stringunits;

namespace {

// The system message formatter's own allocation (FORMAT_MESSAGE_ALLOCATE_BUFFER) as text in the
// ANSI code page; empty when the formatter failed.
String allocatedText(const ScopedLocalMemory &buffer, DWORD length)
{
    if (!length || !buffer)
        return String();
    return String::FromSystemMultibyte(static_cast<const char *>(buffer.get()), static_cast<int>(length));
}

// Message formatting from an ANSI format string (allocate buffer, from string).
String formatMessageAnsi(const std::string &format, va_list *args)
{
    ScopedLocalMemory buffer;
    DWORD length = ::FormatMessageA(FORMAT_MESSAGE_ALLOCATE_BUFFER | FORMAT_MESSAGE_FROM_STRING, format.c_str(), 0,
                                    0, reinterpret_cast<LPSTR>(buffer.receive()), 0, args);
    return allocatedText(buffer, length);
}

}  // namespace

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
    // Almost every text fits the first buffer, which lives on the stack.
    wchar_t first[2048];
    va_list attempt;
    va_copy(attempt, args);
    int count = _vsnwprintf_l(first, 2048, wide(fmt), ClassicNumericLocale(), attempt);
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
        count = _vsnwprintf_l(buffer.data(), capacity, wide(fmt), ClassicNumericLocale(), attempt);
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

String String::FromError(unsigned long code)
{
    ScopedLocalMemory buffer;
    DWORD length = ::FormatMessageA(FORMAT_MESSAGE_ALLOCATE_BUFFER | FORMAT_MESSAGE_IGNORE_INSERTS |
                                        FORMAT_MESSAGE_FROM_SYSTEM,
                                    nullptr, code, MAKELANGID(LANG_NEUTRAL, SUBLANG_DEFAULT),
                                    reinterpret_cast<LPSTR>(buffer.receive()), 0, nullptr);
    String text = allocatedText(buffer, length);
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
