#include <gtest/gtest.h>

#include <cstring>
#include <sstream>

#include "sys/libutils/Base64.h"
#include "sys/libutils/KeyRecord.h"
#include "sys/libutils/LineArmour.h"
#include "sys/libutils/LineKey.h"
#include "sys/libutils/LogReader.h"
#include "tests/sys/libutils/LogTestSupport.h"

namespace qn::sys {
namespace {

using encryption::Aes128;
using encryption::Block;
using encryption::Key;

// An output's cipher and chain, as the logger keeps them.
struct Chain {
    Chain() {
        Key<16> key;
        EXPECT_TRUE(encryption::fetchLineKey(key));
        cipher = std::make_unique<Aes128>(key, Aes128::Encrypt);
    }
    std::string armour(std::string plain) {
        std::string out;
        EXPECT_TRUE(encryption::armourLine(*cipher, iv, plain, out));
        return out;
    }
    std::unique_ptr<Aes128> cipher;
    Block<16> iv;
};

TEST(LineArmour, PaddingToWholeBlocksAndBase64Length) {
    Chain chain;
    const std::string sixteen = "[Mod 12] abcdefg";  // exactly 16 bytes
    ASSERT_EQ(sixteen.size(), 16u);
    const std::string one = chain.armour(sixteen);
    EXPECT_EQ(one.size(), 24u);
    EXPECT_EQ(one.substr(22), "==");

    const std::string seventeen = sixteen + "h";
    const std::string two = chain.armour(seventeen);
    std::vector<std::uint8_t> bytes;
    ASSERT_TRUE(encryption::base64Decode(two, bytes));
    EXPECT_EQ(bytes.size(), 32u);

    LogReader reader;
    std::string text;
    ASSERT_EQ(reader.read(one, text), LogReader::Result::Plain);
    EXPECT_EQ(text, sixteen);
    ASSERT_EQ(reader.read(two, text), LogReader::Result::Plain);
    EXPECT_EQ(text, seventeen);
}

TEST(LineArmour, SameTextTwiceGivesDifferentLinesThatBothDecrypt) {
    Chain chain;
    const std::string plain = "00:00:00.001\t\tM\ti\tINFO\tf.cpp:1\tsame text";
    const std::string first = chain.armour(plain);
    const std::string second = chain.armour(plain);
    EXPECT_NE(first, second);
    std::istringstream in(first + "\n" + second + "\n");
    const auto back = testing::readArmoured(in);
    EXPECT_EQ(back.lines, (std::vector<std::string>{plain, plain}));
    EXPECT_EQ(back.restarts, std::vector<std::size_t>{0});
}

TEST(LogReader, FindsNewChainsAndGoesOnAfterBadLines) {
    Chain run1, run2;
    const std::string a = "00:00:00.000\t\tM\t1\tALWAYS\tx.cpp:1\tVersion banner";
    const std::string b = "00:00:00.005\t\tM\t1\tINFO\tx.cpp:2\tsecond";
    const std::string c = "[M 2] short line of the second run with newline\ninside";
    // One statement per line: the chain depends on the order of armouring.
    std::string file = run1.armour(a) + "\n";
    file += run1.armour(b) + "\n";
    file += "this is not base64!\n";
    file += "\n";
    file += run2.armour(c) + "\n";
    file += run2.armour(b) + "\n";
    std::istringstream in(file);
    const auto back = testing::readArmoured(in);
    EXPECT_EQ(back.lines, (std::vector<std::string>{a, b, c, b}));
    EXPECT_EQ(back.restarts, (std::vector<std::size_t>{0, 2}));
    EXPECT_EQ(back.unreadable, 2u);  // the garbage and the empty line

    // Base64 that is no whole number of blocks is not armour either.
    LogReader reader;
    std::string text;
    EXPECT_EQ(reader.read("QUJD", text), LogReader::Result::NotArmoured);
}

TEST(LogReader, InputStartingInsideAChainResumesOnTheNextLine) {
    Chain chain;
    const std::string first = chain.armour("00:00:00.000\t\tM\ti\tINFO\tf.cpp:1\tone");
    const std::string second = chain.armour("00:00:00.000\t\tM\ti\tINFO\tf.cpp:2\ttwo");
    const std::string third = chain.armour("00:00:00.000\t\tM\ti\tINFO\tf.cpp:3\tthree");
    (void)first;
    LogReader reader;
    std::string text;
    EXPECT_EQ(reader.read(second, text), LogReader::Result::Undecryptable);
    ASSERT_EQ(reader.read(third, text), LogReader::Result::Plain);
    EXPECT_EQ(text, "00:00:00.000\t\tM\ti\tINFO\tf.cpp:3\tthree");
    EXPECT_FALSE(reader.restarted());
}

TEST(KeyRecord, RecordGivesKeyAndIdentityBackAndDetectsTampering) {
    std::uint8_t mask[encryption::kKeyMaskLength], salt[encryption::kKeySaltLength];
    for (std::size_t i = 0; i < sizeof mask; ++i)
        mask[i] = std::uint8_t(i * 37 + 5);
    for (std::size_t i = 0; i < sizeof salt; ++i)
        salt[i] = std::uint8_t(200 - i);
    std::uint8_t key[16];
    for (std::size_t i = 0; i < 16; ++i)
        key[i] = std::uint8_t(i * 11 + 3);

    auto record = encryption::makeKeyRecord(key, 16, 0xC0FFEE, 0x12345678, mask, salt);
    ASSERT_EQ(record.size(), 15u);
    // The key's words never stand in the record as they are.
    for (std::uint32_t w : record)
        for (std::size_t j = 0; j < 4; ++j) {
            std::uint32_t k;
            std::memcpy(&k, key + 4 * j, 4);
            EXPECT_NE(w, k);
        }

    const std::uint32_t offsets[1] = {0};
    encryption::KeyTable table{record.data(), offsets, 1, mask, salt};
    std::uint8_t out[16] = {};
    std::uint32_t identity = 0;
    ASSERT_TRUE(encryption::fetchKeyRecord(table, 0, mask, salt, 16, out, identity));
    EXPECT_EQ(std::memcmp(out, key, 16), 0);
    EXPECT_EQ(identity, 0xC0FFEEu);

    EXPECT_FALSE(encryption::fetchKeyRecord(table, 0, mask, salt, 24, out, identity));
    EXPECT_FALSE(encryption::fetchKeyRecord(table, 1, mask, salt, 16, out, identity));
    for (std::size_t word : {0u, 1u, 11u, 14u}) {
        auto broken = record;
        broken[word] ^= 0x100;
        encryption::KeyTable bad{broken.data(), offsets, 1, mask, salt};
        EXPECT_FALSE(encryption::fetchKeyRecord(bad, 0, mask, salt, 16, out, identity)) << word;
    }
    std::uint8_t otherSalt[encryption::kKeySaltLength] = {};
    EXPECT_FALSE(encryption::fetchKeyRecord(table, 0, mask, otherSalt, 16, out, identity));
}

TEST(KeyRecord, CompiledTableHoldsAVerifiedLineKey) {
    Key<16> key;
    EXPECT_TRUE(encryption::fetchLineKey(key));
    const Block<16> zero;
    EXPECT_NE(std::memcmp(key.data(), zero.data(), 16), 0);
}

}  // namespace
}  // namespace qn::sys
