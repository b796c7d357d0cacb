// Streams 1,000 frames from each of two displays through the agent while the Manager
// restarts twice, and checks what the Manager read and what every count ended at.

#include <gtest/gtest.h>

#include <algorithm>
#include <fstream>
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
    ASSERT_EQ(host.quartz().producedFrames().size(), 2060u);

    // Sends on a dead link never reached a Manager; each failed one left its frame held
    // (the next frame overwrites it) but for the last before the stop, which the stop
    // gives back. Grouped by display and by Manager life.
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
    std::set<std::uint64_t> heldAfterFailure;
    for (const auto& [key, addresses] : failed) {
        heldAfterFailure.insert(addresses.begin(), addresses.end() - 1);
    }

    const auto& frames = streaming.frames();
    std::map<platform::CGDirectDisplayID, std::uint32_t> lastFrame;
    std::map<std::pair<platform::CGDirectDisplayID, std::size_t>, std::size_t> perLife;
    std::size_t refreshed = 0;
    for (const auto& frame : frames) {
        ASSERT_NE(frame.frameNumber, 0u);
        // Frames of one display reach the Manager newest-last, never twice.
        EXPECT_GT(frame.frameNumber, lastFrame[frame.display]);
        lastFrame[frame.display] = frame.frameNumber;
        EXPECT_EQ(host.quartz().producedFrames().at(frame.frameNumber - 1), frame.display);
        ++perLife[{frame.display, frame.generation}];
        refreshed += frame.refreshed.size();
    }
    // Both displays streamed with each of the three Managers.
    EXPECT_EQ(perLife.size(), 6u);
    EXPECT_GT(frames.size(), 500u);
    // The burst found the Manager busy: rectangles were merged and sent ahead of frames.
    EXPECT_GT(refreshed, 0u);

    // Every 100th frame read is the screen as it was drawn for that frame.
    std::size_t compared = 0;
    for (std::size_t i = 99; i < frames.size(); i += 100) {
        const auto& frame = frames[i];
        ASSERT_FALSE(frame.pixels.empty()) << i;
        std::vector<std::uint8_t> screen(frame.width * frame.height * 4);
        platform::sim::renderScreen(frame.display, frame.frameNumber, frame.width, frame.height,
                                    frame.width * 4, screen.data());
        EXPECT_EQ(frame.pixels, screen) << "frame " << i << ", number " << frame.frameNumber;
        ++compared;
    }
    EXPECT_EQ(compared, frames.size() / 100);

    // Balanced at the end: the frame each old Manager held when it restarted goes back
    // with the old updater, and a frame a failed send left behind goes back when the next
    // one takes its place (above). What stays is
    std::set<std::uint64_t> inUse;
    for (const auto& stream : host.quartz().streams()) {
        // 1. the platform's reference to each stream, which the wrapper never releases;
        EXPECT_EQ(stream->retainCount(), 1);
        EXPECT_FALSE(stream->running);
        EXPECT_EQ(stream->stoppedDelivered, 1);
        for (const auto& surface : stream->surfaces) {
            const auto address = reinterpret_cast<std::uint64_t>(surface->baseAddress());
            if (surface->useCount() != 0) {
                EXPECT_EQ(surface->useCount(), 1);
                EXPECT_EQ(surface->retainCount(), 2);
                inUse.insert(address);
            } else {
                EXPECT_EQ(surface->retainCount(), 1);
            }
        }
    }
    EXPECT_EQ(host.quartz().streams().size(), 6u);
    EXPECT_TRUE(inUse.empty());
    EXPECT_FALSE(heldAfterFailure.empty());
    // 2. one reference to every merged update (made owned, retained once more, released
    //    once).
    std::size_t liveMerged = 0;
    std::size_t liveOther = 0;
    std::size_t merges = 0;
    for (const auto& update : host.quartz().updates()) {
        merges += update->merged;
        if (update->isFreed()) {
            continue;
        }
        EXPECT_EQ(update->retainCount(), 1);
        (update->merged ? liveMerged : liveOther) += 1;
    }
    EXPECT_GT(merges, 0u);
    EXPECT_EQ(liveMerged, merges);
    EXPECT_EQ(liveOther, inUse.size());
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
