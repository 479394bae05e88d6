#include "qvcore/graphics/ImageList.h"

#include "qvcore/runtime/ModuleBase.h"

// Each operation is the system call of its name on the held list; only ownership is added.

namespace {

// A new list as a heap object owning it, or null when the system made none.
ImageList *adopt(HIMAGELIST list)
{
    if (!list)
        return nullptr;
    ImageList *owner = new ImageList;
    owner->Attach(list);
    return owner;
}

}  // namespace

ImageList::ImageList() {}

ImageList::ImageList(const ImageList &other) : handle_(other.handle_.get()) {}

ImageList::~ImageList() {}

// --- creating, attaching, destroying ----------------------------------------------------------

bool ImageList::Create(int cx, int cy, unsigned flags, int initial, int grow)
{
    Attach(ImageList_Create(cx, cy, flags, initial, grow));
    return handle_.valid();
}

bool ImageList::Create(const ImageList &a, int ia, const ImageList &b, int ib, int dx, int dy)
{
    Attach(ImageList_Merge(a.GetHandle(), ia, b.GetHandle(), ib, dx, dy));
    return handle_.valid();
}

bool ImageList::LoadBitmapA(unsigned id, int cx, int grow, unsigned long mask, bool dibSection, ModuleBase *module)
{
    HINSTANCE resources = module ? module->GetResources() : nullptr;
    Attach(ImageList_LoadImageA(resources, MAKEINTRESOURCEA(id), cx, grow, mask, IMAGE_BITMAP,
                                dibSection ? LR_CREATEDIBSECTION : 0));
    return handle_.valid();
}

void ImageList::Attach(HIMAGELIST list)
{
    handle_.reset(list);
}

HIMAGELIST ImageList::Detach()
{
    return handle_.release();
}

void ImageList::Destroy()
{
    handle_.reset();
}

// --- images -----------------------------------------------------------------------------------

int ImageList::Add(HBITMAP image, HBITMAP mask)
{
    return ImageList_Add(handle_.get(), image, mask);
}

int ImageList::AddMasked(HBITMAP image, unsigned long maskColour)
{
    return ImageList_AddMasked(handle_.get(), image, maskColour);
}

int ImageList::AddIcon(HICON icon)
{
    return ImageList_ReplaceIcon(handle_.get(), -1, icon);
}

int ImageList::ReplaceIcon(int index, HICON icon)
{
    return ImageList_ReplaceIcon(handle_.get(), index, icon);
}

bool ImageList::Replace(int index, HBITMAP image, HBITMAP mask)
{
    return ImageList_Replace(handle_.get(), index, image, mask) != FALSE;
}

bool ImageList::Remove(int index)
{
    return ImageList_Remove(handle_.get(), index) != FALSE;
}

bool ImageList::RemoveAll()
{
    return Remove(-1);
}

bool ImageList::Copy(int dst, int src, unsigned flags)
{
    return ImageList_Copy(handle_.get(), dst, handle_.get(), src, flags) != FALSE;
}

bool ImageList::SetImageCount(unsigned count)
{
    return ImageList_SetImageCount(handle_.get(), count) != FALSE;
}

int ImageList::GetImageCount() const
{
    return ImageList_GetImageCount(handle_.get());
}

// --- drawing and properties -------------------------------------------------------------------

bool ImageList::Draw(HDC dc, int index, const tagPOINT &at, unsigned style, int dx, int dy, unsigned long bk,
                     unsigned long fg) const
{
    return ImageList_DrawEx(handle_.get(), index, dc, at.x, at.y, dx, dy, bk, fg, style) != FALSE;
}

bool ImageList::DrawIndirect(_IMAGELISTDRAWPARAMS &params) const
{
    // The list drawn is always this one, whatever the caller left in the structure.
    IMAGELISTDRAWPARAMS own = params;
    own.himl = handle_.get();
    return ImageList_DrawIndirect(&own) != FALSE;
}

unsigned long ImageList::GetBkColor() const
{
    return ImageList_GetBkColor(handle_.get());
}

unsigned long ImageList::SetBkColor(unsigned long colour)
{
    return ImageList_SetBkColor(handle_.get(), colour);
}

HICON ImageList::GetIcon(int index, unsigned flags) const
{
    return ImageList_GetIcon(handle_.get(), index, flags);
}

bool ImageList::GetIconSize(int &cx, int &cy) const
{
    return ImageList_GetIconSize(handle_.get(), &cx, &cy) != FALSE;
}

tagSIZE ImageList::GetIconSize() const
{
    int cx = 0, cy = 0;
    tagSIZE size = {0, 0};
    if (GetIconSize(cx, cy)) {
        size.cx = cx;
        size.cy = cy;
    }
    return size;
}

bool ImageList::SetIconSize(int cx, int cy)
{
    return ImageList_SetIconSize(handle_.get(), cx, cy) != FALSE;
}

bool ImageList::GetImageInfo(int index, _IMAGEINFO *info) const
{
    return ImageList_GetImageInfo(handle_.get(), index, info) != FALSE;
}

bool ImageList::SetOverlayImage(int index, int overlay)
{
    return ImageList_SetOverlayImage(handle_.get(), index, overlay) != FALSE;
}

// --- new lists --------------------------------------------------------------------------------

ImageList *ImageList::Duplicate() const
{
    return adopt(ImageList_Duplicate(handle_.get()));
}

ImageList *ImageList::Merge(int index, const ImageList &other, int otherIndex, int dx, int dy) const
{
    return adopt(ImageList_Merge(handle_.get(), index, other.GetHandle(), otherIndex, dx, dy));
}

// --- dragging ---------------------------------------------------------------------------------

bool ImageList::BeginDrag(int index, const tagPOINT &hotspot)
{
    return ImageList_BeginDrag(handle_.get(), index, hotspot.x, hotspot.y) != FALSE;
}

bool ImageList::SetDragCursorImage(int index, const tagPOINT &hotspot)
{
    return ImageList_SetDragCursorImage(handle_.get(), index, hotspot.x, hotspot.y) != FALSE;
}

bool ImageList::DragEnter(HWND lock, const tagPOINT &at)
{
    return ImageList_DragEnter(lock, at.x, at.y) != FALSE;
}

bool ImageList::DragLeave(HWND lock)
{
    return ImageList_DragLeave(lock) != FALSE;
}

bool ImageList::DragMove(const tagPOINT &at)
{
    return ImageList_DragMove(at.x, at.y) != FALSE;
}

bool ImageList::DragShowNoLock(bool show)
{
    return ImageList_DragShowNolock(show ? TRUE : FALSE) != FALSE;
}

void ImageList::EndDrag()
{
    ImageList_EndDrag();
}

HIMAGELIST ImageList::GetDragImage(tagPOINT &at, tagPOINT &hotspot)
{
    return ImageList_GetDragImage(&at, &hotspot);
}
