#pragma once

#include <cstddef>
#include <cstdint>
#include <vector>

namespace qn::sys::encryption {

// Keys are kept as scrambled records in constant data and never stored whole.
// A record is a run of 32-bit words: guard, eight digest words, length, the key
// words (permuted, masked and rotated), identity.
struct KeyTable {
    const std::uint32_t* words;    // all records, one after the other
    const std::uint32_t* offsets;  // word offset of each record
    std::size_t count;             // number of records
    const std::uint8_t* mask;      // kKeyMaskLength bytes
    const std::uint8_t* salt;      // kKeySaltLength bytes
};

constexpr std::size_t kKeyMaskLength = 17;
constexpr std::size_t kKeySaltLength = 8;
constexpr std::size_t kKeyDigestWords = 8;
// Slot of the key that armours log lines.
constexpr unsigned kLogLineKeySlot = 6;

// The table compiled into this build (the committed default, or one a packager
// generated with tools/qnkeytable).
const KeyTable& compiledKeyTable();

// Rebuilds the key of record `index` into out[0..wanted) and its identity word.
// Returns whether the record's digest matches; false also for a bad index or a
// record whose length is not `wanted`.
bool fetchKeyRecord(const KeyTable& table, unsigned index, const std::uint8_t* mask,
                    const std::uint8_t* salt, std::size_t wanted, std::uint8_t* out,
                    std::uint32_t& identity);

// The inverse, for the generator: the words of a record holding `key` (a
// multiple of 4 bytes long). `guard` is any value; it hides length and identity.
std::vector<std::uint32_t> makeKeyRecord(const std::uint8_t* key, std::size_t length,
                                         std::uint32_t identity, std::uint32_t guard,
                                         const std::uint8_t* mask, const std::uint8_t* salt);

}  // namespace qn::sys::encryption
