#pragma once
// Audio objects of the simulated world: the system object with its device list, and
// devices with properties. Listeners are called on the host's notification thread.

#include <condition_variable>
#include <functional>
#include <map>
#include <memory>
#include <mutex>
#include <optional>
#include <thread>
#include <vector>

#include "platform/CoreAudio.h"
#include "platform/sim/SimAudioNotifier.h"
#include "platform/sim/SimAudioProperty.h"
#include "platform/sim/SimCFString.h"
#include "platform/sim/SimFaults.h"

namespace qn::platform::sim {

class SimCoreAudio : public CoreAudio {
  public:
    explicit SimCoreAudio(SimFaults& faults) : m_faults(faults) { updateDeviceList(); }

    bool AudioObjectHasProperty(AudioObjectID inObjectID,
                                const AudioObjectPropertyAddress* inAddress) override;
    OSStatus AudioObjectGetPropertyDataSize(AudioObjectID inObjectID,
                                            const AudioObjectPropertyAddress* inAddress,
                                            UInt32 inQualifierDataSize, const void* inQualifierData,
                                            UInt32* outDataSize) override;
    OSStatus AudioObjectGetPropertyData(AudioObjectID inObjectID,
                                        const AudioObjectPropertyAddress* inAddress,
                                        UInt32 inQualifierDataSize, const void* inQualifierData,
                                        UInt32* ioDataSize, void* outData) override;
    OSStatus AudioObjectSetPropertyData(AudioObjectID inObjectID,
                                        const AudioObjectPropertyAddress* inAddress,
                                        UInt32 inQualifierDataSize, const void* inQualifierData,
                                        UInt32 inDataSize, const void* inData) override;
    OSStatus AudioObjectAddPropertyListener(AudioObjectID inObjectID,
                                            const AudioObjectPropertyAddress* inAddress,
                                            AudioObjectPropertyListenerProc inListener,
                                            void* inClientData) override;
    OSStatus AudioObjectRemovePropertyListener(AudioObjectID inObjectID,
                                               const AudioObjectPropertyAddress* inAddress,
                                               AudioObjectPropertyListenerProc inListener,
                                               void* inClientData) override;

    struct Device {
        AudioObjectID id = 0;
        std::string name;
        std::string manufacturer;
        std::string modelUID;
        double sampleRate = 44100.0;
        std::uint32_t transportType = fourCharCode("usb ");
    };
    struct SetCall {
        AudioObjectID object;
        AudioObjectPropertySelector selector;
        std::vector<std::uint8_t> bytes;
        OSStatus result;
    };

    // The world. Adding or removing a device changes the system object's device list and
    // tells its listeners, on the notification thread.
    void addDevice(const Device& device);
    // Several devices in one change of the list: one notification.
    void addDevices(const std::vector<Device>& devices);
    void removeDevice(AudioObjectID id);
    void setProperty(AudioObjectID object, AudioObjectPropertySelector selector,
                     SimAudioProperty property);
    void removeProperty(AudioObjectID object, AudioObjectPropertySelector selector);
    // Changes one status of an existing property.
    void setStatuses(AudioObjectID object, AudioObjectPropertySelector selector,
                     OSStatus sizeStatus, OSStatus getStatus, OSStatus setStatus);
    // Tells the object's listeners that these properties changed, in one call.
    void notify(AudioObjectID object, std::vector<AudioObjectPropertyAddress> addresses);
    // Waits until the notification thread has delivered everything posted so far.
    void flush() { m_notifier.flush(); }
    std::thread::id notificationThread() const { return m_notifier.threadId(); }

    std::vector<SetCall> setCalls() const;
    // Called after each set, on the setter's thread, outside the host's lock.
    void setSetCallObserver(std::function<void(const SetCall&)> observer);
    double propertyReal(AudioObjectID object, AudioObjectPropertySelector selector) const;
    std::size_t listenerCount() const;
    // Listener registrations and removals asked for so far, successful or not.
    std::size_t listenerAdds() const;
    std::size_t listenerRemoves() const;
    // Strings handed out by AudioObjectGetPropertyData.
    std::size_t stringsHandedOut() const;

  private:
    struct Listener {
        AudioObjectID object;
        AudioObjectPropertyAddress address;
        AudioObjectPropertyListenerProc proc;
        void* clientData;
    };
    using Properties = std::map<AudioObjectPropertySelector, SimAudioProperty>;

    const SimAudioProperty* find(AudioObjectID object, AudioObjectPropertySelector selector) const;
    static UInt32 sizeOf(const SimAudioProperty& property);
    // The property, or the status a read of it gives (the chosen status when it exists).
    OSStatus readable(AudioObjectID object, const AudioObjectPropertyAddress* address,
                      OSStatus SimAudioProperty::*status, const SimAudioProperty** property) const;
    void updateDeviceList();
    void placeDevice(const Device& device);
    bool isListening(const Listener& listener) const;

    SimFaults& m_faults;
    mutable std::mutex m_mutex;
    std::map<AudioObjectID, Properties> m_objects;
    std::vector<AudioObjectID> m_devices;
    std::vector<Listener> m_listeners;
    // The listener being called on the notification thread: a removal from another
    // thread waits for that call to end, so the client data may go right after it.
    std::optional<Listener> m_delivering;
    std::condition_variable m_delivered;
    std::size_t m_listenerAdds = 0;
    std::size_t m_listenerRemoves = 0;
    std::function<void(const SetCall&)> m_setCallObserver;
    std::vector<SetCall> m_setCalls;
    std::vector<std::unique_ptr<SimCFString>> m_strings;
    // Last, so that the notification thread ends before the state it reads.
    SimAudioNotifier m_notifier;
};

}  // namespace qn::platform::sim
