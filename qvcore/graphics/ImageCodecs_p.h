#ifndef QVCORE_GRAPHICS_IMAGECODECS_P_H
#define QVCORE_GRAPHICS_IMAGECODECS_P_H

// What decoding and encoding images share: the conversation with the imaging component and
// its failures. Not installed.

#include "qvcore/Platform.h"
#include "qvcore/core/ScopedHandle.h"
#include "qvcore/graphics/Image.h"

#include <wincodec.h>

#include <string>

namespace qvimaging {

/// Throws Image::Exception for code with the codec's text.
[[noreturn]] void fail(HRESULT code);

/// fail(result) when it is a failure.
inline void check(HRESULT result)
{
    if (FAILED(result))
        fail(result);
}

/// COM on the calling thread for the length of a call (unless the thread has it already in
/// either model), and the imaging component's factory. Throws Image::Exception when either
/// cannot be had.
class Codecs {
public:
    Codecs();
    ~Codecs();
    Codecs(const Codecs &) = delete;
    Codecs &operator=(const Codecs &) = delete;

    IWICImagingFactory *operator->() const { return factory_.get(); }

private:
    void uninitialise();

    bool initialised_;
    ComPtr<IWICImagingFactory> factory_;
};

/// Throws Image::Exception (WINCODEC_ERR_IMAGESIZEOUTOFRANGE) when the image file's headers
/// declare an image or frame beyond Image::kMaxSide or Image::kMaxPixels (PNG, GIF, BMP, JPEG,
/// TIFF, ICO; other data passes), and WINCODEC_ERR_BADIMAGE for a GIF frame without any colour
/// table or a GIF whose blocks do not lead to its trailer.
void checkDeclaredSize(const void *data, size_t count);

/// Makes a 32-bit BMP file's header a version-5 one whose masks declare the alpha channel
/// (blue, green, red, alpha bytes), as encoders that write a plain header leave it out. A
/// version-5 header already declaring it is left as it is; anything else throws
/// Image::Exception (WINCODEC_ERR_UNSUPPORTEDPIXELFORMAT).
void declareAlpha(std::string &bmp);

}  // namespace qvimaging

#endif
