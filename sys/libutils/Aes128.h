#pragma once

#include <cstddef>
#include <cstdint>
#include <memory>

#include "sys/libutils/Block.h"

namespace qn::sys::encryption {

// Counter block for counter mode; advanced through a virtual call after each
// block so that callers choose the counter's layout.
class Counter : public Block<16> {
  public:
    virtual void advance();
};

// AES with a 128-bit key in one direction. The context is overwritten with
// random bytes before it is freed.
class Aes128 {
  public:
    enum Direction { Encrypt = 0, Decrypt = 1 };

    Aes128(const Key<16>& key, Direction direction);
    ~Aes128();
    Aes128(const Aes128&) = delete;
    Aes128& operator=(const Aes128&) = delete;

    Direction direction() const { return m_direction; }

    // length must be a multiple of 16; input and output may be the same buffer.
    bool ecb(const std::uint8_t* input, std::uint8_t* output, std::size_t length);
    bool cbc(Block<16>& iv, const std::uint8_t* input, std::uint8_t* output, std::size_t length);
    // Counter mode needs an Encrypt object for both ways; length may be any size.
    bool ctr(Counter& counter, const std::uint8_t* input, std::uint8_t* output, std::size_t length);
    bool block(const std::uint8_t input[16], std::uint8_t output[16]);

  private:
    struct Context;
    Direction m_direction;
    std::unique_ptr<Context> m_context;
};

}  // namespace qn::sys::encryption
