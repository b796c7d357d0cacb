#include <gtest/gtest.h>
#include <stdlib.h>

#include <filesystem>
#include <fstream>

#include "platform/Backend.h"
#include "platform/linux/audio/PipeWireAudio.h"
#include "sys/libutils/DirectoryLoggerConfiguration.h"
#include "sys/libutils/LogLine.h"
#include "sys/libutils/LogReader.h"
#include "sys/libutils/Logger.h"
#include "tk/libOSXAudio/AudioDeviceConfigurator.h"
#include "tk/libOSXAudio/QuintorAudioDeviceLister.h"

namespace qn::platform::linux_audio {
namespace {

namespace fs = std::filesystem;

// The lines of one module in a log file, as "LEVEL message".
std::vector<std::string> moduleLines(const std::string& file, const std::string& module) {
    std::ifstream in(file);
    sys::LogReader reader;
    std::vector<std::string> lines;
    for (std::string armoured, text; std::getline(in, armoured);) {
        sys::logline::Fields f;
        if (reader.read(armoured, text) == sys::LogReader::Result::Plain &&
            sys::logline::parse(text, f) && f.module == module) {
            lines.push_back(std::string(f.level) + " " + std::string(f.message));
        }
    }
    return lines;
}

TEST(PipeWireAudio, WithoutAServerOneWarningAndNoDevices) {
    std::string pattern = (fs::temp_directory_path() / "qnnopwXXXXXX").string();
    ASSERT_NE(::mkdtemp(pattern.data()), nullptr);
    const std::string dir = pattern;
    ::setenv("XDG_RUNTIME_DIR", dir.c_str(), 1);
    ::unsetenv("PIPEWIRE_RUNTIME_DIR");
    ::unsetenv("PIPEWIRE_REMOTE");
    {
        sys::Logger logger("QuintorUserAgent", sys::Logger::DEBUG, false, true, nullptr,
                           std::make_unique<sys::DirectoryLoggerConfiguration>(dir));
        PipeWireAudio audio;
        EXPECT_FALSE(audio.connected());
        EXPECT_FALSE(audio.roundTrip());
        // Nothing written before the port is used: the agent's logger may not stand yet.
        EXPECT_EQ(moduleLines(dir + "/QuintorUserAgent.log", "PipeWireAudio").size(), 0u);

        Backend backend;
        backend.coreAudio = &audio;
        ScopedBackend installed(backend);
        auto lister = tk::osx::QuintorAudioDeviceLister::create();
        auto configurator = tk::osx::AudioDeviceConfigurator::create(lister.get());
        const AudioObjectPropertyAddress devices{kAudioHardwarePropertyDevices,
                                                 kAudioObjectPropertyScopeGlobal, 0};
        UInt32 size = 99;
        EXPECT_EQ(audio.AudioObjectGetPropertyDataSize(kAudioObjectSystemObject, &devices, 0,
                                                       nullptr, &size),
                  noErr);
        EXPECT_EQ(size, 0u);
        EXPECT_FALSE(audio.AudioObjectHasProperty(40, &devices));
        configurator.reset();
        lister.reset();

        const auto lines = moduleLines(dir + "/QuintorUserAgent.log", "PipeWireAudio");
        ASSERT_EQ(lines.size(), 1u);
        EXPECT_EQ(lines[0].rfind("WARN No audio: cannot connect to PipeWire", 0), 0u) << lines[0];
    }
    fs::remove_all(dir);
}

// The connection is tried on PipeWire's thread: a listener may come in before or after
// it fails, and either way exactly one warning is written.
TEST(PipeWireAudio, AListenerAddedWhileTheConnectionIsTriedGetsOneWarning) {
    std::string pattern = (fs::temp_directory_path() / "qnnopwXXXXXX").string();
    ASSERT_NE(::mkdtemp(pattern.data()), nullptr);
    const std::string dir = pattern;
    ::setenv("XDG_RUNTIME_DIR", dir.c_str(), 1);
    ::unsetenv("PIPEWIRE_RUNTIME_DIR");
    ::unsetenv("PIPEWIRE_REMOTE");
    for (int round = 0; round < 5; ++round) {
        SCOPED_TRACE(round);
        const std::string logs = dir + "/" + std::to_string(round);
        fs::create_directory(logs);
        {
            sys::Logger logger("QuintorUserAgent", sys::Logger::DEBUG, false, true, nullptr,
                               std::make_unique<sys::DirectoryLoggerConfiguration>(logs));
            PipeWireAudio audio;
            Backend backend;
            backend.coreAudio = &audio;
            ScopedBackend installed(backend);
            auto lister = tk::osx::QuintorAudioDeviceLister::create();
            // Answered once the attempt has ended.
            EXPECT_FALSE(audio.connected());
            lister.reset();
        }
        const auto lines = moduleLines(logs + "/QuintorUserAgent.log", "PipeWireAudio");
        ASSERT_EQ(lines.size(), 1u);
        EXPECT_EQ(lines[0].rfind("WARN No audio: cannot connect to PipeWire", 0), 0u) << lines[0];
    }
    fs::remove_all(dir);
}

}  // namespace
}  // namespace qn::platform::linux_audio
