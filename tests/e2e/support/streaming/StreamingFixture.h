#pragma once
// The set-up every streaming test shares: a private bus with logind's stand-in and an
// active session, Xvfb whose one output carries an adapter's EDID and connector id, the
// agent under umockdev-run with the adapter's card and in a mount namespace of its own
// where the test's driver directory stands over the built-in one, and the Manager
// stand-in serving the driver endpoint "QuintorParent1" there.

#include <gtest/gtest.h>
#include <stdlib.h>
#include <sys/stat.h>
#include <unistd.h>

#include <filesystem>
#include <memory>

#include "tests/e2e/support/AgentUnderTest.h"
#include "tests/e2e/support/TestServers.h"
#include "tests/e2e/support/streaming/StreamingSupport.h"
#include "tests/support/FakeDrmTree.h"
#include "tests/support/XServer.h"
#include "tests/support/linux/LogindStandIn.h"
#include "tests/support/linux/PrivateBus.h"

namespace qn::tests::e2e {

inline const bool kProgramsKnown = [] {
    setenv("QN_TEST_SOURCE_DIR", QN_E2E_SOURCE_DIR, 0);
    setenv("QN_QNMANAGER", QN_E2E_QNMANAGER, 0);
    setenv("QN_E2E_REAL_AGENT", QN_E2E_REAL_AGENT_PROGRAM, 0);
    return true;
}();

using nlohmann::json;
using test::XServer;
using testing::linux_host::LogindStandIn;
using testing::linux_host::PrivateBus;

inline constexpr const char* kFrameAvailable =
    "frameAvailable:andRect:andFrameSurfaceAddr:andByteStride:andToken:";
inline constexpr const char* kRectRefreshed = "onRectRefreshed:onDisplayID:";
inline constexpr std::uint32_t kAdapterIndex = 1;

inline PixelBox boxOf(const json& rect) {
    return {static_cast<int>(rect[0].get<double>()), static_cast<int>(rect[1].get<double>()),
            static_cast<int>(rect[2].get<double>()), static_cast<int>(rect[3].get<double>())};
}

class StreamingFixture : public ::testing::Test {
  protected:
    void SetUp() override {
        bus = std::make_unique<PrivateBus>();
        logind = std::make_unique<LogindStandIn>(*bus);
        logind->answerSessionByPid(logind->addSession("7", getuid(), "tester", true));
        std::string error;
        x = XServer::start(XServer::Kind::Xvfb, &error, {}, "1024x768x24");
        ASSERT_TRUE(x) << error;
        const auto outputs = onlineOutputs(x->display());
        ASSERT_EQ(outputs.size(), 1u);
        output = outputs[0];
        // The recorded card's adapter connector: id 44, EDID vendor 0x4d10, product 0x1402.
        ASSERT_TRUE(
            markAsAdapterOutput(x->display(), output.id, test::makeEdid(0x4d10, 0x1402), 44));
        driverDirectory = scratch.file("driver");
        ASSERT_EQ(mkdir(driverDirectory.c_str(), 0755), 0);
        // The agent's own directory is the mount point of the test's.
        std::error_code failed;
        std::filesystem::create_directories(QN_E2E_DRIVER_DIR, failed);
        ASSERT_TRUE(std::filesystem::is_directory(QN_E2E_DRIVER_DIR))
            << "cannot make " << QN_E2E_DRIVER_DIR << ": " << failed.message();
    }
    void TearDown() override {
        if (HasFailure() && agent) {
            std::cerr << "agent log:\n" << agent->logText();
        }
    }

    // With a transcript file the transcript goes there, unread by the fixture.
    void startManager(std::vector<std::string> extra = {}, const std::string& transcriptFile = "") {
        std::vector<std::string> arguments{"--driver-dir", driverDirectory, "--driver-index",
                                           std::to_string(kAdapterIndex)};
        arguments.insert(arguments.end(), extra.begin(), extra.end());
        manager = std::make_unique<ManagerStandIn>(bus->address(), arguments, transcriptFile);
        if (transcriptFile.empty()) {
            ASSERT_TRUE(nextWith("manager")) << "the stand-in did not register";
        }
    }
    void startAgent() {
        AgentUnderTest::Options options{
            .busAddress = bus->address(),
            .home = scratch.file("home"),
            .environment = {"DISPLAY=" + x->display(), "XDG_RUNTIME_DIR=" + scratch.path(),
                            "LSAN_OPTIONS=suppressions=" + sourceDirectory() +
                                "/tests/e2e/agent.lsan",
                            "ASAN_OPTIONS=verify_asan_link_order=0"},
            .programVariable = "QN_E2E_REAL_AGENT",
            // A mount namespace of its own: the test's directory over the built-in one.
            .wrapper = {"/usr/bin/unshare", "--mount", "--propagation", "private", "--", "/bin/sh",
                        "-c", "mount --bind \"$0\" \"$1\" && shift && exec \"$@\"", driverDirectory,
                        QN_E2E_DRIVER_DIR, "/usr/bin/umockdev-run", "--device",
                        sourceDirectory() + "/tests/platform/linux/e2e/adapter-card.umockdev",
                        "--"}};
        agent = std::make_unique<AgentUnderTest>(std::move(options));
    }

    // The next transcript line that has `key`; the calls passed on the way are read for
    // rectangles of the adapter's display.
    std::optional<json> nextWith(const std::string& key) {
        while (auto line = manager->next()) {
            noteRectangles(*line);
            if (line->contains(key)) {
                return line;
            }
        }
        return std::nullopt;
    }
    // The next frame the stand-in read through the endpoint.
    std::optional<json> nextReadFrame() {
        while (auto frame = nextWith("frame")) {
            EXPECT_TRUE((*frame)["read"].get<bool>()) << *frame;
            if ((*frame)["read"].get<bool>()) {
                return frame;
            }
        }
        return std::nullopt;
    }
    void noteRectangles(const json& line) {
        const std::string call = line.value("call", "");
        if (call == kFrameAvailable) {
            lastToken = line["args"][4].get<std::uint64_t>();
            if (line["args"][0].get<std::uint32_t>() == output.id) {
                received.add(boxOf(line["args"][1]));
            }
        } else if (call == kRectRefreshed && line["args"][1].get<std::uint32_t>() == output.id) {
            received.add(boxOf(line["args"][0]));
        }
    }
    // Reads until every drawn pixel has been reported dirty; the frame that completes it
    // was captured after the drawing.
    bool readUntilDrawnIsReported() {
        while (nextWith("frame")) {
            bool covered = true;
            PixelMask both = received;
            for (const auto& box : drawnBoxes) {
                both.add(box);
            }
            covered = both.count() == received.count();
            if (covered) {
                return true;
            }
        }
        return false;
    }
    void draw(ScreenPainter& painter, const PixelBox& box, std::uint32_t rgb) {
        painter.fill(box, rgb);
        drawn.add(box);
        drawnBoxes.push_back(box);
    }

    ScratchDirectory scratch;
    std::unique_ptr<PrivateBus> bus;
    std::unique_ptr<LogindStandIn> logind;
    std::unique_ptr<XServer> x;
    OutputPlace output;
    std::string driverDirectory;
    std::unique_ptr<ManagerStandIn> manager;
    std::unique_ptr<AgentUnderTest> agent;
    PixelMask received{1024, 768};
    PixelMask drawn{1024, 768};
    std::vector<PixelBox> drawnBoxes;
    std::uint64_t lastToken = 0;
};

}  // namespace qn::tests::e2e
