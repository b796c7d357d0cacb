// Display streams for real: Xvfb whose one output carries an adapter's EDID and connector
// id, the agent under umockdev-run with the adapter's card and in a mount namespace of its
// own where the test's driver directory stands over the built-in one, and the Manager
// stand-in serving the driver endpoint "QuintorParent1" there. The stand-in reads every
// frame only through the descriptor and address the agent handed it.

#include <signal.h>

#include <thread>

#include "tests/e2e/support/streaming/StreamingFixture.h"

namespace qn::tests::e2e {
namespace {

using nlohmann::json;

using StreamingE2e = StreamingFixture;

TEST_F(StreamingE2e, TheLastFramesPngEqualsTheOutputAsXGetImageShowsIt) {
    ScreenPainter painter(x->display(), output.box);
    painter.fill({0, 0, output.box.width, output.box.height}, 0x000000);
    painter.sync();
    const std::string png = scratch.file("last.png");
    ASSERT_NO_FATAL_FAILURE(startManager({"--stream-adapters", "--png-last", png}));
    startAgent();
    const auto first = nextReadFrame();
    ASSERT_TRUE(first) << "no frame";
    EXPECT_EQ((*first)["width"], output.box.width);
    EXPECT_EQ((*first)["height"], output.box.height);

    received = PixelMask(1024, 768);
    draw(painter, {10, 20, 300, 200}, 0xff0000);
    draw(painter, {500, 100, 250, 400}, 0x00ff80);
    draw(painter, {900, 700, 124, 68}, 0x1234ab);
    draw(painter, {0, 740, 40, 28}, 0xffffff);
    painter.sync();
    ASSERT_TRUE(readUntilDrawnIsReported()) << "the drawing never reached the Manager";
    manager->command("png " + png);
    const auto written = nextWith("png");
    ASSERT_TRUE(written);
    ASSERT_TRUE((*written)["written"].get<bool>()) << *written;

    const auto screen = grabScreen(x->display(), output.box);
    const auto frame = readPng(png);
    ASSERT_TRUE(screen && frame);
    EXPECT_EQ(frame->width, output.box.width);
    EXPECT_EQ(frame->height, output.box.height);
    EXPECT_EQ(frame->colourDifferences(*screen), 0u);
    // Not a picture of nothing: the red fill is there.
    const std::uint8_t* red = frame->pixels.data() + (50 * 1024 + 50) * 4;
    EXPECT_EQ(red[2], 0xff);
    EXPECT_EQ(red[1], 0x00);
    EXPECT_EQ(agent->countInLog("Error in preparing memory"), 0);
}

TEST_F(StreamingE2e, UnderSlowReleasesTheRectanglesReceivedUniteToWhatWasDrawn) {
    ScreenPainter painter(x->display(), output.box);
    painter.fill({0, 0, output.box.width, output.box.height}, 0x000000);
    painter.sync();
    ASSERT_NO_FATAL_FAILURE(startManager({"--stream-adapters", "--release-delay-ms", "200"}));
    startAgent();
    ASSERT_TRUE(nextReadFrame()) << "no frame";
    received = PixelMask(1024, 768);

    // A square moving across the display, redrawn every 10 ms, as a window that animates.
    constexpr int kDraws = 150;
    for (int i = 0; i < kDraws; ++i) {
        const int x0 = (i * 37) % (1024 - 40);
        const int y0 = (i * 23) % (768 - 40);
        draw(painter, {x0, y0, 40, 40}, 0x010203u * static_cast<std::uint32_t>(i + 1));
        painter.sync();
        // The pace of the drawing, not a wait for the agent.
        std::this_thread::sleep_for(std::chrono::milliseconds(10));
    }
    ASSERT_TRUE(readUntilDrawnIsReported()) << "not all of the drawing reached the Manager";
    EXPECT_EQ(received.differences(drawn), 0u)
        << "received " << received.count() << " pixels, drawn " << drawn.count();
    EXPECT_EQ(agent->countInLog("Error in preparing memory"), 0);
}

TEST_F(StreamingE2e, AStreamStoppedAndStartedAgainDeliversWithItsNewToken) {
    ASSERT_NO_FATAL_FAILURE(startManager());
    startAgent();
    std::vector<json> skipped;
    ASSERT_TRUE(manager->nextCall(
        "onDisplay:reconfigurationWithFlags:andBounds:andFramebufferIndex:andRefreshRate:",
        &skipped));
    manager->command("start-stream " + std::to_string(output.id) + " 1 5");
    ASSERT_TRUE(nextReadFrame());
    EXPECT_EQ(lastToken, 5u);

    manager->command("stop-stream " + std::to_string(output.id));
    ASSERT_TRUE(agent->waitForLog("display stream frame stopped for:"));
    manager->command("start-stream " + std::to_string(output.id) + " 1 6");
    ASSERT_TRUE(nextReadFrame()) << "no frame after the second start";
    EXPECT_EQ(lastToken, 6u);
    ASSERT_TRUE(agent->waitForLog("DisplayStreamFrameUpdaterImpl::start for:", 2));
}

TEST_F(StreamingE2e, AManagerKilledMidStreamStreamsAnewOnceRestarted) {
    ScreenPainter painter(x->display(), output.box);
    ASSERT_NO_FATAL_FAILURE(startManager({"--stream-adapters"}));
    startAgent();
    ASSERT_TRUE(nextReadFrame());
    painter.fill({0, 0, 100, 100}, 0x00ff00);
    painter.sync();
    ASSERT_TRUE(nextReadFrame());

    manager->process().signal(SIGKILL);
    manager->process().wait();
    // The same directory, the same endpoint: the stale socket file is replaced.
    ASSERT_NO_FATAL_FAILURE(startManager({"--stream-adapters"}));
    const auto hello = nextWith("call");
    ASSERT_TRUE(hello);
    EXPECT_EQ((*hello)["call"], "started:withSessionType:");
    painter.fill({100, 100, 100, 100}, 0x0000ff);
    painter.sync();
    const auto frame = nextReadFrame();
    ASSERT_TRUE(frame) << "no frame from the restarted stream";
    EXPECT_EQ((*frame)["width"], output.box.width);
    agent->process().signal(SIGTERM);
    EXPECT_TRUE(manager->nextCall("closing"));
    EXPECT_EQ(ChildProcess::exitCode(agent->process().wait()), 0);
}

}  // namespace
}  // namespace qn::tests::e2e
