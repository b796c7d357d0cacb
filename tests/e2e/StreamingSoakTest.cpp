// The soak: the agent streams a display redrawn at 60 Hz for half an hour while the
// Manager is killed (SIGKILL) and started again a hundred times; after each restart the
// new Manager must read frames again. The agent's descriptors and resident memory are
// sampled from /proc after every restart and printed, one line a sample. Label "soak",
// left out of the default test runs; QN_SOAK_SECONDS and QN_SOAK_KILLS shorten it.

#include <signal.h>

#include <atomic>
#include <chrono>
#include <fstream>
#include <iostream>
#include <thread>

#include "tests/e2e/support/streaming/StreamingFixture.h"

namespace qn::tests::e2e {
namespace {

using StreamingSoak = StreamingFixture;
using Clock = std::chrono::steady_clock;

long setting(const char* name, long fallback) {
    const char* value = std::getenv(name);
    return value != nullptr && *value != '\0' ? std::strtol(value, nullptr, 10) : fallback;
}

// Waits until the transcript file holds a frame that was read through the endpoint; the
// file offers no notification of its own, so it is looked at every 50 ms.
bool waitForReadFrame(const std::string& file) {
    const auto deadline = Clock::now() + ChildProcess::kHangGuard;
    while (Clock::now() < deadline) {
        std::ifstream in(file);
        std::string line;
        while (std::getline(in, line)) {
            if (line.find("\"frame\"") != std::string::npos &&
                line.find("\"read\":true") != std::string::npos) {
                return true;
            }
        }
        std::this_thread::sleep_for(std::chrono::milliseconds(50));
    }
    return false;
}

TEST_F(StreamingSoak, KilledManagersAndAFullRateDisplayLeaveTheAgentFlat) {
    const long seconds = setting("QN_SOAK_SECONDS", 1800);
    const long kills = setting("QN_SOAK_KILLS", 100);
    ASSERT_GT(seconds, 0);
    ASSERT_GT(kills, 0);

    // A window redrawn at 60 Hz in a moving place, on a thread of its own.
    std::atomic<bool> drawing{true};
    std::thread painterThread([&] {
        ScreenPainter painter(x->display(), output.box);
        auto next = Clock::now();
        for (std::uint32_t i = 0; drawing; ++i) {
            painter.fill({static_cast<int>((i * 7) % 960), static_cast<int>((i * 5) % 700), 64, 64},
                         0x030507u * i);
            painter.sync();
            next += std::chrono::microseconds(16667);
            std::this_thread::sleep_until(next);
        }
    });
    struct Joiner {
        std::atomic<bool>& flag;
        std::thread& thread;
        ~Joiner() {
            flag = false;
            thread.join();
        }
    } joiner{drawing, painterThread};

    std::string transcript = scratch.file("transcript-0");
    ASSERT_NO_FATAL_FAILURE(startManager({"--stream-adapters"}, transcript));
    startAgent();
    ASSERT_TRUE(waitForReadFrame(transcript)) << "no first frame";
    const auto agentPid = findDescendant(agent->process().pid(), "QuintorUserAgent");
    ASSERT_TRUE(agentPid) << "the agent's process was not found";

    std::vector<ProcessSample> samples;
    const auto start = Clock::now();
    const auto interval = std::chrono::duration<double>(static_cast<double>(seconds) / kills);
    for (long k = 1; k <= kills; ++k) {
        std::this_thread::sleep_until(
            start + std::chrono::duration_cast<Clock::duration>(interval * static_cast<double>(k)));
        manager->process().signal(SIGKILL);
        manager->process().wait();
        std::remove(transcript.c_str());
        transcript = scratch.file("transcript-" + std::to_string(k));
        // A restarted Manager asks for its adapter's stream itself, as it knows the display
        // from its driver: the agent hears of a Manager after the first only through a
        // failed call, and a stream that waits for the dead Manager's release makes none.
        // The stop first, since the agent still has the old stream.
        const std::string script = scratch.file("restart.script");
        std::ofstream(script) << "0 stop-stream " << output.id << "\n0.05 start-stream "
                              << output.id << ' ' << kAdapterIndex << '\n';
        ASSERT_NO_FATAL_FAILURE(
            startManager({"--stream-adapters", "--script", script}, transcript));
        ASSERT_TRUE(waitForReadFrame(transcript)) << "no frame after restart " << k;
        ASSERT_TRUE(agent->process().running()) << "the agent ended at restart " << k;
        const auto sample = sampleProcess(*agentPid);
        ASSERT_TRUE(sample) << "cannot read /proc/" << *agentPid;
        samples.push_back(*sample);
        std::cout << "soak sample " << k << " t="
                  << std::chrono::duration_cast<std::chrono::seconds>(Clock::now() - start).count()
                  << "s fds=" << sample->descriptors << " rss_kib=" << sample->rssKiB << std::endl;
    }
    // The first restart is the warm-up (the first reconnection makes what every later one
    // reuses); from there on nothing may grow beyond a page-cache's wobble.
    const ProcessSample& first = samples.front();
    const ProcessSample& last = samples.back();
    EXPECT_LE(last.descriptors, first.descriptors) << "descriptors grew";
    EXPECT_LE(last.rssKiB, first.rssKiB + 8 * 1024) << "resident memory grew by more than 8 MiB";

    agent->process().signal(SIGTERM);
    EXPECT_EQ(ChildProcess::exitCode(agent->process().wait()), 0);
}

}  // namespace
}  // namespace qn::tests::e2e
