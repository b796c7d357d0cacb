#pragma once

#include <cstddef>
#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

namespace qn::sys::encryption {

// Standard Base64 (A-Z a-z 0-9 + /, "=" padding, no line breaks).
bool base64Encode(const std::uint8_t* data, std::size_t length, std::string& out);
// Fails on any character outside the alphabet, wrong padding or a bad length.
bool base64Decode(std::string_view text, std::vector<std::uint8_t>& out);

}  // namespace qn::sys::encryption
