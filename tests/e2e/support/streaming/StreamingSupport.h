#pragma once
// What the streaming end-to-end tests need beside the common servers: an X client that
// draws into a window of its own, the screen as XGetImage gives it, a PNG read back, the
// adapter's marks on an output, and a process's descriptors and memory from /proc.

#include <sys/types.h>

#include <cstdint>
#include <optional>
#include <string>
#include <vector>

namespace qn::tests::e2e {

struct PixelBox {
    int x = 0, y = 0, width = 0, height = 0;
};

// 32-bit pixels, blue, green, red, unused: the frames' own layout.
struct Image {
    int width = 0, height = 0;
    std::vector<std::uint8_t> pixels;
    // Pixels whose colour bytes differ (the fourth byte is padding); all of them when the
    // sizes differ.
    std::size_t colourDifferences(const Image& other) const;
};

// One override-redirect window over an area of the screen, drawn with solid fills on a
// connection of its own.
class ScreenPainter {
  public:
    // Throws std::runtime_error when the display cannot be opened.
    ScreenPainter(const std::string& display, const PixelBox& area);
    ~ScreenPainter();
    ScreenPainter(const ScreenPainter&) = delete;
    ScreenPainter& operator=(const ScreenPainter&) = delete;
    // In window coordinates.
    void fill(const PixelBox& box, std::uint32_t rgb);
    // Returns once the server has done all drawing asked so far.
    void sync();

  private:
    struct Connection;
    Connection* m_c;
};

// The screen's rectangle as XGetImage gives it; nothing when it cannot be read.
std::optional<Image> grabScreen(const std::string& display, const PixelBox& box);
// A PNG as 32-bit pixels; nothing when it cannot be read.
std::optional<Image> readPng(const std::string& file);

// The output's XID and its place, for each output driving a mode, by name.
struct OutputPlace {
    std::string name;
    std::uint32_t id = 0;
    PixelBox box;
};
std::vector<OutputPlace> onlineOutputs(const std::string& display);
// Gives the output the EDID and connector id a kernel driver would set; false on failure.
bool markAsAdapterOutput(const std::string& display, std::uint32_t output,
                         const std::vector<unsigned char>& edid, long connectorId);

// The first process below `root` (itself included) whose executable's name is `name`.
std::optional<pid_t> findDescendant(pid_t root, const std::string& name);
struct ProcessSample {
    std::size_t descriptors = 0;
    std::size_t rssKiB = 0;
};
std::optional<ProcessSample> sampleProcess(pid_t pid);

// A set of pixels of a display, to compare unions of rectangles exactly.
class PixelMask {
  public:
    PixelMask(int width, int height) : m_width(width), m_height(height), m_bits(width * height) {}
    // Clipped to the mask.
    void add(const PixelBox& box);
    std::size_t count() const;
    // Pixels in one mask and not in the other.
    std::size_t differences(const PixelMask& other) const;

  private:
    int m_width, m_height;
    std::vector<bool> m_bits;
};

}  // namespace qn::tests::e2e
