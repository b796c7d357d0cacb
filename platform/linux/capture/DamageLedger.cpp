#include "platform/linux/capture/DamageLedger.h"

#include <algorithm>

namespace qn::platform::linux_host {

namespace {

std::vector<RowBand> normalise(std::vector<RowBand> bands) {
    std::sort(bands.begin(), bands.end(),
              [](const RowBand& a, const RowBand& b) { return a.top < b.top; });
    std::vector<RowBand> out;
    for (const auto& b : bands) {
        if (b.bottom <= b.top) {
            continue;
        }
        if (!out.empty() && b.top <= out.back().bottom) {
            out.back().bottom = std::max(out.back().bottom, b.bottom);
        } else {
            out.push_back(b);
        }
    }
    return out;
}

}  // namespace

std::vector<RowBand> rowBands(const std::vector<PixelRect>& rects, std::int32_t height) {
    std::vector<RowBand> bands;
    for (const auto& r : rects) {
        if (r.width <= 0) {
            continue;
        }
        bands.push_back({std::clamp(r.y, 0, height), std::clamp(r.y + r.height, 0, height)});
    }
    return normalise(std::move(bands));
}

std::vector<RowBand> unite(const std::vector<RowBand>& a, const std::vector<RowBand>& b) {
    std::vector<RowBand> all(a);
    all.insert(all.end(), b.begin(), b.end());
    return normalise(std::move(all));
}

void addDirty(std::vector<PixelRect>& dirty, const std::vector<PixelRect>& damage,
              std::size_t limit) {
    auto covers = [](const PixelRect& outer, const PixelRect& inner) {
        return outer.x <= inner.x && outer.y <= inner.y &&
               outer.x + outer.width >= inner.x + inner.width &&
               outer.y + outer.height >= inner.y + inner.height;
    };
    for (const auto& r : damage) {
        if (r.width <= 0 || r.height <= 0 ||
            std::any_of(dirty.begin(), dirty.end(),
                        [&](const PixelRect& d) { return covers(d, r); })) {
            continue;
        }
        dirty.push_back(r);
    }
    if (dirty.size() <= limit || dirty.empty()) {
        return;
    }
    std::int32_t left = dirty[0].x, top = dirty[0].y;
    std::int32_t right = left + dirty[0].width, bottom = top + dirty[0].height;
    for (const auto& r : dirty) {
        left = std::min(left, r.x);
        top = std::min(top, r.y);
        right = std::max(right, r.x + r.width);
        bottom = std::max(bottom, r.y + r.height);
    }
    dirty.assign({{left, top, right - left, bottom - top}});
}

void DamageLedger::reset(std::size_t slots, std::int32_t height) {
    m_height = height;
    m_stale.clear();
    ensureSlots(slots);
}

void DamageLedger::ensureSlots(std::size_t slots) {
    while (m_stale.size() < slots) {
        m_stale.push_back(m_height > 0 ? std::vector<RowBand>{{0, m_height}}
                                       : std::vector<RowBand>{});
    }
}

void DamageLedger::add(const std::vector<PixelRect>& damage) {
    const auto bands = rowBands(damage, m_height);
    if (bands.empty()) {
        return;
    }
    for (auto& stale : m_stale) {
        stale = unite(stale, bands);
    }
}

std::vector<RowBand> DamageLedger::take(std::size_t slot) {
    std::vector<RowBand> bands;
    bands.swap(m_stale.at(slot));
    return bands;
}

void DamageLedger::giveBack(std::size_t slot, const std::vector<RowBand>& bands) {
    m_stale.at(slot) = unite(m_stale.at(slot), bands);
}

}  // namespace qn::platform::linux_host
