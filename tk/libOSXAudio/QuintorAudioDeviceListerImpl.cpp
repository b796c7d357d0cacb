#include "tk/libOSXAudio/QuintorAudioDeviceListerImpl.h"

#include <ios>

#include "platform/Backend.h"
#include "tk/libOSXAudio/AudioDeviceImpl.h"

namespace qn::tk::osx {

using namespace platform;
using sys::Logger;

namespace {

constexpr AudioObjectPropertyAddress kDevicesAddress{kAudioHardwarePropertyDevices,
                                                     kAudioObjectPropertyScopeGlobal,
                                                     kAudioObjectPropertyElementMaster};

}  // namespace

std::unique_ptr<QuintorAudioDeviceLister> QuintorAudioDeviceLister::create() {
    return std::make_unique<QuintorAudioDeviceListerImpl>();
}

QuintorAudioDeviceListerImpl::QuintorAudioDeviceListerImpl()
    : sys::Identity("QuintorAudioDeviceListerImpl", "") {
    m_listening.emplace(kAudioObjectSystemObject, kDevicesAddress, &listener, this);
}

QuintorAudioDeviceListerImpl::~QuintorAudioDeviceListerImpl() {
    m_listening.reset();
}

OSStatus QuintorAudioDeviceListerImpl::listener(AudioObjectID object, UInt32 count,
                                                const AudioObjectPropertyAddress* addresses,
                                                void* clientData) {
    if (object != kAudioObjectSystemObject || count == 0) {
        return noErr;
    }
    auto* self = static_cast<QuintorAudioDeviceListerImpl*>(clientData);
    for (UInt32 i = 0; i < count; ++i) {
        if (addresses[i].mSelector == kAudioHardwarePropertyDevices) {
            QN_LOG(*self, Logger::DEBUG) << "Audio device list has changed ";
            self->scan();
        }
    }
    return noErr;
}

std::set<std::uint32_t> QuintorAudioDeviceListerImpl::deviceList() {
    auto& audio = coreAudio();
    UInt32 size = 0;
    OSStatus status = audio.AudioObjectGetPropertyDataSize(kAudioObjectSystemObject,
                                                           &kDevicesAddress, 0, nullptr, &size);
    if (status != noErr) {
        QN_LOG(*this, Logger::ERROR)
            << "Failed to get audio device list size (error code: " << status << ")";
        size = 0;
    }
    const std::size_t count = size / sizeof(AudioObjectID);
    if (count == 0) {
        return {};
    }
    std::vector<AudioObjectID> ids(count, 0);
    size = static_cast<UInt32>(count * sizeof(AudioObjectID));
    status = audio.AudioObjectGetPropertyData(kAudioObjectSystemObject, &kDevicesAddress, 0,
                                              nullptr, &size, ids.data());
    if (status != noErr) {
        // The scan goes on over the zeroed ids, which match no adapter.
        QN_LOG(*this, Logger::ERROR)
            << "Failed to get audio devices list (error code: " << status << ")";
    }
    return std::set<std::uint32_t>(ids.begin(), ids.end());
}

void QuintorAudioDeviceListerImpl::scan() {
    std::set<std::uint32_t> found;
    for (const std::uint32_t id : deviceList()) {
        AudioDeviceImpl device(id);
        QN_LOG(*this, Logger::DEBUG) << "Found device with modelUID: " << device.modelUID()
                                     << " and VID: " << std::hex << device.vendorId();
        if (!device.isQuintorDevice()) {
            continue;
        }
        found.insert(id);
        if (!m_knownDevices.count(id)) {
            QN_LOG(*this, Logger::DEBUG)
                << "  This is just plugged in QN audio device. Sending notification.";
            fire(AudioDeviceEvent{0, &device});
        }
    }
    // A device gone from the list is forgotten, and counts as new when it comes back.
    m_knownDevices = std::move(found);
}

}  // namespace qn::tk::osx
