#include "sys/libutils/KeyRecord.h"

#include <mbedtls/sha256.h>

#include <cstring>

namespace qn::sys::encryption {
namespace {

constexpr std::size_t kGuard = 0;
constexpr std::size_t kDigest = 1;
constexpr std::size_t kLength = kDigest + kKeyDigestWords;
constexpr std::size_t kKeyWords = kLength + 1;

std::uint32_t maskWord(const std::uint8_t* mask, std::size_t position) {
    std::uint32_t w = 0;
    for (std::size_t i = 0; i < 4; ++i)
        w |= std::uint32_t(mask[(position + i) % kKeyMaskLength]) << (8 * i);
    return w;
}

std::uint32_t byteOf(std::uint32_t w, unsigned i) {
    return (w >> (8 * i)) & 0xFF;
}

// Bytes 1, 3, 0, 2 of w, low to high.
std::uint32_t reorder(std::uint32_t w) {
    return byteOf(w, 1) | byteOf(w, 3) << 8 | byteOf(w, 0) << 16 | byteOf(w, 2) << 24;
}

std::uint32_t unreorder(std::uint32_t r) {
    return byteOf(r, 2) | byteOf(r, 0) << 8 | byteOf(r, 3) << 16 | byteOf(r, 1) << 24;
}

std::uint32_t unscramble(std::uint32_t w, const std::uint8_t* mask, std::size_t position) {
    return reorder(w) ^ maskWord(mask, position);
}

std::uint32_t scramble(std::uint32_t v, const std::uint8_t* mask, std::size_t position) {
    return unreorder(v ^ maskWord(mask, position));
}

std::size_t permuted(std::size_t j) {
    static constexpr std::size_t inGroup[4] = {1, 3, 0, 2};
    return j - j % 4 + inGroup[j % 4];
}

std::uint32_t rotl(std::uint32_t w, unsigned bits) {
    return (w << bits) | (w >> ((32 - bits) % 32));
}
std::uint32_t rotr(std::uint32_t w, unsigned bits) {
    return (w >> bits) | (w << ((32 - bits) % 32));
}
unsigned rotation(std::size_t j) {
    return 8 * unsigned(j % 3 + 1);
}

void putWord(std::uint8_t* out, std::uint32_t w) {
    for (unsigned i = 0; i < 4; ++i)
        out[i] = std::uint8_t(byteOf(w, i));
}

void digestOf(const std::uint8_t* key, std::size_t length, std::uint32_t identity,
              const std::uint8_t* salt, std::uint8_t digest[32]) {
    mbedtls_sha256_context sha;
    mbedtls_sha256_init(&sha);
    mbedtls_sha256_starts_ret(&sha, 0);
    mbedtls_sha256_update_ret(&sha, key, length);
    std::uint8_t id[4];
    putWord(id, identity);
    mbedtls_sha256_update_ret(&sha, id, 4);
    mbedtls_sha256_update_ret(&sha, salt, kKeySaltLength);
    mbedtls_sha256_finish_ret(&sha, digest);
    mbedtls_sha256_free(&sha);
}

}  // namespace

bool fetchKeyRecord(const KeyTable& table, unsigned index, const std::uint8_t* mask,
                    const std::uint8_t* salt, std::size_t wanted, std::uint8_t* out,
                    std::uint32_t& identity) {
    if (index >= table.count)
        return false;
    const std::uint32_t* record = table.words + table.offsets[index];
    const std::uint32_t guard = unscramble(record[kGuard], mask, 0);
    const std::uint32_t length = unscramble(record[kLength], mask, 4) ^ guard;
    if ((length >> 1) != wanted)
        return false;
    const std::size_t words = length >> 3;
    identity = unscramble(record[kKeyWords + words], mask, 8) ^ guard;

    mbedtls_sha256_context sha;
    mbedtls_sha256_init(&sha);
    mbedtls_sha256_starts_ret(&sha, 0);
    for (std::size_t j = 0; j < words; ++j) {
        const std::uint32_t w =
            rotl(maskWord(mask, 4 * j) ^ record[kKeyWords + permuted(j)], rotation(j));
        std::uint8_t bytes[4];
        putWord(bytes, w);
        if (4 * j < wanted)
            std::memcpy(out + 4 * j, bytes, wanted - 4 * j < 4 ? wanted - 4 * j : 4);
        mbedtls_sha256_update_ret(&sha, bytes, 4);
    }
    std::uint8_t id[4];
    putWord(id, identity);
    mbedtls_sha256_update_ret(&sha, id, 4);
    mbedtls_sha256_update_ret(&sha, salt, kKeySaltLength);
    std::uint8_t digest[32];
    mbedtls_sha256_finish_ret(&sha, digest);
    mbedtls_sha256_free(&sha);

    std::uint8_t stored[32];
    for (std::size_t i = 0; i < kKeyDigestWords; ++i)
        putWord(stored + 4 * i, record[kDigest + i]);
    return std::memcmp(digest, stored, sizeof digest) == 0;
}

std::vector<std::uint32_t> makeKeyRecord(const std::uint8_t* key, std::size_t length,
                                         std::uint32_t identity, std::uint32_t guard,
                                         const std::uint8_t* mask, const std::uint8_t* salt) {
    const std::size_t words = length / 4;
    std::vector<std::uint32_t> record(kKeyWords + words + 1);
    record[kGuard] = scramble(guard, mask, 0);
    record[kLength] = scramble(std::uint32_t(length << 1) ^ guard, mask, 4);
    record[kKeyWords + words] = scramble(identity ^ guard, mask, 8);
    for (std::size_t j = 0; j < words; ++j) {
        std::uint32_t w = 0;
        for (unsigned i = 0; i < 4; ++i)
            w |= std::uint32_t(key[4 * j + i]) << (8 * i);
        record[kKeyWords + permuted(j)] = rotr(w, rotation(j)) ^ maskWord(mask, 4 * j);
    }
    std::uint8_t digest[32];
    digestOf(key, length, identity, salt, digest);
    for (std::size_t i = 0; i < kKeyDigestWords; ++i) {
        std::uint32_t w = 0;
        for (unsigned b = 0; b < 4; ++b)
            w |= std::uint32_t(digest[4 * i + b]) << (8 * b);
        record[kDigest + i] = w;
    }
    return record;
}

}  // namespace qn::sys::encryption
