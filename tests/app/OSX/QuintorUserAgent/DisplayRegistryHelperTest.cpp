#include "app/OSX/QuintorUserAgent/DisplayRegistryHelper.h"

#include <gtest/gtest.h>

#include <sstream>
#include <string>
#include <vector>

#include "tests/app/OSX/QuintorUserAgent/AgentTestSupport.h"

namespace qn::app::osx::qnuapp {
namespace {

using Lines = std::vector<std::string>;
using platform::sim::SimDisplaySpec;
using testing::kDisplay;

constexpr std::uint32_t kNotFound = framebufferIndexNotFound;

std::string hex(std::uint32_t value) {
    std::ostringstream text;
    text << std::hex << value;
    return text.str();
}

// The machine's own display (no adapter) stands in the world; tests add adapters.
class RegistryLookup : public ::testing::Test {
  protected:
    explicit RegistryLookup(const char* release) {
        agent.host().system().setKernelRelease(release);
    }

    SimDisplaySpec adapter(platform::CGDirectDisplayID id, std::uint32_t index) {
        SimDisplaySpec spec;
        spec.display.id = id;
        spec.display.modelNumber = 0x5943;
        spec.display.vendorNumber = 0x10ac;
        spec.adapterIndex = index;
        return spec;
    }
    void place(const SimDisplaySpec& spec) { agent.world().placeDisplay(spec); }
    std::uint32_t lookUp(platform::CGDirectDisplayID id) {
        return DisplayRegistryHelper::getFramebufferIndexForDisplay(id);
    }

    testing::AgentHost agent;
};

class OlderRegistryLookup : public RegistryLookup {
  protected:
    OlderRegistryLookup() : RegistryLookup("12.5.0") {}
};

class NewerRegistryLookup : public RegistryLookup {
  protected:
    NewerRegistryLookup() : RegistryLookup("13.0.0") {}
};

TEST_F(OlderRegistryLookup, AdapterLocationGivesItsInstanceAndOtherMakesAllOnesSilently) {
    place(adapter(0x1001, 3));
    agent.newLines();
    EXPECT_EQ(lookUp(0x1001), 3u);
    EXPECT_EQ(agent.newLines(),
              (Lines{"DEBUG Extracted framebufferIndex: 3 for displayId: 0x1001"}));

    EXPECT_EQ(lookUp(kDisplay), kNotFound);
    EXPECT_EQ(agent.newLines(), Lines{});

    // The location is a property, not a registry path: it knows no 512-byte limit.
    auto deep = adapter(0x1002, 6);
    deep.hubs = 40;
    place(deep);
    EXPECT_EQ(lookUp(0x1002), 6u);
}

TEST_F(OlderRegistryLookup, InstanceComponentIsTrimmedThenReadAsIntValue) {
    struct Case {
        const char* instance;
        std::uint32_t index;
    };
    const Case cases[] = {
        {"12ab", 12},                 // letters behind the number are trimmed
        {"x7", 7},                    // letters before it too (besides the driver's name)
        {"1a2", 1},                   // a non-digit between digits ends the number
        {"X", 0},                     // no number at all reads as 0, not as not found
        {"99999999999", 2147483647},  // the reading stops at the largest int
    };
    platform::CGDirectDisplayID id = 0x2000;
    for (const auto& c : cases) {
        auto spec = adapter(++id, 1);
        spec.instanceText = c.instance;
        place(spec);
        agent.newLines();
        EXPECT_EQ(lookUp(id), c.index) << c.instance;
        EXPECT_EQ(agent.newLines(),
                  (Lines{"DEBUG Extracted framebufferIndex: " + std::to_string(c.index) +
                         " for displayId: 0x" + hex(id)}))
            << c.instance;
    }
}

TEST_F(OlderRegistryLookup, MissingServiceDictionaryOrTextualLocationGiveAllOnes) {
    auto& world = agent.world();
    place(adapter(0x1001, 2));
    place(adapter(0x1002, 3));
    place(adapter(0x1003, 4));
    agent.newLines();

    // Removed a moment ago: the system has no service for it any more.
    world.unplugDisplay(0x1001);
    EXPECT_EQ(lookUp(0x1001), kNotFound);
    EXPECT_EQ(agent.newLines(),
              (Lines{"ERROR getFramebufferIndexForDisplay: did not find service"}));

    agent.host().ioKit().entry(world.framebuffer(0x1002))->displayInfo = platform::Value();
    EXPECT_EQ(lookUp(0x1002), kNotFound);
    EXPECT_EQ(agent.newLines(),
              (Lines{"DEBUG getFramebufferIndexForDisplay: did not find dictionary"}));

    agent.host()
        .ioKit()
        .entry(world.framebuffer(0x1003))
        ->displayInfo.set(platform::kIODisplayLocationKey,
                          platform::Value::number(std::int64_t{4}));
    EXPECT_EQ(lookUp(0x1003), kNotFound);
    EXPECT_EQ(agent.newLines(), Lines{});
}

TEST(DisplayLocation, TooFewComponentsRaiseWithTheReasonThatIsLogged) {
    EXPECT_EQ(framebufferIndexFromLocation("IOService:/IOResources/QuintorParent/QuintorParent5"),
              5u);
    try {
        framebufferIndexFromLocation("IOService:/IOResources");
        FAIL() << "no exception";
    } catch (const LocationRangeError& e) {
        EXPECT_EQ(std::string(e.what()), "index 3 beyond bounds [0 .. 1]");
    }
}

TEST_F(NewerRegistryLookup, WalkFindsEachAdapterAndLogsEveryDisplayThatIsNone) {
    place(adapter(0x1001, 1));
    auto other = adapter(0x1004, 4);
    other.display.modelNumber = 0x5944;
    place(other);
    agent.newLines();

    EXPECT_EQ(lookUp(0x1001), 1u);
    EXPECT_EQ(lookUp(0x1004), 4u);
    EXPECT_EQ(lookUp(kDisplay), kNotFound);
    EXPECT_EQ(agent.newLines(),
              (Lines{"DEBUG Found FB index:1001 index:1", "DEBUG Found FB index:1004 index:4",
                     "ERROR FB index not found"}));
    // Services, their children and the iterator all given back.
    EXPECT_EQ(agent.host().ioKit().outstandingReferences(), 0);

    // Equal monitors: the first adapter in the registry's order answers for both.
    place(adapter(0x1002, 2));
    EXPECT_EQ(lookUp(0x1002), 1u);
    agent.newLines();

    // Removed a moment ago: its entries are gone with it.
    agent.world().unplugDisplay(0x1004);
    EXPECT_EQ(lookUp(0x1004), kNotFound);
    agent.host().ioKit().failMatching(platform::kIOReturnError);
    EXPECT_EQ(lookUp(0x1001), kNotFound);
    EXPECT_EQ(agent.newLines(), (Lines{"ERROR FB index not found", "ERROR FB index not found"}));
}

TEST_F(NewerRegistryLookup, MatchNeedsBothNumbersAndTheDriverPath) {
    // A monitor of the same model on the machine's own port is not under the driver.
    SimDisplaySpec own;
    own.display.id = 0x3001;
    own.display.modelNumber = 0x5943;
    own.display.vendorNumber = 0x10ac;
    place(own);
    EXPECT_EQ(lookUp(0x3001), kNotFound);

    // A vendor property of the wrong type reads 0 and so matches no vendor.
    auto textual = adapter(0x3002, 2);
    textual.vendorProperty = platform::Value::string("0x10ac");
    place(textual);
    EXPECT_EQ(DisplayRegistryHelper::getDisplayVendorId(agent.world().displayEntry(0x3002)), 0);
    EXPECT_EQ(lookUp(0x3002), kNotFound);

    // The registry's numbers are 16 bits: a wider model number never equals them.
    auto wide = adapter(0x3003, 3);
    wide.display.modelNumber = 0x15943;
    place(wide);
    EXPECT_EQ(lookUp(0x3003), kNotFound);

    // A path that does not fit the registry's buffer cannot be read, so cannot match.
    auto deep = adapter(0x3004, 4);
    deep.display.modelNumber = 0x7000;
    deep.hubs = 40;
    place(deep);
    EXPECT_EQ(lookUp(0x3004), kNotFound);
}

TEST_F(NewerRegistryLookup, IndexIsReadRightBehindTheDriverPathAndCutTo32Bits) {
    struct Case {
        const char* instance;
        std::uint32_t index;
    };
    const Case cases[] = {
        {"12ab", 12},       // the number ends at the first non-digit
        {"X", 0},           // no digits there read as 0
        {"4294967298", 2},  // read as unsigned long, then cut to 32 bits
    };
    platform::CGDirectDisplayID id = 0x4000;
    for (const auto& c : cases) {
        auto spec = adapter(++id, 1);
        spec.display.modelNumber = id;  // one matching entry per display
        spec.instanceText = c.instance;
        place(spec);
        EXPECT_EQ(lookUp(id), c.index) << c.instance;
    }

    // All ones counts as no match: the walk goes on, here to an equal monitor further on.
    auto wrapped = adapter(0x4100, 1);
    wrapped.display.modelNumber = 0x4100;
    wrapped.instanceText = "-1";
    place(wrapped);
    EXPECT_EQ(lookUp(0x4100), kNotFound);
    auto equal = adapter(0x4101, 5);
    equal.display.modelNumber = 0x4100;
    place(equal);
    EXPECT_EQ(lookUp(0x4100), 5u);
}

TEST_F(NewerRegistryLookup, EachCandidateWritesFiveVerboseLines) {
    place(adapter(0x1001, 1));
    agent.logger().setVerbosity(sys::Logger::VERBOSE, false);
    agent.newLines();
    EXPECT_EQ(lookUp(0x1001), 1u);
    const std::string path =
        std::string(managerDriverPath) + "1/QuintorFramebuffer@4097/display0/IODisplay";
    EXPECT_EQ(
        agent.newLines(),
        (Lines{// the machine's own display comes first in the registry
               "VERBOSE displayModel:5943", "VERBOSE displayVendor:10ac",
               "VERBOSE AppleDiplay registry path:IOService:/PCI0@0/GFX0@2/"
               "Framebuffer@69734272/display0/IODisplay",
               "VERBOSE getDisplayProductId:0",
               // then the adapter
               "VERBOSE displayModel:5943", "VERBOSE displayVendor:10ac",
               "VERBOSE AppleDiplay registry path:" + path, "VERBOSE getDisplayProductId:5943",
               "VERBOSE getDisplayVendorId:10ac", "DEBUG Found FB index:1001 index:1"}));
}

}  // namespace
}  // namespace qn::app::osx::qnuapp
