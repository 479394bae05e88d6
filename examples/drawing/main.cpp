// Drawing into a bitmap and saving it: shapes and text through a memory DC, a translucent badge
// blended on with its own alpha, the picture written as PNG and as a BMP with alpha, then read
// back; and what a damaged file throws.
#include "qvcore/graphics/DC.h"
#include "qvcore/graphics/Image.h"

#include <cstdio>

// The pixel as #AARRGGBB.
static void show(const char *what, const GDIBitmap &bitmap, int x, int y)
{
    std::printf("%s (%d,%d): #%08lX\n", what, x, y, static_cast<unsigned long>(bitmap.GetPixel(Point(x, y))));
}

int main()
{
    try {
        Image picture = Image::FromBitmap(GDIBitmap::CreateDIB(Size(120, 80)));
        {
            // The objects come before the DC: it deselects them when it goes, before they go.
            Pen outline(PS_SOLID, 1, RGB(0, 0, 128));
            Brush sky(RGB(135, 206, 235)), sun(RGB(255, 200, 0));
            Font label(String(L"Arial"), -14, FW_BOLD);
            MemoryDC dc;
            dc.Select(picture);
            dc.FillRect(Rect(0, 0, 120, 80), sky);
            dc.Select(outline);
            dc.Select(sun);
            dc.Ellipse(Rect(80, 8, 110, 38));
            dc.FillSolidRect(Rect(0, 60, 120, 80), RGB(34, 139, 34));
            dc.Select(label);
            dc.SetBkMode(TRANSPARENT);
            dc.SetTextColor(RGB(255, 255, 255));
            dc.DrawText(String(L"QvCore"), Rect(0, 60, 120, 80), DT_CENTER | DT_VCENTER | DT_SINGLELINE);
        }
        picture.SetAlpha(255);  // opaque everywhere: what the system drew has alpha 0

        // A half-transparent red badge, premultiplied for the system's blend.
        GDIBitmap badge = GDIBitmap::CreateDIB(Size(20, 20));
        for (int y = 0; y < 20; ++y)
            for (int x = 0; x < 20; ++x)
                badge.SetPixel(Point(x, y), 0x80FF0000);
        badge.SetAlphaFormat(BitmapBase::StraightAlpha);
        badge.Premultiply();
        picture.Blend(badge, Point(10, 10));

        picture.Save(String(L"drawing.png"), Image::Png);
        picture.Save(String(L"drawing.bmp"), Image::Bmp);
        for (const char *name : {"drawing.png", "drawing.bmp"}) {
            Image back = Image::Load(String::FromSystemMultibyte(name));
            std::printf("%s: %s %ldx%ld, %u bits per pixel%s\n", name, Image::FormatName(back.GetFormat()),
                        back.GetSize().cx, back.GetSize().cy, back.GetSourceBitsPerPixel(),
                        back.SourceHasAlpha() ? ", alpha" : "");
        }
        Image back = Image::Load(String(L"drawing.png"));
        show("sky", back, 5, 5);
        show("badge over the sky", back, 15, 15);
        show("sun", back, 95, 23);
        show("grass", back, 2, 78);

        Image::Decode(std::string("\x89PNG\r\n\x1a\n but cut short", 23));
    } catch (const Image::Exception &e) {
        std::printf("a damaged image: %s\n", e.message.Utf8().c_str());
        return 0;
    }
    return 1;
}
