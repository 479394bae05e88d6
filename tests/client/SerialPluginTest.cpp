#include "qvcore/streams/SerializingStream.h"

#include <gtest/gtest.h>

#include <cstring>

TEST(SerialPlugin, APluginsClassWorksWhileLoadedAndLeavesNoEntryWhenUnloaded)
{
    ObjectFactory *factory = new ObjectFactory;
    HMODULE plugin = LoadLibraryA("qvcore_serial_plugin.dll");
    ASSERT_NE(nullptr, plugin);
    auto registerShape = reinterpret_cast<int (*)(ObjectFactory &)>(
        reinterpret_cast<void *>(GetProcAddress(plugin, "PluginRegisterShape")));
    ASSERT_NE(nullptr, registerShape);
    const int id = registerShape(*factory);
    EXPECT_EQ(factory->GetClassID("plugin::Shape"), id);

    // Made by the plug-in's code, written and read back by the library's streams.
    ISerializable *shape = dynamic_cast<ISerializable *>(factory->CreateObject(id));
    ASSERT_NE(nullptr, shape);
    MemoryOutputStream memory;
    {
        SerializingOutputStream out(*factory, memory);
        out.Write(*shape);
    }
    shape->Release();
    const std::string bytes = memory.GetContent();
    ASSERT_EQ(10u, bytes.size());
    EXPECT_EQ(0, std::memcmp(bytes.data(), &id, 4));
    MemoryInputStream source(bytes);
    SerializingInputStream in(*factory, source);
    ISerializable *back = in.Create();
    ASSERT_NE(nullptr, back);
    back->Release();

    ASSERT_TRUE(FreeLibrary(plugin));
    EXPECT_EQ(nullptr, factory->GetObjectFactoryObjectFunctions(id)) << "an entry pointing into the unloaded plug-in";
    EXPECT_EQ(0u, factory->Release()) << "the registration gave its reference back";
}
