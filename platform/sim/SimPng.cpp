#include "platform/sim/SimPng.h"

#include <zlib.h>

#include <fstream>

namespace qn::platform::sim {

namespace {

void put32(std::vector<std::uint8_t>& out, std::uint32_t value) {
    for (int shift = 24; shift >= 0; shift -= 8) {
        out.push_back(static_cast<std::uint8_t>(value >> shift));
    }
}

void chunk(std::vector<std::uint8_t>& out, const char* type,
           const std::vector<std::uint8_t>& data) {
    put32(out, static_cast<std::uint32_t>(data.size()));
    const std::size_t start = out.size();
    out.insert(out.end(), type, type + 4);
    out.insert(out.end(), data.begin(), data.end());
    const auto crc = crc32(0L, out.data() + start, static_cast<uInt>(out.size() - start));
    put32(out, static_cast<std::uint32_t>(crc));
}

}  // namespace

std::vector<std::uint8_t> encodePng(const std::uint8_t* bgra, std::size_t width,
                                    std::size_t height) {
    // Each row: filter byte 0, then RGBA.
    std::vector<std::uint8_t> raw;
    raw.reserve((width * 4 + 1) * height);
    for (std::size_t y = 0; y < height; ++y) {
        raw.push_back(0);
        const std::uint8_t* row = bgra + y * width * 4;
        for (std::size_t x = 0; x < width; ++x) {
            const std::uint8_t* p = row + x * 4;
            raw.insert(raw.end(), {p[2], p[1], p[0], p[3]});
        }
    }
    uLongf packedSize = compressBound(static_cast<uLong>(raw.size()));
    std::vector<std::uint8_t> packed(packedSize);
    compress(packed.data(), &packedSize, raw.data(), static_cast<uLong>(raw.size()));
    packed.resize(packedSize);

    std::vector<std::uint8_t> png{0x89, 'P', 'N', 'G', '\r', '\n', 0x1A, '\n'};
    std::vector<std::uint8_t> header;
    put32(header, static_cast<std::uint32_t>(width));
    put32(header, static_cast<std::uint32_t>(height));
    header.insert(header.end(), {8, 6, 0, 0, 0});  // 8 bits, RGBA, deflate, no filter, no interlace
    chunk(png, "IHDR", header);
    chunk(png, "IDAT", packed);
    chunk(png, "IEND", {});
    return png;
}

bool writePng(const std::string& path, const std::uint8_t* bgra, std::size_t width,
              std::size_t height) {
    const auto png = encodePng(bgra, width, height);
    std::ofstream file(path, std::ios::binary);
    file.write(reinterpret_cast<const char*>(png.data()), static_cast<std::streamsize>(png.size()));
    return static_cast<bool>(file);
}

}  // namespace qn::platform::sim
