// Compiled as a client that defines UNICODE: LoadBitmap is the system's macro for LoadBitmapW
// here, and must still reach the library's one narrow export.

#include "qvcore/graphics/ImageList.h"
#include "qvcore/runtime/ModuleBase.h"

#include <gtest/gtest.h>

#ifndef UNICODE
#error "this file is built with UNICODE defined"
#endif

TEST(ImageListUnicodeClient, LoadBitmapLinksUnderTheWideSpelling)
{
    ScopedLibrary library(LoadLibraryW(L"qvcore_test_bitmaps.dll"));
    ASSERT_TRUE(library.valid()) << "qvcore_test_bitmaps.dll not loaded";
    ModuleBase module(library.get());
    ImageList list;
    EXPECT_TRUE(list.LoadBitmap(101, 8, 1, CLR_NONE, false, &module));
    EXPECT_EQ(2, list.GetImageCount());
}
