// The audio objects over a real PipeWire: the test starts the server, then the backend
// with the lister and the configurator, then makes nodes like adapters' audio devices,
// and reads the rates back from PipeWire itself.

#include <gtest/gtest.h>
#include <stdlib.h>
#include <unistd.h>

#include <filesystem>
#include <optional>
#include <string>

#include "platform/Backend.h"
#include "platform/linux/audio/PipeWireAudio.h"
#include "sys/libutils/DirectoryLoggerConfiguration.h"
#include "sys/libutils/Logger.h"
#include "tests/support/linux/PipeWireServer.h"
#include "tk/libOSXAudio/AudioDeviceConfigurator.h"
#include "tk/libOSXAudio/QuintorAudioDeviceLister.h"

namespace qn::platform::linux_audio {
namespace {

using qn::testing::linux_host::awaitRate;
using qn::testing::linux_host::createUsbNode;
using qn::testing::linux_host::destroyObject;
using qn::testing::linux_host::nodeNamed;
using qn::testing::linux_host::PipeWireServer;

std::vector<AudioObjectID> listedDevices(CoreAudio& audio) {
    const AudioObjectPropertyAddress devices{kAudioHardwarePropertyDevices,
                                             kAudioObjectPropertyScopeGlobal, 0};
    UInt32 size = 0;
    if (audio.AudioObjectGetPropertyDataSize(kAudioObjectSystemObject, &devices, 0, nullptr,
                                             &size) != noErr) {
        return {};
    }
    std::vector<AudioObjectID> ids(size / sizeof(AudioObjectID));
    audio.AudioObjectGetPropertyData(kAudioObjectSystemObject, &devices, 0, nullptr, &size,
                                     ids.data());
    ids.resize(size / sizeof(AudioObjectID));
    return ids;
}

bool lists(CoreAudio& audio, std::uint32_t id) {
    const auto ids = listedDevices(audio);
    return std::find(ids.begin(), ids.end(), id) != ids.end();
}

// Waits (bounded) until the backend lists the node: by then the scan for that change has
// run, on PipeWire's thread, under the lock this query takes.
bool awaitListed(PipeWireAudio& audio, std::uint32_t id) {
    for (int attempt = 0; attempt < 300; ++attempt) {
        if (lists(audio, id)) {
            return true;
        }
        ::usleep(20 * 1000);
    }
    return false;
}

class ScratchLog {
  public:
    ScratchLog() {
        std::string pattern = (std::filesystem::temp_directory_path() / "qnlogXXXXXX").string();
        m_path = ::mkdtemp(pattern.data());
    }
    ~ScratchLog() { std::filesystem::remove_all(m_path); }
    const std::string& path() const { return m_path; }

  private:
    std::string m_path;
};

TEST(PipeWireAudioE2E, AnAdapterNodeGets48kHzOtherVendorsAndEarlierNodesWaitForAChange) {
    PipeWireServer server;
    ASSERT_TRUE(server.ready()) << "pipewire did not start";
    ::setenv("XDG_RUNTIME_DIR", server.runtimeDirectory().c_str(), 1);
    ::unsetenv("PIPEWIRE_RUNTIME_DIR");
    ::unsetenv("PIPEWIRE_REMOTE");

    // Present before the agent: an adapter and another vendor's device.
    ASSERT_TRUE(createUsbNode(server, "qn-before", "0xabcd", 44100));
    ASSERT_TRUE(createUsbNode(server, "qn-other", "0x1234", 44100));
    const auto before = nodeNamed(server, "qn-before");
    const auto other = nodeNamed(server, "qn-other");
    ASSERT_TRUE(before && other);

    ScratchLog logs;
    sys::Logger logger("QuintorUserAgent", sys::Logger::DEBUG, false, true, nullptr,
                       std::make_unique<sys::DirectoryLoggerConfiguration>(logs.path()));
    {
        PipeWireAudio audio;
        ASSERT_TRUE(audio.connected());
        Backend backend;
        backend.coreAudio = &audio;
        ScopedBackend installed(backend);
        auto lister = tk::osx::QuintorAudioDeviceLister::create();
        auto configurator = tk::osx::AudioDeviceConfigurator::create(lister.get());

        // The backend knows both nodes from its start, and nothing has touched them.
        EXPECT_TRUE(lists(audio, before->id));
        EXPECT_TRUE(lists(audio, other->id));
        ASSERT_TRUE(audio.roundTrip());
        EXPECT_EQ(nodeNamed(server, "qn-before")->rate, 44100);
        EXPECT_EQ(nodeNamed(server, "qn-other")->rate, 44100);

        // An adapter plugged in: the list changes, and every adapter counts as new.
        ASSERT_TRUE(createUsbNode(server, "qn-adapter", "0xabcd", 44100));
        const auto adapter = nodeNamed(server, "qn-adapter");
        ASSERT_TRUE(adapter);
        ASSERT_TRUE(awaitListed(audio, adapter->id));
        ASSERT_TRUE(audio.roundTrip());
        EXPECT_EQ(awaitRate(server, "qn-adapter", 48000), 48000);
        EXPECT_EQ(awaitRate(server, "qn-before", 48000), 48000);
        // The scan that set both has passed over it already.
        EXPECT_EQ(nodeNamed(server, "qn-other")->rate, 44100);

        // Unplugged and plugged again at 44100: set again.
        ASSERT_TRUE(destroyObject(server, adapter->id));
        ASSERT_TRUE(createUsbNode(server, "qn-adapter", "0xabcd", 44100));
        const auto again = nodeNamed(server, "qn-adapter");
        ASSERT_TRUE(again);
        ASSERT_TRUE(awaitListed(audio, again->id));
        EXPECT_EQ(awaitRate(server, "qn-adapter", 48000), 48000);
        EXPECT_EQ(nodeNamed(server, "qn-other")->rate, 44100);

        configurator.reset();
        lister.reset();
    }
}

}  // namespace
}  // namespace qn::platform::linux_audio
