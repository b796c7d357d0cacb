#include "platform/linux/sysfs/SysfsIOKit.h"

#include <gtest/gtest.h>

#include <string>

#include "tests/support/FakeDrmTree.h"
#include "tests/support/RegistryWalk.h"

namespace qn::platform::sysfs {
namespace {

constexpr std::uint32_t kNone = 0xffffffff;

// A machine with its own card and two adapters; the X screen drives what `driven` holds.
class SysfsIOKitTest : public ::testing::Test {
  protected:
    void SetUp() override {
        tree.addCard(0, "i915");
        tree.addConnector(0, "eDP-1", 77, test::makeEdid(0x1111, 0x0001));
        tree.addCard(1, "quintor");
        tree.addConnector(1, "DVI-I-1", 80, test::makeEdid(0x2222, 0x0002));
        tree.addCard(3, "quintor");
        tree.addConnector(3, "DVI-I-2", 90, test::makeEdid(0x3333, 0x0003));
    }

    std::string childPath(std::uint16_t vendor) {
        io_iterator_t iterator = 0;
        EXPECT_EQ(
            io.IOServiceGetMatchingServices(0, io.IOServiceMatching("IODisplayConnect"), &iterator),
            KERN_SUCCESS);
        std::string found;
        while (const auto service = io.IOIteratorNext(iterator)) {
            io_registry_entry_t child = 0;
            if (io.IORegistryEntryGetChildEntry(service, kIOServicePlane, &child) == KERN_SUCCESS) {
                io_string_t path;
                if (io.IORegistryEntryCreateCFProperty(child, kDisplayVendorID, 0).intValue() ==
                        vendor &&
                    io.IORegistryEntryGetPath(child, kIOServicePlane, path) == KERN_SUCCESS) {
                    found = path;
                }
                io.IOObjectRelease(child);
            }
            io.IOObjectRelease(service);
        }
        io.IOObjectRelease(iterator);
        return found;
    }

    test::FakeDrmTree tree;
    std::vector<std::uint32_t> driven{77, 80, 90};
    SysfsIOKit io{tree.root(), [this] { return driven; }};
};

TEST_F(SysfsIOKitTest, AdapterDisplaysHangUnderTheDriverPathWithTheCardNumber) {
    EXPECT_EQ(childPath(0x2222),
              "IOService:/IOResources/QuintorParent/QuintorParent1/card1-DVI-I-1/display");
    EXPECT_EQ(test::registryIndexFor(io, 0x2222, 0x0002), 1u);
    EXPECT_EQ(test::registryIndexFor(io, 0x3333, 0x0003), 3u);
}

TEST_F(SysfsIOKitTest, OtherCardsHangUnderTheirDriverAndNeverMatch) {
    EXPECT_EQ(childPath(0x1111), "IOService:/i915/card0/card0-eDP-1/display");
    EXPECT_EQ(test::registryIndexFor(io, 0x1111, 0x0001), kNone);
    tree.addCard(4, "");
    tree.addConnector(4, "VGA-1", 95, test::makeEdid(0x4444, 0x0004));
    driven.push_back(95);
    EXPECT_EQ(childPath(0x4444), "IOService:/drm/card4/card4-VGA-1/display");
    // Same numbers as an adapter's monitor, the wrong driver: the adapter still wins.
    tree.addConnector(0, "DP-1", 78, test::makeEdid(0x2222, 0x0002));
    driven.push_back(78);
    EXPECT_EQ(test::registryIndexFor(io, 0x2222, 0x0002), 1u);
}

TEST_F(SysfsIOKitTest, AConnectorHasADisplayOnlyWhileXDrivesItAndItsEdidReads) {
    driven = {77, 90};
    EXPECT_EQ(test::registryIndexFor(io, 0x2222, 0x0002), kNone);
    driven = {77, 80, 90};
    tree.addConnector(1, "DVI-I-3", 81, {});
    tree.addConnector(1, "DVI-I-4", 82, std::vector<std::uint8_t>(128, 0xab));
    driven.push_back(81);
    driven.push_back(82);
    EXPECT_EQ(childPath(0), "");
    // Unplugged a moment ago: its entry is gone with it.
    tree.removeConnector(1, "DVI-I-1");
    EXPECT_EQ(test::registryIndexFor(io, 0x2222, 0x0002), kNone);
}

TEST_F(SysfsIOKitTest, OnlyDisplayConnectServicesAndOnlyDisplaysHaveNumbers) {
    io_iterator_t iterator = 0;
    ASSERT_EQ(io.IOServiceGetMatchingServices(0, io.IOServiceMatching("IOFramebuffer"), &iterator),
              KERN_SUCCESS);
    EXPECT_EQ(io.IOIteratorNext(iterator), 0u);
    EXPECT_EQ(io.IOServiceGetMatchingServices(0, Value(), &iterator), kIOReturnBadArgument);

    ASSERT_EQ(
        io.IOServiceGetMatchingServices(0, io.IOServiceMatching("IODisplayConnect"), &iterator),
        KERN_SUCCESS);
    const auto service = io.IOIteratorNext(iterator);
    ASSERT_NE(service, 0u);
    EXPECT_TRUE(io.IORegistryEntryCreateCFProperty(service, kDisplayVendorID, 0).isNull());
    io_registry_entry_t child = 0;
    ASSERT_EQ(io.IORegistryEntryGetChildEntry(service, kIOServicePlane, &child), KERN_SUCCESS);
    // A display has no child of its own, and only the IOService plane exists.
    io_registry_entry_t grandChild = 0;
    EXPECT_NE(io.IORegistryEntryGetChildEntry(child, kIOServicePlane, &grandChild), KERN_SUCCESS);
    io_string_t path;
    EXPECT_NE(io.IORegistryEntryGetPath(child, "IODeviceTree", path), KERN_SUCCESS);
    EXPECT_TRUE(io.IORegistryEntryCreateCFProperty(child, "IODisplayLocation", 0).isNull());
    EXPECT_TRUE(io.IORegistryEntryCreateCFProperty(child, kDisplayProductID, 0).isNumber());
    io.IOObjectRelease(child);
    io.IOObjectRelease(service);
}

TEST_F(SysfsIOKitTest, EveryObjectHandedOutIsCountedUntilReleased) {
    EXPECT_EQ(io.liveObjects(), 0u);
    io_iterator_t iterator = 0;
    ASSERT_EQ(
        io.IOServiceGetMatchingServices(0, io.IOServiceMatching("IODisplayConnect"), &iterator),
        KERN_SUCCESS);
    const auto service = io.IOIteratorNext(iterator);
    io_registry_entry_t child = 0;
    ASSERT_EQ(io.IORegistryEntryGetChildEntry(service, kIOServicePlane, &child), KERN_SUCCESS);
    EXPECT_EQ(io.liveObjects(), 3u);
    EXPECT_EQ(io.IOObjectRelease(child), KERN_SUCCESS);
    EXPECT_EQ(io.IOObjectRelease(child), kIOReturnBadArgument);
    EXPECT_EQ(io.IOObjectRelease(service), KERN_SUCCESS);
    EXPECT_EQ(io.IOObjectRelease(iterator), KERN_SUCCESS);
    EXPECT_EQ(io.liveObjects(), 0u);
    // The agent's walk leaves its iterators; they are bounded.
    for (int i = 0; i < 40; ++i) {
        test::registryIndexFor(io, 0x2222, 0x0002);
    }
    EXPECT_EQ(io.liveObjects(), SysfsIOKit::kIteratorsKept);
}

TEST_F(SysfsIOKitTest, APathThatDoesNotFitTheBufferFails) {
    // Each name within the file system's 255 bytes, the path built of them not within 512.
    tree.addCard(5, std::string(250, 'd'));
    tree.addConnector(5, "DVI-" + std::string(240, 'x'), 99, test::makeEdid(0x5555, 5));
    driven.push_back(99);
    EXPECT_EQ(childPath(0x5555), "");
    tree.addCard(6, std::string(200, 'd'));
    tree.addConnector(6, "DVI-" + std::string(200, 'x'), 98, test::makeEdid(0x6666, 6));
    driven.push_back(98);
    EXPECT_EQ(childPath(0x6666), "IOService:/" + std::string(200, 'd') + "/card6/card6-DVI-" +
                                     std::string(200, 'x') + "/display");
}

TEST(DrmConnectors, ReadsCardConnectorIdDriverAndEdidAndSkipsWhatIsNoConnector) {
    test::FakeDrmTree tree;
    tree.addCard(2, "quintor");
    tree.addConnector(2, "HDMI-A-1", 41, test::makeEdid(7, 8));
    tree.addConnector(2, "DP-1", 42, {});
    const auto connectors = listDrmConnectors(tree.root());
    ASSERT_EQ(connectors.size(), 2u);
    EXPECT_EQ(connectors[0].name, "card2-DP-1");
    EXPECT_FALSE(connectors[0].edid);
    EXPECT_EQ(connectors[1].name, "card2-HDMI-A-1");
    EXPECT_EQ(connectors[1].card, 2u);
    EXPECT_EQ(connectors[1].connectorId, 41u);
    EXPECT_EQ(connectors[1].driver, "quintor");
    EXPECT_TRUE(connectors[1].isAdapter());
    ASSERT_TRUE(connectors[1].edid);
    EXPECT_EQ(connectors[1].edid->product, 8);
    EXPECT_TRUE(listDrmConnectors(tree.root() + "/nowhere").empty());
}

}  // namespace
}  // namespace qn::platform::sysfs
