#pragma once
// What the audio objects show of a PipeWire node, worked out from its info properties.
// Pure, so that the mapping is tested without a server.

#include <cstdint>
#include <map>
#include <optional>
#include <string>

namespace qn::platform::linux_audio {

using NodeProperties = std::map<std::string, std::string>;

struct NodeModel {
    std::string name;
    std::string manufacturer;
    // "usb:<vendor, 4 lower-case hex digits>:<product, 4 lower-case hex digits>" for a
    // node with a USB vendor id; otherwise "node:" and the node's name without colons,
    // which reads as no vendor.
    std::string modelUID;
    std::uint32_t transportType = 0;
};

NodeModel nodeModel(const NodeProperties& properties);

// A USB id as PipeWire's properties write it: hexadecimal, "0xabcd" or "abcd".
std::optional<std::uint32_t> parseUsbId(const std::string& text);

// The media classes whose nodes are audio devices.
bool isAudioNodeClass(const char* mediaClass);

}  // namespace qn::platform::linux_audio
