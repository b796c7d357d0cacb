#pragma once

#include <cstdint>
#include <string>
#include <vector>

namespace qn::sys {

// Digits are written upper-case; reading takes both cases.
char HexDigitLow(std::uint8_t value);
char HexDigitHigh(std::uint8_t value);
std::uint8_t HexDigitValue(char digit);      // 0 for anything not a digit
std::uint8_t HexDigitValueHigh(char digit);  // the value shifted left by four
void ByteToHex(std::uint8_t value, char out[2]);
std::string ByteToHexString(std::uint8_t value);
std::string U16ToHexString(std::uint16_t value);
std::string U32ToHexString(std::uint32_t value);
std::string U64ToHexString(std::uint64_t value);
std::uint8_t HexPairToByte(char high, char low);
std::string BytesToHexString(const std::uint8_t* data, std::size_t length);
// Odd length gives an empty vector; bad digits count as 0.
std::vector<std::uint8_t> HexStringToBytes(const std::string& text);

// The strict readers: they throw std::invalid_argument for a text too long or a
// character that is no hexadecimal digit. The empty text gives 0; no prefix.
std::uint16_t HexStringToU16(const std::string& text);
std::uint32_t HexStringToU32(const std::string& text);

}  // namespace qn::sys
