#include "platform/sim/SimCoreAudio.h"

#include <gtest/gtest.h>

#include <atomic>
#include <mutex>
#include <thread>
#include <vector>

namespace qn::platform::sim {
namespace {

const AudioObjectPropertyAddress kDevices{kAudioHardwarePropertyDevices,
                                          kAudioObjectPropertyScopeGlobal,
                                          kAudioObjectPropertyElementMaster};

struct Heard {
    std::mutex mutex;
    std::vector<std::thread::id> threads;
    std::vector<UInt32> addressCounts;
};

OSStatus listener(AudioObjectID, UInt32 count, const AudioObjectPropertyAddress*, void* data) {
    auto* heard = static_cast<Heard*>(data);
    std::lock_guard<std::mutex> lock(heard->mutex);
    heard->threads.push_back(std::this_thread::get_id());
    heard->addressCounts.push_back(count);
    return noErr;
}

SimCoreAudio::Device device(AudioObjectID id, double rate = 44100.0) {
    SimCoreAudio::Device d;
    d.id = id;
    d.name = "USB Audio";
    d.modelUID = "USB Audio:ABCD:1";
    d.sampleRate = rate;
    return d;
}

class SimCoreAudioTest : public ::testing::Test {
  protected:
    SimFaults faults;
    SimCoreAudio audio{faults};
    Heard heard;
};

TEST_F(SimCoreAudioTest, ListenersAreCalledOnTheNotificationThreadWithEveryChangedAddress) {
    ASSERT_EQ(audio.AudioObjectAddPropertyListener(kAudioObjectSystemObject, &kDevices, &listener,
                                                   &heard),
              noErr);
    audio.addDevice(device(40));
    audio.notify(kAudioObjectSystemObject, {kDevices, kDevices});
    // A change of another property of the system object is not for this listener.
    audio.notify(kAudioObjectSystemObject,
                 {{fourCharCode("othr"), kAudioObjectPropertyScopeGlobal, 0}});
    audio.flush();

    std::lock_guard<std::mutex> lock(heard.mutex);
    ASSERT_EQ(heard.threads.size(), 2u);
    EXPECT_NE(heard.threads[0], std::this_thread::get_id());
    EXPECT_EQ(heard.threads[0], audio.notificationThread());
    EXPECT_EQ(heard.addressCounts, (std::vector<UInt32>{1, 2}));
}

TEST_F(SimCoreAudioTest, RemovedListenerHearsNothingAndUnknownRemovalFails) {
    audio.AudioObjectAddPropertyListener(kAudioObjectSystemObject, &kDevices, &listener, &heard);
    EXPECT_EQ(audio.AudioObjectRemovePropertyListener(kAudioObjectSystemObject, &kDevices,
                                                      &listener, &heard),
              noErr);
    EXPECT_NE(audio.AudioObjectRemovePropertyListener(kAudioObjectSystemObject, &kDevices,
                                                      &listener, &heard),
              noErr);
    audio.addDevice(device(41));
    audio.flush();
    std::lock_guard<std::mutex> lock(heard.mutex);
    EXPECT_TRUE(heard.threads.empty());
}

TEST_F(SimCoreAudioTest, DeviceListReadsAsManyIdsAsFitAndFailuresGiveTheirStatus) {
    audio.addDevice(device(40));
    audio.addDevice(device(41));
    UInt32 size = 0;
    ASSERT_EQ(audio.AudioObjectGetPropertyDataSize(kAudioObjectSystemObject, &kDevices, 0, nullptr,
                                                   &size),
              noErr);
    EXPECT_EQ(size, 8u);
    AudioObjectID ids[2] = {};
    UInt32 small = 4;
    ASSERT_EQ(audio.AudioObjectGetPropertyData(kAudioObjectSystemObject, &kDevices, 0, nullptr,
                                               &small, ids),
              noErr);
    EXPECT_EQ(small, 4u);
    EXPECT_EQ(ids[0], 40u);

    audio.setStatuses(kAudioObjectSystemObject, kAudioHardwarePropertyDevices, noErr,
                      kAudioHardwareUnspecifiedError, noErr);
    audio.addDevice(device(42));  // the list changes; the failure stays
    size = 12;
    AudioObjectID three[3] = {};
    EXPECT_EQ(audio.AudioObjectGetPropertyData(kAudioObjectSystemObject, &kDevices, 0, nullptr,
                                               &size, three),
              kAudioHardwareUnspecifiedError);
}

TEST_F(SimCoreAudioTest, NominalRateWriteMovesTheActualRateAndStringsComeAsOwnedReferences) {
    audio.addDevice(device(40));
    const AudioObjectPropertyAddress nominal{kAudioDevicePropertyNominalSampleRate,
                                             kAudioObjectPropertyScopeGlobal, 0};
    const Float64 rate = 48000.0;
    EXPECT_EQ(audio.AudioObjectSetPropertyData(40, &nominal, 0, nullptr, sizeof rate, &rate),
              noErr);
    EXPECT_EQ(audio.propertyReal(40, kAudioDevicePropertyActualSampleRate), 48000.0);
    ASSERT_EQ(audio.setCalls().size(), 1u);
    EXPECT_EQ(audio.setCalls()[0].bytes.size(), 8u);

    const AudioObjectPropertyAddress uid{kAudioDevicePropertyModelUID,
                                         kAudioObjectPropertyScopeGlobal, 0};
    CFStringRef text = nullptr;
    UInt32 size = sizeof text;
    ASSERT_EQ(audio.AudioObjectGetPropertyData(40, &uid, 0, nullptr, &size, &text), noErr);
    EXPECT_STREQ(CFStringGetCStringPtr(text, CFStringGetSystemEncoding()), "USB Audio:ABCD:1");
    EXPECT_EQ(CFGetRetainCount(text), 1);

    auto property = SimAudioProperty::string("name");
    property.directPointer = false;
    audio.setProperty(40, kAudioObjectPropertyName, property);
    const AudioObjectPropertyAddress name{kAudioObjectPropertyName, kAudioObjectPropertyScopeGlobal,
                                          0};
    ASSERT_EQ(audio.AudioObjectGetPropertyData(40, &name, 0, nullptr, &size, &text), noErr);
    EXPECT_EQ(CFStringGetCStringPtr(text, CFStringGetSystemEncoding()), nullptr);
    audio.flush();
}

TEST_F(SimCoreAudioTest, SeveralDevicesInOneChangeAndWritesSeenByTheObserver) {
    audio.AudioObjectAddPropertyListener(kAudioObjectSystemObject, &kDevices, &listener, &heard);
    audio.addDevices({device(41), device(40)});
    audio.flush();
    EXPECT_EQ(heard.addressCounts, std::vector<UInt32>{1});
    AudioObjectID ids[4] = {};
    UInt32 size = sizeof ids;
    ASSERT_EQ(audio.AudioObjectGetPropertyData(kAudioObjectSystemObject, &kDevices, 0, nullptr,
                                               &size, ids),
              noErr);
    EXPECT_EQ(size, 2 * sizeof(AudioObjectID));
    EXPECT_EQ(ids[0], 41u);
    EXPECT_EQ(ids[1], 40u);

    std::vector<std::pair<AudioObjectID, std::thread::id>> seen;
    audio.setSetCallObserver([&](const SimCoreAudio::SetCall& call) {
        seen.emplace_back(call.object, std::this_thread::get_id());
    });
    const AudioObjectPropertyAddress nominal{kAudioDevicePropertyNominalSampleRate,
                                             kAudioObjectPropertyScopeGlobal, 0};
    const Float64 rate = 48000.0;
    audio.AudioObjectSetPropertyData(40, &nominal, 0, nullptr, sizeof rate, &rate);
    EXPECT_EQ(
        seen,
        (std::vector<std::pair<AudioObjectID, std::thread::id>>{{40, std::this_thread::get_id()}}));

    audio.AudioObjectRemovePropertyListener(kAudioObjectSystemObject, &kDevices, &listener, &heard);
    audio.AudioObjectRemovePropertyListener(kAudioObjectSystemObject, &kDevices, &listener, &heard);
    EXPECT_EQ(audio.listenerAdds(), 1u);
    EXPECT_EQ(audio.listenerRemoves(), 2u);
}

// Blocks in the listener until released.
struct Gate {
    std::atomic<bool> entered{false};
    std::atomic<bool> release{false};
};

OSStatus blockingListener(AudioObjectID, UInt32, const AudioObjectPropertyAddress*, void* data) {
    auto* gate = static_cast<Gate*>(data);
    gate->entered = true;
    while (!gate->release) {
        std::this_thread::yield();
    }
    return noErr;
}

TEST_F(SimCoreAudioTest, RemovalFromAnotherThreadWaitsForTheCallInProgress) {
    Gate gate;
    audio.AudioObjectAddPropertyListener(kAudioObjectSystemObject, &kDevices, &blockingListener,
                                         &gate);
    audio.addDevice(device(40));
    while (!gate.entered) {
        std::this_thread::yield();
    }
    std::atomic<bool> removed{false};
    std::thread remover([&] {
        audio.AudioObjectRemovePropertyListener(kAudioObjectSystemObject, &kDevices,
                                                &blockingListener, &gate);
        removed = true;
    });
    // Once the listener is off the list, the remover waits for the call still running.
    while (audio.listenerCount() != 0) {
        std::this_thread::yield();
    }
    EXPECT_FALSE(removed);
    gate.release = true;
    remover.join();
    EXPECT_TRUE(removed);
    audio.flush();
}

}  // namespace
}  // namespace qn::platform::sim
