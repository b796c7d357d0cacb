#include <gtest/gtest.h>
#include <zlib.h>

#include <cstring>

#include "platform/ManagerProtocol.h"
#include "platform/sim/SimPng.h"
#include "platform/sim/SimScreen.h"
#include "platform/sim/SimStreamingManager.h"

namespace qn::platform::sim {
namespace {

TEST(SimAdapterDriver, KeepsRegisteredRegionsAndReachesOnlyInsideThem) {
    SimHost host;
    SimWorld world(host);
    const auto service = world.adapterDriver(3);
    auto* driver = world.driver(3);
    ASSERT_NE(driver, nullptr);
    io_connect_t connection = 0;
    ASSERT_EQ(host.ioKit().IOServiceOpen(service, 0, 0, &connection), KERN_SUCCESS);
    std::vector<std::uint8_t> memory(256);
    const auto base = reinterpret_cast<std::uint64_t>(memory.data());
    auto call = [&](std::uint32_t selector, std::uint32_t size, std::uint64_t address) {
        std::uint8_t record[20] = {};
        std::memcpy(record, &size, 4);
        std::memcpy(record + 4, &address, 8);
        return host.ioKit().IOConnectCallMethod(connection, selector, nullptr, 0, record, 20,
                                                nullptr, nullptr, nullptr, nullptr);
    };
    EXPECT_EQ(call(7, 128, base), KERN_SUCCESS);
    EXPECT_EQ(driver->reach(base, 128), memory.data());
    EXPECT_EQ(driver->reach(base + 64, 64), memory.data() + 64);
    EXPECT_EQ(driver->reach(base + 64, 65), nullptr);
    EXPECT_EQ(driver->reach(base - 1, 2), nullptr);
    EXPECT_EQ(call(9, 0, base + 8), KERN_SUCCESS);
    EXPECT_EQ(driver->unknownReleases(), 1);
    EXPECT_EQ(call(9, 0, base), KERN_SUCCESS);
    EXPECT_EQ(driver->reach(base, 1), nullptr);
    EXPECT_EQ(call(7, 16, base), KERN_SUCCESS);
    EXPECT_EQ(host.ioKit().IOConnectCallMethod(connection, 10, nullptr, 0, nullptr, 0, nullptr,
                                               nullptr, nullptr, nullptr),
              KERN_SUCCESS);
    EXPECT_TRUE(driver->regions().empty());
    // A record of the wrong size is refused.
    const std::uint8_t shortRecord[12] = {};
    EXPECT_EQ(host.ioKit().IOConnectCallMethod(connection, 7, nullptr, 0, shortRecord, 12, nullptr,
                                               nullptr, nullptr, nullptr),
              kIOReturnBadArgument);
}

TEST(SimScreen, EachFrameDiffersAndCarriesItsNumber) {
    std::vector<std::uint8_t> a(8 * 4 * 4), b(a.size());
    renderScreen(5, 41, 8, 4, 32, a.data());
    renderScreen(5, 42, 8, 4, 32, b.data());
    EXPECT_EQ(screenFrameNumber(a.data()), 41u);
    EXPECT_EQ(screenFrameNumber(b.data()), 42u);
    EXPECT_NE(std::vector<std::uint8_t>(a.begin() + 4, a.end()),
              std::vector<std::uint8_t>(b.begin() + 4, b.end()));
}

TEST(SimPng, APictureRoundTripsThroughTheFileFormat) {
    std::vector<std::uint8_t> bgra(3 * 2 * 4);
    renderScreen(1, 7, 3, 2, 12, bgra.data());
    const auto png = encodePng(bgra.data(), 3, 2);
    ASSERT_GT(png.size(), 8u + 25u);
    EXPECT_EQ(std::memcmp(png.data(), "\x89PNG\r\n\x1a\n", 8), 0);
    EXPECT_EQ(std::memcmp(png.data() + 12, "IHDR", 4), 0);
    // IDAT follows the 25 bytes of IHDR; its data inflate to one filter byte and RGBA per row.
    const std::size_t idat = 8 + 25;
    const std::uint32_t length =
        (png[idat] << 24) | (png[idat + 1] << 16) | (png[idat + 2] << 8) | png[idat + 3];
    ASSERT_EQ(std::memcmp(png.data() + idat + 4, "IDAT", 4), 0);
    std::vector<std::uint8_t> raw(2 * (1 + 3 * 4));
    uLongf rawSize = raw.size();
    ASSERT_EQ(uncompress(raw.data(), &rawSize, png.data() + idat + 8, length), Z_OK);
    ASSERT_EQ(rawSize, raw.size());
    EXPECT_EQ(raw[0], 0);
    // The second pixel of the second row, BGRA turned RGBA.
    const std::uint8_t* pixel = raw.data() + 13 + 1 + 4;
    const std::uint8_t* source = bgra.data() + 12 + 4;
    EXPECT_EQ(pixel[0], source[2]);
    EXPECT_EQ(pixel[1], source[1]);
    EXPECT_EQ(pixel[2], source[0]);
    EXPECT_EQ(pixel[3], source[3]);
}

TEST(SimStreamingManager, AFrameAtMemoryTheDriverDoesNotKnowIsAProblem) {
    SimHost host;
    SimWorld world(host);
    SimDisplaySpec spec;
    spec.display.id = 9;
    spec.display.pixelWidth = 4;
    spec.display.pixelHeight = 4;
    spec.adapterIndex = 1;
    world.placeDisplay(spec);
    host.manager().setRegistered(true);
    SimStreamingManager streaming(host, world);
    streaming.startStream(9, 1, -3);
    auto proxy = host.manager().lookUp(SimManager::kRegisteredName);
    QNUAMessageHandlerProxy manager(proxy);
    // Not registered with the driver, and with a wrong token.
    manager.frameAvailable_andRect_andFrameSurfaceAddr_andByteStride_andToken(
        9, CGRectMake(0, 0, 4, 4), 0x1000, 16, 3);
    ASSERT_EQ(streaming.problems().size(), 2u);
    EXPECT_EQ(streaming.problems()[0], "frame of display 0x9 with token 3");
    EXPECT_EQ(streaming.problems()[1], "frame of display 0x9 at memory the driver does not know");
    // A frame of a display not streamed.
    manager.frameAvailable_andRect_andFrameSurfaceAddr_andByteStride_andToken(
        8, CGRectMake(0, 0, 4, 4), 0x1000, 16, 3);
    EXPECT_EQ(streaming.problems().back(), "frame of display 0x8, which is not streamed");
    // The held frame goes back on request, then there is none.
    EXPECT_TRUE(streaming.releaseLastFrame(9));
    EXPECT_FALSE(streaming.releaseLastFrame(9));
}

}  // namespace
}  // namespace qn::platform::sim
