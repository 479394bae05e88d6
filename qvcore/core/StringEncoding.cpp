#include "qvcore/core/String.h"
#include "qvcore/core/StringUnits_p.h"

#include <algorithm>
#include <cstring>

// Text to and from code pages: the system's converters for every code page (UTF-8 decoding
// included), and String's own UTF-8 encoder, Latin-1 and ASCII.

using namespace stringunits;

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
    return SystemText::Encode(codePage, data(), size());
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
