#include "sys/libutils/Hex.h"

#include <gtest/gtest.h>

#include <stdexcept>

namespace qn::sys {
namespace {

void expectInvalid(void (*call)(), const char* text) {
    try {
        call();
        FAIL() << "no throw, expected " << text;
    } catch (const std::invalid_argument& e) {
        EXPECT_STREQ(e.what(), text);
    }
}

TEST(Hex, StrictReadersAcceptUpToTheirWidth) {
    EXPECT_EQ(HexStringToU16("FFFF"), 65535);
    EXPECT_EQ(HexStringToU16("ff"), 255);
    EXPECT_EQ(HexStringToU16(""), 0);
    EXPECT_EQ(HexStringToU32("DeadBeef"), 0xDEADBEEFu);
}

TEST(Hex, StrictReadersThrowTheirTexts) {
    expectInvalid([] { HexStringToU16("10000"); }, "String passed to HexStringToU16 is too long");
    expectInvalid([] { HexStringToU16("fg"); }, "Invalid hex digit in HexStringToU16");
    expectInvalid([] { HexStringToU16("0x1"); }, "Invalid hex digit in HexStringToU16");
    expectInvalid([] { HexStringToU32("123456789"); },
                  "String passed to HexStringToU32 is too long");
    expectInvalid([] { HexStringToU32("12 4"); }, "Invalid hex digit in HexStringToU32");
    expectInvalid([] { HexStringToU32("\xE9"); }, "Invalid hex digit in HexStringToU32");
}

TEST(Hex, WritersAreUpperCaseAndFixedWidth) {
    EXPECT_EQ(U32ToHexString(35), "00000023");
    EXPECT_EQ(U16ToHexString(0xABC), "0ABC");
    EXPECT_EQ(U64ToHexString(0x1234567890ABCDEFULL), "1234567890ABCDEF");
    EXPECT_EQ(ByteToHexString(0x0F), "0F");
    char pair[2];
    ByteToHex(0xA5, pair);
    EXPECT_EQ(std::string(pair, 2), "A5");
    const std::uint8_t bytes[] = {0x00, 0x7F, 0xFF};
    EXPECT_EQ(BytesToHexString(bytes, 3), "007FFF");
}

TEST(Hex, LenientReaders) {
    EXPECT_TRUE(HexStringToBytes("ABC").empty());
    EXPECT_EQ(HexStringToBytes("0G"), std::vector<std::uint8_t>{0});
    EXPECT_EQ(HexStringToBytes("a5FF"), (std::vector<std::uint8_t>{0xA5, 0xFF}));
    EXPECT_EQ(HexDigitValue('z'), 0);
    EXPECT_EQ(HexDigitValueHigh('c'), 0xC0);
    EXPECT_EQ(HexPairToByte('7', 'e'), 0x7E);
}

}  // namespace
}  // namespace qn::sys
