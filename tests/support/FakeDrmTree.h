#pragma once
// A sysfs tree of DRM cards and connectors in a temporary folder, removed with the
// object; its root goes where "/" would.

#include <cstdint>
#include <string>
#include <vector>

namespace qn::test {

// A 128-byte EDID base block with these numbers and a valid checksum.
std::vector<std::uint8_t> makeEdid(std::uint16_t vendor, std::uint16_t product);

class FakeDrmTree {
  public:
    FakeDrmTree();
    ~FakeDrmTree();
    FakeDrmTree(const FakeDrmTree&) = delete;
    FakeDrmTree& operator=(const FakeDrmTree&) = delete;

    const std::string& root() const { return m_root; }

    // A card "card<N>" whose device/driver link ends in `driver` (empty: no link).
    void addCard(std::uint32_t card, const std::string& driver);
    // A connector "card<N>-<name>"; an empty EDID writes no edid file.
    void addConnector(std::uint32_t card, const std::string& name, std::uint32_t connectorId,
                      const std::vector<std::uint8_t>& edid);
    void removeConnector(std::uint32_t card, const std::string& name);

  private:
    std::string m_root;
};

}  // namespace qn::test
