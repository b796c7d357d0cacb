#pragma once
// Audio objects: has / get / set property data, data size, property listeners. The host
// calls listeners on a thread of its own.

#include <cstdint>

#include "platform/CoreFoundation.h"

namespace qn::platform {

using AudioObjectID = std::uint32_t;
using AudioObjectPropertySelector = std::uint32_t;
using AudioObjectPropertyScope = std::uint32_t;
using AudioObjectPropertyElement = std::uint32_t;
using OSStatus = std::int32_t;
using UInt32 = std::uint32_t;
using Float64 = double;

struct AudioObjectPropertyAddress {
    AudioObjectPropertySelector mSelector = 0;
    AudioObjectPropertyScope mScope = 0;
    AudioObjectPropertyElement mElement = 0;
};

constexpr std::uint32_t fourCharCode(const char (&code)[5]) {
    return (std::uint32_t(std::uint8_t(code[0])) << 24) |
           (std::uint32_t(std::uint8_t(code[1])) << 16) |
           (std::uint32_t(std::uint8_t(code[2])) << 8) | std::uint32_t(std::uint8_t(code[3]));
}

constexpr OSStatus noErr = 0;
constexpr AudioObjectID kAudioObjectUnknown = 0;
constexpr AudioObjectID kAudioObjectSystemObject = 1;
constexpr AudioObjectPropertyScope kAudioObjectPropertyScopeGlobal = fourCharCode("glob");
constexpr AudioObjectPropertyElement kAudioObjectPropertyElementMaster = 0;
constexpr AudioObjectPropertySelector kAudioHardwarePropertyDevices = fourCharCode("dev#");
constexpr AudioObjectPropertySelector kAudioDevicePropertyActualSampleRate = fourCharCode("asrt");
constexpr AudioObjectPropertySelector kAudioDevicePropertyNominalSampleRate = fourCharCode("nsrt");
constexpr AudioObjectPropertySelector kAudioDevicePropertyTransportType = fourCharCode("tran");
constexpr AudioObjectPropertySelector kAudioObjectPropertyName = fourCharCode("lnam");
constexpr AudioObjectPropertySelector kAudioObjectPropertyManufacturer = fourCharCode("lmak");
constexpr AudioObjectPropertySelector kAudioDevicePropertyModelUID = fourCharCode("muid");

constexpr OSStatus kAudioHardwareUnspecifiedError = static_cast<OSStatus>(fourCharCode("what"));
constexpr OSStatus kAudioHardwareUnknownPropertyError = static_cast<OSStatus>(fourCharCode("who?"));
constexpr OSStatus kAudioHardwareBadPropertySizeError = static_cast<OSStatus>(fourCharCode("!siz"));
constexpr OSStatus kAudioHardwareBadObjectError = static_cast<OSStatus>(fourCharCode("!obj"));
constexpr OSStatus kAudioHardwareIllegalOperationError =
    static_cast<OSStatus>(fourCharCode("nope"));

using AudioObjectPropertyListenerProc = OSStatus (*)(AudioObjectID inObjectID,
                                                     UInt32 inNumberAddresses,
                                                     const AudioObjectPropertyAddress* inAddresses,
                                                     void* inClientData);

class CoreAudio {
  public:
    virtual ~CoreAudio() = default;

    virtual bool AudioObjectHasProperty(AudioObjectID inObjectID,
                                        const AudioObjectPropertyAddress* inAddress) = 0;
    virtual OSStatus AudioObjectGetPropertyDataSize(AudioObjectID inObjectID,
                                                    const AudioObjectPropertyAddress* inAddress,
                                                    UInt32 inQualifierDataSize,
                                                    const void* inQualifierData,
                                                    UInt32* outDataSize) = 0;
    // String properties are written as one CFStringRef, owned by the caller.
    virtual OSStatus AudioObjectGetPropertyData(AudioObjectID inObjectID,
                                                const AudioObjectPropertyAddress* inAddress,
                                                UInt32 inQualifierDataSize,
                                                const void* inQualifierData, UInt32* ioDataSize,
                                                void* outData) = 0;
    virtual OSStatus AudioObjectSetPropertyData(AudioObjectID inObjectID,
                                                const AudioObjectPropertyAddress* inAddress,
                                                UInt32 inQualifierDataSize,
                                                const void* inQualifierData, UInt32 inDataSize,
                                                const void* inData) = 0;
    virtual OSStatus AudioObjectAddPropertyListener(AudioObjectID inObjectID,
                                                    const AudioObjectPropertyAddress* inAddress,
                                                    AudioObjectPropertyListenerProc inListener,
                                                    void* inClientData) = 0;
    virtual OSStatus AudioObjectRemovePropertyListener(AudioObjectID inObjectID,
                                                       const AudioObjectPropertyAddress* inAddress,
                                                       AudioObjectPropertyListenerProc inListener,
                                                       void* inClientData) = 0;
};

}  // namespace qn::platform
