#include "qvcore/core/String.h"

#include "qvcore/core/StringUnits_p.h"

#include <algorithm>
#include <cwctype>
#include <stdexcept>
#include <wctype.h>

// String's own operations: construction, appending, comparison, substrings, editing, splitting
// and lines. Encodings are in StringEncoding.cpp, formatting in StringFormat.cpp and parsing in
// StringParse.cpp.

using namespace stringunits;

namespace {

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
