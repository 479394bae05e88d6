#ifndef QVCORE_TESTS_SUPPORT_EXPECT_H
#define QVCORE_TESTS_SUPPORT_EXPECT_H

// What a failing call throws. The library's exceptions are plain records of a code and a
// message: tests compare both, the message with a literal or the system's own text.

#include "tests/support/StringPrinting.h"

#include <gtest/gtest.h>

#include <optional>

namespace expect {

/// The Exception that work throws, if any; other exceptions pass through.
template <class Exception, class Work>
std::optional<Exception> thrownBy(Work work)
{
    try {
        work();
    } catch (const Exception &e) {
        return e;
    }
    return std::nullopt;
}

/// The Exception that work throws; a test failure, and a value-initialised record, when it
/// throws none.
template <class Exception, class Work>
Exception exceptionOf(Work work)
{
    std::optional<Exception> thrown = thrownBy<Exception>(work);
    if (!thrown) {
        ADD_FAILURE() << "no exception";
        return Exception{};
    }
    return *thrown;
}

inline String text(const char *latin1) { return String::FromLatin1(latin1); }
inline const String &text(const String &text) { return text; }

}  // namespace expect

/// statement throws Exception with expectedCode and expectedMessage (a String, or Latin-1 text).
#define EXPECT_EXCEPTION(Exception, statement, expectedCode, expectedMessage)                         \
    do {                                                                                              \
        const std::optional<Exception> thrown_ = expect::thrownBy<Exception>([&] { statement; });     \
        if (!thrown_) {                                                                               \
            ADD_FAILURE() << "no " #Exception " from " #statement;                                   \
        } else {                                                                                      \
            EXPECT_EQ(static_cast<decltype(thrown_->code)>(expectedCode), thrown_->code);             \
            EXPECT_EQ(expect::text(expectedMessage), thrown_->message);                               \
        }                                                                                             \
    } while (0)

#endif
