#include "tests/support/FakeDrmTree.h"

#include <stdlib.h>

#include <filesystem>
#include <fstream>
#include <stdexcept>

namespace qn::test {
namespace fs = std::filesystem;

std::vector<std::uint8_t> makeEdid(std::uint16_t vendor, std::uint16_t product) {
    std::vector<std::uint8_t> edid(128, 0);
    const std::uint8_t header[8] = {0x00, 0xff, 0xff, 0xff, 0xff, 0xff, 0xff, 0x00};
    std::copy(header, header + 8, edid.begin());
    edid[8] = static_cast<std::uint8_t>(vendor >> 8);
    edid[9] = static_cast<std::uint8_t>(vendor & 0xff);
    edid[10] = static_cast<std::uint8_t>(product & 0xff);
    edid[11] = static_cast<std::uint8_t>(product >> 8);
    edid[18] = 1;  // version 1.4
    edid[19] = 4;
    unsigned sum = 0;
    for (std::size_t i = 0; i < 127; ++i) {
        sum += edid[i];
    }
    edid[127] = static_cast<std::uint8_t>((256 - sum % 256) % 256);
    return edid;
}

FakeDrmTree::FakeDrmTree() {
    char pattern[] = "/tmp/qn-sysfs-XXXXXX";
    if (!::mkdtemp(pattern)) {
        throw std::runtime_error("mkdtemp failed");
    }
    m_root = pattern;
    fs::create_directories(m_root + "/sys/class/drm");
}

FakeDrmTree::~FakeDrmTree() {
    std::error_code ignored;
    fs::remove_all(m_root, ignored);
}

void FakeDrmTree::addCard(std::uint32_t card, const std::string& driver) {
    const fs::path dir = fs::path(m_root) / "sys/class/drm" / ("card" + std::to_string(card));
    fs::create_directories(dir / "device");
    std::ofstream(dir / "dev") << "226:" << card << "\n";
    if (!driver.empty()) {
        // As the kernel links it: relative, into the bus's driver folder.
        fs::create_directory_symlink("../../../bus/usb/drivers/" + driver, dir / "device/driver");
    }
}

void FakeDrmTree::addConnector(std::uint32_t card, const std::string& name,
                               std::uint32_t connectorId, const std::vector<std::uint8_t>& edid) {
    const fs::path dir =
        fs::path(m_root) / "sys/class/drm" / ("card" + std::to_string(card) + "-" + name);
    fs::create_directories(dir);
    std::ofstream(dir / "connector_id") << connectorId << "\n";
    std::ofstream(dir / "status") << "connected\n";
    if (!edid.empty()) {
        std::ofstream(dir / "edid", std::ios::binary)
            .write(reinterpret_cast<const char*>(edid.data()),
                   static_cast<std::streamsize>(edid.size()));
    }
}

void FakeDrmTree::removeConnector(std::uint32_t card, const std::string& name) {
    fs::remove_all(fs::path(m_root) / "sys/class/drm" /
                   ("card" + std::to_string(card) + "-" + name));
}

}  // namespace qn::test
