// Streams 1,000 frames from each of two displays through the agent while the Manager
// restarts twice, and checks what the Manager read and what every count ended at.

#include <gtest/gtest.h>

#include <algorithm>
#include <fstream>
#include <map>
#include <set>
#include <sstream>

#include "platform/sim/SimScreen.h"
#include "tools/qnscenario/Scenario.h"
#include "tools/qnscenario/ScenarioPlayer.h"

namespace qn::tools::qnscenario {
namespace {

constexpr platform::CGDirectDisplayID kFirst = 69734272;
constexpr platform::CGDirectDisplayID kSecond = 724861231;
constexpr const char* kFrameAvailable =
    "frameAvailable:andRect:andFrameSurfaceAddr:andByteStride:andToken:";

Scenario load(const std::string& name) {
    const std::string dirs = QN_SCENARIO_DIRS;
    std::ifstream in(dirs.substr(0, dirs.find(':')) + "/streaming/" + name);
    std::stringstream text;
    text << in.rdbuf();
    return parseScenario(text.str());
}

TEST(StreamingScenario, TwoDisplaysThousandFramesEachThroughTwoManagerRestarts) {
    std::ostringstream transcript;
    ScenarioPlayer player(transcript);
    std::string failure;
    // Faults of the host and breaches of the stream protocol fail the play itself.
    ASSERT_TRUE(player.play(load("two_displays_1000_frames.json"), failure)) << failure;
    EXPECT_EQ(player.agentEnd(), "running");
    auto& host = player.host();
    const auto& streaming = player.streaming();
    EXPECT_EQ(streaming.restarts(), 2u);
    // 1,000 frames a display, and two bursts of 30 more on the first.
    ASSERT_EQ(host.quartz().paintings().size(), 2060u);

    // Sends on a dead link never reached a Manager. Each failed one left its frame in the
    // reserve, and the next frame gave it back as it took the place; the last one went back
    // when its updater stopped. Grouped by display and by Manager life.
    std::map<std::pair<platform::CGDirectDisplayID, int>, std::vector<std::uint64_t>> failed;
    int deaths = 0;
    for (const auto& event : host.manager().transcript()) {
        if (event.kind == platform::sim::SimManagerEvent::Kind::Died) {
            ++deaths;
        }
        if (event.kind != platform::sim::SimManagerEvent::Kind::Call || event.raised.empty()) {
            continue;
        }
        EXPECT_FALSE(event.delivered) << event.name;
        ASSERT_EQ(event.name, kFrameAvailable);
        failed[{event.arguments[0].unsignedIntValue(), deaths}].push_back(
            static_cast<std::uint64_t>(event.arguments[2].longLongValue()));
    }
    EXPECT_EQ(failed.size(), 4u);
    std::set<std::uint64_t> sentAndFailed;
    for (const auto& [key, addresses] : failed) {
        sentAndFailed.insert(addresses.begin(), addresses.end());
    }

    const auto& frames = streaming.frames();
    std::map<platform::CGDirectDisplayID, std::uint32_t> lastFrame;
    std::map<std::pair<platform::CGDirectDisplayID, std::size_t>, std::size_t> perLife;
    std::size_t refreshed = 0;
    for (const auto& frame : frames) {
        // The host's record of what it painted into the surface the Manager read, not the
        // number the pixels carry, says which frame it was.
        ASSERT_NE(frame.paintedFrame, 0u) << std::hex << frame.address;
        EXPECT_EQ(frame.paintedDisplay, frame.display);
        EXPECT_EQ(frame.frameNumber, frame.paintedFrame);
        // The agent held the surface while the Manager read it.
        EXPECT_TRUE(frame.surfaceInUse) << "frame " << frame.paintedFrame;
        // Frames of one display reach the Manager newest-last, never twice.
        EXPECT_GT(frame.paintedFrame, lastFrame[frame.display]);
        lastFrame[frame.display] = frame.paintedFrame;
        ++perLife[{frame.display, frame.generation}];
        refreshed += frame.refreshed.size();
    }
    // Both displays streamed with each of the three Managers.
    EXPECT_EQ(perLife.size(), 6u);
    EXPECT_GT(frames.size(), 500u);
    // The burst found the Manager busy: rectangles were merged and sent ahead of frames.
    EXPECT_GT(refreshed, 0u);

    // Every 100th frame read is the screen as the host drew it for the frame it last
    // painted into that surface before the read.
    std::size_t compared = 0;
    for (std::size_t i = 99; i < frames.size(); i += 100) {
        const auto& frame = frames[i];
        ASSERT_FALSE(frame.pixels.empty()) << i;
        std::vector<std::uint8_t> screen(frame.width * frame.height * 4);
        platform::sim::renderScreen(frame.paintedDisplay, frame.paintedFrame, frame.width,
                                    frame.height, frame.width * 4, screen.data());
        EXPECT_EQ(frame.pixels, screen) << "frame " << i << ", number " << frame.paintedFrame;
        ++compared;
    }
    EXPECT_EQ(compared, frames.size() / 100);

    // At the end every frame is back: the frame each old Manager held when it restarted
    // went back at the old updater's end, and the frames of failed sends as told above.
    // Each surface has use count 0 and only its stream's own reference.
    std::size_t surfaces = 0;
    std::set<std::uint64_t> surfaceAddresses;
    for (const auto& stream : host.quartz().streams()) {
        for (const auto& surface : stream->surfaces) {
            EXPECT_EQ(surface->useCount(), 0);
            EXPECT_EQ(surface->retainCount(), 1);
            surfaceAddresses.insert(reinterpret_cast<std::uint64_t>(surface->baseAddress()));
            ++surfaces;
        }
    }
    EXPECT_GT(surfaces, 0u);
    EXPECT_FALSE(sentAndFailed.empty());
    EXPECT_TRUE(std::includes(surfaceAddresses.begin(), surfaceAddresses.end(),
                              sentAndFailed.begin(), sentAndFailed.end()));

    // Two kinds of hold remain, exactly these:
    // 1. one reference to each of the six streams (two displays, three Managers): the
    //    stream wrapper drops its handler and never releases the platform's stream;
    std::size_t streamReferences = 0;
    for (const auto& stream : host.quartz().streams()) {
        EXPECT_FALSE(stream->running);
        EXPECT_EQ(stream->stoppedDelivered, 1);
        EXPECT_EQ(stream->retainCount(), 1);
        streamReferences += static_cast<std::size_t>(stream->retainCount());
    }
    EXPECT_EQ(host.quartz().streams().size(), 6u);
    EXPECT_EQ(streamReferences, 6u);
    // 2. one reference to each merged update: a merge comes owned, the updater retains it
    //    once more and releases it once. Every update the stream delivered is freed.
    std::size_t merges = 0;
    std::size_t mergedReferences = 0;
    std::size_t otherReferences = 0;
    for (const auto& update : host.quartz().updates()) {
        merges += update->merged;
        if (update->isFreed()) {
            continue;
        }
        EXPECT_EQ(update->retainCount(), 1);
        (update->merged ? mergedReferences : otherReferences) +=
            static_cast<std::size_t>(update->retainCount());
    }
    EXPECT_GT(merges, 0u);
    EXPECT_EQ(mergedReferences, merges);
    EXPECT_EQ(otherReferences, 0u);
    // Every updater ended: no driver connection and no registry reference is left, and
    // the drivers know no frame memory any more.
    EXPECT_EQ(host.ioKit().openConnections(), 0u);
    EXPECT_EQ(host.ioKit().outstandingReferences(), 0);
    EXPECT_TRUE(player.world().driver(1)->regions().empty());
    EXPECT_TRUE(player.world().driver(2)->regions().empty());
    // The transcript names surfaces, never raw addresses.
    EXPECT_NE(transcript.str().find("\"surface 1\""), std::string::npos);
    EXPECT_EQ(transcript.str().find(std::string(kFrameAvailable) +
                                    "\",\"args\":[69734272,[0.0,0.0,16.0,16.0],1"),
              std::string::npos);
}

}  // namespace
}  // namespace qn::tools::qnscenario
