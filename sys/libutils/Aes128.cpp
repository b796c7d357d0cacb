#include "sys/libutils/Aes128.h"

#include <mbedtls/aes.h>

namespace qn::sys::encryption {

struct Aes128::Context {
    mbedtls_aes_context aes;
};

void Counter::advance() {
    // Big-endian increment over the whole block.
    for (std::size_t i = size(); i-- > 0;)
        if (++m_data[i] != 0)
            break;
}

Aes128::Aes128(const Key<16>& key, Direction direction)
    : m_direction(direction), m_context(std::make_unique<Context>()) {
    mbedtls_aes_init(&m_context->aes);
    if (direction == Encrypt)
        mbedtls_aes_setkey_enc(&m_context->aes, key.data(), 128);
    else
        mbedtls_aes_setkey_dec(&m_context->aes, key.data(), 128);
}

Aes128::~Aes128() {
    // The round keys are as secret as the key itself.
    RandomSource::fill(&m_context->aes, sizeof(m_context->aes));
    mbedtls_aes_free(&m_context->aes);
}

bool Aes128::ecb(const std::uint8_t* input, std::uint8_t* output, std::size_t length) {
    if (length % 16 != 0)
        return false;
    const int mode = m_direction == Encrypt ? MBEDTLS_AES_ENCRYPT : MBEDTLS_AES_DECRYPT;
    for (std::size_t at = 0; at < length; at += 16)
        if (mbedtls_aes_crypt_ecb(&m_context->aes, mode, input + at, output + at) != 0)
            return false;
    return true;
}

bool Aes128::cbc(Block<16>& iv, const std::uint8_t* input, std::uint8_t* output,
                 std::size_t length) {
    const int mode = m_direction == Encrypt ? MBEDTLS_AES_ENCRYPT : MBEDTLS_AES_DECRYPT;
    return mbedtls_aes_crypt_cbc(&m_context->aes, mode, length, iv.data(), input, output) == 0;
}

bool Aes128::ctr(Counter& counter, const std::uint8_t* input, std::uint8_t* output,
                 std::size_t length) {
    // Counter mode runs the cipher forwards in both directions.
    if (m_direction != Encrypt)
        return false;
    std::uint8_t stream[16];
    for (std::size_t at = 0; at < length; at += 16) {
        if (mbedtls_aes_crypt_ecb(&m_context->aes, MBEDTLS_AES_ENCRYPT, counter.data(), stream) !=
            0)
            return false;
        for (std::size_t i = 0; i < 16 && at + i < length; ++i)
            output[at + i] = input[at + i] ^ stream[i];
        counter.advance();
    }
    return true;
}

bool Aes128::block(const std::uint8_t input[16], std::uint8_t output[16]) {
    return ecb(input, output, 16);
}

}  // namespace qn::sys::encryption
