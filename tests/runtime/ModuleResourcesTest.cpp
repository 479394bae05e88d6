// Resources of a real module built by the resource compiler (TestModule.rc): raw bytes,
// addresses, bitmaps, pictures, accelerators and dialog templates, checked through the
// system's own view of what the library hands out.

#include "qvcore/runtime/ModuleBase.h"
#include "qvcore/core/ScopedHandle.h"
#include "tests/support/RectPrinting.h"
#include "tests/support/StringPrinting.h"

#include <gtest/gtest.h>

#include <olectl.h>

#include <cstring>
#include <ostream>
#include <string>

namespace {

const COLORREF kRed = RGB(255, 0, 0);
const COLORREF kGreen = RGB(0, 255, 0);

class ModuleResources : public ::testing::Test {
protected:
    void SetUp() override { ASSERT_NE(library, nullptr) << "qvcore_test_module.dll not loaded"; }
    ~ModuleResources() override { FreeLibrary(library); }
    const HMODULE library = LoadLibraryA("qvcore_test_module.dll");
    ModuleBase module{library};
};

// Size and the colours of the top-left and bottom-left pixels of a bitmap.
struct BitmapLook {
    LONG width = 0, height = 0;
    COLORREF topLeft = CLR_INVALID, bottomLeft = CLR_INVALID;
};

BitmapLook look(HBITMAP bitmap)
{
    BitmapLook seen;
    BITMAP info = {};
    if (!bitmap || !GetObjectA(bitmap, sizeof info, &info))
        return seen;
    seen.width = info.bmWidth;
    seen.height = info.bmHeight;
    HDC dc = CreateCompatibleDC(nullptr);
    HGDIOBJ old = SelectObject(dc, bitmap);
    seen.topLeft = GetPixel(dc, 0, 0);
    seen.bottomLeft = GetPixel(dc, 0, info.bmHeight - 1);
    SelectObject(dc, old);
    DeleteDC(dc);
    return seen;
}

// ModuleImage.bmp: 4 x 2 pixels, the top row red, the bottom row green. Deletes the bitmap.
void expectModuleImage(HBITMAP bitmap, const char *what)
{
    BitmapLook seen = look(bitmap);
    EXPECT_EQ(seen.width, 4) << what;
    EXPECT_EQ(seen.height, 2) << what;
    EXPECT_EQ(seen.topLeft, kRed) << what;
    EXPECT_EQ(seen.bottomLeft, kGreen) << what;
    DeleteObject(bitmap);
}

}  // namespace

TEST_F(ModuleResources, LoadResourceFindsNumberedAndNamedTypesAndReportsTheSize)
{
    unsigned long size = 99;
    const char *data = static_cast<const char *>(module.LoadResource(40, MAKEINTRESOURCEA(10), &size));
    ASSERT_NE(data, nullptr);
    EXPECT_EQ(std::string(data, size), "module data");
    EXPECT_NE(module.LoadResource(21, "PICTURE"), nullptr);  // no size asked for

    struct { const char *what; unsigned int id; const char *type; } missing[] = {
        {"absent id", 41, MAKEINTRESOURCEA(10)},
        {"absent type", 40, MAKEINTRESOURCEA(11)},
        {"absent name", 20, "PICTURES"},
        {"id beyond 16 bits (0x10000 + 40)", 0x10028, MAKEINTRESOURCEA(10)}};
    for (const auto &row : missing) {
        size = 99;
        EXPECT_EQ(module.LoadResource(row.id, row.type, &size), nullptr) << row.what;
        EXPECT_EQ(size, 0u) << row.what;
    }
}

TEST_F(ModuleResources, CreateResourceURLNamesTheModulesPathTypeAndId)
{
    String path = module.GetPath();
    EXPECT_EQ(module.CreateResourceURL(5, MAKEINTRESOURCEA(23)), String(L"res://") << path << String(L"/23/5"));
    EXPECT_EQ(module.CreateResourceURL(20, "PICTURE"), String(L"res://") << path << String(L"/PICTURE/20"));
}

TEST_F(ModuleResources, BitmapsAndPicturesKeepTheirPixelsAndOrientation)
{
    expectModuleImage(module.LoadBitmap(10), "bitmap");
    EXPECT_EQ(module.LoadBitmap(11), nullptr);

    ComPtr<IPicture> picture(module.LoadPicture(20));
    ASSERT_TRUE(picture);
    SHORT type = PICTYPE_UNINITIALIZED;
    EXPECT_EQ(picture->get_Type(&type), S_OK);
    EXPECT_EQ(type, PICTYPE_BITMAP);

    expectModuleImage(module.LoadPictureAsBmp(20), "picture drawn into a bitmap");

    // Bytes that are no picture, and a missing resource.
    EXPECT_EQ(module.LoadPicture(21), nullptr);
    EXPECT_EQ(module.LoadPictureAsBmp(21), nullptr);
    EXPECT_EQ(module.LoadPicture(22), nullptr);
}

TEST_F(ModuleResources, AcceleratorTablesLoadWithEveryEntry)
{
    HACCEL table = module.LoadAcceleratorsFromResource(30);
    ASSERT_NE(table, nullptr);
    ACCEL entries[4] = {};
    ASSERT_EQ(CopyAcceleratorTableA(table, entries, 4), 2);
    EXPECT_EQ(entries[0].fVirt & (FVIRTKEY | FCONTROL), FVIRTKEY | FCONTROL);
    EXPECT_EQ(entries[0].key, 'A');
    EXPECT_EQ(entries[0].cmd, 1001);
    EXPECT_EQ(entries[1].key, VK_F5);
    EXPECT_EQ(entries[1].cmd, 1002);
    EXPECT_EQ(module.LoadAcceleratorsFromResource(31), nullptr);
}

TEST_F(ModuleResources, GetDialogRectReadsClassicAndExtendedTemplatesAndAMissingOrCutOneIsEmpty)
{
    EXPECT_EQ(module.GetDialogRect(100, /*inPixels=*/false), Rect(10, 20, 210, 120));
    EXPECT_EQ(module.GetDialogRect(101, /*inPixels=*/false), Rect(5, 6, 155, 86));
    EXPECT_EQ(module.GetDialogRect(99, /*inPixels=*/false), Rect());
    EXPECT_EQ(module.GetDialogRect(99, /*inPixels=*/true), Rect());
    MemoryBlock block(16);
    EXPECT_FALSE(module.LoadDialog(99, block));
    EXPECT_EQ(block.size(), 0);

    // Items missing: the rectangle in dialog units is still there, but the template is never
    // handed to the system.
    EXPECT_EQ(module.GetDialogRect(102, /*inPixels=*/false), Rect(0x3884, 0, 0x3884 - 0x7F80, 0));
    EXPECT_EQ(module.GetDialogRect(102, /*inPixels=*/true), Rect());
    EXPECT_FALSE(module.LoadDialog(102, block));

    // The system is handed the font alone, so damage elsewhere cannot reach it: both are
    // mapped, 104 far below where 103 ends.
    const Rect seen = module.GetDialogRect(103, /*inPixels=*/true);
    const Rect placed = module.GetDialogRect(104, /*inPixels=*/true);
    EXPECT_FALSE(seen.IsEmpty());
    EXPECT_EQ(0, placed.left);
    EXPECT_GT(placed.top, seen.bottom);
}

TEST_F(ModuleResources, GetDialogRectInPixelsUsesTheDialogsOwnFont)
{
    // The classic template names no font: the system font's dialog base units apply.
    LONG units = GetDialogBaseUnits();
    int x = LOWORD(units), y = HIWORD(units);
    EXPECT_EQ(module.GetDialogRect(100, /*inPixels=*/true),
              Rect(MulDiv(10, x, 4), MulDiv(20, y, 8), MulDiv(210, x, 4), MulDiv(120, y, 8)));

    // The extended one has a font of its own: as the system maps it for that dialog.
    HWND dialog = CreateDialogParamA(library, MAKEINTRESOURCEA(101), nullptr, nullptr, 0);
    ASSERT_NE(dialog, nullptr);
    RECT expected = {5, 6, 155, 86};
    MapDialogRect(dialog, &expected);
    DestroyWindow(dialog);
    EXPECT_EQ(module.GetDialogRect(101, /*inPixels=*/true), Rect(expected));
    // The rectangle is never scaled.
    ModuleBase::SetDialogScalingFactors(2.0, 2.0);
    EXPECT_EQ(module.GetDialogRect(101, /*inPixels=*/true), Rect(expected));
    ModuleBase::SetDialogScalingFactors(1.0, 1.0);
}

namespace {

// Creates a dialog from a template as the system reads it (under a hidden parent, so that
// child templates work too) and gives the pixel rectangle of each of its controls.
class DialogFromTemplate {
public:
    explicit DialogFromTemplate(const MemoryBlock &dialogTemplate)
        : parent_(CreateWindowA("STATIC", "", WS_POPUP, 0, 0, 10, 10, nullptr, nullptr, nullptr, nullptr))
    {
        dialog_ = CreateDialogIndirectParamA(nullptr, reinterpret_cast<LPCDLGTEMPLATEA>(static_cast<const char *>(dialogTemplate)),
                                             parent_, nullptr, 0);
    }
    ~DialogFromTemplate() { DestroyWindow(parent_); }
    HWND get() const { return dialog_; }

    Rect control(int id) const
    {
        RECT rect = {};
        HWND child = GetDlgItem(dialog_, id);
        if (!child)
            return Rect();
        GetWindowRect(child, &rect);
        MapWindowPoints(nullptr, dialog_, reinterpret_cast<POINT *>(&rect), 2);
        return Rect(rect);
    }
    // Where the system puts a control at x, y of size cx, cy in dialog units (position and
    // size are mapped apart, as the dialog manager does).
    Rect expected(int x, int y, int cx, int cy) const
    {
        RECT units = {x, y, cx, cy};
        MapDialogRect(dialog_, &units);
        return Rect(units.left, units.top, units.left + units.right, units.top + units.bottom);
    }

private:
    HWND parent_;
    HWND dialog_ = nullptr;
};

struct Placement {
    const char *what;
    int id, x, y, cx, cy;
};

}  // namespace

TEST_F(ModuleResources, LoadDialogScalesTheDialogAndEveryItemWithoutLosingAnEdge)
{
    // By 1.5 horizontally and 2 vertically: edges truncate, and a far edge that truncation
    // pulled inside the exact one moves out by a unit.
    ModuleBase::SetDialogScalingFactors(1.5, 2.0);
    MemoryBlock classic, extended;
    ASSERT_TRUE(module.LoadDialog(100, classic));
    ASSERT_TRUE(module.LoadDialog(101, extended));
    ModuleBase::SetDialogScalingFactors(1.0, 1.0);

    // The dialogs' own rectangles, read where each layout keeps them.
    short header[4];
    std::memcpy(header, static_cast<const char *>(classic) + 10, sizeof header);
    EXPECT_EQ(Rect(header[0], header[1], header[2], header[3]), Rect(15, 40, 300, 200));
    std::memcpy(header, static_cast<const char *>(extended) + 18, sizeof header);
    EXPECT_EQ(Rect(header[0], header[1], header[2], header[3]), Rect(7, 12, 225, 160));

    DialogFromTemplate classicDialog(classic), extendedDialog(extended);
    ASSERT_NE(classicDialog.get(), nullptr);
    ASSERT_NE(extendedDialog.get(), nullptr);
    const Placement classicItems[] = {
        {"0,0,3,1: far edge 4.5 widened to 5", 1001, 0, 0, 5, 2},
        {"1,3,5,7: 1.5 truncated to 1, far edge 9 exact", 1002, 1, 6, 8, 14}};
    for (const Placement &item : classicItems)
        EXPECT_EQ(classicDialog.control(item.id), classicDialog.expected(item.x, item.y, item.cx, item.cy)) << item.what;
    const Placement extendedItems[] = {
        {"button 0,0,3,1 (with a help id)", IDOK, 0, 0, 5, 2},
        {"static 2,4,6,8", 1003, 3, 8, 9, 16}};
    for (const Placement &item : extendedItems)
        EXPECT_EQ(extendedDialog.control(item.id), extendedDialog.expected(item.x, item.y, item.cx, item.cy)) << item.what;
}
