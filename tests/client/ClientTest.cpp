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

    EXPECT_EQ(12, makeBlock(12));
    EXPECT_THROW(makeBlock(-1), std::invalid_argument);
    // The unwinder left every module in a usable state.
    EXPECT_EQ(4, makeBlock(4));
}
