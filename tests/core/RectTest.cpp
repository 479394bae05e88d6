#include "qvcore/core/Rect.h"
#include "tests/support/RectPrinting.h"

#include <gtest/gtest.h>

#include <cmath>

namespace {

TEST(Point, PackedCoordinatesAreSignedHalvesAndPointsAndSizesMixAsVectors)
{
    EXPECT_EQ(Point(1, -1), Point(0xFFFF0001u));
    EXPECT_EQ(Point(-32768, 0), Point(0x00008000u));
    EXPECT_EQ(Size(1, -1), Size(0xFFFF0001u));
    // A packed message parameter converts as it is, as window procedures pass it.
    Point fromMessage = static_cast<unsigned int>(0xFFFF0001u);
    Size sizeFromMessage = 0x00008000u;
    EXPECT_EQ(Point(1, -1), fromMessage);
    EXPECT_EQ(Size(-32768, 0), sizeFromMessage);

    Point p(3, 4);
    p += Size(10, 20);
    EXPECT_EQ(Point(13, 24), p);
    EXPECT_EQ(Point(10, 20), p - Point(3, 4));
    EXPECT_EQ(Size(-2, 7), -Size(2, -7));
    Size s(5, 6);
    s -= Point(1, 1);
    EXPECT_EQ(Size(4, 5), s);
    EXPECT_TRUE(Point(4, 5) == Size(4, 5));
    EXPECT_TRUE(Point(4, 5) != Point(5, 4));
}

TEST(Rect, ConstructionCornersAndCentre)
{
    EXPECT_EQ(Rect(0, 0, 0, 0), Rect(static_cast<const tagRECT *>(nullptr)));
    Rect r(Point(10, 20), Size(30, 40));
    EXPECT_EQ(Rect(10, 20, 40, 60), r);
    EXPECT_EQ(Size(30, 40), r.GetSize());
    r.BottomRight() = Point(50, 70);  // the corners are the rectangle's own fields
    EXPECT_EQ(70, r.bottom);
    EXPECT_EQ(Point(-1, -1), Rect(-3, -3, 0, 0).CenterPoint());  // truncated toward zero
    EXPECT_EQ(-5, Rect(5, 0, 0, 0).Width());

    // Used where the system takes its own structure by pointer.
    Rect a(0, 0, 10, 10), b(5, 5, 20, 20), both;
    ASSERT_TRUE(::IntersectRect(both, a, b));
    EXPECT_EQ(Rect(5, 5, 10, 10), both);
}

TEST(Rect, TestsFollowTheSystemsRules)
{
    Rect r(0, 0, 10, 5);
    EXPECT_TRUE(r.PtInRect(Point(0, 0)));
    EXPECT_FALSE(r.PtInRect(Point(10, 4)));  // right and bottom are outside
    EXPECT_FALSE(r.IsEmpty());
    EXPECT_TRUE(Rect(0, 0, 0, 5).IsEmpty());
    EXPECT_TRUE(Rect(3, 3, 1, 5).IsEmpty());
    EXPECT_TRUE(r.HasEqualSize(Rect(7, 7, 17, 12)));
    Rect swapped(10, 8, 2, 1);
    swapped.NormalizeRect();
    EXPECT_EQ(Rect(2, 1, 10, 8), swapped);
    swapped.Empty();
    EXPECT_EQ(Rect(), swapped);
}

TEST(Rect, MovingGrowingAndShrinking)
{
    Rect r(0, 0, 10, 10);
    r.OffsetRect(5);
    EXPECT_EQ(Rect(5, 5, 15, 15), r);
    EXPECT_EQ(Rect(6, 7, 16, 17), r + Point(1, 2));
    EXPECT_EQ(Rect(4, 3, 14, 13), r - Size(1, 2));

    const struct { Rect got, want; const char *what; } cases[] = {
        {[] { Rect x(10, 10, 20, 20); x.InflateRect(2); return x; }(), Rect(8, 8, 22, 22), "inflate by d"},
        {[] { Rect x(10, 10, 20, 20); x.InflateRect(1, 2); return x; }(), Rect(9, 8, 21, 22), "inflate dx, dy"},
        {[] { Rect x(10, 10, 20, 20); x.InflateRect(1, 2, 3, 4); return x; }(), Rect(9, 8, 23, 24), "inflate sides"},
        {[] { Rect x(10, 10, 20, 20); x.DeflateRect(Size(1, 2)); return x; }(), Rect(11, 12, 19, 18), "deflate size"},
        {[] { Rect x(10, 10, 20, 20); x.DeflateRect(Rect(1, 2, 3, 4)); return x; }(), Rect(11, 12, 17, 16),
         "deflate margins"},
        {Rect(10, 10, 20, 20) + static_cast<const tagRECT *>(Rect(1, 2, 3, 4)), Rect(9, 8, 23, 24), "+ margins"},
        {Rect(10, 10, 20, 20) - static_cast<const tagRECT *>(nullptr), Rect(10, 10, 20, 20), "- null margins"},
    };
    for (const auto &c : cases)
        EXPECT_EQ(c.want, c.got) << c.what;
}

TEST(Rect, IntersectionUnionSubtractionAndScaling)
{
    Rect a(0, 0, 10, 10);
    EXPECT_EQ(Rect(), a & Rect(20, 20, 30, 30));  // disjoint: all zeros
    EXPECT_EQ(Rect(5, 5, 10, 10), a & Rect(5, 5, 15, 15));
    EXPECT_EQ(Rect(0, 0, 15, 15), a | Rect(5, 5, 15, 15));
    EXPECT_EQ(a, a | Rect(40, 40, 40, 50));  // empty operands do not count
    Rect r;
    EXPECT_FALSE(r.IntersectRect(Rect(20, 20, 30, 30)));
    EXPECT_TRUE(r.SubtractRect(Rect(0, 0, 10, 10), Rect(5, 0, 10, 10)));
    EXPECT_EQ(Rect(0, 0, 5, 10), r);
    EXPECT_EQ(Rect(1, 2, 5, -7), Rect(2, 3, 10, -13).MulDiv(1, 2));  // rounded half away from zero
    EXPECT_EQ(Rect(-1, -1, -1, -1), Rect(1, 2, 3, 4).MulDiv(1, 0));
}

TEST(Rect, ProportionalRectFitsTheAspectCentredOnStepMultiples)
{
    const struct { Rect in; double aspect; int stepX, stepY; Rect want; } cases[] = {
        {Rect(0, 0, 400, 100), 2.0, 1, 1, Rect(100, 0, 300, 100)},    // too wide: the height stays
        {Rect(0, 0, 100, 400), 0.5, 1, 1, Rect(0, 100, 100, 300)},    // too tall: the width stays
        {Rect(0, 0, 400, 100), 0.0, 1, 1, Rect(0, 0, 400, 100)},      // no aspect: re-centred as it is
        {Rect(0, 0, 401, 0), 2.0, 1, 1, Rect(0, 0, 401, 0)},          // no height
        {Rect(1, 1, 4, 4), -1.0, 0, 0, Rect(1, 1, 4, 4)},
        // 16:9 in 1000 x 1000, steps 16 and 9: h = 563 -> 558, w = 992 -> 992, centred.
        {Rect(0, 0, 1000, 1000), 16.0 / 9.0, 16, 9, Rect(4, 221, 996, 779)},
        // 4:3 in 1000 x 500, steps 16 and 9: w = 667 -> 656, h = 492 -> 486.
        {Rect(0, 0, 1000, 500), 4.0 / 3.0, 16, 9, Rect(172, 7, 828, 493)},
        // An infinite aspect: no height; with a height step the width follows it to 0.
        {Rect(0, 0, 400, 100), HUGE_VAL, 1, 1, Rect(0, 50, 400, 50)},
        {Rect(0, 0, 400, 100), HUGE_VAL, 16, 9, Rect(200, 50, 200, 50)},
        {Rect(0, 0, 400, 100), std::nan(""), 1, 1, Rect(0, 0, 400, 100)},
    };
    for (const auto &c : cases) {
        Rect got = Rect::CreateProportionalRect(c.in, c.aspect, c.stepX, c.stepY);
        EXPECT_EQ(c.want, got) << c.aspect << " steps " << c.stepX << "x" << c.stepY;
    }
}

}  // namespace
