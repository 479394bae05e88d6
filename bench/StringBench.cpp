// ns per call of String operations beside the bare call each one builds on.

#include "bench/Bench.h"
#include "qvcore/core/String.h"

#include <cstdarg>
#include <cstdio>
#include <cwchar>
#include <list>
#include <string>
#include <vector>

namespace {

volatile std::size_t sink;  // keeps results alive so that nothing is optimised away

// ns per call of f over about 8 ms.
template <class F>
double nsPerCall(F f)
{
    long long calls = 0;
    double start = bench::wallSeconds(), elapsed = 0;
    while (elapsed < 0.008) {
        for (int i = 0; i < 100; ++i)
            f();
        calls += 100;
        elapsed = bench::wallSeconds() - start;
    }
    return elapsed * 1e9 / static_cast<double>(calls);
}

// A String operation beside the bare call it builds on: warmed up, then the best of ten
// alternating rounds of each.
template <class F, class G>
void compare(const char *name, const char *reference, F library, G bare, bench::Goal goal = bench::Goal())
{
    for (int i = 0; i < 100; ++i) {
        library();
        bare();
    }
    std::vector<double> ns = bench::lowestOfRounds(10, {[&] { return nsPerCall(library); }, [&] { return nsPerCall(bare); }});
    bench::row(name, ns[0], reference, ns[1], "ns/call", goal);
}

int bareFormat(wchar_t *buffer, std::size_t size, const wchar_t *fmt, ...)
{
    va_list args;
    va_start(args, fmt);
    int count = _vsnwprintf(buffer, size, fmt, args);
    va_end(args);
    return count;
}

// Formatting costs at most twice the bare call: the "C" locale is passed, never switched.
void formatting()
{
    wchar_t wide[2048];
    const String formatInt(L"%d"), formatDouble(L"%lf");
    compare("FromFormat(\"%d\")", "_vsnwprintf \"%d\"",
            [&] { sink = String::FromFormat(formatInt.c_str(), 123456).size(); },
            [&] { sink = bareFormat(wide, 2048, L"%d", 123456); }, bench::ratioAtMost(2.0));
    compare("FromFormat(\"%lf\")", "_vsnwprintf \"%lf\"",
            [&] { sink = String::FromFormat(formatDouble.c_str(), 3.14159).size(); },
            [&] { sink = bareFormat(wide, 2048, L"%lf", 3.14159); }, bench::ratioAtMost(2.0));
}

// The text the other steps work on: accented Latin, 20 times over.
std::wstring sampleText()
{
    std::wstring longWide;
    for (int i = 0; i < 20; ++i)
        longWide += L"Gr\u00fc\u00dfe aus K\u00f6ln, caf\u00e9 ";
    return longWide;
}

void conversions(const std::wstring &longWide)
{
    String text(longWide.c_str());
    std::string utf8 = text.Utf8(), ansi = text.SystemMultibyte();
    std::vector<char> narrowOut(4 * text.size() + 1);
    std::vector<wchar_t> wideOut(utf8.size() + 1);
    std::printf("(texts of %zu units, %zu UTF-8 bytes)\n", text.size(), utf8.size());
    compare("Utf8()", "WideCharToMultiByte(65001)", [&] { sink = text.Utf8().size(); },
            [&] {
                sink = WideCharToMultiByte(CP_UTF8, 0, longWide.data(), static_cast<int>(longWide.size()),
                                           narrowOut.data(), static_cast<int>(narrowOut.size()), nullptr, nullptr);
            });
    compare("FromUtf8", "MultiByteToWideChar(65001)", [&] { sink = String::FromUtf8(utf8).size(); },
            [&] {
                sink = MultiByteToWideChar(CP_UTF8, 0, utf8.data(), static_cast<int>(utf8.size()), wideOut.data(),
                                           static_cast<int>(wideOut.size()));
            });
    compare("FromSystemMultibyte", "MultiByteToWideChar(CP_ACP)",
            [&] { sink = String::FromSystemMultibyte(ansi).size(); },
            [&] {
                sink = MultiByteToWideChar(CP_ACP, 0, ansi.data(), static_cast<int>(ansi.size()), wideOut.data(),
                                           static_cast<int>(wideOut.size()));
            });
}

void comparisons(const std::wstring &longWide)
{
    String text(longWide.c_str());
    std::string ansi = text.SystemMultibyte();
    String same = text, other = text;
    other[other.size() / 2] = 'X';
    std::string otherAnsi = other.SystemMultibyte();
    compare("Compare (equal)", "wcscmp", [&] { sink = static_cast<std::size_t>(text.Compare(same)); },
            [&] { sink = static_cast<std::size_t>(std::wcscmp(longWide.c_str(), longWide.c_str() + 0)); });
    compare("Compare (differ)", "CompareStringA", [&] { sink = static_cast<std::size_t>(text.Compare(other)); },
            [&] {
                sink = static_cast<std::size_t>(CompareStringA(LOCALE_USER_DEFAULT, 0, ansi.data(),
                                                               static_cast<int>(ansi.size()), otherAnsi.data(),
                                                               static_cast<int>(otherAnsi.size())));
            });
}

void splittingAndReplacing(const std::wstring &longWide)
{
    String text(longWide.c_str());
    compare("Split(' ')", "wcschr loop into std::list", [&] { sink = text.Split(' ').size(); },
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
    compare("Replace(\"a\", \"ae\")", "wcsstr loop into std::wstring",
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
}

}  // namespace

int main()
{
    std::printf("ns per call of String operations beside the bare call each builds on (best of 10 rounds)\n");
    formatting();
    std::wstring text = sampleText();
    conversions(text);
    comparisons(text);
    splittingAndReplacing(text);
    return 0;
}
