#include <gtest/gtest.h>
#include <zlib.h>

#include <cstring>
#include <fstream>
#include <iterator>

#include "platform/ManagerProtocol.h"
#include "platform/sim/SimPng.h"
#include "platform/sim/SimScreen.h"
#include "platform/sim/SimStreamingManager.h"
#include "tests/sys/libutils/LogTestSupport.h"

namespace qn::platform::sim {
namespace {

std::uint32_t get32(const std::vector<std::uint8_t>& bytes, std::size_t at) {
    return (std::uint32_t{bytes[at]} << 24) | (std::uint32_t{bytes[at + 1]} << 16) |
           (std::uint32_t{bytes[at + 2]} << 8) | bytes[at + 3];
}

// A picture read back from a PNG as encodePng writes it: 8-bit RGBA, no interlace, no
// filter on any row. Anything else, or a chunk whose checksum fails, reads as nothing.
struct Picture {
    std::size_t width = 0;
    std::size_t height = 0;
    // Tightly packed BGRA rows.
    std::vector<std::uint8_t> bgra;
};

Picture decodePng(const std::vector<std::uint8_t>& png) {
    if (png.size() < 8 || std::memcmp(png.data(), "\x89PNG\r\n\x1a\n", 8) != 0) {
        return {};
    }
    Picture picture;
    std::vector<std::uint8_t> packed;
    bool header = false;
    bool end = false;
    for (std::size_t at = 8; !end && at + 12 <= png.size();) {
        const std::size_t length = get32(png, at);
        if (at + 12 + length > png.size()) {
            return {};
        }
        const std::uint8_t* type = png.data() + at + 4;
        const std::uint8_t* data = type + 4;
        if (crc32(0L, type, static_cast<uInt>(length + 4)) != get32(png, at + 8 + length)) {
            return {};
        }
        if (std::memcmp(type, "IHDR", 4) == 0) {
            if (length != 13 || data[8] != 8 || data[9] != 6 || data[10] != 0 || data[11] != 0 ||
                data[12] != 0) {
                return {};
            }
            picture.width = get32(png, at + 8);
            picture.height = get32(png, at + 12);
            header = true;
        } else if (std::memcmp(type, "IDAT", 4) == 0) {
            packed.insert(packed.end(), data, data + length);
        } else if (std::memcmp(type, "IEND", 4) == 0) {
            end = true;
        }
        at += 12 + length;
    }
    const std::size_t row = 1 + picture.width * 4;
    std::vector<std::uint8_t> raw(row * picture.height);
    uLongf rawSize = raw.size();
    if (!header || !end ||
        uncompress(raw.data(), &rawSize, packed.data(), static_cast<uLong>(packed.size())) !=
            Z_OK ||
        rawSize != raw.size()) {
        return {};
    }
    picture.bgra.reserve(picture.width * picture.height * 4);
    for (std::size_t y = 0; y < picture.height; ++y) {
        if (raw[y * row] != 0) {
            return {};
        }
        for (std::size_t x = 0; x < picture.width; ++x) {
            const std::uint8_t* p = raw.data() + y * row + 1 + x * 4;
            picture.bgra.insert(picture.bgra.end(), {p[2], p[1], p[0], p[3]});
        }
    }
    return picture;
}

// Registers frame memory with an adapter driver, as the agent's memory mapper does.
kern_return_t registerMemory(SimHost& host, io_connect_t connection, std::uint64_t address,
                             std::size_t size) {
    std::uint8_t record[20] = {};
    const auto size32 = static_cast<std::uint32_t>(size);
    std::memcpy(record, &size32, 4);
    std::memcpy(record + 4, &address, 8);
    return host.ioKit().IOConnectCallMethod(connection, 7, nullptr, 0, record, sizeof(record),
                                            nullptr, nullptr, nullptr, nullptr);
}

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
    EXPECT_EQ(std::memcmp(png.data() + 12, "IHDR", 4), 0);
    const auto picture = decodePng(png);
    EXPECT_EQ(picture.width, 3u);
    EXPECT_EQ(picture.height, 2u);
    EXPECT_EQ(picture.bgra, bgra);
    // The reader is no pushover: a damaged chunk reads as nothing.
    auto damaged = png;
    damaged[8 + 25 + 8] ^= 1;
    EXPECT_TRUE(decodePng(damaged).bgra.empty());
}

// Display 9, on adapter 1, with a Manager on the bus to stream it to.
void placeDisplayNineOnAdapterOne(SimHost& host, SimWorld& world, std::size_t width,
                                  std::size_t height) {
    SimDisplaySpec spec;
    spec.display.id = 9;
    spec.display.pixelWidth = width;
    spec.display.pixelHeight = height;
    spec.adapterIndex = 1;
    world.placeDisplay(spec);
    host.manager().setRegistered(true);
}

TEST(SimStreamingManager, WritesAFrameItReadsAsAPngOfItsPixels) {
    SimHost host;
    SimWorld world(host);
    placeDisplayNineOnAdapterOne(host, world, 5, 3);
    qn::testing::ScratchDir dir;
    SimStreamingManager streaming(host, world);
    streaming.setOptions({.releaseDelay = -1, .pngDirectory = dir.path()});
    streaming.startStream(9, 1, 4);

    // Rows wider than the picture, their padding filled with what a picture never has.
    constexpr std::size_t kStride = 32;
    std::vector<std::uint8_t> memory(kStride * 3, 0xEE);
    renderScreen(9, 17, 5, 3, kStride, memory.data());
    io_connect_t connection = 0;
    ASSERT_EQ(host.ioKit().IOServiceOpen(world.adapterDriver(1), 0, 0, &connection), KERN_SUCCESS);
    const auto base = reinterpret_cast<std::uint64_t>(memory.data());
    ASSERT_EQ(registerMemory(host, connection, base, memory.size()), KERN_SUCCESS);
    QNUAMessageHandlerProxy manager(host.manager().lookUp(SimManager::kRegisteredName));
    manager.frameAvailable_andRect_andFrameSurfaceAddr_andByteStride_andToken(
        9, CGRectMake(0, 0, 5, 3), base, kStride, 4);
    ASSERT_TRUE(streaming.problems().empty()) << streaming.problems()[0];

    std::vector<std::uint8_t> expected(5 * 3 * 4);
    renderScreen(9, 17, 5, 3, 5 * 4, expected.data());
    std::ifstream file(dir / "display-0x9-frame-17.png", std::ios::binary);
    ASSERT_TRUE(file) << "no picture written";
    const std::vector<std::uint8_t> png{std::istreambuf_iterator<char>(file), {}};
    const auto picture = decodePng(png);
    EXPECT_EQ(picture.width, 5u);
    EXPECT_EQ(picture.height, 3u);
    EXPECT_EQ(picture.bgra, expected);
    ASSERT_EQ(streaming.frames().size(), 1u);
    EXPECT_EQ(streaming.frames()[0].pixels, expected);
}

TEST(SimStreamingManager, AFrameAtMemoryTheDriverDoesNotKnowIsAProblem) {
    SimHost host;
    SimWorld world(host);
    placeDisplayNineOnAdapterOne(host, world, 4, 4);
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
