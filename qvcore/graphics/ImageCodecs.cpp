// The imaging component: its factory on a thread with COM, its failures as exceptions, and the
// pixel and header conversions both directions of a file need.
#include "qvcore/graphics/ImageCodecs_p.h"

#include "qvcore/graphics/Graphics_p.h"

#include <algorithm>
#include <cstring>

namespace qvimaging {

namespace {

// --- the imaging component's failures --------------------------------------------------------------

struct CodecText {
    HRESULT code;
    const char *text;
};

// What the imaging component's own codes mean, for systems that have no text for them (Wine).
const CodecText kCodecTexts[] = {
    {WINCODEC_ERR_WRONGSTATE, "the codec was used in the wrong state"},
    {WINCODEC_ERR_VALUEOUTOFRANGE, "a value is out of range"},
    {WINCODEC_ERR_UNKNOWNIMAGEFORMAT, "the image format is unknown"},
    {WINCODEC_ERR_UNSUPPORTEDVERSION, "the image format version is not supported"},
    {WINCODEC_ERR_NOTINITIALIZED, "the codec was not initialised"},
    {WINCODEC_ERR_PALETTEUNAVAILABLE, "the image has no palette"},
    {WINCODEC_ERR_CODECTOOMANYSCANLINES, "too many scan lines were written"},
    {WINCODEC_ERR_INTERNALERROR, "the codec failed internally"},
    {WINCODEC_ERR_COMPONENTNOTFOUND, "no codec recognises the data"},
    {WINCODEC_ERR_IMAGESIZEOUTOFRANGE, "the image size is out of range"},
    {WINCODEC_ERR_BADIMAGE, "the image data is damaged"},
    {WINCODEC_ERR_BADHEADER, "the image header is damaged"},
    {WINCODEC_ERR_FRAMEMISSING, "the image has no frame"},
    {WINCODEC_ERR_BADMETADATAHEADER, "the image metadata header is damaged"},
    {WINCODEC_ERR_BADSTREAMDATA, "the image stream data is damaged"},
    {WINCODEC_ERR_STREAMWRITE, "the image stream cannot be written"},
    {WINCODEC_ERR_STREAMREAD, "the image stream cannot be read"},
    {WINCODEC_ERR_STREAMNOTAVAILABLE, "the image stream is not available"},
    {WINCODEC_ERR_UNSUPPORTEDPIXELFORMAT, "the pixel format is not supported"},
    {WINCODEC_ERR_UNSUPPORTEDOPERATION, "the codec does not support the operation"},
    {WINCODEC_ERR_COMPONENTINITIALIZEFAILURE, "the codec could not be initialised"},
    {WINCODEC_ERR_INSUFFICIENTBUFFER, "the buffer is too small"},
};

String codecText(HRESULT code)
{
    String text = String::FromError(static_cast<unsigned long>(code)).Trim(String(L" \r\n\t."), false, true);
    if (text.empty())
        for (const CodecText &known : kCodecTexts)
            if (known.code == code)
                text = String::FromLatin1(known.text);
    if (text.empty())
        text = String(L"unknown imaging component error");
    return text + String::FromFormat(qvgraphics::units(L" (0x%08lX)"), static_cast<unsigned long>(code));
}

}  // namespace

void fail(HRESULT code)
{
    throw Image::Exception{static_cast<long>(code), codecText(code)};
}

Codecs::Codecs()
{
    HRESULT com = CoInitializeEx(nullptr, COINIT_MULTITHREADED);
    initialised_ = SUCCEEDED(com);
    if (FAILED(com) && com != RPC_E_CHANGED_MODE)
        fail(com);
    HRESULT made = CoCreateInstance(CLSID_WICImagingFactory, nullptr, CLSCTX_INPROC_SERVER, IID_IWICImagingFactory,
                                    factory_.receiveVoid());
    if (FAILED(made)) {
        uninitialise();
        fail(made);
    }
}

Codecs::~Codecs()
{
    factory_.reset();  // the factory goes before COM does
    uninitialise();
}

void Codecs::uninitialise()
{
    if (initialised_)
        CoUninitialize();
    initialised_ = false;
}

void declareAlpha(std::string &bmp)
{
    BITMAPFILEHEADER file;
    BITMAPV5HEADER info = {};
    if (bmp.size() < sizeof file + sizeof info.bV5Size)
        fail(WINCODEC_ERR_BADHEADER);
    std::memcpy(&file, bmp.data(), sizeof file);
    DWORD headerSize;
    std::memcpy(&headerSize, bmp.data() + sizeof file, sizeof headerSize);
    if (headerSize < sizeof(BITMAPINFOHEADER) || headerSize > sizeof info || bmp.size() < sizeof file + headerSize ||
        file.bfOffBits < sizeof file + headerSize || file.bfOffBits > bmp.size())
        fail(WINCODEC_ERR_BADHEADER);
    std::memcpy(&info, bmp.data() + sizeof file, headerSize);
    if (info.bV5BitCount != 32 || (info.bV5Compression != BI_RGB && info.bV5Compression != BI_BITFIELDS))
        fail(WINCODEC_ERR_UNSUPPORTEDPIXELFORMAT);
    if (headerSize == sizeof info && info.bV5Compression == BI_BITFIELDS && info.bV5AlphaMask == 0xFF000000)
        return;
    std::string pixels = bmp.substr(file.bfOffBits);
    info.bV5Size = sizeof info;
    info.bV5Compression = BI_BITFIELDS;
    info.bV5RedMask = 0x00FF0000;
    info.bV5GreenMask = 0x0000FF00;
    info.bV5BlueMask = 0x000000FF;
    info.bV5AlphaMask = 0xFF000000;
    info.bV5CSType = 0x73524742;  // LCS_sRGB ('sRGB'), spelt out: the header's constant is a multi-character literal
    info.bV5Intent = LCS_GM_IMAGES;
    info.bV5ClrUsed = 0;
    file.bfOffBits = sizeof file + sizeof info;
    file.bfSize = static_cast<DWORD>(file.bfOffBits + pixels.size());
    bmp.assign(reinterpret_cast<const char *>(&file), sizeof file);
    bmp.append(reinterpret_cast<const char *>(&info), sizeof info);
    bmp += pixels;
}

}  // namespace qvimaging
