#include <gtest/gtest.h>

#include <vector>

#include "sys/libutils/OptionBlob.h"
#include "sys/libutils/OptionBool.h"
#include "sys/libutils/OptionFloat.h"
#include "sys/libutils/OptionInt.h"
#include "sys/libutils/OptionPoint.h"
#include "sys/libutils/OptionString.h"
#include "tests/sys/libutils/MemoryDataStore.h"

namespace qn::sys::option {
namespace {

using testing::MemoryDataStore;

// Offers the words to the option as the walk does and returns what it consumed.
int offer(Option& option, std::vector<const char*> words) {
    int count = static_cast<int>(words.size());
    option.parseArguments(count, const_cast<char**>(words.data()));
    return count;
}

TEST(OptionValue, IntReadsCNotationFromTheCommandLineButDecimalFromTheStore) {
    Int number("n", 7, "a number", "N");
    EXPECT_EQ(offer(number, {"-n", "0x10"}), 2);
    EXPECT_EQ(number.get(), 16);
    EXPECT_EQ(number.getSource(), SourceCommandLine);
    EXPECT_EQ(number.getCommandLine(), "-n 16");
    offer(number, {"-n", "010"});
    EXPECT_EQ(number.get(), 8);
    offer(number, {"-n", "junk"});
    EXPECT_EQ(number.get(), 0);

    MemoryDataStore store;
    store.put("n", "0x10");
    number.load(store);
    EXPECT_EQ(number.get(), 0);
    EXPECT_EQ(number.getSource(), SourceMachineStore);
    number.set("0x20");
    EXPECT_EQ(number.get(), 32);
    EXPECT_EQ(number.getSource(), SourceProgram);
}

TEST(OptionValue, BoolShowsTrueFalseButStoresYesNo) {
    Bool on("b", false, "switch");
    for (const char* word : {"yes", "True", "1"}) {
        offer(on, {"-b", word});
        EXPECT_TRUE(on.get()) << word;
    }
    for (const char* word : {"0", "no", "off"}) {
        offer(on, {"-b", word});
        EXPECT_FALSE(on.get()) << word;
    }
    EXPECT_EQ(on.getParameterName(), "");
    on.set(true);
    EXPECT_EQ(on.getValueText(), "true");
    EXPECT_EQ(on.getCommandLine(), "-b true");
    MemoryDataStore store;
    on.save(store);
    EXPECT_EQ(store.values().at("b"), "yes");
}

TEST(OptionValue, FlagTakesNoWordAndIsEmptyWhenUnset) {
    Flag verbose("v", "talk more");
    EXPECT_EQ(verbose.getValueText(), "");
    EXPECT_EQ(verbose.getCommandLine(), "");
    EXPECT_EQ(offer(verbose, {"-v"}), 1);
    EXPECT_EQ(offer(verbose, {"-v", "operand", "more"}), 1);
    EXPECT_TRUE(verbose.get());
    EXPECT_EQ(verbose.getValueText(), "flag");
    EXPECT_EQ(verbose.getCommandLine(), "-v");

    MemoryDataStore store;
    store.put("v", "Yes");
    Flag fromStore("v", "talk more");
    fromStore.load(store);
    EXPECT_TRUE(fromStore.get());
}

TEST(OptionValue, PointAcceptsExactlyTwoNumbers) {
    Point where("at", Point::Value{3, 4}, "position");
    EXPECT_EQ(where.getParameterName(), "X,Y");
    EXPECT_FALSE(where.isSet());
    EXPECT_EQ(where.getValueText(), "");
    EXPECT_EQ(offer(where, {"-at", " 1 , 2 "}), 2);
    EXPECT_TRUE(where.isSet());
    EXPECT_EQ(where.getValueText(), "1,2");
    EXPECT_EQ(offer(where, {"-at", "5,6x"}), 0);
    EXPECT_EQ(offer(where, {"-at", "5"}), 0);
    EXPECT_EQ(offer(where, {"-at"}), 0);
    EXPECT_EQ(where.getValueText(), "1,2");

    // A bad stored text unsets the point but keeps its numbers.
    MemoryDataStore store;
    store.put("at", "oops");
    where.load(store);
    EXPECT_FALSE(where.isSet());
    EXPECT_EQ(where.get().x, 1);
    EXPECT_EQ(where.getSource(), SourceMachineStore);
}

TEST(OptionValue, BlobTextFormAndCommandLineSpan) {
    Blob data("d", "", "bytes", "BYTES");
    EXPECT_TRUE(data.get().empty());
    data.set(std::vector<std::uint8_t>{1, 255});
    EXPECT_EQ(data.getValueText(), "2 1 ff");

    // Count word, one word per byte; the words behind stay for the next options.
    EXPECT_EQ(offer(data, {"-d", "3", "a", "B", "c", "-x"}), 5);
    EXPECT_EQ(data.get(), (std::vector<std::uint8_t>{0xa, 0xb, 0xc}));
    EXPECT_EQ(data.getSource(), SourceCommandLine);
    EXPECT_EQ(offer(data, {"-d"}), 0);

    // A short text repeats the last good byte.
    data.set(std::string("4 1 2"));
    EXPECT_EQ(data.get(), (std::vector<std::uint8_t>{1, 2, 2, 2}));

    // A copy is made from the text and starts again as a default.
    auto copy = data.clone();
    EXPECT_EQ(copy->getSource(), SourceDefault);
    EXPECT_EQ(copy->getValueText(), "4 1 2 2 2");

    // A count word far beyond any setting is held to a megabyte.
    data.set(std::string("ffffffff 7"));
    EXPECT_EQ(data.get().size(), std::size_t(1) << 20);
    EXPECT_EQ(data.get().back(), 7);
}

TEST(OptionValue, StringWithoutWordRefusesAndCloneKeepsSource) {
    String name("s", "dflt", "a text", "TEXT");
    EXPECT_EQ(offer(name, {"-s"}), 0);
    EXPECT_EQ(name.get(), "dflt");
    name.set(L"wide");
    EXPECT_EQ(name.get(), "wide");
    auto copy = name.clone();
    EXPECT_EQ(copy->getSource(), SourceProgram);
    EXPECT_EQ(copy->getCommandLine(), "-s wide");
    Directory folder("dir", "/tmp", "a folder", "DIR");
    EXPECT_NE(dynamic_cast<Directory*>(folder.clone().get()), nullptr);

    Float ratio("r", 1.5, "ratio", "R");
    offer(ratio, {"-r", "2.25"});
    EXPECT_DOUBLE_EQ(ratio.get(), 2.25);
    offer(ratio, {"-r", "x"});
    EXPECT_DOUBLE_EQ(ratio.get(), 0.0);
}

// The precedence default < store < command line, and the gate on saving.
TEST(OptionValue, EachSourceOverwritesAndOnlyProgramValuesAreSaved) {
    MemoryDataStore store;
    String colour("colour", "red", "colour", "C");
    colour.load(store);  // nothing stored: the default stays
    EXPECT_EQ(colour.get(), "red");
    EXPECT_EQ(colour.getSource(), SourceDefault);
    colour.save(store);
    EXPECT_FALSE(store.has("colour"));

    store.put("colour", "green");
    colour.load(store);
    EXPECT_EQ(colour.get(), "green");
    offer(colour, {"-colour", "blue"});
    EXPECT_EQ(colour.get(), "blue");
    store.remove("colour");
    colour.save(store);
    EXPECT_FALSE(store.has("colour"));

    colour.set("black");
    colour.save(store);
    EXPECT_EQ(store.values().at("colour"), "black");
    colour.forget(store);
    EXPECT_FALSE(store.has("colour"));
}

}  // namespace
}  // namespace qn::sys::option
