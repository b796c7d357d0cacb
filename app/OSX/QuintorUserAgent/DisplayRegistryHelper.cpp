#include "app/OSX/QuintorUserAgent/DisplayRegistryHelper.h"

#include <algorithm>
#include <climits>
#include <cstdlib>
#include <cstring>
#include <optional>
#include <vector>

#include "app/OSX/QuintorUserAgent/AgentLogging.h"
#include "app/OSX/QuintorUserAgent/Display.h"
#include "app/OSX/QuintorUserAgent/ManagerCall.h"
#include "platform/Backend.h"

namespace qn::app::osx::qnuapp {

using platform::CGDirectDisplayID;
using platform::io_registry_entry_t;
using sys::Logger;

namespace {

// The one owner of a registry object handed out to us; released when dropped.
class RegistryObject {
  public:
    RegistryObject() = default;
    explicit RegistryObject(platform::io_object_t object) : m_object(object) {}
    ~RegistryObject() {
        if (m_object != 0) {
            platform::ioKit().IOObjectRelease(m_object);
        }
    }
    RegistryObject(const RegistryObject&) = delete;
    RegistryObject& operator=(const RegistryObject&) = delete;

    platform::io_object_t get() const { return m_object; }
    // For out-parameters; the object must be empty.
    platform::io_object_t* receive() { return &m_object; }
    explicit operator bool() const { return m_object != 0; }

  private:
    platform::io_object_t m_object = 0;
};

std::vector<std::string> componentsSeparatedBySlash(const std::string& text) {
    std::vector<std::string> components;
    std::string::size_type start = 0;
    for (;;) {
        const auto slash = text.find('/', start);
        components.push_back(text.substr(start, slash - start));
        if (slash == std::string::npos) {
            return components;
        }
        start = slash + 1;
    }
}

bool isDigit(char c) {
    return c >= '0' && c <= '9';
}

// Leading digits as a signed integer that stops at its limit rather than wrapping.
std::int32_t intValue(const std::string& text) {
    long long value = 0;
    for (const char c : text) {
        if (!isDigit(c)) {
            break;
        }
        value = value * 10 + (c - '0');
        if (value > INT_MAX) {
            return INT_MAX;
        }
    }
    return static_cast<std::int32_t>(value);
}

// A number property cut to 16 bits; nothing when it is absent or of another type.
std::optional<std::uint16_t> numberProperty(io_registry_entry_t entry, const char* key) {
    const auto property = platform::ioKit().IORegistryEntryCreateCFProperty(entry, key, 0);
    if (platform::CFGetTypeID(property) != platform::CFNumberGetTypeID()) {
        return std::nullopt;
    }
    return static_cast<std::uint16_t>(property.longLongValue());
}

}  // namespace

std::uint32_t framebufferIndexFromLocation(const std::string& location) {
    const auto components = componentsSeparatedBySlash(location);
    constexpr std::size_t instance = 3;
    if (components.size() <= instance) {
        throw LocationRangeError("index 3 beyond bounds [0 .. " +
                                 std::to_string(components.size() - 1) + "]");
    }
    const std::string& text = components[instance];
    const auto first = std::find_if(text.begin(), text.end(), isDigit);
    const auto last = std::find_if(text.rbegin(), text.rend(), isDigit).base();
    return static_cast<std::uint32_t>(intValue(first < last ? std::string(first, last) : ""));
}

std::uint32_t DisplayRegistryHelper::getFramebufferIndexForDisplay(CGDirectDisplayID id) {
    if (osReleaseNumber() >= 1300) {
        return getFramebufferIndexFromDisplayParams(id);
    }
    const auto port = platform::quartz().CGDisplayIOServicePort(id);
    if (port == 0) {
        QNUA_LOG(Logger::ERROR) << "getFramebufferIndexForDisplay: did not find service";
        return framebufferIndexNotFound;
    }
    const auto info = platform::ioKit().IODisplayCreateInfoDictionary(port, 0);
    if (info.isNull()) {
        QNUA_LOG(Logger::DEBUG) << "getFramebufferIndexForDisplay: did not find dictionary";
        return framebufferIndexNotFound;
    }
    // Another make's display has no location under the driver; that is no failure. A
    // location that is not text cannot begin with the path either.
    const auto location = info.get(platform::kIODisplayLocationKey);
    if (!location.isString() || !location.stringValue().starts_with(managerDriverPath)) {
        return framebufferIndexNotFound;
    }
    std::uint32_t index = framebufferIndexNotFound;
    try {
        index = framebufferIndexFromLocation(location.stringValue());
        QNUA_LOG(Logger::DEBUG) << "Extracted framebufferIndex: " << index << " for displayId: 0x"
                                << std::hex << id;
    } catch (const LocationRangeError& e) {
        QNUA_LOG(Logger::ERROR) << "Error extracting framebufferIndex from string. Reason: "
                                << Ascii{std::string(e.what())};
    }
    return index;
}

std::uint32_t DisplayRegistryHelper::getFramebufferIndexFromDisplayParams(CGDirectDisplayID id) {
    auto& ioKit = platform::ioKit();
    std::uint32_t index = framebufferIndexNotFound;
    RegistryObject iterator;
    if (ioKit.IOServiceGetMatchingServices(platform::kIOMasterPortDefault,
                                           ioKit.IOServiceMatching("IODisplayConnect"),
                                           iterator.receive()) == platform::KERN_SUCCESS) {
        // The first entry that matches wins; an all-ones index counts as no match.
        while (index == framebufferIndexNotFound) {
            const RegistryObject service(ioKit.IOIteratorNext(iterator.get()));
            if (!service) {
                break;
            }
            RegistryObject child;
            if (ioKit.IORegistryEntryGetChildEntry(service.get(), platform::kIOServicePlane,
                                                   child.receive()) == platform::KERN_SUCCESS &&
                matches_displayWithId(child.get(), id)) {
                index = framebufferIndexFrom(child.get());
            }
        }
    }
    if (index != framebufferIndexNotFound) {
        QNUA_LOG(Logger::DEBUG) << "Found FB index:" << std::hex << id << " index:" << std::dec
                                << index;
        return index;
    }
    QNUA_LOG(Logger::ERROR) << "FB index not found";
    return framebufferIndexNotFound;
}

bool DisplayRegistryHelper::matches_displayWithId(io_registry_entry_t entry, CGDirectDisplayID id) {
    platform::io_string_t path = {};
    if (platform::ioKit().IORegistryEntryGetPath(entry, platform::kIOServicePlane, path) !=
        platform::KERN_SUCCESS) {
        return false;
    }
    auto& quartz = platform::quartz();
    const std::uint32_t model = quartz.CGDisplayModelNumber(id);
    const std::uint32_t vendor = quartz.CGDisplayVendorNumber(id);
    QNUA_LOG(Logger::VERBOSE) << "displayModel:" << std::hex << model;
    QNUA_LOG(Logger::VERBOSE) << "displayVendor:" << std::hex << vendor;
    QNUA_LOG(Logger::VERBOSE) << "AppleDiplay registry path:" << path;
    const bool numbersMatch =
        model == getDisplayProductId(entry) && vendor == getDisplayVendorId(entry);
    const bool underDriver = std::string_view(path).find(managerDriverPath) != std::string::npos;
    return numbersMatch && underDriver;
}

std::uint32_t DisplayRegistryHelper::framebufferIndexFrom(io_registry_entry_t entry) {
    platform::io_string_t path = {};
    if (platform::ioKit().IORegistryEntryGetPath(entry, platform::kIOServicePlane, path) !=
        platform::KERN_SUCCESS) {
        return framebufferIndexNotFound;
    }
    // Read at the driver path's length: the number stands right behind it when the path
    // begins with it, which the match only checked somewhere in the path.
    return static_cast<std::uint32_t>(std::strtoul(path + managerDriverPath.size(), nullptr, 10));
}

std::uint16_t DisplayRegistryHelper::getDisplayVendorId(io_registry_entry_t entry) {
    const auto vendor = numberProperty(entry, platform::kDisplayVendorID);
    if (!vendor) {
        return 0;
    }
    QNUA_LOG(Logger::VERBOSE) << "getDisplayVendorId:" << std::hex << *vendor;
    return *vendor;
}

std::uint16_t DisplayRegistryHelper::getDisplayProductId(io_registry_entry_t entry) {
    const auto product = numberProperty(entry, platform::kDisplayProductID);
    if (!product) {
        return 0;
    }
    QNUA_LOG(Logger::VERBOSE) << "getDisplayProductId:" << std::hex << *product;
    return *product;
}

}  // namespace qn::app::osx::qnuapp
