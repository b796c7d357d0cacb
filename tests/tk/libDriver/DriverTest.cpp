#include <gtest/gtest.h>

#include <cstring>

#include "tests/tk/TkTestSupport.h"
#include "tk/libDriver/MacMemoryMapper.h"
#include "tk/libDriver/MemoryMapRecord.h"
#include "tk/libDriver/osx/MacDriverControl.h"

namespace qn::tk::driver {
namespace {

using Lines = std::vector<std::string>;
using platform::sim::SimUserClientCall;

// The record's fields, unpacked (the packed ones cannot be bound to references).
struct Fields {
    std::uint32_t size;
    std::uint64_t sourceAddress;
    std::uint64_t mappedAddress;
};
Fields fields(const MemoryMapRecord& record) {
    return Fields{record.size, record.sourceAddress, record.mappedAddress};
}
Fields decode(const std::vector<std::uint8_t>& bytes) {
    MemoryMapRecord record;
    EXPECT_EQ(bytes.size(), sizeof(record));
    std::memcpy(&record, bytes.data(), std::min(bytes.size(), sizeof(record)));
    return fields(record);
}

TEST(MacDriverControl, OpensTheInstanceWhoseNameEndsInItsIndex) {
    testing::TkHost tk("MacDriverControl");
    auto& ioKit = tk.host().ioKit();
    tk.world().adapterDriver(1);
    const auto three = tk.world().adapterDriver(3);
    tk.world().adapterDriver(13);
    // A second instance of the same name: the first from the iterator counts.
    platform::Value name = platform::Value::dictionary();
    name.set("Name", platform::Value::string("QuintorParent3"));
    ioKit.addEntry("QuintorParent", "IOService:/IOResources/QuintorParent/Other3", name);

    {
        MacDriverControl control(3);
        EXPECT_TRUE(control.isOpen());
        EXPECT_FALSE(control.queryFlag());
        const auto lines = tk.newLines();
        ASSERT_EQ(lines.size(), 2u);
        EXPECT_EQ(lines[0].rfind("DEBUG createDriverControlSymLink(0x", 0), 0u) << lines[0];
        EXPECT_EQ(lines[1], "DEBUG Found dataPort");
        // Iterator and service are given back; one connection stands.
        EXPECT_EQ(ioKit.outstandingReferences(), 0);
        EXPECT_EQ(ioKit.openConnections(), 1u);

        ASSERT_TRUE(control.callMethod(10, nullptr, 0, nullptr, 0, "m", "c"));
        ASSERT_EQ(ioKit.calls().size(), 1u);
        EXPECT_EQ(ioKit.calls()[0].service, three);
    }
    EXPECT_EQ(ioKit.openConnections(), 0u);
    EXPECT_TRUE(tk.host().faults().empty());
}

TEST(MacDriverControl, EachFailureToOpenIsAnInfoLineAndAClosedObject) {
    testing::TkHost tk("MacDriverControl");
    auto& ioKit = tk.host().ioKit();
    tk.world().adapterDriver(2);
    auto expectClosed = [&](std::uint32_t index, const std::string& line) {
        {
            MacDriverControl control(index);
            EXPECT_FALSE(control.isOpen());
            const auto lines = tk.newLines();
            ASSERT_EQ(lines.size(), 2u);
            EXPECT_EQ(lines[1], line);
            EXPECT_FALSE(control.callMethod(7, nullptr, 0, nullptr, 0, "m", "c"));
        }
        // Deleted without a close (a close of nothing would be a recorded fault).
        EXPECT_TRUE(tk.host().faults().empty());
        EXPECT_EQ(ioKit.outstandingReferences(), 0);
    };
    expectClosed(5, "INFO Can't find service");
    ioKit.failMatching(platform::kIOReturnError);
    expectClosed(2, "INFO Can't find driver:2");
    ioKit.entry(tk.world().adapterDriver(2))->openResult = platform::kIOReturnNotOpen;
    expectClosed(2, "INFO Can't open service");
}

TEST(MacDriverControl, SelectorElevenMapsTheConnectionsMemoryIntoTheRecord) {
    testing::TkHost tk("MacDriverControl");
    auto& ioKit = tk.host().ioKit();
    const auto driver = tk.world().adapterDriver(0);
    ioKit.setMappedMemory(driver, 0x7000'1000, 0x2000);
    MacDriverControl control(0);
    MemoryMapRecord record;
    record.sourceAddress = 0x55;
    ASSERT_TRUE(
        control.callMethod(kMemoryMapSelector, nullptr, 0, &record, sizeof(record), "m", "c"));
    EXPECT_EQ(fields(record).mappedAddress, 0x7000'1000u);
    // The platform's 64-bit size lands on the record's first eight bytes.
    EXPECT_EQ(fields(record).size, 0x2000u);
    ASSERT_EQ(ioKit.calls().size(), 1u);
    const auto& call = ioKit.calls()[0];
    EXPECT_EQ(call.kind, SimUserClientCall::Kind::MapMemory);
    EXPECT_EQ(call.selector, 0u);
    EXPECT_EQ(call.options, platform::kIOMapAnywhere);

    ioKit.setMappedMemory(driver, 0, 0, platform::kIOReturnError);
    EXPECT_FALSE(
        control.callMethod(kMemoryMapSelector, nullptr, 0, &record, sizeof(record), "m", "c"));
}

TEST(MacMemoryMapper, EachOperationIsOneDriverCallWithTheTwentyByteRecord) {
    testing::TkHost tk("MacDriverControl");
    auto& ioKit = tk.host().ioKit();
    const auto driver = tk.world().adapterDriver(4);
    MemoryMapperFactory factory;
    DriverControlFactory controls;
    auto mapper = factory.create(controls.create(1, 4));

    EXPECT_TRUE(mapper->releaseAll());
    EXPECT_TRUE(mapper->prepare(0xABCDEF0123, 0x5000));
    // The simulated driver maps a registered region onto itself.
    EXPECT_EQ(mapper->map(0xABCDEF0123), 0xABCDEF0123u);
    EXPECT_TRUE(mapper->release(0xABCDEF0123));

    const auto& calls = ioKit.calls();
    ASSERT_EQ(calls.size(), 4u);
    for (const auto& call : calls) {
        EXPECT_TRUE(call.scalarInput.empty());
        EXPECT_EQ(call.service, driver);
    }
    EXPECT_EQ(calls[0].selector, 10u);
    EXPECT_TRUE(calls[0].structInput.empty());
    EXPECT_FALSE(calls[0].hasStructOutput);

    EXPECT_EQ(calls[1].selector, 7u);
    const auto prepared = decode(calls[1].structInput);
    EXPECT_EQ(prepared.size, 0x5000u);
    EXPECT_EQ(prepared.sourceAddress, 0xABCDEF0123u);
    EXPECT_EQ(prepared.mappedAddress, 0u);
    EXPECT_FALSE(calls[1].hasStructOutput);

    EXPECT_EQ(calls[2].selector, 8u);
    EXPECT_EQ(decode(calls[2].structInput).size, 0u);
    EXPECT_TRUE(calls[2].hasStructOutput);
    EXPECT_EQ(calls[2].structOutputCapacity, 20u);

    EXPECT_EQ(calls[3].selector, 9u);
    EXPECT_EQ(decode(calls[3].structInput).sourceAddress, 0xABCDEF0123u);
    EXPECT_FALSE(calls[3].hasStructOutput);

    // A size above 32 bits cannot be told: the field is 32 bits wide.
    EXPECT_TRUE(mapper->prepare(1, static_cast<std::uint32_t>(0x1'0000'0010ull)));
    EXPECT_EQ(decode(ioKit.calls().back().structInput).size, 0x10u);
}

TEST(MacMemoryMapper, RefusedCallsAndAClosedConnectionGiveFalseOrZero) {
    testing::TkHost tk("MacDriverControl");
    auto& ioKit = tk.host().ioKit();
    const auto driver = tk.world().adapterDriver(4);
    MemoryMapperFactory factory;
    DriverControlFactory controls;
    auto mapper = factory.create(controls.create(1, 4));
    for (std::uint32_t selector = 7; selector <= 10; ++selector) {
        ioKit.setMethodResult(driver, selector, platform::kIOReturnError);
    }
    EXPECT_FALSE(mapper->prepare(1, 2));
    EXPECT_EQ(mapper->map(1), 0u);
    EXPECT_FALSE(mapper->release(1));
    EXPECT_FALSE(mapper->releaseAll());
    EXPECT_EQ(ioKit.calls().size(), 4u);

    // No driver of index 9: nothing reaches the registry's user clients.
    auto closed = factory.create(controls.create(1, 9));
    EXPECT_FALSE(closed->prepare(1, 2));
    EXPECT_EQ(closed->map(1), 0u);
    EXPECT_FALSE(closed->release(1));
    EXPECT_FALSE(closed->releaseAll());
    EXPECT_EQ(ioKit.calls().size(), 4u);
}

}  // namespace
}  // namespace qn::tk::driver
