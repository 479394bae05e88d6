#include "qvcore/graphics/Image.h"

#include "qvcore/core/WinException.h"
#include "qvcore/graphics/ImageCodecs_p.h"
#include "qvcore/files/File.h"

#include <wincodec.h>

#include <algorithm>
#include <cmath>
#include <cstring>
#include <stdexcept>
#include <vector>

using namespace qvimaging;

namespace {

struct ContainerFormat {
    const GUID *guid;
    Image::Format format;
    const char *name;
};

const ContainerFormat kContainers[] = {
    {&GUID_ContainerFormatBmp, Image::Bmp, "BMP"},   {&GUID_ContainerFormatPng, Image::Png, "PNG"},
    {&GUID_ContainerFormatJpeg, Image::Jpeg, "JPEG"}, {&GUID_ContainerFormatGif, Image::Gif, "GIF"},
    {&GUID_ContainerFormatTiff, Image::Tiff, "TIFF"}, {&GUID_ContainerFormatIco, Image::Ico, "ICO"},
};

// Pixel formats whose fourth channel is alpha (the palette formats are asked for theirs).
const GUID *const kAlphaFormats[] = {
    &GUID_WICPixelFormat32bppBGRA,  &GUID_WICPixelFormat32bppPBGRA, &GUID_WICPixelFormat32bppRGBA,
    &GUID_WICPixelFormat32bppPRGBA, &GUID_WICPixelFormat64bppRGBA,  &GUID_WICPixelFormat64bppPRGBA,
    &GUID_WICPixelFormat64bppBGRA,  &GUID_WICPixelFormat64bppPBGRA, &GUID_WICPixelFormat128bppRGBAFloat,
};

unsigned bitsPerPixel(const Codecs &codecs, const GUID &pixelFormat)
{
    ComPtr<IWICComponentInfo> component;
    ComPtr<IWICPixelFormatInfo> info;
    UINT bits = 0;
    if (SUCCEEDED(codecs->CreateComponentInfo(pixelFormat, component.receive())) &&
        SUCCEEDED(component->QueryInterface(IID_IWICPixelFormatInfo, info.receiveVoid())))
        info->GetBitsPerPixel(&bits);
    return bits;
}

bool paletteHasAlpha(const Codecs &codecs, IWICBitmapFrameDecode *frame)
{
    ComPtr<IWICPalette> palette;
    BOOL alpha = FALSE;
    if (SUCCEEDED(codecs->CreatePalette(palette.receive())) && SUCCEEDED(frame->CopyPalette(palette.get())))
        palette->HasAlpha(&alpha);
    return alpha != FALSE;
}

/// The decoded size: scaleTo, a 0 in it filled in from the aspect ratio of source.
Size decodedSize(const Size &source, const Size &scaleTo)
{
    if (scaleTo.cx <= 0 && scaleTo.cy <= 0)
        return source;
    if (scaleTo.cx > 0 && scaleTo.cy > 0)
        return scaleTo;
    if (scaleTo.cx > 0)
        return Size(scaleTo.cx, std::max(1, static_cast<int>(std::lround(double(source.cy) * scaleTo.cx / source.cx))));
    return Size(std::max(1, static_cast<int>(std::lround(double(source.cx) * scaleTo.cy / source.cy))), scaleTo.cy);
}

void checkSize(const Size &size)
{
    if (size.cx <= 0 || size.cy <= 0 || size.cx > Image::kMaxSide || size.cy > Image::kMaxSide ||
        static_cast<long long>(size.cx) * size.cy > Image::kMaxPixels)
        fail(WINCODEC_ERR_IMAGESIZEOUTOFRANGE);
}

}  // namespace

// --- decoding ----------------------------------------------------------------------------------------

/// The steps of a decode, with access to the image's fields.
struct ImageDecoding {
    static Image decode(const void *data, size_t count, const Size &scaleTo)
    {
        if (count > 0xFFFFFFFFu)
            fail(WINCODEC_ERR_IMAGESIZEOUTOFRANGE);
        checkDeclaredSize(data, count);
        Codecs codecs;
        ComPtr<IWICStream> stream;
        check(codecs->CreateStream(stream.receive()));
        check(stream->InitializeFromMemory(static_cast<BYTE *>(const_cast<void *>(data)), static_cast<DWORD>(count)));
        ComPtr<IWICBitmapDecoder> decoder;
        check(codecs->CreateDecoderFromStream(stream.get(), nullptr, WICDecodeMetadataCacheOnDemand,
                                              decoder.receive()));

        Image image;
        describeFile(decoder.get(), image);
        ComPtr<IWICBitmapFrameDecode> frame;
        check(decoder->GetFrame(0, frame.receive()));
        describeFrame(codecs, frame.get(), image);

        Size size = decodedSize(image.sourceSize_, scaleTo);
        checkSize(size);
        ComPtr<IWICBitmapScaler> scaler;
        IWICBitmapSource *source = frame.get();
        if (size != image.sourceSize_) {
            check(codecs->CreateBitmapScaler(scaler.receive()));
            check(scaler->Initialize(frame.get(), size.cx, size.cy, WICBitmapInterpolationModeFant));
            source = scaler.get();
        }
        ComPtr<IWICFormatConverter> converter;
        check(codecs->CreateFormatConverter(converter.receive()));
        check(converter->Initialize(source, GUID_WICPixelFormat32bppBGRA, WICBitmapDitherTypeNone, nullptr, 0,
                                    WICBitmapPaletteTypeCustom));
        static_cast<GDIBitmap &>(image) = newBitmap(size);
        UINT stride = static_cast<UINT>(image.GetStride());
        check(converter->CopyPixels(nullptr, stride, stride * static_cast<UINT>(size.cy), image.GetBits()));
        return image;
    }

    static void describeFile(IWICBitmapDecoder *decoder, Image &image)
    {
        GUID container = {};
        if (SUCCEEDED(decoder->GetContainerFormat(&container)))
            for (const ContainerFormat &known : kContainers)
                if (IsEqualGUID(container, *known.guid))
                    image.format_ = known.format;
        UINT frames = 0;
        check(decoder->GetFrameCount(&frames));
        if (frames == 0)
            fail(WINCODEC_ERR_FRAMEMISSING);
        image.frames_ = frames;
    }

    static void describeFrame(const Codecs &codecs, IWICBitmapFrameDecode *frame, Image &image)
    {
        UINT width = 0, height = 0;
        check(frame->GetSize(&width, &height));
        if (width > static_cast<UINT>(Image::kMaxSide) || height > static_cast<UINT>(Image::kMaxSide))
            fail(WINCODEC_ERR_IMAGESIZEOUTOFRANGE);
        image.sourceSize_ = Size(static_cast<int>(width), static_cast<int>(height));
        GUID pixelFormat = {};
        check(frame->GetPixelFormat(&pixelFormat));
        image.sourceBits_ = bitsPerPixel(codecs, pixelFormat);
        for (const GUID *alpha : kAlphaFormats)
            if (IsEqualGUID(pixelFormat, *alpha))
                image.sourceAlpha_ = true;
        if (!image.sourceAlpha_ && image.sourceBits_ <= 8)
            image.sourceAlpha_ = paletteHasAlpha(codecs, frame);
    }

    static GDIBitmap newBitmap(const Size &size)
    {
        try {
            return GDIBitmap::CreateDIB(size, GDIBitmap::StraightAlpha);
        } catch (const WinException &e) {
            throw Image::Exception{static_cast<long>(HRESULT_FROM_WIN32(e.m_code)), e.GetText()};
        }
    }
};

Image::Image() noexcept : format_(Unknown), frames_(0), sourceBits_(0), sourceAlpha_(false) {}

Image Image::Decode(const void *data, size_t count, const Size &scaleTo)
{
    return ImageDecoding::decode(data, count, scaleTo);
}

Image Image::Decode(const std::string &bytes, const Size &scaleTo)
{
    return Decode(bytes.data(), bytes.size(), scaleTo);
}

Image Image::Load(const String &path, const Size &scaleTo)
{
    File file;
    file.OpenForReading(path, FILE_SHARE_READ, OPEN_EXISTING, /*inheritable=*/false, FILE_ATTRIBUTE_NORMAL);
    std::string bytes;
    file.Read(bytes);
    return Decode(bytes, scaleTo);
}

Image Image::FromBitmap(const GDIBitmap &bitmap)
{
    Image image;
    static_cast<GDIBitmap &>(image) = bitmap.ToDIB();
    image.sourceSize_ = image.GetSize();
    image.sourceBits_ = 32;
    image.frames_ = image.GetHBitmap() ? 1 : 0;
    image.sourceAlpha_ = image.GetAlphaFormat() != NoAlpha;
    return image;
}

// --- names ---------------------------------------------------------------------------------------

Image::Format Image::FormatFromName(const String &path)
{
    String lower = path.LowerCase();
    auto endsWith = [&lower](const wchar_t *ending) {
        String tail(reinterpret_cast<const unsigned short *>(ending));
        return lower.size() >= tail.size() && lower.compare(lower.size() - tail.size(), tail.size(), tail) == 0;
    };
    if (endsWith(L".png"))
        return Png;
    if (endsWith(L".bmp") || endsWith(L".dib"))
        return Bmp;
    return Unknown;
}

const char *Image::FormatName(Format format)
{
    for (const ContainerFormat &known : kContainers)
        if (known.format == format)
            return known.name;
    return "unknown";
}
