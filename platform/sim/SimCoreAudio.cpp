#include "platform/sim/SimCoreAudio.h"

#include <algorithm>
#include <cstring>

namespace qn::platform::sim {

namespace {
bool sameAddress(const AudioObjectPropertyAddress& a, const AudioObjectPropertyAddress& b) {
    return a.mSelector == b.mSelector && a.mScope == b.mScope && a.mElement == b.mElement;
}
template <typename L>
bool sameListener(const L& a, const L& b) {
    return a.object == b.object && sameAddress(a.address, b.address) && a.proc == b.proc &&
           a.clientData == b.clientData;
}
constexpr AudioObjectPropertySelector kWildcard = fourCharCode("****");
}  // namespace

const SimAudioProperty* SimCoreAudio::find(AudioObjectID object,
                                           AudioObjectPropertySelector selector) const {
    const auto o = m_objects.find(object);
    if (o == m_objects.end()) {
        return nullptr;
    }
    const auto p = o->second.find(selector);
    return p == o->second.end() ? nullptr : &p->second;
}

UInt32 SimCoreAudio::sizeOf(const SimAudioProperty& property) {
    switch (property.type) {
        case SimAudioProperty::Type::Float64:
            return sizeof(Float64);
        case SimAudioProperty::Type::UInt32:
            return sizeof(UInt32);
        case SimAudioProperty::Type::String:
            return sizeof(CFStringRef);
        case SimAudioProperty::Type::ObjectList:
            return static_cast<UInt32>(property.objects.size() * sizeof(AudioObjectID));
    }
    return 0;
}

bool SimCoreAudio::AudioObjectHasProperty(AudioObjectID object,
                                          const AudioObjectPropertyAddress* address) {
    std::lock_guard<std::mutex> lock(m_mutex);
    return address && find(object, address->mSelector) != nullptr;
}

OSStatus SimCoreAudio::readable(AudioObjectID object, const AudioObjectPropertyAddress* address,
                                OSStatus SimAudioProperty::*status,
                                const SimAudioProperty** property) const {
    if (!m_objects.count(object)) {
        return kAudioHardwareBadObjectError;
    }
    *property = find(object, address->mSelector);
    if (!*property) {
        return kAudioHardwareUnknownPropertyError;
    }
    return (*property)->*status;
}

OSStatus SimCoreAudio::AudioObjectGetPropertyDataSize(AudioObjectID object,
                                                      const AudioObjectPropertyAddress* address,
                                                      UInt32, const void*, UInt32* outDataSize) {
    std::lock_guard<std::mutex> lock(m_mutex);
    const SimAudioProperty* p = nullptr;
    const auto status = readable(object, address, &SimAudioProperty::sizeStatus, &p);
    if (status == noErr) {
        *outDataSize = sizeOf(*p);
    }
    return status;
}

OSStatus SimCoreAudio::AudioObjectGetPropertyData(AudioObjectID object,
                                                  const AudioObjectPropertyAddress* address, UInt32,
                                                  const void*, UInt32* ioDataSize, void* outData) {
    std::lock_guard<std::mutex> lock(m_mutex);
    const SimAudioProperty* p = nullptr;
    if (const auto status = readable(object, address, &SimAudioProperty::getStatus, &p);
        status != noErr) {
        return status;
    }
    switch (p->type) {
        case SimAudioProperty::Type::ObjectList: {
            // As many ids as fit.
            const auto n =
                std::min<std::size_t>(*ioDataSize / sizeof(AudioObjectID), p->objects.size());
            std::memcpy(outData, p->objects.data(), n * sizeof(AudioObjectID));
            *ioDataSize = static_cast<UInt32>(n * sizeof(AudioObjectID));
            return noErr;
        }
        case SimAudioProperty::Type::Float64:
        case SimAudioProperty::Type::UInt32:
        case SimAudioProperty::Type::String:
            break;
    }
    const UInt32 size = sizeOf(*p);
    if (*ioDataSize < size) {
        return kAudioHardwareBadPropertySizeError;
    }
    if (p->type == SimAudioProperty::Type::Float64) {
        std::memcpy(outData, &p->real, size);
    } else if (p->type == SimAudioProperty::Type::UInt32) {
        std::memcpy(outData, &p->integer, size);
    } else {
        // A new string, owned by the caller.
        m_strings.push_back(std::make_unique<SimCFString>(m_faults, p->text, p->directPointer));
        CFStringRef string = m_strings.back().get();
        std::memcpy(outData, &string, size);
    }
    *ioDataSize = size;
    return noErr;
}

OSStatus SimCoreAudio::AudioObjectSetPropertyData(AudioObjectID object,
                                                  const AudioObjectPropertyAddress* address, UInt32,
                                                  const void*, UInt32 inDataSize,
                                                  const void* inData) {
    std::vector<AudioObjectPropertyAddress> changed;
    OSStatus result = noErr;
    std::function<void(const SetCall&)> observer;
    SetCall observed{};
    {
        std::lock_guard<std::mutex> lock(m_mutex);
        const auto* bytes = static_cast<const std::uint8_t*>(inData);
        SetCall call{object, address->mSelector,
                     std::vector<std::uint8_t>(bytes, bytes + inDataSize), noErr};
        auto o = m_objects.find(object);
        if (o == m_objects.end()) {
            result = kAudioHardwareBadObjectError;
        } else if (auto p = o->second.find(address->mSelector); p == o->second.end()) {
            result = kAudioHardwareUnknownPropertyError;
        } else if (p->second.setStatus != noErr) {
            result = p->second.setStatus;
        } else if (inDataSize != sizeOf(p->second) ||
                   p->second.type == SimAudioProperty::Type::String ||
                   p->second.type == SimAudioProperty::Type::ObjectList) {
            result = kAudioHardwareBadPropertySizeError;
        } else if (p->second.type == SimAudioProperty::Type::Float64) {
            std::memcpy(&p->second.real, inData, inDataSize);
            changed.push_back(*address);
            // A device runs at the nominal rate it is given.
            if (address->mSelector == kAudioDevicePropertyNominalSampleRate) {
                auto actual = o->second.find(kAudioDevicePropertyActualSampleRate);
                if (actual != o->second.end()) {
                    actual->second.real = p->second.real;
                    changed.push_back(
                        {kAudioDevicePropertyActualSampleRate, address->mScope, address->mElement});
                }
            }
        } else {
            std::memcpy(&p->second.integer, inData, inDataSize);
            changed.push_back(*address);
        }
        call.result = result;
        m_setCalls.push_back(call);
        observer = m_setCallObserver;
        observed = std::move(call);
    }
    if (observer) {
        observer(observed);
    }
    if (!changed.empty()) {
        notify(object, changed);
    }
    return result;
}

OSStatus SimCoreAudio::AudioObjectAddPropertyListener(AudioObjectID object,
                                                      const AudioObjectPropertyAddress* address,
                                                      AudioObjectPropertyListenerProc listener,
                                                      void* clientData) {
    std::lock_guard<std::mutex> lock(m_mutex);
    ++m_listenerAdds;
    if (!m_objects.count(object) && object != kAudioObjectSystemObject) {
        return kAudioHardwareBadObjectError;
    }
    m_listeners.push_back(Listener{object, *address, listener, clientData});
    return noErr;
}

OSStatus SimCoreAudio::AudioObjectRemovePropertyListener(AudioObjectID object,
                                                         const AudioObjectPropertyAddress* address,
                                                         AudioObjectPropertyListenerProc listener,
                                                         void* clientData) {
    const bool onNotificationThread = std::this_thread::get_id() == m_notifier.threadId();
    std::unique_lock<std::mutex> lock(m_mutex);
    ++m_listenerRemoves;
    const Listener removed{object, *address, listener, clientData};
    const auto found = std::find_if(m_listeners.begin(), m_listeners.end(),
                                    [&](const Listener& l) { return sameListener(l, removed); });
    if (found == m_listeners.end()) {
        return kAudioHardwareIllegalOperationError;
    }
    m_listeners.erase(found);
    if (!onNotificationThread) {
        m_delivered.wait(lock,
                         [&] { return !m_delivering || !sameListener(*m_delivering, removed); });
    }
    return noErr;
}

void SimCoreAudio::updateDeviceList() {
    SimAudioProperty list;
    list.type = SimAudioProperty::Type::ObjectList;
    list.objects = m_devices;
    auto& system = m_objects[kAudioObjectSystemObject];
    const auto old = system.find(kAudioHardwarePropertyDevices);
    if (old != system.end()) {
        list.sizeStatus = old->second.sizeStatus;
        list.getStatus = old->second.getStatus;
    }
    system[kAudioHardwarePropertyDevices] = list;
}

void SimCoreAudio::placeDevice(const Device& device) {
    auto& p = m_objects[device.id];
    p[kAudioObjectPropertyName] = SimAudioProperty::string(device.name);
    p[kAudioObjectPropertyManufacturer] = SimAudioProperty::string(device.manufacturer);
    p[kAudioDevicePropertyModelUID] = SimAudioProperty::string(device.modelUID);
    p[kAudioDevicePropertyActualSampleRate] = SimAudioProperty::float64(device.sampleRate);
    p[kAudioDevicePropertyNominalSampleRate] = SimAudioProperty::float64(device.sampleRate);
    p[kAudioDevicePropertyTransportType] = SimAudioProperty::uint32(device.transportType);
    if (std::find(m_devices.begin(), m_devices.end(), device.id) == m_devices.end()) {
        m_devices.push_back(device.id);
    }
}

void SimCoreAudio::addDevice(const Device& device) {
    addDevices({device});
}

void SimCoreAudio::addDevices(const std::vector<Device>& devices) {
    {
        std::lock_guard<std::mutex> lock(m_mutex);
        for (const auto& device : devices) {
            placeDevice(device);
        }
        updateDeviceList();
    }
    notify(kAudioObjectSystemObject,
           {{kAudioHardwarePropertyDevices, kAudioObjectPropertyScopeGlobal,
             kAudioObjectPropertyElementMaster}});
}

void SimCoreAudio::removeDevice(AudioObjectID id) {
    {
        std::lock_guard<std::mutex> lock(m_mutex);
        m_objects.erase(id);
        std::erase(m_devices, id);
        updateDeviceList();
    }
    notify(kAudioObjectSystemObject,
           {{kAudioHardwarePropertyDevices, kAudioObjectPropertyScopeGlobal,
             kAudioObjectPropertyElementMaster}});
}

void SimCoreAudio::setProperty(AudioObjectID object, AudioObjectPropertySelector selector,
                               SimAudioProperty property) {
    std::lock_guard<std::mutex> lock(m_mutex);
    m_objects[object][selector] = std::move(property);
}

void SimCoreAudio::removeProperty(AudioObjectID object, AudioObjectPropertySelector selector) {
    std::lock_guard<std::mutex> lock(m_mutex);
    const auto o = m_objects.find(object);
    if (o != m_objects.end()) {
        o->second.erase(selector);
    }
}

void SimCoreAudio::setStatuses(AudioObjectID object, AudioObjectPropertySelector selector,
                               OSStatus sizeStatus, OSStatus getStatus, OSStatus setStatus) {
    std::lock_guard<std::mutex> lock(m_mutex);
    if (object == kAudioObjectSystemObject && selector == kAudioHardwarePropertyDevices) {
        updateDeviceList();
    }
    const auto o = m_objects.find(object);
    if (o == m_objects.end() || !o->second.count(selector)) {
        return;
    }
    auto& p = o->second[selector];
    p.sizeStatus = sizeStatus;
    p.getStatus = getStatus;
    p.setStatus = setStatus;
}

bool SimCoreAudio::isListening(const Listener& listener) const {
    return std::any_of(m_listeners.begin(), m_listeners.end(),
                       [&](const Listener& l) { return sameListener(l, listener); });
}

void SimCoreAudio::notify(AudioObjectID object, std::vector<AudioObjectPropertyAddress> addresses) {
    m_notifier.post([this, object, addresses = std::move(addresses)] {
        std::vector<Listener> listeners;
        {
            std::lock_guard<std::mutex> lock(m_mutex);
            for (const auto& l : m_listeners) {
                const bool wanted =
                    std::any_of(addresses.begin(), addresses.end(), [&](const auto& a) {
                        return l.address.mSelector == kWildcard ||
                               l.address.mSelector == a.mSelector;
                    });
                if (l.object == object && wanted) {
                    listeners.push_back(l);
                }
            }
        }
        for (const auto& l : listeners) {
            {
                // A listener removed by an earlier one is not called.
                std::lock_guard<std::mutex> lock(m_mutex);
                if (!isListening(l)) {
                    continue;
                }
                m_delivering = l;
            }
            l.proc(object, static_cast<UInt32>(addresses.size()), addresses.data(), l.clientData);
            {
                std::lock_guard<std::mutex> lock(m_mutex);
                m_delivering.reset();
            }
            m_delivered.notify_all();
        }
    });
}

std::vector<SimCoreAudio::SetCall> SimCoreAudio::setCalls() const {
    std::lock_guard<std::mutex> lock(m_mutex);
    return m_setCalls;
}

double SimCoreAudio::propertyReal(AudioObjectID object,
                                  AudioObjectPropertySelector selector) const {
    std::lock_guard<std::mutex> lock(m_mutex);
    const auto* p = find(object, selector);
    return p ? p->real : 0.0;
}

void SimCoreAudio::setSetCallObserver(std::function<void(const SetCall&)> observer) {
    std::lock_guard<std::mutex> lock(m_mutex);
    m_setCallObserver = std::move(observer);
}

std::size_t SimCoreAudio::listenerAdds() const {
    std::lock_guard<std::mutex> lock(m_mutex);
    return m_listenerAdds;
}

std::size_t SimCoreAudio::listenerRemoves() const {
    std::lock_guard<std::mutex> lock(m_mutex);
    return m_listenerRemoves;
}

std::size_t SimCoreAudio::listenerCount() const {
    std::lock_guard<std::mutex> lock(m_mutex);
    return m_listeners.size();
}

std::size_t SimCoreAudio::stringsHandedOut() const {
    std::lock_guard<std::mutex> lock(m_mutex);
    return m_strings.size();
}

}  // namespace qn::platform::sim
