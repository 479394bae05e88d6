#ifndef QVCORE_TESTS_SUPPORT_STRINGCASES_H
#define QVCORE_TESTS_SUPPORT_STRINGCASES_H

// Tables of String cases for the String tests: N() makes a String from a wide literal,
// and expectEach checks a table of labelled results.

#include "tests/support/StringPrinting.h"

#include <gtest/gtest.h>

#include <initializer_list>

// n units, zero units included.
inline String N(const wchar_t *s, unsigned int n) { return String(units(s), n); }

template <class T> struct Case { T got; T want; const char *what; };

template <class T> void expectEach(std::initializer_list<Case<T>> cases)
{
    for (const Case<T> &c : cases)
        EXPECT_EQ(c.want, c.got) << c.what;
}

#endif
