// Bitmaps and their blits on memory DCs: plain, stretched, colour-keyed and alpha blits checked
// pixel by pixel, alpha blending against the blend formula computed here, masks with image
// lists, and bitmaps from a module's resources.

#include "qvcore/graphics/Bitmap.h"
#include "qvcore/graphics/ImageList.h"
#include "qvcore/runtime/ModuleBase.h"

#include "tests/support/Canvas.h"

#include <gtest/gtest.h>

#include <cmath>
#include <stdexcept>

namespace {

const COLORREF kWhite = RGB(255, 255, 255), kRed = RGB(255, 0, 0), kBlue = RGB(0, 0, 255), kGreen = RGB(0, 255, 0),
               kMagenta = RGB(255, 0, 255);
const int kStripBitmap = 101;  // TestBitmaps.rc: 16x8, red then blue halves, magenta 2x2 corners

DWORD argb(int a, int r, int g, int b)
{
    return static_cast<DWORD>(a) << 24 | r << 16 | g << 8 | b;
}

// A 4x2 DIB: red, green, blue, white on the top row, their halves below. The alpha bytes are 0,
// as the system's own drawing leaves them (Wine's colour-keyed blits compare them too).
GDIBitmap pattern()
{
    GDIBitmap bitmap = GDIBitmap::CreateDIB(Size(4, 2));
    const COLORREF top[] = {kRed, kGreen, kBlue, kWhite};
    for (int x = 0; x < 4; ++x) {
        bitmap.SetPixel(Point(x, 0), argb(0, GetRValue(top[x]), GetGValue(top[x]), GetBValue(top[x])));
        bitmap.SetPixel(Point(x, 1), argb(0, GetRValue(top[x]) / 2, GetGValue(top[x]) / 2, GetBValue(top[x]) / 2));
    }
    return bitmap;
}

TEST(BitmapBlits, PlainBlitCopiesEveryPixelToItsPlace)
{
    GDIBitmap source = pattern();
    Canvas canvas(8, 4);
    ASSERT_TRUE(source.Draw(canvas.dc, Point(3, 1)));
    EXPECT_EQ(canvas.at(3, 1), kRed);
    EXPECT_EQ(canvas.at(6, 1), kWhite);
    EXPECT_EQ(canvas.at(4, 2), RGB(0, 127, 0));
    EXPECT_EQ(canvas.at(2, 1), kWhite);
    EXPECT_EQ(canvas.count(Rect(0, 0, 8, 4), kWhite), 32 - 8 + 1);
}

TEST(BitmapBlits, StretchedBlitMakesEachPixelABlock)
{
    GDIBitmap source = pattern();
    Canvas canvas(8, 4);
    SetStretchBltMode(canvas.dc, COLORONCOLOR);
    ASSERT_TRUE(source.Draw(canvas.dc, Rect(0, 0, 8, 4), Rect(0, 0, 4, 2)));
    for (int y = 0; y < 4; ++y)
        for (int x = 0; x < 8; ++x) {
            DWORD expected = source.GetPixel(Point(x / 2, y / 2));
            EXPECT_EQ(canvas.at(x, y), RGB(expected >> 16 & 0xFF, expected >> 8 & 0xFF, expected & 0xFF)) << x << "," << y;
        }
}

TEST(BitmapBlits, TransparentBlitLeavesTheKeyColourOut)
{
    GDIBitmap source = pattern();
    Canvas canvas(4, 2, kMagenta);
    ASSERT_TRUE(source.DrawTransparent(canvas.dc, Rect(0, 0, 4, 2), Rect(0, 0, 4, 2), kGreen));
    EXPECT_EQ(canvas.at(1, 0), kMagenta);
    EXPECT_EQ(canvas.at(0, 0), kRed);
    EXPECT_EQ(canvas.at(1, 1), RGB(0, 127, 0));
}

// The system's blend of a premultiplied source over an opaque destination, per channel:
// source * opacity / 255 + destination * (1 - alpha * opacity / 255 / 255).
int blended(int source, int alpha, int destination, int opacity)
{
    double s = source * opacity / 255.0, a = alpha * opacity / 255.0;
    return static_cast<int>(std::lround(s + destination * (1 - a / 255.0)));
}

TEST(BitmapBlits, AlphaBlitBlendsPerPixelAlphaTimesOpacityAsTheFormulaSays)
{
    // Every alpha from 0 to 255 in steps of 17 over a grey destination, at three opacities.
    GDIBitmap over = GDIBitmap::CreateDIB(Size(16, 1));
    for (int x = 0; x < 16; ++x)
        over.SetPixel(Point(x, 0), argb(x * 17, 250, 100, 0));
    over.SetAlphaFormat(BitmapBase::StraightAlpha);
    GDIBitmap premultiplied = over.ToDIB();
    premultiplied.Premultiply();
    for (int opacity : {255, 128, 40}) {
        for (const GDIBitmap *source : {&over, &premultiplied}) {
            SCOPED_TRACE(source == &over ? "straight" : "premultiplied");
            Canvas canvas(16, 1, RGB(60, 120, 200));
            ASSERT_TRUE(source->DrawAlpha(canvas.dc, Point(0, 0), static_cast<BYTE>(opacity)));
            for (int x = 0; x < 16; ++x) {
                DWORD p = premultiplied.GetPixel(Point(x, 0));
                COLORREF got = canvas.at(x, 0);
                EXPECT_NEAR(GetRValue(got), blended(p >> 16 & 0xFF, x * 17, 60, opacity), 1) << x << " " << opacity;
                EXPECT_NEAR(GetGValue(got), blended(p >> 8 & 0xFF, x * 17, 120, opacity), 1) << x << " " << opacity;
                EXPECT_NEAR(GetBValue(got), blended(p & 0xFF, x * 17, 200, opacity), 1) << x << " " << opacity;
            }
        }
    }
}

TEST(BitmapBlits, AlphaBlitOfABitmapWithoutAlphaUsesTheOpacityAlone)
{
    GDIBitmap source = GDIBitmap::CreateDIB(Size(2, 2));  // alpha bytes 0: they must not count
    {
        MemoryDC into;
        into.Select(source);
        into.FillSolidRect(Rect(0, 0, 2, 2), RGB(200, 0, 0));
    }
    Canvas canvas(2, 2, RGB(0, 0, 100));
    ASSERT_TRUE(source.DrawAlpha(canvas.dc, Point(0, 0), 51));
    EXPECT_NEAR(GetRValue(canvas.at(1, 1)), 40, 1);
    EXPECT_NEAR(GetBValue(canvas.at(1, 1)), 80, 1);
}

TEST(BitmapAlpha, ChannelIsReadSetKeyedAndPremultipliedBothWays)
{
    GDIBitmap bitmap = pattern();
    EXPECT_EQ(bitmap.GetAlphaFormat(), BitmapBase::NoAlpha);
    bitmap.SetAlphaChannel({0, 51, 102, 255, 128, 128, 128, 128});
    EXPECT_EQ(bitmap.GetAlphaFormat(), BitmapBase::StraightAlpha);
    EXPECT_EQ(bitmap.GetAlphaChannel()[2], 102);
    EXPECT_THROW(bitmap.SetAlphaChannel({1, 2}), std::invalid_argument);
    EXPECT_EQ(bitmap.GetAlphaChannel()[2], 102);

    bitmap.Premultiply();
    EXPECT_EQ(bitmap.GetAlphaFormat(), BitmapBase::PremultipliedAlpha);
    EXPECT_EQ(bitmap.GetPixel(Point(0, 0)), argb(0, 0, 0, 0));
    EXPECT_EQ(bitmap.GetPixel(Point(1, 0)), argb(51, 0, 51, 0));
    EXPECT_EQ(bitmap.GetPixel(Point(0, 1)), argb(128, 64, 0, 0));  // 127 * 128 / 255, rounded
    bitmap.Premultiply();  // already premultiplied: unchanged
    EXPECT_EQ(bitmap.GetPixel(Point(1, 0)), argb(51, 0, 51, 0));
    bitmap.Unpremultiply();
    EXPECT_EQ(bitmap.GetPixel(Point(1, 0)), argb(51, 0, 255, 0));
    EXPECT_EQ(bitmap.GetPixel(Point(3, 0)), argb(255, 255, 255, 255));

    bitmap.SetAlphaFromColorKey(kBlue);
    EXPECT_EQ(bitmap.GetAlphaChannel(), std::vector<BYTE>({255, 255, 0, 255, 255, 255, 255, 255}));
    bitmap.SetAlpha(7);
    EXPECT_EQ(bitmap.GetPixel(Point(3, 1)) >> 24, 7u);
}

TEST(BitmapAlpha, BlendOntoStraightAlphaChangesOnlyTheCoveredPixelsAndComposesOver)
{
    GDIBitmap base = GDIBitmap::CreateDIB(Size(3, 3));
    for (int i = 0; i < 9; ++i)
        base.SetPixel(Point(i % 3, i / 3), argb(i * 28 + 3, 200 - i, 7 * i, 99));  // translucent, not premultiplied
    base.SetAlphaFormat(BitmapBase::StraightAlpha);
    GDIBitmap over = GDIBitmap::CreateDIB(Size(2, 2));
    for (int i = 0; i < 4; ++i)
        over.SetPixel(Point(i % 2, i / 2), argb(128, 0, 0, 255));
    over.SetAlphaFormat(BitmapBase::StraightAlpha);
    GDIBitmap before = base.ToDIB();

    ASSERT_TRUE(base.Blend(over, Point(-1, -1)));  // only (0, 0) is covered
    for (int i = 1; i < 9; ++i)
        EXPECT_EQ(base.GetPixel(Point(i % 3, i / 3)), before.GetPixel(Point(i % 3, i / 3))) << i;
    // Source over a translucent destination: alpha 128 + 3 * (1 - 128/255), colours weighted
    // by their coverage and divided back.
    DWORD got = base.GetPixel(Point(0, 0));
    double a = 128 + 3 * (127 / 255.0);
    EXPECT_NEAR(got >> 24, a, 1);
    EXPECT_NEAR(got & 0xFF, (255 * 128 + 99 * 3 * (127 / 255.0)) / a, 3);
    EXPECT_NEAR(got >> 16 & 0xFF, 200 * 3 * (127 / 255.0) / a, 3);
}

TEST(BitmapAlpha, PixelAccessNeedsADIBAndAPointInside)
{
    Canvas screen(1, 1);
    GDIBitmap ddb = GDIBitmap::CreateCompatible(screen.dc, Size(3, 3));
    EXPECT_FALSE(ddb.IsDIB());
    EXPECT_EQ(ddb.GetSize(), Size(3, 3));
    EXPECT_THROW(ddb.GetPixel(Point(0, 0)), std::logic_error);
    EXPECT_THROW(GDIBitmap().SetAlpha(0), std::logic_error);
    GDIBitmap dib = GDIBitmap::CreateDIB(Size(3, 3));
    EXPECT_THROW(dib.GetPixel(Point(3, 0)), std::out_of_range);
    EXPECT_THROW(dib.SetPixel(Point(0, -1), 0), std::out_of_range);
    EXPECT_THROW(GDIBitmap::CreateDIB(Size(0, 4)), std::invalid_argument);
}

TEST(BitmapMask, AColourKeyMaskDrawsTransparentlyThroughAnImageList)
{
    GDIBitmap image = pattern();
    image.SetAlpha(255);  // the key is a colour: a DIB's mask leaves the alpha bytes out
    GDIBitmap mask = image.CreateMask(kGreen);
    ImageList list;
    ASSERT_TRUE(list.Create(4, 2, ILC_COLOR24 | ILC_MASK, 1, 1));  // 32 bits would blend by the alpha instead
    ASSERT_EQ(list.Add(image.GetHBitmap(), mask.GetHBitmap()), 0);
    Canvas canvas(4, 2, kMagenta);
    ASSERT_TRUE(list.Draw(canvas.dc, 0, Point(0, 0), ILD_TRANSPARENT, 0, 0, CLR_NONE, CLR_DEFAULT));
    EXPECT_EQ(canvas.at(1, 0), kMagenta);
    EXPECT_EQ(canvas.at(0, 0), kRed);
    EXPECT_EQ(canvas.at(3, 0), kWhite);
}

TEST(BitmapResources, ComeFromTheModuleAndConvertToPixels)
{
    ScopedLibrary library(LoadLibraryA("qvcore_test_bitmaps.dll"));
    ASSERT_TRUE(library.valid()) << "qvcore_test_bitmaps.dll not loaded";
    ModuleBase module(library.get());
    GDIBitmap strip = GDIBitmap::FromResource(module, kStripBitmap);
    ASSERT_TRUE(strip.GetHBitmap());
    EXPECT_FALSE(strip.IsDIB());
    EXPECT_EQ(strip.GetSize(), Size(16, 8));
    GDIBitmap pixels = strip.ToDIB();
    EXPECT_EQ(pixels.GetPixel(Point(0, 0)), argb(255, 255, 0, 255));
    EXPECT_EQ(pixels.GetPixel(Point(4, 4)), argb(255, 255, 0, 0));
    EXPECT_EQ(pixels.GetPixel(Point(12, 4)), argb(255, 0, 0, 255));
    EXPECT_FALSE(GDIBitmap::FromResource(module, 999).GetHBitmap());
    EXPECT_FALSE(GDIBitmap::FromPicture(module, 999).GetHBitmap());
}

}  // namespace
