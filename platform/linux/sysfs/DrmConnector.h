#pragma once
// One display connector of a DRM card, as sysfs shows it under class/drm, and what makes
// it an adapter's: the card's driver.

#include <cstdint>
#include <optional>
#include <string>
#include <vector>

#include "platform/linux/edid/EdidIds.h"

namespace qn::platform::sysfs {

// The kernel driver of the adapters' cards.
inline constexpr const char* kAdapterDriverName = "quintor";
// Where the adapters' framebuffers hang, up to the adapter's instance number.
inline constexpr const char* kManagerDriverPath =
    "IOService:/IOResources/QuintorParent/QuintorParent";

struct DrmConnector {
    // "card1-DVI-I-1": the entry's name under class/drm.
    std::string name;
    // The number N of the card "cardN" that the connector belongs to.
    std::uint32_t card = 0;
    // The value of its connector_id file: the id X names in an output's CONNECTOR_ID.
    std::uint32_t connectorId = 0;
    // The base name of the card's device/driver link; empty when there is none.
    std::string driver;
    std::optional<edid::EdidIds> edid;

    bool isAdapter() const { return driver == kAdapterDriverName; }
};

// The connectors under <root>/sys/class/drm in name order; entries without a readable
// connector_id are no connectors (the cards themselves, render nodes).
std::vector<DrmConnector> listDrmConnectors(const std::string& root);

// The connector's registry path: under the driver path with the card number as the
// adapter's instance for an adapter, under its driver's name for any other card.
std::string connectorRegistryPath(const DrmConnector& connector);

}  // namespace qn::platform::sysfs
