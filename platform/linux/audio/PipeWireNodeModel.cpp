#include "platform/linux/audio/PipeWireNodeModel.h"

#include <cctype>
#include <cstdio>
#include <cstdlib>
#include <cstring>

#include "platform/CoreAudio.h"

namespace qn::platform::linux_audio {

namespace {

std::string property(const NodeProperties& properties, const char* key) {
    const auto found = properties.find(key);
    return found == properties.end() ? std::string() : found->second;
}

std::string firstOf(const NodeProperties& properties, std::initializer_list<const char*> keys) {
    for (const char* key : keys) {
        if (auto value = property(properties, key); !value.empty()) {
            return value;
        }
    }
    return std::string();
}

std::string hex4(std::uint32_t value) {
    char text[16];
    std::snprintf(text, sizeof text, "%04x", value);
    return text;
}

}  // namespace

std::optional<std::uint32_t> parseUsbId(const std::string& text) {
    if (text.empty()) {
        return std::nullopt;
    }
    const bool prefixed = text.size() > 2 && text[0] == '0' && (text[1] == 'x' || text[1] == 'X');
    const char* digits = text.c_str() + (prefixed ? 2 : 0);
    char* end = nullptr;
    // Hexadecimal, with or without "0x"; USB ids fit 16 bits.
    const unsigned long value = std::strtoul(digits, &end, 16);
    if (end == digits || *end != '\0' || !std::isxdigit(static_cast<unsigned char>(*digits)) ||
        value > 0xffff) {
        return std::nullopt;
    }
    return static_cast<std::uint32_t>(value);
}

NodeModel nodeModel(const NodeProperties& properties) {
    NodeModel model;
    model.name =
        firstOf(properties, {"device.product.name", "node.description", "node.nick", "node.name"});
    model.manufacturer = firstOf(properties, {"device.vendor.name", "device.manufacturer"});
    const auto vendor = parseUsbId(property(properties, "device.vendor.id"));
    if (vendor) {
        const auto product = parseUsbId(property(properties, "device.product.id"));
        // No product name in it: a colon there would move the last colon.
        model.modelUID = "usb:" + hex4(*vendor) + ":" + hex4(product.value_or(0));
    } else {
        std::string name = property(properties, "node.name");
        std::erase(name, ':');
        model.modelUID = "node:" + name;
    }
    if (property(properties, "device.bus") == "usb" || vendor) {
        model.transportType = fourCharCode("usb ");
    }
    return model;
}

bool isAudioNodeClass(const char* mediaClass) {
    return mediaClass && (std::strcmp(mediaClass, "Audio/Sink") == 0 ||
                          std::strcmp(mediaClass, "Audio/Source") == 0 ||
                          std::strcmp(mediaClass, "Audio/Duplex") == 0);
}

}  // namespace qn::platform::linux_audio
