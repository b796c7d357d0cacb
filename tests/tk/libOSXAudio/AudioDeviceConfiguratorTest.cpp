#include <gtest/gtest.h>

#include <cstring>
#include <mutex>
#include <thread>

#include "tests/tk/libOSXAudio/AudioTestSupport.h"
#include "tk/libOSXAudio/AudioDeviceConfigurator.h"
#include "tk/libOSXAudio/QuintorAudioDeviceListerImpl.h"

namespace qn::tk::osx {
namespace {

using namespace platform;
using testing::Lines;

constexpr AudioObjectPropertyAddress kDevices{kAudioHardwarePropertyDevices,
                                              kAudioObjectPropertyScopeGlobal,
                                              kAudioObjectPropertyElementMaster};

// Records each event: the device's model UID and the thread it came on.
struct Recorder : AudioDeviceEvents::Handler {
    void handle(AudioDeviceEvents::Source&, const AudioDeviceEvent& event) override {
        std::lock_guard<std::mutex> lock(mutex);
        uids.push_back(event.device->modelUID());
        threads.push_back(std::this_thread::get_id());
    }
    std::mutex mutex;
    std::vector<std::string> uids;
    std::vector<std::thread::id> threads;
};

class AudioConfiguratorTest : public testing::AudioFixture {
  protected:
    void SetUp() override {
        AudioFixture::SetUp();
        lister = QuintorAudioDeviceLister::create();
        configurator = AudioDeviceConfigurator::create(lister.get());
        lister->addHandler(&recorder);
    }
    void TearDown() override {
        audio().flush();
        lister->removeHandler(&recorder);
        configurator.reset();
        lister.reset();
        EXPECT_EQ(audio().listenerCount(), 0u);
        AudioFixture::TearDown();
    }

    // The nominal rates written so far, by device.
    std::vector<std::pair<AudioObjectID, double>> writes() {
        std::vector<std::pair<AudioObjectID, double>> out;
        for (const auto& call : audio().setCalls()) {
            EXPECT_EQ(call.selector, kAudioDevicePropertyNominalSampleRate);
            double rate = 0;
            std::memcpy(&rate, call.bytes.data(), sizeof(rate));
            out.emplace_back(call.object, rate);
        }
        return out;
    }
    void plug(const sim::SimCoreAudio::Device& device) {
        audio().addDevice(device);
        audio().flush();
    }
    void unplug(AudioObjectID id) {
        audio().removeDevice(id);
        audio().flush();
    }

    std::unique_ptr<QuintorAudioDeviceLister> lister;
    std::unique_ptr<AudioDeviceConfigurator> configurator;
    Recorder recorder;
};

TEST_F(AudioConfiguratorTest, PlugUnplugPlugFiresAtEachPlugInOnTheAudioThread) {
    plug(testing::audioDevice(40, testing::kAdapterUID));
    EXPECT_EQ(newLines(),
              (Lines{"DEBUG [QuintorAudioDeviceListerImpl] Audio device list has changed",
                     "DEBUG [QuintorAudioDeviceListerImpl] Found device with modelUID: USB "
                     "Audio:ABCD:1 and VID: abcd",
                     "DEBUG [QuintorAudioDeviceListerImpl]   This is just plugged in QN audio "
                     "device. Sending notification.",
                     "DEBUG [AudioDeviceConfiguratorImpl] setting 48kHz on USB Audio:ABCD:1"}));
    EXPECT_EQ(audio().propertyReal(40, kAudioDevicePropertyActualSampleRate), 48000.0);

    unplug(40);
    EXPECT_EQ(newLines(),
              Lines{"DEBUG [QuintorAudioDeviceListerImpl] Audio device list has changed"});
    plug(testing::audioDevice(40, testing::kAdapterUID));

    EXPECT_EQ(recorder.uids, (std::vector<std::string>{"USB Audio:ABCD:1", "USB Audio:ABCD:1"}));
    EXPECT_EQ(recorder.threads, std::vector<std::thread::id>(2, audio().notificationThread()));
    EXPECT_NE(audio().notificationThread(), std::this_thread::get_id());
    EXPECT_EQ(writes(),
              (std::vector<std::pair<AudioObjectID, double>>{{40, 48000.0}, {40, 48000.0}}));
}

TEST_F(AudioConfiguratorTest, TwoAdaptersInOneChangeEachGetTheRateAndOthersAreLeftAlone) {
    plug(testing::audioDevice(12, "BuiltIn"));
    audio().addDevices({testing::audioDevice(31, "usb:abcd:2"),
                        testing::audioDevice(30, "usb:ABCD:1"),
                        testing::audioDevice(32, "usb:1234:1")});
    audio().flush();
    // Ascending ids, each adapter once; the other vendor is only logged.
    EXPECT_EQ(recorder.uids, (std::vector<std::string>{"usb:ABCD:1", "usb:abcd:2"}));
    EXPECT_EQ(writes(),
              (std::vector<std::pair<AudioObjectID, double>>{{30, 48000.0}, {31, 48000.0}}));
    EXPECT_EQ(audio().propertyReal(32, kAudioDevicePropertyActualSampleRate), 44100.0);
    EXPECT_EQ(audio().propertyReal(12, kAudioDevicePropertyActualSampleRate), 44100.0);
}

TEST_F(AudioConfiguratorTest, ADeviceAlreadyAt48kHzGetsNoWriteAndOneWithoutARateDoes) {
    plug(testing::audioDevice(40, testing::kAdapterUID, 48000.0));
    EXPECT_EQ(recorder.uids.size(), 1u);
    EXPECT_EQ(writes().size(), 0u);
    newLines();

    // Made an adapter without a rate while the listener looks elsewhere, then told.
    plug(testing::audioDevice(41, "other"));
    audio().removeProperty(41, kAudioDevicePropertyActualSampleRate);
    audio().setProperty(41, kAudioDevicePropertyModelUID,
                        sim::SimAudioProperty::string("usb:abcd:2"));
    audio().notify(kAudioObjectSystemObject, {kDevices});
    audio().flush();
    EXPECT_EQ(writes(), (std::vector<std::pair<AudioObjectID, double>>{{41, 48000.0}}));
    const auto lines = newLines();
    EXPECT_NE(std::find(lines.begin(), lines.end(),
                        "WARN [AudioDevice] Device: 41 does not have sample rate property."),
              lines.end());
}

TEST_F(AudioConfiguratorTest, OnlyDeviceListChangesOfTheSystemObjectScan) {
    audio().addDevice(testing::audioDevice(40, testing::kAdapterUID, 48000.0));
    audio().flush();
    newLines();
    // Two list entries in one call: two scans, the second finds nothing new.
    audio().notify(kAudioObjectSystemObject, {kDevices, kDevices});
    // A change of another property, or on another object: no scan.
    audio().notify(kAudioObjectSystemObject, {{fourCharCode("othr"), kDevices.mScope, 0}});
    audio().flush();
    const Lines scan{"DEBUG [QuintorAudioDeviceListerImpl] Audio device list has changed",
                     "DEBUG [QuintorAudioDeviceListerImpl] Found device with modelUID: USB "
                     "Audio:ABCD:1 and VID: abcd"};
    Lines twice = scan;
    twice.insert(twice.end(), scan.begin(), scan.end());
    EXPECT_EQ(newLines(), twice);
    // The listener itself, called for another object or with no address, does nothing.
    EXPECT_EQ(QuintorAudioDeviceListerImpl::listener(40, 1, &kDevices, lister.get()), noErr);
    EXPECT_EQ(QuintorAudioDeviceListerImpl::listener(kAudioObjectSystemObject, 0, &kDevices,
                                                     lister.get()),
              noErr);
    EXPECT_EQ(newLines(), Lines{});
    EXPECT_EQ(recorder.uids.size(), 1u);
}

TEST_F(AudioConfiguratorTest, AFailedListReadForgetsTheAdaptersSoTheNextScanFiresAgain) {
    plug(testing::audioDevice(40, testing::kAdapterUID, 48000.0));
    newLines();
    const OSStatus what = kAudioHardwareUnspecifiedError;
    audio().setStatuses(kAudioObjectSystemObject, kAudioHardwarePropertyDevices, noErr, what,
                        noErr);
    plug(testing::audioDevice(12, "BuiltIn"));
    const std::string code = std::to_string(what);
    EXPECT_EQ(newLines(),
              (Lines{"DEBUG [QuintorAudioDeviceListerImpl] Audio device list has changed",
                     "ERROR [QuintorAudioDeviceListerImpl] Failed to get audio devices list "
                     "(error code: " +
                         code + ")",
                     "WARN [AudioDevice] Device 0 has no kAudioDevicePropertyModelUID property",
                     "WARN [AudioDevice] Device 0 has no kAudioDevicePropertyModelUID property",
                     "DEBUG [QuintorAudioDeviceListerImpl] Found device with modelUID:  and VID: 0",
                     "WARN [AudioDevice] Device 0 has no kAudioDevicePropertyModelUID property"}));
    audio().setStatuses(kAudioObjectSystemObject, kAudioHardwarePropertyDevices, what, noErr,
                        noErr);
    unplug(12);
    EXPECT_EQ(newLines(),
              (Lines{"DEBUG [QuintorAudioDeviceListerImpl] Audio device list has changed",
                     "ERROR [QuintorAudioDeviceListerImpl] Failed to get audio device list size "
                     "(error code: " +
                         code + ")"}));
    audio().setStatuses(kAudioObjectSystemObject, kAudioHardwarePropertyDevices, noErr, noErr,
                        noErr);
    audio().notify(kAudioObjectSystemObject, {kDevices});
    audio().flush();
    // The adapter counts as new again; it is at 48 kHz already, so nothing is written.
    EXPECT_EQ(recorder.uids.size(), 2u);
    EXPECT_EQ(writes().size(), 0u);
}

TEST_F(AudioConfiguratorTest, TheListenerLivesExactlyAsLongAsTheLister) {
    EXPECT_EQ(audio().listenerCount(), 1u);
    EXPECT_EQ(audio().listenerAdds(), 1u);
    // No scan at start: an adapter present before the lister is first seen at a change.
    lister->removeHandler(&recorder);
    configurator.reset();
    lister.reset();
    EXPECT_EQ(audio().listenerCount(), 0u);
    EXPECT_EQ(audio().listenerRemoves(), 1u);
    audio().addDevice(testing::audioDevice(40, testing::kAdapterUID));
    audio().flush();
    lister = QuintorAudioDeviceLister::create();
    configurator = AudioDeviceConfigurator::create(lister.get());
    lister->addHandler(&recorder);
    audio().flush();
    EXPECT_EQ(recorder.uids.size(), 0u);
    EXPECT_EQ(writes().size(), 0u);
    plug(testing::audioDevice(12, "BuiltIn"));
    EXPECT_EQ(recorder.uids.size(), 1u);
    EXPECT_EQ(writes().size(), 1u);
}

}  // namespace
}  // namespace qn::tk::osx
