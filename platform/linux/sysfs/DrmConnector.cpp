#include "platform/linux/sysfs/DrmConnector.h"

#include <algorithm>
#include <charconv>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <system_error>

namespace qn::platform::sysfs {
namespace {

namespace fs = std::filesystem;

std::optional<std::uint32_t> readNumber(const fs::path& file) {
    std::ifstream in(file);
    std::string text;
    if (!in || !(in >> text)) {
        return std::nullopt;
    }
    std::uint32_t value = 0;
    const auto [end, error] = std::from_chars(text.data(), text.data() + text.size(), value);
    if (error != std::errc() || end != text.data() + text.size()) {
        return std::nullopt;
    }
    return value;
}

// "card12-HDMI-A-1" -> 12.
std::optional<std::uint32_t> cardNumber(const std::string& name) {
    if (name.rfind("card", 0) != 0) {
        return std::nullopt;
    }
    const char* begin = name.data() + 4;
    const char* end = name.data() + name.size();
    std::uint32_t card = 0;
    const auto [stop, error] = std::from_chars(begin, end, card);
    if (error != std::errc() || stop == begin || stop == end || *stop != '-') {
        return std::nullopt;
    }
    return card;
}

}  // namespace

std::vector<DrmConnector> listDrmConnectors(const std::string& root) {
    std::vector<DrmConnector> connectors;
    const fs::path drm = fs::path(root) / "sys/class/drm";
    std::error_code error;
    for (fs::directory_iterator it(drm, error), end; !error && it != end; it.increment(error)) {
        DrmConnector connector;
        connector.name = it->path().filename().string();
        const auto card = cardNumber(connector.name);
        if (!card) {
            continue;
        }
        const auto id = readNumber(it->path() / "connector_id");
        if (!id) {
            continue;
        }
        connector.card = *card;
        connector.connectorId = *id;
        // Only the link's own text is read, so a tree under another root stays inside it.
        std::error_code linkError;
        const auto driver = fs::read_symlink(
            drm / ("card" + std::to_string(*card)) / "device" / "driver", linkError);
        if (!linkError) {
            connector.driver = driver.filename().string();
        }
        std::ifstream edidFile(it->path() / "edid", std::ios::binary);
        const std::vector<std::uint8_t> bytes((std::istreambuf_iterator<char>(edidFile)),
                                              std::istreambuf_iterator<char>());
        connector.edid = edid::parseEdidIds(bytes.data(), bytes.size());
        connectors.push_back(std::move(connector));
    }
    std::sort(connectors.begin(), connectors.end(),
              [](const auto& a, const auto& b) { return a.name < b.name; });
    return connectors;
}

std::string connectorRegistryPath(const DrmConnector& connector) {
    if (connector.isAdapter()) {
        return std::string(kManagerDriverPath) + std::to_string(connector.card) + "/" +
               connector.name;
    }
    const std::string driver = connector.driver.empty() ? "drm" : connector.driver;
    return "IOService:/" + driver + "/card" + std::to_string(connector.card) + "/" + connector.name;
}

}  // namespace qn::platform::sysfs
