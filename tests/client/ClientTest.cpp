#include "tests/client/ClientPlugin.h"

#include "qvcore/QvCore.h"

#include <gtest/gtest.h>

#include <stdexcept>
#include <string>

namespace {

// Loads the plug-in once, the way an application loads its plug-ins.
HMODULE plugin()
{
    static HMODULE module = LoadLibraryA("qvcore_client_plugin.dll");
    return module;
}

template <class Fn>
Fn entry(const char *name)
{
    return reinterpret_cast<Fn>(reinterpret_cast<void *>(GetProcAddress(plugin(), name)));
}

}  // namespace

TEST(Client, PluginPassesStringsAndExceptionsBetweenLibraryAndApplication)
{
    ASSERT_NE(nullptr, plugin()) << "qvcore_client_plugin.dll did not load, error " << GetLastError();
    CollectFn collect = entry<CollectFn>("PluginCollect");
    MakeBlockFn makeBlock = entry<MakeBlockFn>("PluginMakeBlock");
    ASSERT_NE(nullptr, collect);
    ASSERT_NE(nullptr, makeBlock);

    std::string text;
    for (int i = 0; i < 5000; ++i)
        text += "line " + std::to_string(i) + "\n";
    EXPECT_EQ(text, collect(text, 777));

    DecorateFn decorate = entry<DecorateFn>("PluginDecorate");
    TailFn tail = entry<TailFn>("PluginTail");
    ASSERT_NE(nullptr, decorate);
    ASSERT_NE(nullptr, tail);
    String decorated = decorate(String(u"abc"));  // made in the plug-in and the library, freed here
    EXPECT_EQ(String(u"ABC from the plug-in"), decorated);
    EXPECT_EQ(String(u"c"), tail(String(u"abc"), 2));
    EXPECT_THROW(tail(String(u"abc"), 4), std::out_of_range);

    EXPECT_EQ(12, makeBlock(12));
    EXPECT_THROW(makeBlock(-1), std::invalid_argument);
    // The unwinder left every module in a usable state.
    EXPECT_EQ(4, makeBlock(4));
}
