#pragma once

#include <array>
#include <cstddef>
#include <cstdint>

#include "sys/libutils/RandomSource.h"

namespace qn::sys::encryption {

// A fixed-size byte block: cipher keys, initialisation vectors.
template <std::size_t N>
class Block {
  public:
    Block() { m_data.fill(0); }
    Block(const Block&) = default;
    Block& operator=(const Block&) = default;
    virtual ~Block() = default;

    static constexpr std::size_t size() { return N; }
    std::uint8_t* data() { return m_data.data(); }
    const std::uint8_t* data() const { return m_data.data(); }
    std::uint8_t& operator[](std::size_t i) { return m_data[i]; }
    std::uint8_t operator[](std::size_t i) const { return m_data[i]; }
    void clear() { m_data.fill(0); }

  protected:
    std::array<std::uint8_t, N> m_data;
};

// Key material: its bytes are overwritten with random bytes when it goes, so a
// key leaves no trace in freed stack or heap memory.
template <std::size_t N>
class Key : public Block<N> {
  public:
    Key() = default;
    Key(const Key&) = delete;
    Key& operator=(const Key&) = delete;
    ~Key() override { RandomSource::fill(this->m_data.data(), N); }
};

}  // namespace qn::sys::encryption
