#include <gtest/gtest.h>

#include "app/OSX/QuintorUserAgent/Hyperlink.h"
#include "app/OSX/QuintorUserAgent/QNUAMessageWindowController.h"
#include "platform/sim/SimHost.h"

namespace qn::app::osx::qnuapp {
namespace {

using namespace platform;
using platform::sim::SimImage;
using platform::sim::SimWindow;
using Kind = NSBezierPath::Element::Kind;
using XY = std::pair<double, double>;

XY xy(NSPoint p) {
    return {p.x, p.y};
}

class MessageWindowTest : public ::testing::Test {
  protected:
    // Shows a message as the observer does: a new controller for each.
    const SimWindow& show(const std::string& text, const std::string& title = "",
                          int interval = 15) {
        auto controller = QNUAMessageWindowController::create();
        controller->showWindow_forTimeInterval_withTitle(NSAttributedString(text), interval, title);
        controllers.push_back(controller);
        return *kit().window(controller->window()->windowRef());
    }
    sim::SimAppKit& kit() { return host.appKit(); }
    const SimImage& backgroundOf(const SimWindow& window) {
        EXPECT_EQ(window.background.kind, NSColor::Kind::Pattern);
        return *kit().image(window.background.patternImage);
    }
    void advance(double seconds) {
        host.runLoop().advance(static_cast<sim::SimRunLoop::Nanoseconds>(
            seconds * static_cast<double>(sim::SimRunLoop::kSecond)));
    }

    sim::SimHost host;
    ScopedBackend backend{host.backend()};
    std::vector<std::weak_ptr<QNUAMessageWindowController>> controllers;
};

TEST_F(MessageWindowTest, AShortTextGivesTheSmallestPanelInTheTopRightCorner) {
    const auto& window = show("Your display adapter needs new software.");
    // 1920 x 1080 screen: x = W - 410, 30 below the top, 25 + 55 + 25 high.
    EXPECT_EQ(window.frame, CGRectMake(1510, 945, 400, 105));
    EXPECT_EQ(window.styleMask, NSBorderlessWindowMask);
    EXPECT_EQ(window.backing, NSBackingStoreBuffered);
    EXPECT_TRUE(window.visible);
    EXPECT_FALSE(window.opaque);
    EXPECT_TRUE(window.hasShadow);
    EXPECT_TRUE(window.movableByWindowBackground);
    EXPECT_EQ(window.alpha, 1.0);

    ASSERT_EQ(window.subviews.size(), 2u);
    const auto& field = window.subviews[0];
    EXPECT_EQ(field.kind, NSViewSpec::Kind::TextField);
    // Centred in the height: the minimal text height of 55.
    EXPECT_EQ(field.frame, CGRectMake(30, 25, 365, 55));
    EXPECT_EQ(field.properties.get("alignment").intValue(), NSCenterTextAlignment);
    EXPECT_FALSE(field.properties.get("editable").boolValue());
    EXPECT_FALSE(field.properties.get("bordered").boolValue());
    EXPECT_FALSE(field.properties.get("drawsBackground").boolValue());
    EXPECT_EQ(NSAttributedString::fromValue(field.properties.get("attributedStringValue")).string(),
              "Your display adapter needs new software.");
    const auto& icon = window.subviews[1];
    EXPECT_EQ(icon.kind, NSViewSpec::Kind::Button);
    EXPECT_EQ(icon.frame, CGRectMake(5, 25, 20, 80));
    EXPECT_EQ(icon.properties.get("imageNamed").stringValue(), "qnicon");
    EXPECT_FALSE(icon.properties.get("bordered").boolValue());
    EXPECT_EQ(backgroundOf(window).size.width, 400.0);
    EXPECT_EQ(backgroundOf(window).size.height, 105.0);
}

TEST_F(MessageWindowTest, ALongerTextGrowsThePanelDownwardsWithTheIconAtTheTop) {
    std::string tenLines = "1";
    for (int i = 2; i <= 10; ++i) {
        tenLines += "\n" + std::to_string(i);
    }
    const auto& window = show(tenLines);
    EXPECT_EQ(window.frame, CGRectMake(1510, 850, 400, 200));
    EXPECT_EQ(window.subviews[0].frame, CGRectMake(30, 25, 365, 150));
    EXPECT_EQ(window.subviews[1].frame, CGRectMake(5, 120, 20, 80));

    // The measured height is narrowed to a float before it makes the window.
    kit().setTextMetrics(7.0, 15.1);
    const auto& four = show("a\nb\nc\nd");
    const double narrowed = static_cast<float>(4 * 15.1);
    EXPECT_EQ(four.frame.size.height, 50.0 + narrowed);
    EXPECT_NE(four.frame.size.height, 50.0 + 4 * 15.1);
}

TEST_F(MessageWindowTest, WithoutAMainScreenThePanelLivesOffScreen) {
    kit().setMainScreen(std::nullopt);
    const auto& window = show("hello");
    EXPECT_EQ(window.frame, CGRectMake(-410, -135, 400, 105));
    EXPECT_TRUE(window.visible);
    advance(15.0);
    EXPECT_TRUE(window.closed);
    // The origin of the main screen is not used either.
    kit().setMainScreen(NSScreen{CGRectMake(500, 300, 1024, 768)});
    EXPECT_EQ(show("hello").frame, CGRectMake(614, 633, 400, 105));
}

TEST_F(MessageWindowTest, TwoMessagesGiveTwoWindowsInOnePlaceEachClosedOnItsOwnTime) {
    const auto firstId = show("first").id;
    advance(5.0);
    const auto secondId = show("second").id;
    ASSERT_NE(firstId, secondId);
    auto* first = kit().window(firstId);
    auto* second = kit().window(secondId);
    EXPECT_EQ(first->frame, second->frame);
    EXPECT_TRUE(first->visible);
    EXPECT_TRUE(second->visible);
    advance(10.0);
    EXPECT_TRUE(first->closed);
    EXPECT_FALSE(second->closed);
    advance(5.0);
    EXPECT_TRUE(second->closed);
}

TEST_F(MessageWindowTest, TheIconHidesAtOnceAndTheTimerClosesLaterWhateverTheInterval) {
    for (const int interval : {1, 1000}) {
        const auto id = show("message", "", interval).id;
        ASSERT_TRUE(kit().click(id, 1));
        EXPECT_FALSE(kit().window(id)->visible);
        EXPECT_FALSE(kit().window(id)->closed);
        advance(14.999);
        EXPECT_FALSE(kit().window(id)->closed) << interval;
        advance(0.001);
        EXPECT_TRUE(kit().window(id)->closed) << interval;
    }
    // Once the timer has closed its window, nothing holds a controller any more.
    for (const auto& controller : controllers) {
        EXPECT_TRUE(controller.expired());
    }
}

TEST_F(MessageWindowTest, TheBackgroundIsARoundedBodyAndATitleStripWithTheTitle) {
    const auto& window = show("text", "Display mode restricted");
    EXPECT_EQ(window.title, "Display mode restricted");
    const auto& image = backgroundOf(window);
    ASSERT_EQ(image.fills.size(), 2u);
    const auto& body = image.fills[0].path.elements;
    ASSERT_EQ(body.size(), 7u);
    // b = 105 - 19 = 86: round lower corners, square upper ones.
    EXPECT_EQ(body[0].kind, Kind::MoveTo);
    EXPECT_EQ(xy(body[0].point1), (XY{200, 0}));
    EXPECT_EQ(body[1].kind, Kind::ArcFromPointToPoint);
    EXPECT_EQ(xy(body[1].point1), (XY{400, 0}));
    EXPECT_EQ(xy(body[1].point2), (XY{400, 43}));
    EXPECT_EQ(body[1].radius, 6.0);
    EXPECT_EQ(xy(body[2].point1), (XY{400, 86}));
    EXPECT_EQ(xy(body[3].point1), (XY{0, 86}));
    EXPECT_EQ(xy(body[4].point1), (XY{0, 86}));
    EXPECT_EQ(xy(body[4].point2), (XY{0, 43}));
    EXPECT_EQ(xy(body[5].point1), (XY{0, 0}));
    EXPECT_EQ(xy(body[5].point2), (XY{200, 0}));
    EXPECT_EQ(body[6].kind, Kind::Close);
    const auto& strip = image.fills[1].path.elements;
    ASSERT_EQ(strip.size(), 5u);
    EXPECT_EQ(xy(strip[0].point1), (XY{0, 86}));
    EXPECT_EQ(xy(strip[1].point1), (XY{400, 86}));
    EXPECT_EQ(xy(strip[2].point1), (XY{400, 105}));
    EXPECT_EQ(xy(strip[2].point2), (XY{200, 105}));
    EXPECT_EQ(xy(strip[3].point1), (XY{0, 105}));
    EXPECT_EQ(xy(strip[3].point2), (XY{0, 86}));
    for (const auto& fill : image.fills) {
        EXPECT_EQ(fill.color.red, 0.9);
        EXPECT_EQ(fill.color.alpha, 0.75);
    }
    ASSERT_EQ(image.texts.size(), 1u);
    const auto& title = image.texts[0];
    EXPECT_EQ(title.text, "Display mode restricted");
    // Inset by 19 at the sides and centred in the strip: the model's lines are 15 high.
    EXPECT_EQ(title.rect, CGRectMake(19, 88, 362, 15));
    const auto font = fontFromValue(title.attributes.get(NSFontAttributeName), 0);
    EXPECT_TRUE(font.bold);
    EXPECT_EQ(font.pointSize, 13.0);
    const auto style = title.attributes.get(NSParagraphStyleAttributeName);
    EXPECT_EQ(style.get("alignment").intValue(), NSCenterTextAlignment);
    EXPECT_EQ(style.get("lineBreakMode").intValue(), NSLineBreakByTruncatingTail);
}

TEST_F(MessageWindowTest, TitleAndSizeChangesDrawThePictureAnewAndOnlyAResizeDisplays) {
    auto controller = QNUAMessageWindowController::create();
    controller->showWindow_forTimeInterval(NSAttributedString("text"), 15);
    auto* window = controller->window();
    const auto* sim = kit().window(window->windowRef());
    const auto before = sim->background.patternImage;
    EXPECT_EQ(kit().image(before)->texts[0].text, "");
    const int displays = sim->displayCount;

    window->setTitle("New");
    EXPECT_NE(sim->background.patternImage, before);
    EXPECT_EQ(kit().image(sim->background.patternImage)->texts[0].text, "New");
    EXPECT_EQ(sim->displayCount, displays);

    window->setFrame_display_animate(CGRectMake(0, 0, 400, 300), false, false);
    const auto* resized = kit().image(sim->background.patternImage);
    EXPECT_EQ(resized->size.height, 300.0);
    EXPECT_EQ(resized->texts[0].text, "New");
    EXPECT_EQ(xy(resized->fills[1].path.elements[0].point1), (XY{0, 281}));
    EXPECT_EQ(sim->displayCount, displays + 1);
    EXPECT_FALSE(window->canBecomeKeyWindow());
}

TEST(Hyperlink, TheLinkTextIsBlueUnderlinedAndCarriesTheAddress) {
    const auto url = NSURL::URLWithString("https://www.example.com/support?x=1");
    EXPECT_EQ(url.host(), "www.example.com");
    NSMutableAttributedString text("Update the software of Adapter A at ");
    text.appendAttributedString(hyperlinkFromString_withURL(url.host(), url));
    text.appendAttributedString(NSAttributedString("."));
    ASSERT_EQ(text.runs().size(), 3u);
    const auto& link = text.runs()[1];
    EXPECT_EQ(link.location, 36u);
    EXPECT_EQ(link.length, 15u);
    EXPECT_EQ(link.attributes.get(NSLinkAttributeName).stringValue(),
              "https://www.example.com/support?x=1");
    EXPECT_EQ(colorFromValue(link.attributes.get(NSForegroundColorAttributeName)).blue, 1.0);
    EXPECT_EQ(link.attributes.get(NSUnderlineStyleAttributeName).intValue(), 1);
    EXPECT_EQ(text.attributesAtIndex(51).count(), 0u);
    EXPECT_EQ(NSAttributedString::fromValue(text.toValue()), text);
}

TEST(Hyperlink, AttributesOverPartOfARunSplitItAndEqualNeighboursMerge) {
    NSMutableAttributedString text("abcdef");
    text.addAttribute("k", Value::number(std::int64_t{1}), 2, 2);
    ASSERT_EQ(text.runs().size(), 3u);
    EXPECT_EQ(text.runs()[1].location, 2u);
    EXPECT_EQ(text.runs()[2].location, 4u);
    text.addAttribute("k", Value::number(std::int64_t{1}), 0, 100);
    ASSERT_EQ(text.runs().size(), 1u);
    EXPECT_EQ(text.runs()[0].length, 6u);
}

}  // namespace
}  // namespace qn::app::osx::qnuapp
