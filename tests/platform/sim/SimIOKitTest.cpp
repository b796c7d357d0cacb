#include "platform/sim/SimIOKit.h"

#include <gtest/gtest.h>

#include <cstring>
#include <string>

#include "platform/sim/SimWorld.h"

namespace qn::platform::sim {
namespace {

class SimIOKitTest : public ::testing::Test {
  protected:
    io_service_t firstMatch(Value matching) {
        io_iterator_t iterator = 0;
        if (ioKit.IOServiceGetMatchingServices(kIOMasterPortDefault, std::move(matching),
                                               &iterator) != KERN_SUCCESS) {
            return 0;
        }
        const auto service = ioKit.IOIteratorNext(iterator);
        ioKit.IOObjectRelease(iterator);
        return service;
    }
    SimHost host;
    SimIOKit& ioKit = host.ioKit();
    SimWorld world{host};
};

TEST_F(SimIOKitTest, PropertyMatchFindsTheDriverInstanceByNameAndCountsReferences) {
    world.adapterDriver(1);
    const auto three = world.adapterDriver(3);
    Value matching = ioKit.IOServiceMatching("QuintorParent");
    Value byName = Value::dictionary();
    byName.set("Name", Value::string("QuintorParent3"));
    matching.set(kIOPropertyMatchKey, byName);

    const auto service = firstMatch(matching);
    EXPECT_EQ(service, three);
    EXPECT_EQ(ioKit.outstandingReferences(service), 1);
    ioKit.IOObjectRelease(service);
    EXPECT_EQ(ioKit.outstandingReferences(), 0);
    EXPECT_TRUE(host.faults().empty());
    ioKit.IOObjectRelease(service);
    EXPECT_FALSE(host.faults().empty());

    ioKit.failMatching(kIOReturnError);
    EXPECT_EQ(firstMatch(ioKit.IOServiceMatching("QuintorParent")), 0u);
    EXPECT_NE(firstMatch(ioKit.IOServiceMatching("QuintorParent")), 0u)
        << "a failure is for one call";
}

TEST_F(SimIOKitTest, UserClientRecordsCallsWithTheirBytesUntilClosed) {
    const auto service = world.adapterDriver(0);
    io_connect_t connection = 0;
    ASSERT_EQ(ioKit.IOServiceOpen(service, ioKit.mach_task_self(), 0, &connection), KERN_SUCCESS);
    ioKit.setMethodResult(service, 9, kIOReturnError);
    ioKit.setMethodOutput(service, 8, {1, 2, 3, 4});

    const std::uint8_t record[20] = {0x10, 0, 0, 0, 0xaa};
    EXPECT_EQ(ioKit.IOConnectCallMethod(connection, 7, nullptr, 0, record, sizeof record, nullptr,
                                        nullptr, nullptr, nullptr),
              KERN_SUCCESS);
    EXPECT_EQ(ioKit.IOConnectCallMethod(connection, 9, nullptr, 0, record, sizeof record, nullptr,
                                        nullptr, nullptr, nullptr),
              kIOReturnError);
    std::uint8_t output[20] = {};
    std::size_t outputSize = sizeof output;
    ioKit.IOConnectCallMethod(connection, 8, nullptr, 0, record, sizeof record, nullptr, nullptr,
                              output, &outputSize);
    EXPECT_EQ(outputSize, 4u);
    EXPECT_EQ(output[3], 4);

    ASSERT_EQ(ioKit.calls().size(), 3u);
    EXPECT_EQ(ioKit.calls()[0].structInput, std::vector<std::uint8_t>(record, record + 20));
    EXPECT_EQ(ioKit.calls()[2].structOutputCapacity, 20u);

    EXPECT_EQ(ioKit.IOServiceClose(connection), KERN_SUCCESS);
    EXPECT_EQ(ioKit.IOConnectCallMethod(connection, 10, nullptr, 0, nullptr, 0, nullptr, nullptr,
                                        nullptr, nullptr),
              kIOReturnNotOpen);
    EXPECT_EQ(ioKit.openConnections(), 0u);
}

TEST_F(SimIOKitTest, AnAdapterDisplayHangsUnderItsDriverAndGoesWithItsEntries) {
    SimDisplaySpec spec;
    spec.display.id = 77;
    spec.display.vendorNumber = 0x10ac;
    spec.display.modelNumber = 0x5943;
    spec.adapterIndex = 2;
    world.placeDisplay(spec);

    const auto framebuffer = host.quartz().CGDisplayIOServicePort(77);
    const auto info = ioKit.IODisplayCreateInfoDictionary(framebuffer, 0);
    EXPECT_EQ(info.get(kIODisplayLocationKey)
                  .stringValue()
                  .rfind(std::string(SimWorld::kDriverPath) + "2/", 0),
              0u);

    const auto connect = firstMatch(ioKit.IOServiceMatching("IODisplayConnect"));
    io_registry_entry_t child = 0;
    ASSERT_EQ(ioKit.IORegistryEntryGetChildEntry(connect, kIOServicePlane, &child), KERN_SUCCESS);
    io_string_t path;
    ASSERT_EQ(ioKit.IORegistryEntryGetPath(child, kIOServicePlane, path), KERN_SUCCESS);
    EXPECT_EQ(std::strncmp(path, SimWorld::kDriverPath, std::strlen(SimWorld::kDriverPath)), 0);
    EXPECT_EQ(ioKit.IORegistryEntryCreateCFProperty(child, kDisplayVendorID, 0).unsignedIntValue(),
              0x10acu);

    world.unplugDisplay(77);
    EXPECT_EQ(host.quartz().CGDisplayIOServicePort(77), 0u);
    EXPECT_EQ(firstMatch(ioKit.IOServiceMatching("IODisplayConnect")), 0u);
    EXPECT_NE(ioKit.IORegistryEntryGetPath(child, kIOServicePlane, path), KERN_SUCCESS);
}

TEST_F(SimIOKitTest, RegistryOdditiesAndDisplaysThatComeAndGoUnannounced) {
    SimDisplaySpec spec;
    spec.display.id = 78;
    spec.adapterIndex = 1;
    spec.instanceText = "1b";
    spec.vendorProperty = Value::string("0x10ac");
    world.placeDisplay(spec);
    const auto info = ioKit.IODisplayCreateInfoDictionary(world.framebuffer(78), 0);
    EXPECT_EQ(info.get(kIODisplayLocationKey)
                  .stringValue()
                  .rfind(std::string(SimWorld::kDriverPath) + "1b/QuintorFramebuffer@78/", 0),
              0u);
    EXPECT_TRUE(ioKit.IORegistryEntryCreateCFProperty(world.displayEntry(78), kDisplayVendorID, 0)
                    .isString());

    // Placed again: new entries replace the old ones, which are gone.
    const auto old = world.displayEntry(78);
    spec.hubs = 40;
    world.placeDisplay(spec);
    io_string_t path;
    EXPECT_NE(ioKit.IORegistryEntryGetPath(old, kIOServicePlane, path), KERN_SUCCESS);
    EXPECT_GT(ioKit.IODisplayCreateInfoDictionary(world.framebuffer(78), 0)
                  .get(kIODisplayLocationKey)
                  .stringValue()
                  .size(),
              sizeof(io_string_t));
    EXPECT_EQ(ioKit.IORegistryEntryGetPath(world.displayEntry(78), kIOServicePlane, path),
              kIOReturnBadArgument)
        << "a path longer than the buffer cannot be read";

    world.vanishDisplay(78);
    EXPECT_EQ(host.quartz().display(78), nullptr);
    EXPECT_EQ(world.framebuffer(78), 0u);
    EXPECT_EQ(firstMatch(ioKit.IOServiceMatching("IODisplayConnect")), 0u);
    EXPECT_EQ(host.runLoop().pendingCount(), 0u) << "no callback is announced";
}

}  // namespace
}  // namespace qn::platform::sim
