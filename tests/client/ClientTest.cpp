#include "tests/client/ClientPlugin.h"

#include "qvcore/QvCore.h"

#include <gtest/gtest.h>

#include <stdexcept>
#include <list>
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

TEST(Client, CatchesExceptionThrownInsideTheLibrary)
{
    MemoryBlock ok(3);
    EXPECT_EQ(3, ok.size());
    try {
        MemoryBlock bad(-5);
        FAIL() << "no exception";
    } catch (const std::invalid_argument &e) {
        EXPECT_NE(std::string::npos, std::string(e.what()).find("negative size"));
    }
}

TEST(Client, StringsCrossTheLibraryBoundaryByValue)
{
    String word = String::FromUtf8("caf\xC3\xA9");
    String upper = word.UpperCase();  // allocated in the library
    upper += String(u"!");            // grown here
    EXPECT_EQ(String(u"CAF\u00C9!"), upper);
    std::list<String> parts = String(u"a,b,c").Split(u',');
    EXPECT_EQ(3u, parts.size());
    EXPECT_EQ(String(u"a+b+c"), String::Join(parts, String(u"+")));

    MemoryBlockVector vector;
    std::string text(70000, 'a');
    text[69999] = '\0';
    vector.append(text.data(), static_cast<int>(text.size()));
    std::string back = vector.toString();  // built and sized in the library, freed here
    EXPECT_EQ(text, back);
    back += "client side growth";
    EXPECT_EQ(text.size() + 18, back.size());
}

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
