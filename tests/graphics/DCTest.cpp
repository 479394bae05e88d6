// Device contexts and drawing objects on memory DCs: every operation's pixels read back, and
// the selections a DC puts back on each way out of a scope.

#include "qvcore/graphics/DC.h"
#include "qvcore/graphics/GdiObject.h"

#include "tests/support/Canvas.h"
#include "tests/support/RectPrinting.h"

#include <gtest/gtest.h>

#include <functional>
#include <stdexcept>

namespace {

const COLORREF kWhite = RGB(255, 255, 255), kRed = RGB(255, 0, 0), kBlue = RGB(0, 0, 255), kGreen = RGB(0, 255, 0),
               kBlack = RGB(0, 0, 0);

// --- selections ----------------------------------------------------------------------------------

struct Originals {
    explicit Originals(HDC dc)
        : pen(GetCurrentObject(dc, OBJ_PEN)), brush(GetCurrentObject(dc, OBJ_BRUSH)),
          font(GetCurrentObject(dc, OBJ_FONT))
    {
    }
    bool operator==(const Originals &other) const
    {
        return pen == other.pen && brush == other.brush && font == other.font;
    }
    HGDIOBJ pen, brush, font;
};

// Runs body in a scope that selects a pen, brush and font through a borrowing DC declared after
// them (the safe order), leaving the scope normally or by an exception; the handles it made.
std::vector<HGDIOBJ> selectInScope(HDC dc, bool throwOut)
{
    std::vector<HGDIOBJ> made;
    try {
        Pen pen(PS_SOLID, 3, kRed);
        Brush brush(kBlue);
        Font font(String(L"Arial"), -12);
        made = {pen.GetObjectHandle(), brush.GetObjectHandle(), font.GetObjectHandle()};
        DC borrowed(dc);
        borrowed.Select(pen);
        borrowed.Select(brush);
        borrowed.Select(font);
        EXPECT_EQ(GetCurrentObject(dc, OBJ_PEN), pen.GetObjectHandle());
        if (throwOut)
            throw std::runtime_error("leaving the scope");
    } catch (const std::runtime_error &) {
    }
    return made;
}

TEST(DCSelections, AreRestoredBeforeTheObjectsAreDeletedOnEveryWayOut)
{
    MemoryDC dc;
    Originals before(dc);
    for (bool throwOut : {false, true}) {
        SCOPED_TRACE(throwOut ? "left by an exception" : "left normally");
        std::vector<HGDIOBJ> made = selectInScope(dc, throwOut);
        EXPECT_TRUE(Originals(dc) == before);
        // Deleted for real: an object still selected would have stayed alive.
        for (HGDIOBJ object : made)
            EXPECT_EQ(GetObjectType(object), 0u);
    }
}

TEST(DCSelections, ASelectionScopeUndoesSelectionsMadeWithinIt)
{
    MemoryDC dc;
    Originals before(dc);
    Pen pen(PS_SOLID, 1, kGreen);  // declared after the DC: the scope below must go first
    Brush brush(kRed);
    {
        DC::SelectionScope scope(dc);
        dc.Select(pen);
        dc.Select(brush);
        EXPECT_FALSE(Originals(dc) == before);
    }
    EXPECT_TRUE(Originals(dc) == before);
}

TEST(DCSelections, RestoreSelectionsPutsBackTheFirstOriginalAfterSeveralSelects)
{
    MemoryDC dc;
    HGDIOBJ original = GetCurrentObject(dc, OBJ_PEN);
    Pen red(PS_SOLID, 1, kRed), blue(PS_SOLID, 1, kBlue);
    EXPECT_EQ(dc.Select(red), original);
    EXPECT_EQ(dc.Select(blue), red.GetHandle());
    dc.RestoreSelections();
    EXPECT_EQ(GetCurrentObject(dc, OBJ_PEN), original);
}

TEST(DC, BorrowedContextStaysUsableAndOwnedOneIsDeleted)
{
    HDC raw = CreateCompatibleDC(nullptr);
    { DC borrowed(raw); }
    EXPECT_EQ(GetObjectType(raw), static_cast<DWORD>(OBJ_MEMDC));
    { DC owned(raw, /*owned=*/true); }
    EXPECT_EQ(GetObjectType(raw), 0u);
}

TEST(DC, ClientAndWindowContextsOfTheDesktopAreReleased)
{
    HDC client, window;
    {
        ClientDC screen(nullptr);
        WindowDC whole(GetDesktopWindow());
        client = screen;
        window = whole;
        EXPECT_NE(GetDeviceCaps(screen, BITSPIXEL), 0);
    }
    // A released common context is no longer valid for the caller (Wine: its handle is freed).
    EXPECT_NE(client, nullptr);
    EXPECT_NE(window, nullptr);
}

// What the window procedure below saw while painting.
struct Painted {
    Rect paintRect;
    COLORREF pixel = CLR_INVALID;
    int calls = 0;
} painted;

LRESULT CALLBACK paintingWindow(HWND window, UINT message, WPARAM wParam, LPARAM lParam)
{
    if (message != WM_PAINT)
        return DefWindowProcA(window, message, wParam, lParam);
    PaintDC dc(window);
    ++painted.calls;
    painted.paintRect = dc.GetPaintRect();
    dc.FillSolidRect(Rect(0, 0, 4, 4), kGreen);
    painted.pixel = dc.GetPixel(Point(1, 1));
    return 0;
}

TEST(DC, PaintDCPaintsTheInvalidRegionAndValidatesIt)
{
    WNDCLASSA windowClass = {};
    windowClass.lpfnWndProc = paintingWindow;
    windowClass.hInstance = GetModuleHandleA(nullptr);
    windowClass.lpszClassName = "QvCorePaintTest";
    RegisterClassA(&windowClass);
    HWND window = CreateWindowExA(0, "QvCorePaintTest", "paint", WS_POPUP | WS_VISIBLE, 0, 0, 40, 30, nullptr, nullptr,
                                  windowClass.hInstance, nullptr);
    ASSERT_NE(window, nullptr);
    InvalidateRect(window, nullptr, FALSE);
    UpdateWindow(window);
    EXPECT_GE(painted.calls, 1);
    EXPECT_EQ(painted.paintRect, Rect(0, 0, 40, 30));
    EXPECT_EQ(painted.pixel, kGreen);
    RECT stillInvalid;
    EXPECT_FALSE(GetUpdateRect(window, &stillInvalid, FALSE)) << "EndPaint did not validate the window";
    DestroyWindow(window);
}

// --- shapes --------------------------------------------------------------------------------------

TEST(DCDrawing, RectangleOutlinesWithThePenAndFillsWithTheBrushRightAndBottomExclusive)
{
    Canvas canvas(10, 10);
    Pen pen(PS_SOLID, 1, kRed);
    Brush brush(kBlue);
    DC::SelectionScope scope(canvas.dc);
    canvas.dc.Select(pen);
    canvas.dc.Select(brush);
    ASSERT_TRUE(canvas.dc.Rectangle(Rect(2, 2, 7, 6)));
    EXPECT_EQ(canvas.at(2, 2), kRed);
    EXPECT_EQ(canvas.at(6, 5), kRed);
    EXPECT_EQ(canvas.at(7, 5), kWhite);
    EXPECT_EQ(canvas.at(6, 6), kWhite);
    EXPECT_EQ(canvas.count(Rect(3, 3, 6, 5), kBlue), 6);
}

TEST(DCDrawing, LinesLeaveOutTheirEndPointAndPolylinesJoinPoints)
{
    Canvas canvas(10, 10);
    Pen pen(PS_SOLID, 1, kBlack);
    DC::SelectionScope scope(canvas.dc);
    canvas.dc.Select(pen);
    ASSERT_TRUE(canvas.dc.Line(Point(1, 1), Point(6, 1)));
    EXPECT_EQ(canvas.count(Rect(1, 1, 6, 2), kBlack), 5);
    EXPECT_EQ(canvas.at(6, 1), kWhite);
    ASSERT_TRUE(canvas.dc.Polyline({Point(1, 4), Point(4, 4), Point(4, 8)}));
    EXPECT_EQ(canvas.count(Rect(1, 4, 5, 5), kBlack), 4);
    EXPECT_EQ(canvas.count(Rect(4, 4, 5, 8), kBlack), 4);
    EXPECT_EQ(canvas.at(4, 8), kWhite);
}

TEST(DCDrawing, EllipsesRoundedRectanglesAndPolygonsFillInsideAndSpareCorners)
{
    Canvas canvas(40, 20);
    Pen pen = Pen::Stock(NULL_PEN);
    Brush brush(kGreen);
    DC::SelectionScope scope(canvas.dc);
    canvas.dc.Select(pen);
    canvas.dc.Select(brush);
    ASSERT_TRUE(canvas.dc.Ellipse(Rect(0, 0, 12, 12)));
    ASSERT_TRUE(canvas.dc.RoundRect(Rect(14, 0, 26, 12), Size(8, 8)));
    ASSERT_TRUE(canvas.dc.Polygon({Point(28, 0), Point(39, 0), Point(28, 11)}));
    EXPECT_EQ(canvas.at(6, 6), kGreen);
    EXPECT_EQ(canvas.at(0, 0), kWhite);
    EXPECT_EQ(canvas.at(20, 6), kGreen);
    EXPECT_EQ(canvas.at(20, 0), kGreen);  // the edge between the rounded corners is straight
    EXPECT_EQ(canvas.at(14, 0), kWhite);
    EXPECT_EQ(canvas.at(30, 2), kGreen);
    EXPECT_EQ(canvas.at(38, 10), kWhite);
}

TEST(DCDrawing, FillsFramesRegionsAndSinglePixels)
{
    Canvas canvas(20, 10);
    Brush red(kRed), blue(kBlue);
    ASSERT_TRUE(canvas.dc.FillRect(Rect(0, 0, 4, 4), red));
    ASSERT_TRUE(canvas.dc.FrameRect(Rect(5, 0, 10, 5), blue));
    ASSERT_TRUE(canvas.dc.FillRgn(Rgn(Rect(11, 0, 13, 3)), blue));
    COLORREF bk = canvas.dc.SetBkColor(kGreen);
    ASSERT_TRUE(canvas.dc.FillSolidRect(Rect(14, 0, 16, 2), kRed));
    EXPECT_EQ(canvas.dc.SetBkColor(bk), kGreen);  // FillSolidRect puts the background back
    EXPECT_EQ(canvas.dc.SetPixel(Point(19, 9), kBlue), kBlue);

    EXPECT_EQ(canvas.count(Rect(0, 0, 4, 4), kRed), 16);
    EXPECT_EQ(canvas.count(Rect(5, 0, 10, 5), kBlue), 16);  // the one-pixel border only
    EXPECT_EQ(canvas.count(Rect(11, 0, 13, 3), kBlue), 6);
    EXPECT_EQ(canvas.count(Rect(14, 0, 16, 2), kRed), 4);
    EXPECT_EQ(canvas.dc.GetPixel(Point(19, 9)), kBlue);
    EXPECT_EQ(canvas.dc.GetPixel(Point(20, 0)), CLR_INVALID);
}

// --- text ----------------------------------------------------------------------------------------

Rect inkBox(const Canvas &canvas, COLORREF ink, int width, int height)
{
    Rect box(width, height, -1, -1);
    for (int y = 0; y < height; ++y)
        for (int x = 0; x < width; ++x)
            if (canvas.at(x, y) == ink)
                box = Rect(std::min<int>(box.left, x), std::min<int>(box.top, y), std::max<int>(box.right, x + 1),
                           std::max<int>(box.bottom, y + 1));
    return box;
}

TEST(DCText, TextIsDrawnInItsColourInsideItsExtentAndAlignedToTheRight)
{
    Canvas canvas(200, 40);
    Font font(String(L"Arial"), -20, FW_BOLD);
    DC::SelectionScope scope(canvas.dc);
    canvas.dc.Select(font);
    canvas.dc.SetTextColor(kRed);
    canvas.dc.SetBkMode(TRANSPARENT);
    Size extent = canvas.dc.GetTextExtent(String(L"Wide text"));
    ASSERT_GT(extent.cx, 0);
    ASSERT_TRUE(canvas.dc.TextOut(Point(10, 5), String(L"Wide text")));
    Rect ink = inkBox(canvas, kRed, 200, 40);
    ASSERT_FALSE(ink.IsEmpty()) << "no text drawn";
    EXPECT_GE(ink.left, 10);
    EXPECT_LE(ink.right, 10 + extent.cx + 1);
    EXPECT_LE(ink.bottom, 5 + extent.cy);

    Canvas right(200, 40);
    DC::SelectionScope rightScope(right.dc);
    right.dc.Select(font);
    right.dc.SetTextColor(kRed);
    right.dc.SetTextAlign(TA_RIGHT | TA_TOP);
    ASSERT_TRUE(right.dc.TextOut(Point(190, 5), String(L"Wide text")));
    Rect rightInk = inkBox(right, kRed, 200, 40);
    EXPECT_LE(rightInk.right, 191);
    EXPECT_GE(rightInk.left, 190 - extent.cx - 1);
    EXPECT_GT(canvas.dc.GetTextExtent(String(L"Wide text, longer")).cx, extent.cx);
}

TEST(DCText, DrawTextCentresInTheRectangleAndReportsItsHeight)
{
    Canvas canvas(100, 30);
    canvas.dc.SetTextColor(kBlue);
    canvas.dc.SetBkMode(TRANSPARENT);
    int height = canvas.dc.DrawText(String(L"Mid"), Rect(0, 0, 100, 30), DT_CENTER | DT_SINGLELINE | DT_VCENTER);
    EXPECT_GT(height, 0);
    Rect ink = inkBox(canvas, kBlue, 100, 30);
    ASSERT_FALSE(ink.IsEmpty());
    EXPECT_LE(std::abs((ink.left + ink.right) - 100), 4) << ink.left << ".." << ink.right;
}

// --- clipping and state --------------------------------------------------------------------------

TEST(DCClipping, ARegionLimitsDrawingAndSaveRestoreBringsBackTheFullSurface)
{
    Canvas canvas(10, 10);
    int saved = canvas.dc.Save();
    ASSERT_NE(saved, 0);
    Rgn clip = Rgn::Elliptic(Rect(0, 0, 10, 10));
    EXPECT_NE(canvas.dc.SelectClipRgn(&clip), ERROR);
    EXPECT_EQ(canvas.dc.ExcludeClipRect(Rect(4, 4, 6, 6)), COMPLEXREGION);
    canvas.dc.FillSolidRect(Rect(0, 0, 10, 10), kRed);
    EXPECT_EQ(canvas.at(0, 0), kWhite);
    EXPECT_EQ(canvas.at(5, 5), kWhite);
    EXPECT_EQ(canvas.at(2, 5), kRed);
    ASSERT_TRUE(canvas.dc.Restore(saved));
    EXPECT_EQ(canvas.dc.GetClipBox(), Rect(0, 0, 10, 10));
    EXPECT_EQ(canvas.dc.IntersectClipRect(Rect(8, 8, 20, 20)), SIMPLEREGION);
    EXPECT_EQ(canvas.dc.GetClipBox(), Rect(8, 8, 10, 10));
}

// --- drawing objects -----------------------------------------------------------------------------

TEST(Rgn, CombinesContainsOffsetsAndCompares)
{
    Rgn a(Rect(0, 0, 10, 10));
    Rgn b(Rect(5, 5, 15, 15));
    Rgn both = a.Copy();
    EXPECT_EQ(both.Combine(b, RGN_AND), SIMPLEREGION);
    EXPECT_EQ(both.GetBox(), Rect(5, 5, 10, 10));
    EXPECT_TRUE(both == Rgn(Rect(5, 5, 10, 10)));
    EXPECT_TRUE(a != both);  // the copy is independent
    Rgn either(Rect(0, 0, 0, 0));
    EXPECT_EQ(either.Combine(a, b, RGN_OR), COMPLEXREGION);
    EXPECT_TRUE(either.Contains(Point(14, 14)));
    EXPECT_FALSE(either.Contains(Point(14, 2)));
    EXPECT_FALSE(a.Contains(Point(10, 5)));  // right edge exclusive
    EXPECT_TRUE(either.Intersects(Rect(12, 0, 20, 6)));
    EXPECT_FALSE(a.Intersects(Rect(10, 0, 20, 10)));
    EXPECT_EQ(a.Offset(5, 5), SIMPLEREGION);
    EXPECT_TRUE(a == b);
    EXPECT_EQ(either.Combine(a, RGN_DIFF), COMPLEXREGION);  // an L of what b does not cover
    EXPECT_EQ(either.GetBox(), Rect(0, 0, 10, 10));
    Rgn triangle = Rgn::Polygon({Point(0, 0), Point(10, 0), Point(0, 10)});
    EXPECT_TRUE(triangle.Contains(Point(2, 2)));
    EXPECT_FALSE(triangle.Contains(Point(8, 8)));
}

TEST(SystemColor, BrushesAreBorrowedAndOutliveTheirWrappers)
{
    HBRUSH system;
    {
        Brush brush = SystemColor::GetBrush(COLOR_WINDOW);
        system = brush;
        EXPECT_FALSE(brush.IsOwned());
        Canvas canvas(2, 2, kBlack);
        canvas.dc.FillRect(Rect(0, 0, 2, 2), brush);
        EXPECT_EQ(canvas.at(1, 1), SystemColor::Get(COLOR_WINDOW));
    }
    EXPECT_EQ(GetObjectType(system), static_cast<DWORD>(OBJ_BRUSH));
    EXPECT_EQ(GetSysColorBrush(COLOR_WINDOW), system);
    HGDIOBJ stock;
    { stock = Pen::Stock(BLACK_PEN).GetObjectHandle(); }
    EXPECT_EQ(GetObjectType(stock), static_cast<DWORD>(OBJ_PEN));
}

TEST(Font, KeepsItsAttributesAndCopiesTheSystemsFonts)
{
    Font bold(String(L"Arial"), -17, FW_BOLD, /*italic=*/true);
    LOGFONTA attributes = bold.GetAttributes();
    EXPECT_EQ(attributes.lfHeight, -17);
    EXPECT_EQ(attributes.lfWeight, FW_BOLD);
    EXPECT_TRUE(attributes.lfItalic);
    EXPECT_EQ(bold.GetFaceName(), String(L"Arial"));
    Font message = Font::System(Font::Message);
    EXPECT_TRUE(message.IsOwned());
    EXPECT_FALSE(message.GetFaceName().empty());
    EXPECT_FALSE(Font::System(Font::Gui).IsOwned());
}

TEST(GdiObject, MovingHandsOverOwnershipOnce)
{
    Pen first(PS_SOLID, 1, kRed);
    HGDIOBJ handle = first.GetObjectHandle();
    Pen second = std::move(first);
    EXPECT_FALSE(first);
    EXPECT_EQ(second.GetObjectHandle(), handle);
    EXPECT_TRUE(second.IsOwned());
}

TEST(GdiObject, AFailedCreationThrowsWinException)
{
    EXPECT_THROW(Brush(static_cast<HBITMAP>(nullptr)), WinException);
    EXPECT_THROW(GDIBitmap::CreateCompatible(nullptr, Size(-5, -5)), WinException);
}

}  // namespace
