#pragma once
// Turns a display id into the framebuffer index by which the Manager knows its adapters,
// by reading the I/O registry. A display that does not hang under the Manager's driver
// gets the all-ones index. No state: the registry is read afresh for every report.

#include <cstdint>
#include <stdexcept>
#include <string>
#include <string_view>

#include "platform/IOKit.h"
#include "platform/Quartz.h"

namespace qn::app::osx::qnuapp {

// Where the adapters' framebuffers hang in the IOService plane, up to the point where
// their instance number begins.
inline constexpr std::string_view managerDriverPath =
    "IOService:/IOResources/QuintorParent/QuintorParent";

// The index of a display that is no adapter, or whose adapter could not be told.
inline constexpr std::uint32_t framebufferIndexNotFound = 0xFFFFFFFF;

class DisplayRegistryHelper {
  public:
    // By the kernel release: the display's own location below release 13, the walk over
    // the display connections from then on.
    static std::uint32_t getFramebufferIndexForDisplay(platform::CGDirectDisplayID id);
    static std::uint32_t getFramebufferIndexFromDisplayParams(platform::CGDirectDisplayID id);
    // The entry is the display's: same model and vendor, and under the driver's path.
    static bool matches_displayWithId(platform::io_registry_entry_t entry,
                                      platform::CGDirectDisplayID id);
    // The instance number right behind the driver path in the entry's path.
    static std::uint32_t framebufferIndexFrom(platform::io_registry_entry_t entry);
    // The entry's numbers, 0 when absent or not numbers.
    static std::uint16_t getDisplayVendorId(platform::io_registry_entry_t entry);
    static std::uint16_t getDisplayProductId(platform::io_registry_entry_t entry);
};

// A display location too short to hold an instance component.
class LocationRangeError : public std::out_of_range {
  public:
    using std::out_of_range::out_of_range;
};

// The framebuffer index a display location names: component 3 of the path, trimmed of
// everything but digits at both ends, read as an integer. Throws LocationRangeError,
// whose text is the reason logged, when the location has fewer than four components.
std::uint32_t framebufferIndexFromLocation(const std::string& location);

}  // namespace qn::app::osx::qnuapp
