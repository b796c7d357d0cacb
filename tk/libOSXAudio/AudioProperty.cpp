#include "tk/libOSXAudio/AudioProperty.h"

#include <sstream>

namespace qn::tk::osx {

using namespace platform;

const char* audioPropertyName(AudioObjectPropertySelector selector) {
    switch (selector) {
        case kAudioDevicePropertyActualSampleRate:
            return "kAudioDevicePropertyActualSampleRate";
        case kAudioDevicePropertyNominalSampleRate:
            return "kAudioDevicePropertyNominalSampleRate";
        case kAudioDevicePropertyTransportType:
            return "kAudioDevicePropertyTransportType";
        case kAudioObjectPropertyName:
            return "kAudioObjectPropertyName";
        case kAudioObjectPropertyManufacturer:
            return "kAudioObjectPropertyManufacturer";
        case kAudioDevicePropertyModelUID:
            return "kAudioDevicePropertyModelUID";
        default:
            return "unrecognized property";
    }
}

std::optional<std::uint32_t> vendorIdOfModelUID(const std::string& modelUID) {
    const auto first = modelUID.find(':');
    const auto last = modelUID.rfind(':');
    if (first == std::string::npos || first == last) {
        return std::nullopt;
    }
    std::istringstream field(modelUID.substr(first + 1, last - first - 1));
    std::uint32_t vendor = 0;
    field >> std::hex >> vendor;
    // A failed read leaves nothing usable: the vendor is 0.
    return field.fail() ? 0u : vendor;
}

}  // namespace qn::tk::osx
