// The IOKit port with the driver beside a registry: what belongs to the driver reaches the
// endpoint, everything else the registry, and neither sees the other's objects.

#include <gtest/gtest.h>

#include <atomic>
#include <thread>

#include "platform/linux/driver/DriverDirectory.h"
#include "platform/linux/driver/DriverEndpointServer.h"
#include "platform/linux/driver/DriverRoutedIOKit.h"
#include "platform/linux/surface/SurfaceRegistry.h"
#include "tests/platform/linux/LinuxTestLog.h"

namespace qn::platform::linux_host {
namespace {

// A registry that hands out its own small ids and records every call by name.
class RecordingRegistry : public IOKit {
  public:
    std::vector<std::string> calls;

    task_port_t mach_task_self() override { return 0x103; }
    Value IOServiceMatching(const char* name) override {
        auto m = Value::dictionary();
        m.set(kIOProviderClassKey, Value::string(name));
        return m;
    }
    kern_return_t IOServiceGetMatchingServices(mach_port_t, Value matching,
                                               io_iterator_t* existing) override {
        calls.push_back("match " + matching.get(kIOProviderClassKey).stringValue());
        *existing = 0x2001;
        return KERN_SUCCESS;
    }
    io_object_t IOIteratorNext(io_iterator_t it) override {
        calls.push_back("next " + std::to_string(it));
        return 0;
    }
    kern_return_t IOObjectRelease(io_object_t o) override {
        calls.push_back("release " + std::to_string(o));
        return KERN_SUCCESS;
    }
    kern_return_t IORegistryEntryGetChildEntry(io_registry_entry_t, const char*,
                                               io_registry_entry_t*) override {
        return kIOReturnNotFound;
    }
    kern_return_t IORegistryEntryGetPath(io_registry_entry_t, const char*, io_string_t) override {
        return kIOReturnNotFound;
    }
    Value IORegistryEntryCreateCFProperty(io_registry_entry_t e, const std::string& key,
                                          IOOptionBits) override {
        calls.push_back("property " + std::to_string(e) + " " + key);
        return Value();
    }
    Value IODisplayCreateInfoDictionary(io_service_t, IOOptionBits) override { return Value(); }
    kern_return_t IOServiceOpen(io_service_t s, task_port_t, std::uint32_t,
                                io_connect_t*) override {
        calls.push_back("open " + std::to_string(s));
        return kIOReturnNoDevice;
    }
    kern_return_t IOServiceClose(io_connect_t c) override {
        calls.push_back("close " + std::to_string(c));
        return kIOReturnNotOpen;
    }
    kern_return_t IOConnectCallMethod(io_connect_t c, std::uint32_t selector, const std::uint64_t*,
                                      std::uint32_t, const void*, std::size_t, std::uint64_t*,
                                      std::uint32_t*, void*, std::size_t*) override {
        calls.push_back("call " + std::to_string(c) + " " + std::to_string(selector));
        return kIOReturnNotOpen;
    }
    kern_return_t IOConnectMapMemory(io_connect_t c, std::uint32_t, task_port_t, mach_vm_address_t*,
                                     mach_vm_size_t*, IOOptionBits) override {
        calls.push_back("map " + std::to_string(c));
        return kIOReturnNotOpen;
    }
};

class DriverRoutedIOKitTest : public ::testing::Test {
  protected:
    DriverRoutedIOKitTest() : log("Unused"), ioKit(registry, surfaces) {
        DriverDirectory::set(dir.path());
    }
    ~DriverRoutedIOKitTest() override { DriverDirectory::set(DriverDirectory::builtIn()); }

    testing::ScratchDir dir;
    // The current logger, which the driver services' log object joins when it is made.
    testing::TestLog log;
    SurfaceRegistry surfaces;
    RecordingRegistry registry;
    DriverRoutedIOKit ioKit;
};

TEST_F(DriverRoutedIOKitTest, TheDriversObjectsGoToTheEndpointAndTheRestToTheRegistry) {
    DriverEndpointServer endpoint(dir.path(), 4);
    std::atomic<bool> stop{false};
    std::thread peer([&] {
        while (!stop) {
            endpoint.serveOnce(20);
        }
    });

    // The display registry's walk never makes the driver services.
    io_iterator_t displays = 0;
    ASSERT_EQ(ioKit.IOServiceGetMatchingServices(0, ioKit.IOServiceMatching("IODisplayConnect"),
                                                 &displays),
              KERN_SUCCESS);
    EXPECT_EQ(ioKit.IOIteratorNext(displays), 0u);
    ioKit.IOObjectRelease(displays);
    EXPECT_EQ(ioKit.driver(), nullptr);

    // The driver's instance by class and name, as the driver control asks for it.
    Value matching = ioKit.IOServiceMatching("QuintorParent");
    Value byName = Value::dictionary();
    byName.set("Name", Value::string("QuintorParent4"));
    matching.set(kIOPropertyMatchKey, byName);
    io_iterator_t it = 0;
    ASSERT_EQ(ioKit.IOServiceGetMatchingServices(0, matching, &it), KERN_SUCCESS);
    const io_service_t service = ioKit.IOIteratorNext(it);
    ASSERT_NE(service, 0u);
    EXPECT_EQ(ioKit.IORegistryEntryCreateCFProperty(service, "Name", 0).stringValue(),
              "QuintorParent4");
    io_connect_t connection = 0;
    ASSERT_EQ(ioKit.IOServiceOpen(service, ioKit.mach_task_self(), 0, &connection), KERN_SUCCESS);
    EXPECT_EQ(ioKit.IOObjectRelease(service), KERN_SUCCESS);
    EXPECT_EQ(ioKit.IOObjectRelease(it), KERN_SUCCESS);
    EXPECT_EQ(ioKit.IOConnectCallMethod(connection, kMemoryMapReleaseAllSourceAddressMethod,
                                        nullptr, 0, nullptr, 0, nullptr, nullptr, nullptr, nullptr),
              KERN_SUCCESS);
    ASSERT_NE(ioKit.driver(), nullptr);
    EXPECT_EQ(ioKit.driver()->openConnections(), 1u);

    // Selector 11: no driver memory exists; refused with a line, never sent.
    mach_vm_address_t address = 0;
    mach_vm_size_t size = 0;
    EXPECT_EQ(ioKit.IOConnectMapMemory(connection, 0, ioKit.mach_task_self(), &address, &size,
                                       kIOMapAnywhere),
              kIOReturnError);
    EXPECT_EQ(ioKit.IOServiceClose(connection), KERN_SUCCESS);
    EXPECT_EQ(ioKit.driver()->openConnections(), 0u);

    // An id the driver never made is the registry's, even once the driver exists.
    EXPECT_EQ(ioKit.IOServiceClose(0x2002), kIOReturnNotOpen);
    EXPECT_EQ(ioKit.IOConnectCallMethod(0x2002, 7, nullptr, 0, nullptr, 0, nullptr, nullptr,
                                        nullptr, nullptr),
              kIOReturnNotOpen);
    stop = true;
    peer.join();

    EXPECT_EQ(registry.calls,
              (std::vector<std::string>{"match IODisplayConnect", "next 8193", "release 8193",
                                        "close 8194", "call 8194 7"}));
    const auto lines = log.messages("DriverServices");
    ASSERT_EQ(lines.size(), 1u);
    EXPECT_EQ(lines[0], "IOConnectMapMemory: no driver memory to map (connection " +
                            std::to_string(connection) + ", type 0)");
}

}  // namespace
}  // namespace qn::platform::linux_host
