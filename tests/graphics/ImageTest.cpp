// Images through the system's imaging component: a BMP whose bytes are written out here decoded
// to known pixels, PNG and BMP written and read back, the BMP's alpha header checked byte by
// byte, damaged data refused with the codec's text. Files of every format made by Python's
// imaging library are compared pixel by pixel in image_interop.py.

#include "qvcore/graphics/Image.h"

#include "tests/support/TempDirectory.h"

#include <gtest/gtest.h>

#include <wincodec.h>

#include <cstring>
#include <stdexcept>
#include <thread>

namespace {

DWORD argb(int a, int r, int g, int b)
{
    return static_cast<DWORD>(a) << 24 | r << 16 | g << 8 | b;
}

template <class T>
void put(std::string &bytes, T value)
{
    bytes.append(reinterpret_cast<const char *>(&value), sizeof value);
}

template <class T>
T at(const std::string &bytes, size_t offset)
{
    T value;
    std::memcpy(&value, bytes.data() + offset, sizeof value);
    return value;
}

// A 3x2 24-bit BMP, bottom row first, each row padded to 12 bytes: top row red, green, blue;
// bottom row black, grey (128), white.
std::string threeByTwoBmp()
{
    std::string bmp = "BM";
    put<DWORD>(bmp, 14 + 40 + 24);
    put<DWORD>(bmp, 0);
    put<DWORD>(bmp, 14 + 40);
    put<DWORD>(bmp, 40);
    put<LONG>(bmp, 3);
    put<LONG>(bmp, 2);
    put<WORD>(bmp, 1);
    put<WORD>(bmp, 24);
    for (int i = 0; i < 6; ++i)
        put<DWORD>(bmp, 0);
    bmp += std::string("\x00\x00\x00\x80\x80\x80\xff\xff\xff\x00\x00\x00", 12);
    bmp += std::string("\x00\x00\xff\x00\xff\x00\xff\x00\x00\x00\x00\x00", 12);
    return bmp;
}

// Every alpha and colour differ from their neighbours'.
Image gradient()
{
    Image image = Image::FromBitmap(GDIBitmap::CreateDIB(Size(7, 5)));
    for (int y = 0; y < 5; ++y)
        for (int x = 0; x < 7; ++x)
            image.SetPixel(Point(x, y), argb(x * 40 + y, x * 30, y * 50, 255 - x * y));
    image.SetAlphaFormat(BitmapBase::StraightAlpha);
    return image;
}

void expectSamePixels(const GDIBitmap &a, const GDIBitmap &b)
{
    ASSERT_EQ(a.GetSize(), b.GetSize());
    for (int y = 0; y < a.GetSize().cy; ++y)
        for (int x = 0; x < a.GetSize().cx; ++x)
            ASSERT_EQ(a.GetPixel(Point(x, y)), b.GetPixel(Point(x, y))) << x << "," << y;
}

TEST(ImageDecode, ABmpGivesItsPixelsOpaqueTopRowFirstWithWhatTheFileSaid)
{
    Image image = Image::Decode(threeByTwoBmp());
    EXPECT_EQ(image.GetFormat(), Image::Bmp);
    EXPECT_EQ(image.GetFrameCount(), 1u);
    EXPECT_EQ(image.GetSourceBitsPerPixel(), 24u);
    EXPECT_FALSE(image.SourceHasAlpha());
    EXPECT_EQ(image.GetAlphaFormat(), BitmapBase::StraightAlpha);
    ASSERT_EQ(image.GetSize(), Size(3, 2));
    EXPECT_EQ(image.GetPixel(Point(0, 0)), argb(255, 255, 0, 0));
    EXPECT_EQ(image.GetPixel(Point(2, 0)), argb(255, 0, 0, 255));
    EXPECT_EQ(image.GetPixel(Point(1, 1)), argb(255, 128, 128, 128));
    EXPECT_EQ(image.GetPixel(Point(2, 1)), argb(255, 255, 255, 255));
}

TEST(ImageDecode, DamagedOrForeignDataThrowsTheCodecsCodeAndText)
{
    std::string truncated = threeByTwoBmp().substr(0, 30);
    std::string badSize = threeByTwoBmp();
    std::memcpy(&badSize[18], "\xff\xff\xff\x7f", 4);  // a width of 2^31 - 1
    for (const std::string &data : {std::string(), std::string("plain text, no image"), truncated, badSize}) {
        try {
            Image::Decode(data);
            ADD_FAILURE() << "decoded " << data.size() << " bytes";
        } catch (const Image::Exception &e) {
            EXPECT_LT(e.code, 0);
            EXPECT_NE(e.message.Utf8().find(" (0x"), std::string::npos) << e.message.Utf8();
            EXPECT_GT(e.message.size(), 14u) << "no text before the code";
        }
    }
}

// Headers declaring sizes no decoder should be asked to allocate: Wine's JPEG decoder writes
// past its buffer for the first of these (found by the image campaign).
TEST(ImageDecode, HugeDeclaredSizesAreRefusedBeforeTheCodecSeesThem)
{
    const std::string huge[] = {
        // JPEG: start of image, a baseline frame header of 65407 x 61695, end of image
        std::string("\xff\xd8\xff\xc0\x00\x11\x08\xf0\xff\xff\x7f\x03\x01\x22\x00\x02\x11\x01\x03\x11\x01\xff\xd9", 23),
        // PNG: signature and a header of 40000 x 1
        std::string("\x89PNG\r\n\x1a\n\x00\x00\x00\x0dIHDR\x00\x00\x9c\x40\x00\x00\x00\x01\x08\x06\x00\x00\x00", 29),
        // GIF: a small screen but a frame of 65535 x 65535
        std::string("GIF89a\x02\x00\x02\x00\x00\x00\x00\x2c\x00\x00\x00\x00\xff\xff\xff\xff\x00\x02\x00\x3b", 26),
    };
    // GIF: a frame with neither the file's colour table nor its own (Wine's decoder reads
    // through a null pointer for it; found by the image campaign)
    const std::string colourless("GIF89a\x02\x00\x02\x00\x00\x00\x00\x2c\x00\x00\x00\x00\x02\x00\x02\x00\x00"
                                 "\x02\x02\x44\x01\x00\x3b", 29);
    try {
        Image::Decode(colourless);
        ADD_FAILURE() << "decoded a GIF without colours";
    } catch (const Image::Exception &e) {
        EXPECT_EQ(e.code, static_cast<long>(WINCODEC_ERR_BADIMAGE)) << e.message.Utf8();
    }
    std::string tallBmp = threeByTwoBmp();
    std::memcpy(&tallBmp[22], "\x00\x00\x00\x80", 4);  // a height of -2^31
    for (const std::string &data : {huge[0], huge[1], huge[2], tallBmp}) {
        try {
            Image::Decode(data);
            ADD_FAILURE() << "decoded " << data.substr(0, 4);
        } catch (const Image::Exception &e) {
            EXPECT_EQ(e.code, static_cast<long>(WINCODEC_ERR_IMAGESIZEOUTOFRANGE)) << e.message.Utf8();
        }
    }
}

TEST(ImageDecode, ScalingToOneSideKeepsTheAspectRatio)
{
    std::string png = gradient().Encode(Image::Png);
    EXPECT_EQ(Image::Decode(png, Size(14, 0)).GetSize(), Size(14, 10));
    EXPECT_EQ(Image::Decode(png, Size(0, 3)).GetSize(), Size(4, 3));
    Image both = Image::Decode(png, Size(2, 9));
    EXPECT_EQ(both.GetSize(), Size(2, 9));
    EXPECT_EQ(both.GetSourceSize(), Size(7, 5));
}

TEST(ImageEncode, PngKeepsEveryPixelAndItsStraightAlpha)
{
    Image original = gradient();
    std::string png = original.Encode(Image::Png);
    ASSERT_EQ(png.compare(0, 8, "\x89PNG\r\n\x1a\n"), 0);
    Image back = Image::Decode(png);
    EXPECT_EQ(back.GetFormat(), Image::Png);
    EXPECT_TRUE(back.SourceHasAlpha());
    expectSamePixels(original, back);
}

TEST(ImageEncode, BmpHasAVersion5HeaderDeclaringTheAlphaChannel)
{
    Image original = gradient();
    std::string bmp = original.Encode(Image::Bmp);
    ASSERT_GE(bmp.size(), 14u + 124u + 7u * 5u * 4u);
    EXPECT_EQ(bmp.substr(0, 2), "BM");
    EXPECT_EQ(at<DWORD>(bmp, 2), bmp.size());
    EXPECT_EQ(at<DWORD>(bmp, 10), 14u + 124u);
    EXPECT_EQ(at<DWORD>(bmp, 14), 124u);  // BITMAPV5HEADER
    EXPECT_EQ(at<WORD>(bmp, 14 + 14), 32u);
    EXPECT_EQ(at<DWORD>(bmp, 14 + 16), static_cast<DWORD>(BI_BITFIELDS));
    EXPECT_EQ(at<DWORD>(bmp, 14 + 40), 0x00FF0000u);  // red, green, blue, alpha masks
    EXPECT_EQ(at<DWORD>(bmp, 14 + 44), 0x0000FF00u);
    EXPECT_EQ(at<DWORD>(bmp, 14 + 48), 0x000000FFu);
    EXPECT_EQ(at<DWORD>(bmp, 14 + 52), 0xFF000000u);
    // The pixels follow the header as 32-bit values, bottom row first unless the height is negative.
    LONG height = at<LONG>(bmp, 14 + 8);
    int firstRow = height > 0 ? 4 : 0;
    EXPECT_EQ(at<DWORD>(bmp, 138 + 4 * 3), original.GetPixel(Point(3, firstRow)));
}

TEST(ImageEncode, PremultipliedPixelsAreWrittenStraightAndTheImageStaysAsItWas)
{
    Image image = gradient();
    image.Premultiply();
    DWORD stored = image.GetPixel(Point(6, 4));
    Image back = Image::Decode(image.Encode(Image::Png));
    EXPECT_EQ(image.GetPixel(Point(6, 4)), stored);
    EXPECT_EQ(back.GetPixel(Point(1, 1)) >> 24, gradient().GetPixel(Point(1, 1)) >> 24);
    for (int c = 0; c < 24; c += 8)
        EXPECT_NEAR(back.GetPixel(Point(6, 4)) >> c & 0xFF, gradient().GetPixel(Point(6, 4)) >> c & 0xFF, 1);
    EXPECT_THROW(image.Encode(Image::Jpeg), std::invalid_argument);
}

TEST(ImageEncode, FormatIsChosenByTheNamesEnding)
{
    EXPECT_EQ(Image::FormatFromName(String(L"a\\Photo.PNG")), Image::Png);
    EXPECT_EQ(Image::FormatFromName(String(L"x.bmp")), Image::Bmp);
    EXPECT_EQ(Image::FormatFromName(String(L"x.dib")), Image::Bmp);
    EXPECT_EQ(Image::FormatFromName(String(L"x.png.txt")), Image::Unknown);
    EXPECT_STREQ(Image::FormatName(Image::Gif), "GIF");
    EXPECT_STREQ(Image::FormatName(Image::Unknown), "unknown");
}

class ImageFiles : public filetest::TempDirectoryTest {};

TEST_F(ImageFiles, SaveAndLoadGoThroughFilesAndAMissingOneIsAFileError)
{
    Image original = gradient();
    original.Save(path(String(L"out.bmp")), Image::Bmp);
    expectSamePixels(original, Image::Load(path(String(L"out.bmp"))));
    EXPECT_EXCEPTION(File::Exception, Image::Load(path(String(L"absent.png"))), ERROR_FILE_NOT_FOUND,
                     String::FromError(ERROR_FILE_NOT_FOUND));
}

TEST(ImageThreads, DecodingOnAnApartmentThreadKeepsItsApartment)
{
    std::thread worker([] {
        ASSERT_EQ(CoInitializeEx(nullptr, COINIT_APARTMENTTHREADED), S_OK);
        EXPECT_EQ(Image::Decode(threeByTwoBmp()).GetSize(), Size(3, 2));
        EXPECT_EQ(CoInitializeEx(nullptr, COINIT_APARTMENTTHREADED), S_FALSE);  // still the same apartment
        CoUninitialize();
        CoUninitialize();
    });
    worker.join();
}

}  // namespace
