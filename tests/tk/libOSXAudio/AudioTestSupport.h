#pragma once
// The simulated host installed as the backend, a hive of its own, and the log in a
// scratch directory, read back as "LEVEL [module] message" lines of the audio classes.

#include <gtest/gtest.h>

#include <set>
#include <string>
#include <vector>

#include "platform/Backend.h"
#include "platform/sim/SimHost.h"
#include "sys/libutils/LogLine.h"
#include "sys/libutils/Logger.h"
#include "tests/sys/libutils/HiveTestSupport.h"
#include "tests/sys/libutils/LogTestSupport.h"

namespace qn::tk::osx::testing {

using Lines = std::vector<std::string>;

constexpr const char* kAdapterUID = "USB Audio:ABCD:1";

inline platform::sim::SimCoreAudio::Device audioDevice(platform::AudioObjectID id,
                                                       const std::string& modelUID,
                                                       double rate = 44100.0) {
    platform::sim::SimCoreAudio::Device d;
    d.id = id;
    d.name = "Audio " + std::to_string(id);
    d.manufacturer = "Maker";
    d.modelUID = modelUID;
    d.sampleRate = rate;
    return d;
}

class AudioFixture : public qn::test::HiveFixture {
  protected:
    void SetUp() override {
        HiveFixture::SetUp();
        m_logger = std::make_unique<sys::Logger>(
            "QuintorUserAgent", sys::Logger::VERBOSE, false, true, nullptr,
            std::make_unique<qn::testing::DirectoryConfiguration>(m_logs.path()));
    }
    void TearDown() override {
        audio().flush();
        EXPECT_EQ(host.faults().list(), std::vector<std::string>{});
        HiveFixture::TearDown();
    }

    platform::sim::SimCoreAudio& audio() { return host.coreAudio(); }

    // The lines of the audio classes and of failed assertions since the last call.
    Lines newLines() {
        static const std::set<std::string> modules{"AudioDevice", "QuintorAudioDeviceListerImpl",
                                                   "AudioDeviceConfiguratorImpl", "AssertLogger"};
        const auto back = qn::testing::readLogFile(m_logs / "QuintorUserAgent.log");
        Lines lines;
        for (std::size_t i = m_seen; i < back.lines.size(); ++i) {
            sys::logline::Fields f;
            if (sys::logline::parse(back.lines[i], f) && modules.count(std::string(f.module))) {
                lines.push_back(std::string(f.level) + " [" + std::string(f.module) + "] " +
                                std::string(f.message));
            }
        }
        m_seen = back.lines.size();
        return lines;
    }

    platform::sim::SimHost host;
    platform::ScopedBackend backend{host.backend()};

  private:
    qn::testing::ScratchDir m_logs;
    std::unique_ptr<sys::Logger> m_logger;
    std::size_t m_seen = 0;
};

}  // namespace qn::tk::osx::testing
