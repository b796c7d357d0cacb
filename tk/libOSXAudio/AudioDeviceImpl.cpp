#include "tk/libOSXAudio/AudioDeviceImpl.h"

#include "platform/Backend.h"
#include "tk/libOSXAudio/AudioProperty.h"

namespace qn::tk::osx {

using namespace platform;
using sys::Logger;

namespace {

AudioObjectPropertyAddress globalAddress(AudioObjectPropertySelector selector) {
    return {selector, kAudioObjectPropertyScopeGlobal, kAudioObjectPropertyElementMaster};
}

}  // namespace

AudioDeviceImpl::AudioDeviceImpl(std::uint32_t deviceId)
    : sys::Identity("AudioDevice", ""), m_deviceId(deviceId) {}

double AudioDeviceImpl::actualSampleRate() {
    auto& audio = coreAudio();
    const auto address = globalAddress(kAudioDevicePropertyActualSampleRate);
    if (!audio.AudioObjectHasProperty(m_deviceId, &address)) {
        QN_LOG(*this, Logger::WARN)
            << "Device: " << m_deviceId << " does not have sample rate property.";
        return 0.0;
    }
    Float64 rate = 0.0;
    UInt32 size = sizeof(rate);
    const OSStatus status =
        audio.AudioObjectGetPropertyData(m_deviceId, &address, 0, nullptr, &size, &rate);
    if (status != noErr) {
        QN_LOG(*this, Logger::ERROR) << "Failed to get sample rate from device: " << m_deviceId
                                     << " (error code: " << status << ")";
        return 0.0;
    }
    return rate;
}

void AudioDeviceImpl::setNominalSampleRate(double rate) {
    // Written without asking first: a device that lacks it says so in the status.
    const auto address = globalAddress(kAudioDevicePropertyNominalSampleRate);
    const Float64 value = rate;
    const OSStatus status = coreAudio().AudioObjectSetPropertyData(m_deviceId, &address, 0, nullptr,
                                                                   sizeof(value), &value);
    if (status != noErr) {
        QN_LOG(*this, Logger::ERROR) << "Failed to set sample rate on device " << m_deviceId
                                     << " (error code: " << status << ")";
    }
}

std::uint32_t AudioDeviceImpl::transportType() {
    auto& audio = coreAudio();
    const auto address = globalAddress(kAudioDevicePropertyTransportType);
    if (!audio.AudioObjectHasProperty(m_deviceId, &address)) {
        QN_LOG(*this, Logger::WARN)
            << "Device: " << m_deviceId << " does not have transport property.";
        return 0;
    }
    UInt32 transport = 0;
    UInt32 size = sizeof(transport);
    const OSStatus status =
        audio.AudioObjectGetPropertyData(m_deviceId, &address, 0, nullptr, &size, &transport);
    if (status != noErr) {
        // "rate" has always stood in this text.
        QN_LOG(*this, Logger::ERROR) << "Failed to get transport rate from device: " << m_deviceId
                                     << " (error code: " << status << ")";
        return 0;
    }
    return transport;
}

std::string AudioDeviceImpl::stringProperty(AudioObjectPropertySelector selector) {
    auto& audio = coreAudio();
    const auto address = globalAddress(selector);
    const char* printed = audioPropertyName(selector);
    if (!audio.AudioObjectHasProperty(m_deviceId, &address)) {
        QN_LOG(*this, Logger::WARN)
            << "Device " << m_deviceId << " has no " << printed << " property";
        return std::string();
    }
    CFStringRef text = nullptr;
    UInt32 size = sizeof(text);
    const OSStatus status =
        audio.AudioObjectGetPropertyData(m_deviceId, &address, 0, nullptr, &size, &text);
    if (status != noErr) {
        QN_LOG(*this, Logger::ERROR)
            << "Failed to get " << printed << " property from device: " << m_deviceId
            << " (error code: " << status << ")";
        return std::string();
    }
    std::string result;
    if (text) {
        // A string the host cannot give directly reads as empty.
        if (const char* direct = CFStringGetCStringPtr(text, CFStringGetSystemEncoding())) {
            result = direct;
        }
        // The reference is ours; keeping it would leak one string per read and scan.
        CFRelease(text);
    }
    return result;
}

std::string AudioDeviceImpl::name() {
    return stringProperty(kAudioObjectPropertyName);
}

std::string AudioDeviceImpl::manufacturer() {
    return stringProperty(kAudioObjectPropertyManufacturer);
}

std::string AudioDeviceImpl::modelUID() {
    return stringProperty(kAudioDevicePropertyModelUID);
}

std::uint32_t AudioDeviceImpl::vendorId() {
    const std::string uid = modelUID();
    if (uid.empty()) {
        return 0;
    }
    const auto vendor = vendorIdOfModelUID(uid);
    if (!vendor) {
        QN_LOG(*this, Logger::VERBOSE)
            << "Device: " << m_deviceId << " has no VID. Probably not a USB device.";
        return 0;
    }
    return *vendor;
}

bool AudioDeviceImpl::isQuintorDevice() {
    return vendorId() == kQuintorVendorId;
}

}  // namespace qn::tk::osx
