#pragma once
// Pure helpers over audio properties and model UIDs.

#include <cstdint>
#include <optional>
#include <string>

#include "platform/CoreAudio.h"

namespace qn::tk::osx {

// The property's name as log lines print it, or "unrecognized property".
const char* audioPropertyName(platform::AudioObjectPropertySelector selector);

// The vendor field of a USB model UID "transport:vendor:product": everything strictly
// between the first and the last colon, read as hexadecimal up to the first character
// that is no hex digit (0 when nothing reads). Nothing when there are not two colons.
std::optional<std::uint32_t> vendorIdOfModelUID(const std::string& modelUID);

}  // namespace qn::tk::osx
