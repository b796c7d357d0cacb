#pragma once

#include <cstddef>
#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

namespace qn::sys::encryption {

// Standard Base64 (A-Z a-z 0-9 + /, "=" padding, no line breaks).
bool base64Encode(const std::uint8_t* data, std::size_t length, std::string& out);
// Into a caller's buffer, for a signal handler: allocates nothing. The size of
// the text (without a terminating zero) or 0 when it does not fit.
std::size_t base64EncodeInto(const std::uint8_t* data, std::size_t length, char* out,
                             std::size_t capacity);
// Fails on any character outside the alphabet, wrong padding or a bad length.
bool base64Decode(std::string_view text, std::vector<std::uint8_t>& out);

}  // namespace qn::sys::encryption
