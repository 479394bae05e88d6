// The graphics classes beside the system calls they build on, in the same run (best of
// alternating rounds, wall time, through the bench harness):
//   - an alpha blit of a premultiplied 256x256 bitmap through GDIBitmap::DrawAlpha (a memory
//     context made for each call) beside GdiAlphaBlend from a context prepared once;
//   - a 512x512 PNG decoded through Image::Decode beside the imaging component's calls made
//     directly (factory made once, decoder, frame, converter, pixels into a DIB section).
// Goal: each within 5 % of its reference.
//
// Usage: GraphicsBench.exe [ROUNDS]

#include "bench/Bench.h"
#include "qvcore/graphics/DC.h"
#include "qvcore/graphics/Image.h"

#include <wincodec.h>

#include <algorithm>
#include <cstdio>
#include <cstdlib>
#include <functional>

namespace {

using namespace bench;

const int kBlitSide = 256, kBlits = 400;
const int kPngSide = 512, kDecodes = 20;

// Seconds per call of work, calls times in a row.
std::function<void()> repeated(int calls, std::function<void()> work)
{
    return [calls, work] {
        for (int i = 0; i < calls; ++i)
            work();
    };
}

GDIBitmap translucentPicture()
{
    GDIBitmap picture = GDIBitmap::CreateDIB(Size(kBlitSide, kBlitSide));
    for (int y = 0; y < kBlitSide; ++y)
        for (int x = 0; x < kBlitSide; ++x)
            picture.SetPixel(Point(x, y), static_cast<DWORD>((x ^ y) & 0xFF) << 24 | x << 16 | y << 8 | 0x40);
    picture.SetAlphaFormat(BitmapBase::StraightAlpha);
    picture.Premultiply();
    return picture;
}

// A photograph-like PNG: smooth gradients with some noise, alpha everywhere.
std::string pngPicture()
{
    Image image = Image::FromBitmap(GDIBitmap::CreateDIB(Size(kPngSide, kPngSide)));
    unsigned noise = 12345;
    for (int y = 0; y < kPngSide; ++y)
        for (int x = 0; x < kPngSide; ++x) {
            noise = noise * 1103515245 + 12345;
            image.SetPixel(Point(x, y), 0xC0000000u | (x / 2) << 16 | (y / 2) << 8 | (noise >> 28));
        }
    image.SetAlphaFormat(BitmapBase::StraightAlpha);
    return image.Encode(Image::Png);
}

// The direct calls an application would make to decode into a DIB section.
void decodeDirectly(IWICImagingFactory *factory, const std::string &png)
{
    IWICStream *stream = nullptr;
    IWICBitmapDecoder *decoder = nullptr;
    IWICBitmapFrameDecode *frame = nullptr;
    IWICFormatConverter *converter = nullptr;
    factory->CreateStream(&stream);
    stream->InitializeFromMemory(reinterpret_cast<BYTE *>(const_cast<char *>(png.data())), static_cast<DWORD>(png.size()));
    factory->CreateDecoderFromStream(stream, nullptr, WICDecodeMetadataCacheOnDemand, &decoder);
    decoder->GetFrame(0, &frame);
    UINT width = 0, height = 0;
    frame->GetSize(&width, &height);
    factory->CreateFormatConverter(&converter);
    converter->Initialize(frame, GUID_WICPixelFormat32bppBGRA, WICBitmapDitherTypeNone, nullptr, 0,
                          WICBitmapPaletteTypeCustom);
    BITMAPINFO info = {};
    info.bmiHeader.biSize = sizeof info.bmiHeader;
    info.bmiHeader.biWidth = static_cast<LONG>(width);
    info.bmiHeader.biHeight = -static_cast<LONG>(height);
    info.bmiHeader.biPlanes = 1;
    info.bmiHeader.biBitCount = 32;
    info.bmiHeader.biCompression = BI_RGB;
    void *bits = nullptr;
    HBITMAP bitmap = CreateDIBSection(nullptr, &info, DIB_RGB_COLORS, &bits, nullptr, 0);
    converter->CopyPixels(nullptr, width * 4, width * 4 * height, static_cast<BYTE *>(bits));
    DeleteObject(bitmap);
    converter->Release();
    frame->Release();
    decoder->Release();
    stream->Release();
}

}  // namespace

int main(int argc, char **argv)
{
    const long long rounds = countArgument(argc, argv, 1, 15, "GraphicsBench", "ROUNDS");
    if (rounds == 0)
        return 2;
    CoInitializeEx(nullptr, COINIT_MULTITHREADED);

    GDIBitmap picture = translucentPicture();
    GDIBitmap target = GDIBitmap::CreateDIB(Size(kBlitSide, kBlitSide));
    MemoryDC into, from;
    into.Select(target);
    BLENDFUNCTION blend = {AC_SRC_OVER, 0, 200, AC_SRC_ALPHA};

    std::string png = pngPicture();
    IWICImagingFactory *factory = nullptr;
    CoCreateInstance(CLSID_WICImagingFactory, nullptr, CLSCTX_INPROC_SERVER, IID_IWICImagingFactory,
                     reinterpret_cast<void **>(&factory));

    // The library's blit needs the picture free of any context; the raw call takes it selected
    // into one prepared once, as an application that blits often keeps it.
    std::vector<double> times = bestTimes(static_cast<int>(rounds), {
        repeated(kBlits, [&] { picture.DrawAlpha(into, Point(), 200); }),
        [&] {
            from.Select(picture);
            repeated(kBlits, [&] {
                GdiAlphaBlend(into, 0, 0, kBlitSide, kBlitSide, from, 0, 0, kBlitSide, kBlitSide, blend);
            })();
            from.RestoreSelections();
        },
        repeated(kDecodes, [&] { Image::Decode(png); }),
        repeated(kDecodes, [&] { decodeDirectly(factory, png); }),
    });
    factory->Release();
    std::printf("graphics, us per blit and ms per decode, best of %lld rounds (%s)\n", rounds,
                sizeof(void *) == 8 ? "x86_64" : "i686");
    row("alpha blit 256x256, GDIBitmap::DrawAlpha", times[0] / kBlits * 1e6, "GdiAlphaBlend", times[1] / kBlits * 1e6,
        "us", ratioAtMost(1.05));
    row("PNG 512x512 decoded, Image::Decode", times[2] / kDecodes * 1e3, "the imaging component's calls",
        times[3] / kDecodes * 1e3, "ms", ratioAtMost(1.05));
    return 0;
}
