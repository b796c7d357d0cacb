// qnkeytable: writes the scrambled key table, its mask and its salt as a C++
// source file that replaces the default one of the build.

#include <cerrno>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <fstream>
#include <iostream>
#include <sstream>
#include <string>
#include <vector>

#include "sys/libutils/Block.h"
#include "sys/libutils/KeyRecord.h"
#include "sys/libutils/RandomSource.h"

using namespace qn::sys::encryption;

namespace {

constexpr unsigned kSlots = 8;
constexpr std::size_t kKeyLength = 16;

void usage(std::ostream& out) {
    out << "usage: qnkeytable [-o FILE] [--identity N] KEY\n"
           "  KEY            the log line key, 32 hexadecimal digits\n"
           "  -o FILE        write the source to FILE instead of standard output\n"
           "  --identity N   identity word of the key record (decimal; random if absent)\n"
           "The other slots of the table get random keys. Build with\n"
           "  cmake -DQN_KEY_TABLE_SOURCE=FILE ...\n"
           "to use the table.\n";
}

bool parseHexKey(const std::string& text, std::uint8_t* key) {
    if (text.size() != 2 * kKeyLength)
        return false;
    for (std::size_t i = 0; i < kKeyLength; ++i) {
        unsigned value = 0;
        for (std::size_t k = 0; k < 2; ++k) {
            const char c = text[2 * i + k];
            unsigned nibble;
            if (c >= '0' && c <= '9')
                nibble = unsigned(c - '0');
            else if (c >= 'a' && c <= 'f')
                nibble = unsigned(c - 'a' + 10);
            else if (c >= 'A' && c <= 'F')
                nibble = unsigned(c - 'A' + 10);
            else
                return false;
            value = value * 16 + nibble;
        }
        key[i] = std::uint8_t(value);
    }
    return true;
}

std::uint32_t randomWord() {
    std::uint32_t w;
    RandomSource::fill(&w, sizeof w);
    return w;
}

void writeBytes(std::ostream& out, const char* name, const std::uint8_t* bytes, std::size_t n) {
    out << "const std::uint8_t " << name << "[" << n << "] = {";
    for (std::size_t i = 0; i < n; ++i) {
        char hex[8];
        std::snprintf(hex, sizeof hex, "0x%02x", bytes[i]);
        out << (i % 12 == 0 ? "\n    " : " ") << hex << (i + 1 < n ? "," : "");
    }
    out << "};\n";
}

}  // namespace

int main(int argc, char** argv) {
    std::string outName, keyText;
    std::uint32_t identity = randomWord();
    for (int i = 1; i < argc; ++i) {
        const std::string arg = argv[i];
        if (arg == "-h" || arg == "--help") {
            usage(std::cout);
            return 0;
        } else if (arg == "-o" && i + 1 < argc) {
            outName = argv[++i];
        } else if (arg == "--identity" && i + 1 < argc) {
            // strtoul takes "-1" and wraps it; only plain decimal words pass.
            const std::string word = argv[++i];
            char* end = nullptr;
            errno = 0;
            const unsigned long value = std::strtoul(word.c_str(), &end, 10);
            if (word.empty() || word.find_first_not_of("0123456789") != std::string::npos ||
                errno == ERANGE || value > 0xFFFFFFFFUL) {
                std::cerr << "qnkeytable: --identity takes a decimal number from 0 to 4294967295, "
                             "not \""
                          << word << "\"\n";
                return 2;
            }
            identity = static_cast<std::uint32_t>(value);
        } else if (keyText.empty() && !arg.empty() && arg[0] != '-') {
            keyText = arg;
        } else {
            usage(std::cerr);
            return 2;
        }
    }
    Key<kKeyLength> key;
    if (!parseHexKey(keyText, key.data())) {
        std::cerr << "qnkeytable: the key must be 32 hexadecimal digits\n";
        usage(std::cerr);
        return 2;
    }

    std::uint8_t mask[kKeyMaskLength], salt[kKeySaltLength];
    RandomSource::fill(mask, sizeof mask);
    RandomSource::fill(salt, sizeof salt);

    std::vector<std::uint32_t> words, offsets;
    for (unsigned slot = 0; slot < kSlots; ++slot) {
        Key<kKeyLength> decoy;
        RandomSource::fill(decoy.data(), decoy.size());
        const Key<kKeyLength>& used = slot == kLogLineKeySlot ? key : decoy;
        const std::uint32_t id = slot == kLogLineKeySlot ? identity : randomWord();
        const auto record = makeKeyRecord(used.data(), used.size(), id, randomWord(), mask, salt);
        offsets.push_back(std::uint32_t(words.size()));
        words.insert(words.end(), record.begin(), record.end());
    }

    // Prove the table before writing it.
    const KeyTable table{words.data(), offsets.data(), offsets.size(), mask, salt};
    Key<kKeyLength> check;
    std::uint32_t checkIdentity = 0;
    if (!fetchKeyRecord(table, kLogLineKeySlot, mask, salt, kKeyLength, check.data(),
                        checkIdentity) ||
        std::memcmp(check.data(), key.data(), kKeyLength) != 0 || checkIdentity != identity) {
        std::cerr << "qnkeytable: the generated record does not give the key back\n";
        return 1;
    }

    std::ostringstream src;
    src << "// Generated by tools/qnkeytable. Scrambled key records; no key stands whole here.\n"
           "#include \"sys/libutils/KeyRecord.h\"\n\n"
           "namespace qn::sys::encryption {\nnamespace {\n\n";
    src << "const std::uint32_t kRecords[" << words.size() << "] = {";
    for (std::size_t i = 0; i < words.size(); ++i) {
        char hex[16];
        std::snprintf(hex, sizeof hex, "0x%08xu", words[i]);
        src << (i % 6 == 0 ? "\n    " : " ") << hex << (i + 1 < words.size() ? "," : "");
    }
    src << "};\n";
    src << "const std::uint32_t kOffsets[" << offsets.size() << "] = {";
    for (std::size_t i = 0; i < offsets.size(); ++i)
        src << offsets[i] << (i + 1 < offsets.size() ? ", " : "");
    src << "};\n";
    writeBytes(src, "kMask", mask, sizeof mask);
    writeBytes(src, "kSalt", salt, sizeof salt);
    src << "\n} // namespace\n\n"
           "const KeyTable& compiledKeyTable()\n{\n"
           "    static const KeyTable table{kRecords, kOffsets, "
        << offsets.size()
        << ", kMask, kSalt};\n"
           "    return table;\n}\n\n"
           "} // namespace qn::sys::encryption\n";

    if (outName.empty()) {
        std::cout << src.str();
        return std::cout ? 0 : 1;
    }
    std::ofstream file(outName, std::ios::trunc);
    file << src.str();
    file.close();
    if (!file) {
        std::cerr << "qnkeytable: cannot write " << outName << "\n";
        return 1;
    }
    return 0;
}
