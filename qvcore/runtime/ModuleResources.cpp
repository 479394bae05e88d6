// Resources of a module: which module serves each type, raw bytes, string tables, bitmaps,
// pictures and accelerators.

#include "qvcore/runtime/ModuleBase.h"

#include "qvcore/core/ScopedHandle.h"

#include <olectl.h>

namespace {

const unsigned int kBitmapType = 2;          // RT_BITMAP
const unsigned int kStringTableType = 6;     // RT_STRING
const unsigned int kAcceleratorType = 9;     // RT_ACCELERATOR
const char kPictureType[] = "PICTURE";

// Keeps an object selected into a device context for a scope.
class Selection {
public:
    Selection(HDC dc, HGDIOBJ object) : dc_(dc), previous_(SelectObject(dc, object)) {}
    ~Selection() { SelectObject(dc_, previous_); }
    Selection(const Selection &) = delete;
    Selection &operator=(const Selection &) = delete;

private:
    HDC dc_;
    HGDIOBJ previous_;
};

// himetric (hundredths of a millimetre) to pixels at dotsPerInch.
int pixels(long himetric, int dotsPerInch)
{
    return MulDiv(himetric, dotsPerInch, 2540);
}

}  // namespace

HINSTANCE ModuleBase::moduleOrExecutable() const
{
    return module_ ? module_ : GetModuleHandleA(nullptr);
}

ResourceTarget::~ResourceTarget() = default;

bool ResourceTarget::IsUntranslatedType(const char *type)
{
    // Bitmaps and pictures carry no language: language files need not repeat them.
    return IS_INTRESOURCE(type) ? LOWORD(reinterpret_cast<UINT_PTR>(type)) == kBitmapType
                                : lstrcmpiA(type, kPictureType) == 0;
}

HINSTANCE ModuleBase::GetResourceModule(const char *type) const
{
    if (IsUntranslatedType(type) || useModule_ || resources_ == module_)
        return moduleOrExecutable();
    return resources_;
}

const void *ModuleBase::LoadResource(unsigned int id, const char *type, unsigned long *size) const
{
    if (size)
        *size = 0;
    if (id > 0xFFFF)  // resource ids are 16-bit: a larger one would name another resource
        return nullptr;
    HINSTANCE from = GetResourceModule(type);
    HRSRC found = FindResourceA(from, MAKEINTRESOURCEA(id), type);
    HGLOBAL loaded = found ? ::LoadResource(from, found) : nullptr;
    const void *bytes = loaded ? LockResource(loaded) : nullptr;
    if (bytes && size)
        *size = SizeofResource(from, found);
    return bytes;
}

String ModuleBase::CreateResourceURL(unsigned int id, const char *type) const
{
    String url(L"res://");
    url << GetPath() << String(L"/");
    if (IS_INTRESOURCE(type))
        url << static_cast<int>(reinterpret_cast<UINT_PTR>(type));
    else
        url << String::FromSystemMultibyte(type);
    return url << String(L"/") << static_cast<int>(id);
}

String ModuleBase::LoadString(unsigned int id, int firstLine, int lastLine) const
{
    return LoadString(GetResourceModule(MAKEINTRESOURCEA(kStringTableType)), id, firstLine, lastLine);
}

String ModuleBase::LoadString(HINSTANCE module, unsigned int id, int firstLine, int lastLine)
{
    // Entries are stored sixteen to a block; block ids are 16-bit, so larger ids have none.
    const unsigned int block = id / 16 + 1;
    if (id == 0 || block > 0xFFFF)
        return String();
    HRSRC found = FindResourceA(module, MAKEINTRESOURCEA(block), MAKEINTRESOURCEA(kStringTableType));
    if (!found)
        return String();
    HGLOBAL loaded = ::LoadResource(module, found);
    const unsigned short *entry = loaded ? static_cast<const unsigned short *>(LockResource(loaded)) : nullptr;
    if (!entry)
        return String();
    // Each entry is its length in units followed by the units; a damaged block must not make
    // the walk leave the resource.
    const unsigned short *end = entry + SizeofResource(module, found) / 2;
    for (unsigned int skip = id % 16; skip > 0 && entry < end; --skip)
        entry += 1 + *entry;
    if (entry >= end || *entry > end - entry - 1)
        return String();
    return String::GetLines(entry + 1, *entry, firstLine, lastLine);
}

HBITMAP ModuleBase::LoadBitmap(unsigned int id) const
{
    return ::LoadBitmapA(GetResourceModule(MAKEINTRESOURCEA(kBitmapType)), MAKEINTRESOURCEA(id));
}

HACCEL ModuleBase::LoadAcceleratorsFromResource(unsigned int id) const
{
    return LoadAcceleratorsA(GetResourceModule(MAKEINTRESOURCEA(kAcceleratorType)), MAKEINTRESOURCEA(id));
}

IPicture *ModuleBase::LoadPicture(unsigned int id) const
{
    unsigned long size = 0;
    const void *bytes = LoadResource(id, kPictureType, &size);
    if (!bytes || size == 0)
        return nullptr;
    // The picture loader reads a stream, which the system builds over movable global memory.
    ScopedGlobalMemory memory(GlobalAlloc(GMEM_MOVEABLE, size));
    void *copy = memory ? GlobalLock(memory.get()) : nullptr;
    if (!copy)
        return nullptr;
    memcpy(copy, bytes, size);
    GlobalUnlock(memory.get());
    ComPtr<IStream> stream;
    if (FAILED(CreateStreamOnHGlobal(memory.get(), TRUE, stream.receive())))
        return nullptr;
    memory.release();  // the stream frees it now
    IPicture *picture = nullptr;
    if (FAILED(OleLoadPicture(stream.get(), static_cast<LONG>(size), FALSE, IID_IPicture,
                              reinterpret_cast<void **>(&picture))))
        return nullptr;
    return picture;
}

HBITMAP ModuleBase::LoadPictureAsBmp(unsigned int id) const
{
    ComPtr<IPicture> picture(LoadPicture(id));
    OLE_XSIZE_HIMETRIC width = 0;
    OLE_YSIZE_HIMETRIC height = 0;
    if (!picture || FAILED(picture->get_Width(&width)) || FAILED(picture->get_Height(&height)))
        return nullptr;
    ScopedScreenDC screen(GetDC(nullptr));
    if (!screen)
        return nullptr;
    const int cx = pixels(width, GetDeviceCaps(screen.get(), LOGPIXELSX));
    const int cy = pixels(height, GetDeviceCaps(screen.get(), LOGPIXELSY));
    ScopedMemoryDC memory(CreateCompatibleDC(screen.get()));
    ScopedGdiObject<HBITMAP> bitmap(memory ? CreateCompatibleBitmap(screen.get(), cx, cy) : nullptr);
    if (!bitmap)
        return nullptr;
    {
        Selection selected(memory.get(), bitmap.get());
        // The picture's own coordinates run upwards: its top edge is at height.
        if (FAILED(picture->Render(memory.get(), 0, 0, cx, cy, 0, height, width, -height, nullptr)))
            return nullptr;
    }
    return bitmap.release();
}
