#include "qvcore/runtime/ModuleBase.h"

#include <gtest/gtest.h>

TEST(ModuleBaseTest, GetHInstanceFindsTheModuleOfAnAddress)
{
    HMODULE library = GetModuleHandleA("qvcore.dll");
    ASSERT_NE(library, nullptr);
    EXPECT_EQ(ModuleBase::GetHInstance(reinterpret_cast<const void *>(&ModuleBase::GetHInstance)), library);
    EXPECT_EQ(ModuleBase::GetHInstance(nullptr), nullptr);
}
