#include "sys/libutils/Hex.h"

#include <cctype>
#include <stdexcept>

namespace qn::sys {

namespace {

constexpr char kDigits[] = "0123456789ABCDEF";

template <typename T>
std::string toHex(T value) {
    std::string result(sizeof(T) * 2, '0');
    for (std::size_t i = result.size(); i-- > 0;) {
        result[i] = kDigits[value & 0xF];
        value = static_cast<T>(value >> 4);
    }
    return result;
}

std::uint32_t strictHex(const std::string& text, std::size_t maxDigits, const char* tooLong,
                        const char* badDigit) {
    const std::string copy = text;
    if (copy.size() > maxDigits) {
        throw std::invalid_argument(tooLong);
    }
    std::uint32_t result = 0;
    for (char c : copy) {
        if (static_cast<signed char>(c) < 0 || !std::isxdigit(static_cast<unsigned char>(c))) {
            throw std::invalid_argument(badDigit);
        }
        result = (result << 4) + HexDigitValue(c);
    }
    return result;
}

}  // namespace

char HexDigitLow(std::uint8_t value) {
    return kDigits[value & 0xF];
}
char HexDigitHigh(std::uint8_t value) {
    return kDigits[(value >> 4) & 0xF];
}

std::uint8_t HexDigitValue(char digit) {
    if (digit >= '0' && digit <= '9') {
        return static_cast<std::uint8_t>(digit - '0');
    }
    if (digit >= 'a' && digit <= 'f') {
        return static_cast<std::uint8_t>(digit - 'a' + 10);
    }
    if (digit >= 'A' && digit <= 'F') {
        return static_cast<std::uint8_t>(digit - 'A' + 10);
    }
    return 0;
}

std::uint8_t HexDigitValueHigh(char digit) {
    return static_cast<std::uint8_t>(HexDigitValue(digit) << 4);
}

void ByteToHex(std::uint8_t value, char out[2]) {
    out[0] = HexDigitHigh(value);
    out[1] = HexDigitLow(value);
}

std::string ByteToHexString(std::uint8_t value) {
    return toHex(value);
}
std::string U16ToHexString(std::uint16_t value) {
    return toHex(value);
}
std::string U32ToHexString(std::uint32_t value) {
    return toHex(value);
}
std::string U64ToHexString(std::uint64_t value) {
    return toHex(value);
}

std::uint8_t HexPairToByte(char high, char low) {
    return static_cast<std::uint8_t>(HexDigitValueHigh(high) | HexDigitValue(low));
}

std::string BytesToHexString(const std::uint8_t* data, std::size_t length) {
    std::string result;
    result.reserve(length * 2);
    for (std::size_t i = 0; i < length; ++i) {
        result += HexDigitHigh(data[i]);
        result += HexDigitLow(data[i]);
    }
    return result;
}

std::vector<std::uint8_t> HexStringToBytes(const std::string& text) {
    std::vector<std::uint8_t> result;
    if (text.size() % 2 != 0) {
        return result;
    }
    result.reserve(text.size() / 2);
    for (std::size_t i = 0; i < text.size(); i += 2) {
        result.push_back(HexPairToByte(text[i], text[i + 1]));
    }
    return result;
}

std::uint16_t HexStringToU16(const std::string& text) {
    return static_cast<std::uint16_t>(strictHex(text, 4,
                                                "String passed to HexStringToU16 is too long",
                                                "Invalid hex digit in HexStringToU16"));
}

std::uint32_t HexStringToU32(const std::string& text) {
    return strictHex(text, 8, "String passed to HexStringToU32 is too long",
                     "Invalid hex digit in HexStringToU32");
}

}  // namespace qn::sys
