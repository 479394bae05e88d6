#ifndef QVCORE_GRAPHICS_IMAGELIST_H
#define QVCORE_GRAPHICS_IMAGELIST_H

#include "qvcore/Platform.h"
#include "qvcore/core/ScopedHandle.h"

#include <commctrl.h>

class ModuleBase;

/// System image lists (ImageList_Create and the functions that make new lists).
struct ImageListTraits {
    typedef HIMAGELIST Handle;
    static Handle Invalid() { return nullptr; }
    static void Close(Handle list) { ImageList_Destroy(list); }
};

/// An owning wrapper of one system image list (the common controls' ImageList_ functions).
///
/// Every operation passes its arguments to the system function of the same name on the held
/// list and passes its answer back (system truth values as bool); while no list is held the
/// system functions get a null list and answer as they do for one. Nothing throws.
///
/// Ownership: Create, LoadBitmap, Attach, Duplicate and Merge give the object a list that it
/// destroys on Destroy, on the next attach and in its destructor. The copy constructor copies
/// the handle itself: copy and source then both hold, and both destroy, the same list, so code
/// that copies an ImageList must let go of one side first with Detach() (Attach(nullptr) would
/// destroy the shared list).
class QVCORE_API ImageList {
public:
    /// Holds no list.
    ImageList();
    /// Shares other's handle (see above).
    ImageList(const ImageList &other);
    ImageList &operator=(const ImageList &) = delete;
    /// Destroys the list held.
    virtual ~ImageList();

    HIMAGELIST GetHandle() const { return handle_.get(); }

    // --- creating, attaching, destroying ------------------------------------------------------

    /// ImageList_Create; the new list is attached (a failure leaves none). Whether one is held.
    bool Create(int cx, int cy, unsigned flags, int initial, int grow);
    /// ImageList_Merge of image ia of a and image ib of b, b offset by (dx, dy); attached.
    bool Create(const ImageList &a, int ia, const ImageList &b, int ib, int dx, int dy);
    /// ImageList_LoadImage of bitmap resource id from the module that module takes its
    /// resources from (ModuleBase::GetResources; a null module passes a null instance), images
    /// cx wide, grow images of room to grow, mask the colour that becomes transparent
    /// (CLR_NONE: none), as a DIB section when dibSection is set; attached. Whether one is held.
    /// Exported under the narrow name; LoadBitmapW, and LoadBitmap where a client has undefined
    /// the system's macro, lead to it whether or not the client defines UNICODE.
    bool LoadBitmapA(unsigned id, int cx, int grow, unsigned long mask, bool dibSection, ModuleBase *module);
    bool LoadBitmapW(unsigned id, int cx, int grow, unsigned long mask, bool dibSection, ModuleBase *module)
    {
        return LoadBitmapA(id, cx, grow, mask, dibSection, module);
    }
#pragma push_macro("LoadBitmap")
#undef LoadBitmap
    bool LoadBitmap(unsigned id, int cx, int grow, unsigned long mask, bool dibSection, ModuleBase *module)
    {
        return LoadBitmapA(id, cx, grow, mask, dibSection, module);
    }
#pragma pop_macro("LoadBitmap")
    /// Destroys the list held, then holds list (which may be null); attaching the list already
    /// held keeps it.
    void Attach(HIMAGELIST list);
    /// Gives the list up without destroying it; the object holds none afterwards.
    HIMAGELIST Detach();
    /// ImageList_Destroy of the list held, if any; none is held afterwards.
    void Destroy();

    // --- images -------------------------------------------------------------------------------

    /// ImageList_Add (the list copies the bitmaps); the new image's index or -1.
    int Add(HBITMAP image, HBITMAP mask);
    /// ImageList_AddMasked: pixels of maskColour become transparent; the index or -1.
    int AddMasked(HBITMAP image, unsigned long maskColour);
    /// Appends icon (copied); the index or -1.
    int AddIcon(HICON icon);
    int ReplaceIcon(int index, HICON icon);
    bool Replace(int index, HBITMAP image, HBITMAP mask);
    bool Remove(int index);
    /// Remove(-1).
    bool RemoveAll();
    /// ImageList_Copy within this list.
    bool Copy(int dst, int src, unsigned flags);
    bool SetImageCount(unsigned count);
    int GetImageCount() const;

    // --- drawing and properties ---------------------------------------------------------------

    /// ImageList_DrawEx of image index at `at`, dx by dy pixels (0: the image's size), with
    /// background bk and foreground (blend) colour fg, in style (ILD_ flags).
    bool Draw(HDC dc, int index, const tagPOINT &at, unsigned style, int dx, int dy, unsigned long bk,
              unsigned long fg) const;
    /// ImageList_DrawIndirect of this list with params; the list named in params.himl is
    /// ignored (and left as it is).
    bool DrawIndirect(_IMAGELISTDRAWPARAMS &params) const;
    unsigned long GetBkColor() const;
    /// The previous background colour.
    unsigned long SetBkColor(unsigned long colour);
    /// A new icon the caller destroys (DestroyIcon); null on failure.
    HICON GetIcon(int index, unsigned flags) const;
    bool GetIconSize(int &cx, int &cy) const;
    /// The image size; (0, 0) when the system call fails.
    tagSIZE GetIconSize() const;
    /// Removes every image.
    bool SetIconSize(int cx, int cy);
    bool GetImageInfo(int index, _IMAGEINFO *info) const;
    bool SetOverlayImage(int index, int overlay);

    // --- new lists ----------------------------------------------------------------------------

    /// ImageList_Duplicate: a new heap ImageList owning the copy, which the caller deletes;
    /// null on failure.
    ImageList *Duplicate() const;
    /// ImageList_Merge of this list's image index with other's image otherIndex, offset by
    /// (dx, dy): a new heap ImageList owning the result, which the caller deletes; null on failure.
    ImageList *Merge(int index, const ImageList &other, int otherIndex, int dx, int dy) const;

    // --- dragging (one drag at a time, process-wide) ------------------------------------------

    bool BeginDrag(int index, const tagPOINT &hotspot);
    bool SetDragCursorImage(int index, const tagPOINT &hotspot);
    static bool DragEnter(HWND lock, const tagPOINT &at);
    static bool DragLeave(HWND lock);
    static bool DragMove(const tagPOINT &at);
    /// ImageList_DragShowNolock.
    static bool DragShowNoLock(bool show);
    static void EndDrag();
    /// The list being dragged (not owned: never destroy it), its position and hotspot offset.
    static HIMAGELIST GetDragImage(tagPOINT &at, tagPOINT &hotspot);

private:
    ScopedHandle<ImageListTraits> handle_;
};

#endif
