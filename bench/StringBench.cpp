// ns per call of String operations beside the bare call each one builds on.

#include "qvcore/core/String.h"

#include <algorithm>
#include <cstdarg>
#include <cstdio>
#include <cwchar>
#include <list>
#include <string>
#include <vector>

namespace {

volatile std::size_t sink;  // keeps results alive so that nothing is optimised away

double nowSeconds()
{
    static LARGE_INTEGER frequency = [] {
        LARGE_INTEGER f;
        QueryPerformanceFrequency(&f);
        return f;
    }();
    LARGE_INTEGER counter;
    QueryPerformanceCounter(&counter);
    return static_cast<double>(counter.QuadPart) / static_cast<double>(frequency.QuadPart);
}

// ns per call of f over about 8 ms.
template <class F>
double measure(F f)
{
    long long calls = 0;
    double start = nowSeconds(), elapsed = 0;
    while (elapsed < 0.008) {
        for (int i = 0; i < 100; ++i)
            f();
        calls += 100;
        elapsed = nowSeconds() - start;
    }
    return elapsed * 1e9 / static_cast<double>(calls);
}

// The two sides are measured in alternating rounds and each keeps its best round, so that
// load from other processes on the machine disturbs both alike.
template <class F, class G>
void row(const char *name, const char *reference, F library, G bare)
{
    for (int i = 0; i < 100; ++i) {
        library();
        bare();
    }
    double ours = 1e300, base = 1e300;
    for (int round = 0; round < 10; ++round) {
        ours = std::min(ours, measure(library));
        base = std::min(base, measure(bare));
    }
    std::printf("%-30s %9.1f ns   %-34s %9.1f ns   %5.2fx\n", name, ours, reference, base, ours / base);
}

int bareFormat(wchar_t *buffer, std::size_t size, const wchar_t *fmt, ...)
{
    va_list args;
    va_start(args, fmt);
    int count = _vsnwprintf(buffer, size, fmt, args);
    va_end(args);
    return count;
}

}  // namespace

int main()
{
    std::printf("%-30s %12s   %-34s %12s   %6s\n", "String operation", "time", "bare call", "time", "ratio");
    wchar_t wide[2048];
    const String formatInt(L"%d"), formatDouble(L"%lf");
    row("FromFormat(\"%d\")", "_vsnwprintf \"%d\"",
        [&] { sink = String::FromFormat(formatInt.c_str(), 123456).size(); },
        [&] { sink = bareFormat(wide, 2048, L"%d", 123456); });
    row("FromFormat(\"%lf\")", "_vsnwprintf \"%lf\"",
        [&] { sink = String::FromFormat(formatDouble.c_str(), 3.14159).size(); },
        [&] { sink = bareFormat(wide, 2048, L"%lf", 3.14159); });

    std::wstring longWide;
    for (int i = 0; i < 20; ++i)
        longWide += L"Gr\u00fc\u00dfe aus K\u00f6ln, caf\u00e9 ";
    String text(longWide.c_str());
    std::string utf8 = text.Utf8(), ansi = text.SystemMultibyte();
    std::vector<char> narrowOut(4 * text.size() + 1);
    std::vector<wchar_t> wideOut(utf8.size() + 1);
    std::printf("(texts of %zu units, %zu UTF-8 bytes)\n", text.size(), utf8.size());
    row("Utf8()", "WideCharToMultiByte(65001)", [&] { sink = text.Utf8().size(); },
        [&] {
            sink = WideCharToMultiByte(CP_UTF8, 0, longWide.data(), static_cast<int>(longWide.size()), narrowOut.data(),
                                       static_cast<int>(narrowOut.size()), nullptr, nullptr);
        });
    row("FromUtf8", "MultiByteToWideChar(65001)", [&] { sink = String::FromUtf8(utf8).size(); },
        [&] {
            sink = MultiByteToWideChar(CP_UTF8, 0, utf8.data(), static_cast<int>(utf8.size()), wideOut.data(),
                                       static_cast<int>(wideOut.size()));
        });
    row("FromSystemMultibyte", "MultiByteToWideChar(CP_ACP)", [&] { sink = String::FromSystemMultibyte(ansi).size(); },
        [&] {
            sink = MultiByteToWideChar(CP_ACP, 0, ansi.data(), static_cast<int>(ansi.size()), wideOut.data(),
                                       static_cast<int>(wideOut.size()));
        });

    String same = text, other = text;
    other[other.size() / 2] = 'X';
    std::string otherAnsi = other.SystemMultibyte();
    row("Compare (equal)", "wcscmp", [&] { sink = static_cast<std::size_t>(text.Compare(same)); },
        [&] { sink = static_cast<std::size_t>(std::wcscmp(longWide.c_str(), longWide.c_str() + 0)); });
    row("Compare (differ)", "CompareStringA", [&] { sink = static_cast<std::size_t>(text.Compare(other)); },
        [&] {
            sink = static_cast<std::size_t>(CompareStringA(LOCALE_USER_DEFAULT, 0, ansi.data(), static_cast<int>(ansi.size()),
                                                           otherAnsi.data(), static_cast<int>(otherAnsi.size())));
        });

    row("Split(' ')", "wcschr loop into std::list", [&] { sink = text.Split(' ').size(); },
        [&] {
            std::list<std::wstring> parts;
            const wchar_t *at = longWide.c_str();
            for (const wchar_t *found; (found = std::wcschr(at, L' ')) != nullptr; at = found + 1)
                if (found != at)
                    parts.emplace_back(at, found);
            if (*at)
                parts.emplace_back(at);
            sink = parts.size();
        });
    row("Replace(\"a\", \"ae\")", "wcsstr loop into std::wstring",
        [&] {
            String copy = text;
            sink = copy.Replace(String(L"a"), String(L"ae")).size();
        },
        [&] {
            std::wstring out;
            const wchar_t *at = longWide.c_str();
            for (const wchar_t *found; (found = std::wcsstr(at, L"a")) != nullptr; at = found + 1)
                out.append(at, found).append(L"ae");
            out.append(at);
            sink = out.size();
        });
    return 0;
}
