// A parser generation that the system does not have: every parse gives ParserNotInstalled with
// its fixed text, and the parser stays empty.

#include "qvcore/xml/XMLParser.h"

#include "tests/support/Expect.h"

#include <gtest/gtest.h>

#include <cstdlib>

namespace {

// Run by its own test entry with QVCORE_MSXMLVER=4 and the newer parser's DLL disabled
// (QVCORE_TEST_MSXML4_DISABLED says so); skipped elsewhere.
TEST(MissingParser, ForcedNewerGenerationWithoutItsParserGivesParserNotInstalled)
{
    if (!std::getenv("QVCORE_TEST_MSXML4_DISABLED"))
        GTEST_SKIP() << "runs only in the entry that disables the newer parser";
    for (int attempt = 0; attempt < 2; ++attempt) {
        XMLParser parser;
        EXPECT_EXCEPTION(XMLException, parser.ParseData("<root><item/></root>"), XMLException::ParserNotInstalled,
                         "MSXML4 parser not installed");
        EXPECT_FALSE(static_cast<bool>(parser));
    }
}

}  // namespace
