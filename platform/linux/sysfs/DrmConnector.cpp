#include "platform/linux/sysfs/DrmConnector.h"

#include <dirent.h>
#include <fcntl.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <charconv>
#include <memory>

namespace qn::platform::sysfs {
namespace {

// Plain reads: a lookup reads every connector's files for each display report.
std::size_t readFile(const std::string& path, std::uint8_t* buffer, std::size_t size) {
    const int fd = ::open(path.c_str(), O_RDONLY | O_CLOEXEC);
    if (fd < 0) {
        return 0;
    }
    ssize_t got = 0;
    do {
        got = ::read(fd, buffer, size);
    } while (got < 0 && errno == EINTR);
    ::close(fd);
    return got > 0 ? static_cast<std::size_t>(got) : 0;
}

std::optional<std::uint32_t> readNumber(const std::string& path) {
    std::uint8_t buffer[32];
    const auto size = readFile(path, buffer, sizeof buffer);
    const char* begin = reinterpret_cast<const char*>(buffer);
    const char* end = begin + size;
    while (end != begin && (end[-1] == '\n' || end[-1] == ' ')) {
        --end;
    }
    std::uint32_t value = 0;
    const auto [stop, error] = std::from_chars(begin, end, value);
    if (begin == end || error != std::errc() || stop != end) {
        return std::nullopt;
    }
    return value;
}

std::string readLinkName(const std::string& path) {
    char target[4096];
    const ssize_t size = ::readlink(path.c_str(), target, sizeof target);
    if (size <= 0) {
        return {};
    }
    const std::string text(target, static_cast<std::size_t>(size));
    const auto slash = text.rfind('/');
    return slash == std::string::npos ? text : text.substr(slash + 1);
}

struct DirClose {
    void operator()(DIR* dir) const { ::closedir(dir); }
};

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
    const std::string drm =
        (root.empty() || root.back() != '/' ? root + "/" : root) + "sys/class/drm/";
    std::unique_ptr<DIR, DirClose> dir(::opendir(drm.c_str()));
    if (!dir) {
        return connectors;
    }
    while (const dirent* entry = ::readdir(dir.get())) {
        DrmConnector connector;
        connector.name = entry->d_name;
        const auto card = cardNumber(connector.name);
        if (!card) {
            continue;
        }
        const std::string path = drm + connector.name;
        const auto id = readNumber(path + "/connector_id");
        if (!id) {
            continue;
        }
        connector.card = *card;
        connector.connectorId = *id;
        // Only the link's own text is read, so a tree under another root stays inside it.
        connector.driver = readLinkName(drm + "card" + std::to_string(*card) + "/device/driver");
        // The base block is all that is needed of an EDID.
        std::uint8_t edid[128];
        connector.edid = edid::parseEdidIds(edid, readFile(path + "/edid", edid, sizeof edid));
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
