#include "platform/linux/panel/PanelRenderer.h"

#include <gtest/gtest.h>

#include <cmath>

#include "platform/linux/panel/ArcFromPoint.h"
#include "tests/platform/linux/panel/PanelTestSupport.h"
#include "tools/qnpanel/PanelSamples.h"

namespace qn::platform::panel {
namespace {

using testing::Pixel;
using testing::pixelAt;
using tools::qnpanel::panelSamples;
using tools::qnpanel::renderSample;

// The panel's fill, white 0.9 at alpha 0.75, premultiplied.
constexpr Pixel kPanel{191, 172, 172, 172};

TEST(ArcFromPoint, RoundsACornerTangentToBothSides) {
    // The lower right corner of the body: along the bottom to the right, then up.
    const auto arc = arcFromPoint({200, 0}, {400, 0}, {400, 43}, 6);
    ASSERT_FALSE(arc.degenerate);
    EXPECT_NEAR(arc.lineTo.x, 394, 1e-9);
    EXPECT_NEAR(arc.lineTo.y, 0, 1e-9);
    EXPECT_NEAR(arc.end.x, 400, 1e-9);
    EXPECT_NEAR(arc.end.y, 6, 1e-9);
    EXPECT_NEAR(arc.center.x, 394, 1e-9);
    EXPECT_NEAR(arc.center.y, 6, 1e-9);
    EXPECT_TRUE(arc.counterClockwise);
    EXPECT_NEAR(arc.startAngle, -M_PI / 2, 1e-9);
    EXPECT_NEAR(arc.endAngle, 0, 1e-9);
    // The title strip's upper right corner turns the same way; its upper left too.
    EXPECT_TRUE(arcFromPoint({400, 86}, {400, 105}, {200, 105}, 6).counterClockwise);
    // Turning right instead.
    EXPECT_FALSE(arcFromPoint({0, 0}, {0, 10}, {10, 10}, 2).counterClockwise);
}

TEST(ArcFromPoint, NoCornerMeansAStraightLineToTheFirstPoint) {
    // The body's upper left: the current point is the first point itself.
    auto arc = arcFromPoint({0, 86}, {0, 86}, {0, 43}, 6);
    EXPECT_TRUE(arc.degenerate);
    EXPECT_EQ(arc.end.y, 86);
    arc = arcFromPoint({0, 0}, {5, 0}, {10, 0}, 6);
    EXPECT_TRUE(arc.degenerate);
    EXPECT_EQ(arc.lineTo.x, 5);
}

class RenderedPanel : public ::testing::Test {
  protected:
    PanelRenderer renderer{testing::sourceDir() + "/resources"};
};

TEST_F(RenderedPanel, PixelsAtKnownPlaces) {
    // The hyperlink sample: 105 high (three lines of the model fit 55), with a title.
    const auto sample = panelSamples()[2];
    const auto surface = renderSample(sample, renderer);
    cairo_surface_t* s = surface.get();
    ASSERT_EQ(cairo_image_surface_get_width(s), 400);
    ASSERT_EQ(cairo_image_surface_get_height(s), 105);

    // Round corners, all four: the title strip's above, the body's below.
    for (const auto& [x, y] : {std::pair{0, 0}, {399, 0}, {0, 104}, {399, 104}}) {
        EXPECT_EQ(pixelAt(s, x, y).a, 0) << x << "," << y;
    }
    // Square corners where body and strip meet, and no seam or double fill between them.
    EXPECT_EQ(pixelAt(s, 0, 18), kPanel);
    EXPECT_EQ(pixelAt(s, 0, 19), kPanel);
    EXPECT_EQ(pixelAt(s, 399, 18), kPanel);
    EXPECT_EQ(pixelAt(s, 399, 19), kPanel);
    // The title strip beyond the title's inset, and the body below the text box.
    EXPECT_EQ(pixelAt(s, 5, 9), kPanel);
    EXPECT_EQ(pixelAt(s, 390, 9), kPanel);
    EXPECT_EQ(pixelAt(s, 200, 95), kPanel);

    // The icon is drawn 1:1 at x 5, from the top: its opaque middle is the file's pixel.
    const CairoSurface icon(cairo_image_surface_create_from_png(
        (testing::sourceDir() + "/resources/qnicon.png").c_str()));
    ASSERT_EQ(cairo_surface_status(icon.get()), CAIRO_STATUS_SUCCESS);
    EXPECT_EQ(pixelAt(icon.get(), 10, 40).a, 255);
    EXPECT_EQ(pixelAt(s, 15, 40), pixelAt(icon.get(), 10, 40));
    EXPECT_EQ(pixelAt(s, 15, 10), pixelAt(icon.get(), 10, 10));

    // Dark text only inside the title's inset rectangle and inside the text box (x 30 to
    // 395, y 25 to 80 from the top), centred in it; blue link text inside the box too.
    int darkOutside = 0, darkTitle = 0, darkText = 0, blue = 0;
    double textColumns = 0;
    for (int y = 0; y < 105; ++y) {
        for (int x = 26; x < 400; ++x) {
            const auto p = pixelAt(s, x, y);
            const bool dark = p.a > 200 && p.r < 90 && p.b < 90;
            const bool isBlue = p.a > 200 && p.b > 150 && p.r < 120;
            const bool inTitle = y < 19 && x >= 19 && x < 381;
            const bool inText = y >= 25 && y < 80 && x >= 30 && x < 395;
            darkTitle += dark && inTitle;
            darkText += dark && inText;
            darkOutside += (dark || isBlue) && !inTitle && !inText;
            blue += isBlue && inText;
            if (dark && inText) {
                textColumns += x;
            }
        }
    }
    EXPECT_GT(darkTitle, 50);
    EXPECT_GT(darkText, 200);
    EXPECT_GT(blue, 30);
    EXPECT_EQ(darkOutside, 0);
    EXPECT_NEAR(textColumns / darkText, 30 + 365 / 2.0, 25);
}

TEST_F(RenderedPanel, ALongTitleIsCutAtItsTailInsideTheStrip) {
    const auto surface = renderSample(panelSamples()[3], renderer);
    int left = 400, right = 0;
    for (int y = 0; y < 19; ++y) {
        for (int x = 0; x < 400; ++x) {
            const auto p = pixelAt(surface.get(), x, y);
            if (p.a > 200 && p.r < 90 && p.b < 90) {
                left = std::min(left, x);
                right = std::max(right, x);
            }
        }
    }
    // Cut, not wrapped or spilled: the text reaches near both insets and stays inside.
    EXPECT_GE(left, 19);
    EXPECT_LT(right, 381);
    EXPECT_GT(right - left, 300);
}

TEST_F(RenderedPanel, TheDocumentationShowsWhatTheRendererDraws) {
    // The committed pictures are the renderer's output of the simulated host's record;
    // regenerate them with qnpanel when the panel changes.
    for (const auto& sample : panelSamples()) {
        const auto path = testing::sourceDir() + "/docs/panel-" + sample.name + ".png";
        const CairoSurface committed(cairo_image_surface_create_from_png(path.c_str()));
        ASSERT_EQ(cairo_surface_status(committed.get()), CAIRO_STATUS_SUCCESS) << path;
        const auto drawn = renderSample(sample, renderer);
        EXPECT_EQ(testing::firstDifference(drawn.get(), committed.get()), "") << path;
    }
}

}  // namespace
}  // namespace qn::platform::panel
