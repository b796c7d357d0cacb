#pragma once
// What each surface of a stream's pool is missing. A surface written for frame N and
// taken again for frame N+k must first catch up with all damage of frames N+1..N+k,
// not just the newest. Captures are whole rows (a row band lands contiguously in the
// surface), so the ledger keeps row bands: merged, they stay few however much is drawn.

#include <cstddef>
#include <cstdint>
#include <vector>

namespace qn::platform::linux_host {

// A rectangle in the display's pixels.
struct PixelRect {
    std::int32_t x = 0;
    std::int32_t y = 0;
    std::int32_t width = 0;
    std::int32_t height = 0;
    bool operator==(const PixelRect&) const = default;
};

// Rows [top, bottom).
struct RowBand {
    std::int32_t top = 0;
    std::int32_t bottom = 0;
    bool operator==(const RowBand&) const = default;
};

// Sorted bands covering every row of `rects` inside [0, height), touching ones joined.
std::vector<RowBand> rowBands(const std::vector<PixelRect>& rects, std::int32_t height);
// The union of two sorted band lists, in the same form.
std::vector<RowBand> unite(const std::vector<RowBand>& a, const std::vector<RowBand>& b);

// Adds `damage` to a frame's dirty rectangles, leaving out what one of them already
// covers; past `limit` rectangles their bounding box stands in.
void addDirty(std::vector<PixelRect>& dirty, const std::vector<PixelRect>& damage,
              std::size_t limit = 64);

class DamageLedger {
  public:
    // Forgets everything: `slots` surfaces of `height` rows, each wholly stale.
    void reset(std::size_t slots, std::int32_t height);
    // A surface made since the last reset starts wholly stale.
    void ensureSlots(std::size_t slots);
    // Damage since the last frame: every surface misses it.
    void add(const std::vector<PixelRect>& damage);
    // The rows `slot` must be rewritten in; afterwards it counts as up to date.
    std::vector<RowBand> take(std::size_t slot);
    // Puts rows back, when writing them failed.
    void giveBack(std::size_t slot, const std::vector<RowBand>& bands);
    const std::vector<RowBand>& stale(std::size_t slot) const { return m_stale.at(slot); }

  private:
    std::int32_t m_height = 0;
    std::vector<std::vector<RowBand>> m_stale;
};

}  // namespace qn::platform::linux_host
