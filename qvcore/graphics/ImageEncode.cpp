// Writing images: PNG and BMP through the imaging component's encoders.
#include "qvcore/graphics/Image.h"

#include "qvcore/graphics/Graphics_p.h"
#include "qvcore/graphics/ImageCodecs_p.h"

#include "qvcore/files/File.h"

#include <stdexcept>
#include <vector>

using namespace qvimaging;

namespace {

/// The image's pixels with straight alpha: premultiplied ones are divided back in a copy.
std::vector<BYTE> straightPixels(const Image &image)
{
    const BYTE *bits = image.GetBits();
    std::vector<BYTE> pixels(bits, bits + static_cast<size_t>(image.GetStride()) * image.GetSize().cy);
    if (image.GetAlphaFormat() == GDIBitmap::PremultipliedAlpha)
        qvgraphics::unpremultiply(pixels.data(), pixels.size());
    return pixels;
}

/// Asks the BMP encoder for the version-5 header that declares the alpha channel; an encoder
/// that has no such option writes its own header, which the caller checks.
void requestAlphaHeader(IPropertyBag2 *options)
{
    PROPBAG2 option = {};
    option.pstrName = const_cast<LPOLESTR>(L"EnableV5Header32bppBGRA");
    VARIANT value;
    VariantInit(&value);
    value.vt = VT_BOOL;
    value.boolVal = VARIANT_TRUE;
    options->Write(1, &option, &value);
}

/// The bytes written into a memory stream so far.
std::string streamBytes(IStream *stream)
{
    LARGE_INTEGER zero = {};
    ULARGE_INTEGER end = {};
    check(stream->Seek(zero, STREAM_SEEK_CUR, &end));
    check(stream->Seek(zero, STREAM_SEEK_SET, nullptr));
    std::string bytes(static_cast<size_t>(end.QuadPart), '\0');
    ULONG got = 0;
    if (!bytes.empty())
        check(stream->Read(&bytes[0], static_cast<ULONG>(bytes.size()), &got));
    bytes.resize(got);
    return bytes;
}

}  // namespace

std::string Image::Encode(Format format) const
{
    if (format != Png && format != Bmp)
        throw std::invalid_argument("Image::Encode: only PNG and BMP are written");
    Size size = GetSize();
    std::vector<BYTE> pixels = straightPixels(*this);
    UINT stride = static_cast<UINT>(GetStride());

    Codecs codecs;
    ComPtr<IStream> stream;
    check(CreateStreamOnHGlobal(nullptr, /*fDeleteOnRelease=*/TRUE, stream.receive()));
    ComPtr<IWICBitmapEncoder> encoder;
    check(codecs->CreateEncoder(format == Png ? GUID_ContainerFormatPng : GUID_ContainerFormatBmp, nullptr,
                                encoder.receive()));
    check(encoder->Initialize(stream.get(), WICBitmapEncoderNoCache));
    ComPtr<IWICBitmapFrameEncode> frame;
    ComPtr<IPropertyBag2> options;
    check(encoder->CreateNewFrame(frame.receive(), options.receive()));
    if (format == Bmp && options)
        requestAlphaHeader(options.get());
    check(frame->Initialize(options.get()));
    check(frame->SetSize(size.cx, size.cy));
    WICPixelFormatGUID pixelFormat = GUID_WICPixelFormat32bppBGRA;
    check(frame->SetPixelFormat(&pixelFormat));
    if (format == Bmp && !IsEqualGUID(pixelFormat, GUID_WICPixelFormat32bppBGRA)) {
        // A BMP encoder without the alpha layout (Wine's) still writes 32-bit pixels whose
        // fourth byte it leaves alone: the alpha rides there, and declareAlpha names it below.
        pixelFormat = GUID_WICPixelFormat32bppBGR;
        check(frame->SetPixelFormat(&pixelFormat));
    }
    if (!IsEqualGUID(pixelFormat, GUID_WICPixelFormat32bppBGRA) && !IsEqualGUID(pixelFormat, GUID_WICPixelFormat32bppBGR))
        fail(WINCODEC_ERR_UNSUPPORTEDPIXELFORMAT);
    check(frame->WritePixels(static_cast<UINT>(size.cy), stride, static_cast<UINT>(pixels.size()), pixels.data()));
    check(frame->Commit());
    check(encoder->Commit());
    std::string bytes = streamBytes(stream.get());
    if (format == Bmp)
        declareAlpha(bytes);
    return bytes;
}

void Image::Save(const String &path, Format format) const
{
    std::string bytes = Encode(format);
    File file;
    file.Create(path, GENERIC_WRITE, 0, /*inheritable=*/false, CREATE_ALWAYS, FILE_ATTRIBUTE_NORMAL);
    file.Write(bytes);
}
