#include "sys/libutils/Base64.h"

#include <mbedtls/base64.h>

namespace qn::sys::encryption {

bool base64Encode(const std::uint8_t* data, std::size_t length, std::string& out) {
    const std::size_t needed = 4 * ((length + 2) / 3) + 1;
    out.resize(needed);
    std::size_t written = 0;
    if (mbedtls_base64_encode(reinterpret_cast<unsigned char*>(out.data()), needed, &written, data,
                              length) != 0) {
        out.clear();
        return false;
    }
    out.resize(written);
    return true;
}

std::size_t base64EncodeInto(const std::uint8_t* data, std::size_t length, char* out,
                             std::size_t capacity) {
    std::size_t written = 0;
    if (mbedtls_base64_encode(reinterpret_cast<unsigned char*>(out), capacity, &written, data,
                              length) != 0) {
        return 0;
    }
    return written;
}

bool base64Decode(std::string_view text, std::vector<std::uint8_t>& out) {
    const auto* src = reinterpret_cast<const unsigned char*>(text.data());
    std::size_t needed = 0;
    // The first call only measures; an empty text decodes to nothing.
    int rc = mbedtls_base64_decode(nullptr, 0, &needed, src, text.size());
    if (rc != 0 && rc != MBEDTLS_ERR_BASE64_BUFFER_TOO_SMALL) {
        out.clear();
        return false;
    }
    out.resize(needed);
    std::size_t written = 0;
    rc = mbedtls_base64_decode(out.data(), out.size(), &written, src, text.size());
    if (rc != 0) {
        out.clear();
        return false;
    }
    out.resize(written);
    return true;
}

}  // namespace qn::sys::encryption
