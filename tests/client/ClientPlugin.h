#ifndef QVCORE_TESTS_CLIENTPLUGIN_H
#define QVCORE_TESTS_CLIENTPLUGIN_H

#include "qvcore/core/String.h"

#include <string>

// The plug-in's entry points, looked up by name with GetProcAddress.

/// Collects text through the library's chunked vector in pieces and returns what it holds.
typedef std::string (*CollectFn)(const std::string &text, int piece);
/// Makes a library memory block of the given size (the library throws for a negative one).
typedef int (*MakeBlockFn)(int size);
/// Returns "<text> from the plug-in" with text upper-cased by the library.
typedef String (*DecorateFn)(const String &text);
/// text.Mid(start): the library throws std::out_of_range for a start beyond the end.
typedef String (*TailFn)(const String &text, int start);

#endif
