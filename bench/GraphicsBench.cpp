// The graphics classes beside the system calls they build on, in the same run (best of
// alternating rounds, wall time):
//   - an alpha blit of a premultiplied 256x256 bitmap through GDIBitmap::DrawAlpha (a memory
//     context made for each call) beside GdiAlphaBlend from a context prepared once;
//   - a 512x512 PNG decoded through Image::Decode beside the imaging component's calls made
//     directly (factory made once, decoder, frame, converter, pixels into a DIB section).
// Goal: each within 5 % of its reference.
//
// Usage: GraphicsBench.exe [ROUNDS]

#include "bench/BenchClock.h"
#include "qvcore/graphics/DC.h"
#include "qvcore/graphics/Image.h"

#include <wincodec.h>

#include <algorithm>
#include <cstdio>
#include <cstdlib>
#include <functional>

namespace {

const int kBlitSide = 256, kBlits = 400;
const int kPngSide = 512, kDecodes = 20;

/// Seconds per call of work (calls times in a row), the best of rounds.
double best(int rounds, int calls, const std::function<void()> &work, double &bestSoFar)
{
    for (int round = 0; round < rounds; ++round) {
        double start = benchSeconds();
        for (int i = 0; i < calls; ++i)
            work();
        bestSoFar = std::min(bestSoFar, (benchSeconds() - start) / calls);
    }
    return bestSoFar;
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

void report(const char *what, double library, double reference, const char *unit, double scale)
{
    std::printf("  %-44s %9.1f %s  reference %9.1f %s  ratio %.3f  (goal: within 5 %%: %s)\n", what, library * scale,
                unit, reference * scale, unit, library / reference, library <= reference * 1.05 ? "met" : "not met");
}

}  // namespace

int main(int argc, char **argv)
{
    int rounds = argc > 1 ? std::max(1, std::atoi(argv[1])) : 15;
    CoInitializeEx(nullptr, COINIT_MULTITHREADED);

    GDIBitmap picture = translucentPicture();
    GDIBitmap target = GDIBitmap::CreateDIB(Size(kBlitSide, kBlitSide));
    MemoryDC into, from;
    into.Select(target);
    from.Select(picture);
    BLENDFUNCTION blend = {AC_SRC_OVER, 0, 200, AC_SRC_ALPHA};
    double blitLibrary = 1e30, blitRaw = 1e30;

    std::string png = pngPicture();
    IWICImagingFactory *factory = nullptr;
    CoCreateInstance(CLSID_WICImagingFactory, nullptr, CLSCTX_INPROC_SERVER, IID_IWICImagingFactory,
                     reinterpret_cast<void **>(&factory));
    double decodeLibrary = 1e30, decodeDirect = 1e30;

    // Picture and target are selected above for the raw calls; the library's blit needs the
    // picture free, so it is moved between the contexts for each of its rounds.
    for (int round = 0; round < rounds; ++round) {
        from.RestoreSelections();
        best(1, kBlits, [&] { picture.DrawAlpha(into, Point(), 200); }, blitLibrary);
        from.Select(picture);
        best(1, kBlits, [&] { GdiAlphaBlend(into, 0, 0, kBlitSide, kBlitSide, from, 0, 0, kBlitSide, kBlitSide, blend); },
             blitRaw);
        best(1, kDecodes, [&] { Image::Decode(png); }, decodeLibrary);
        best(1, kDecodes, [&] { decodeDirectly(factory, png); }, decodeDirect);
    }
    factory->Release();
    std::printf("graphics, best of %d rounds (%s)\n", rounds, sizeof(void *) == 8 ? "x86_64" : "i686");
    report("alpha blit 256x256, GDIBitmap::DrawAlpha", blitLibrary, blitRaw, "us", 1e6);
    report("PNG 512x512 decoded, Image::Decode", decodeLibrary, decodeDirect, "ms", 1e3);
    return 0;
}
