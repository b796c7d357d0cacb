#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <atomic>
#include <cstring>
#include <filesystem>
#include <fstream>
#include <thread>

#include <gtest/gtest.h>

#include "platform/linux/driver/DriverDirectory.h"
#include "platform/linux/driver/DriverEndpointServer.h"
#include "platform/linux/driver/DriverServices.h"
#include "platform/linux/surface/SurfacePool.h"
#include "platform/linux/surface/SurfaceRegistry.h"
#include "tests/platform/linux/LinuxTestLog.h"

namespace qn::platform::linux_host {
namespace {

// A server answering on its own thread, as the Manager does in its own process.
class ServedEndpoint {
  public:
    ServedEndpoint(const std::string& dir, std::uint32_t index) : server(dir, index) {
        server.setObserver(
            [this](std::uint32_t selector, const MemoryMapRecord& record, IOReturn result) {
                if (selector == kMemoryMapRegisterSourceAddressMethod && result == 0) {
                    // Read through what the agent handed over, while the agent still waits.
                    const auto* frame = server.frame(record.sourceAddress);
                    firstByteSeen = frame != nullptr ? frame->data[0] : -1;
                    viewAddress = reinterpret_cast<std::uintptr_t>(frame->data);
                }
                ++answered;
            });
        m_thread = std::thread([this] {
            while (!m_stop) {
                server.serveOnce(20);
            }
        });
    }
    ~ServedEndpoint() {
        m_stop = true;
        m_thread.join();
    }

    DriverEndpointServer server;
    std::atomic<int> answered{0};
    std::atomic<int> firstByteSeen{-1};
    std::atomic<std::uint64_t> viewAddress{0};

  private:
    std::atomic<bool> m_stop{false};
    std::thread m_thread;
};

class DriverEndpoint : public ::testing::Test {
  protected:
    DriverEndpoint() : log("DriverServices"), services(surfaces, log.object(), 5000) {
        DriverDirectory::set(dir.path());
    }
    ~DriverEndpoint() override { DriverDirectory::set(DriverDirectory::builtIn()); }

    io_connect_t open(std::uint32_t index) {
        Value matching = Value::dictionary();
        matching.set(kIOProviderClassKey, Value::string("QuintorParent"));
        Value byName = Value::dictionary();
        byName.set("Name", Value::string("QuintorParent" + std::to_string(index)));
        matching.set(kIOPropertyMatchKey, byName);
        io_iterator_t it = 0;
        EXPECT_EQ(services.IOServiceGetMatchingServices(matching, &it), KERN_SUCCESS);
        const io_service_t service = services.IOIteratorNext(it);
        services.IOObjectRelease(it);
        io_connect_t connection = 0;
        if (service != 0) {
            EXPECT_EQ(services.IOServiceOpen(service, 0, &connection), KERN_SUCCESS);
            services.IOObjectRelease(service);
        }
        return connection;
    }

    kern_return_t call(io_connect_t c, std::uint32_t selector, const MemoryMapRecord& in,
                       MemoryMapRecord* out = nullptr) {
        const auto bytes = in.encode();
        std::array<std::uint8_t, 20> outBytes{};
        std::size_t outSize = out ? outBytes.size() : 0;
        const auto result = services.IOConnectCallMethod(
            c, selector, nullptr, 0, bytes.data(), bytes.size(), nullptr, nullptr,
            out ? outBytes.data() : nullptr, out ? &outSize : nullptr);
        if (out) {
            *out = MemoryMapRecord::decode(outBytes.data(), outSize).value_or(MemoryMapRecord{});
        }
        return result;
    }

    testing::ScratchDir dir;
    testing::TestLog log;
    SurfaceRegistry surfaces;
    DriverServices services;
};

TEST_F(DriverEndpoint, FindsTheInstanceByClassAndName) {
    DriverEndpointServer one(dir.path(), 1);
    DriverEndpointServer three(dir.path(), 3, 0600);
    struct stat st {};
    ASSERT_EQ(::stat(one.path().c_str(), &st), 0);
    EXPECT_EQ(st.st_mode & 0777, 0666u);
    ASSERT_EQ(::stat(three.path().c_str(), &st), 0);
    EXPECT_EQ(st.st_mode & 0777, 0600u);
    std::ofstream(dir / "QuintorParent2") << "not a socket";
    std::ofstream(dir / "QuintorParentX") << "";

    Value byClass = Value::dictionary();
    byClass.set(kIOProviderClassKey, Value::string("QuintorParent"));
    io_iterator_t it = 0;
    ASSERT_EQ(services.IOServiceGetMatchingServices(byClass, &it), KERN_SUCCESS);
    std::vector<std::string> names;
    while (const io_service_t s = services.IOIteratorNext(it)) {
        EXPECT_TRUE(services.owns(s));
        names.push_back(services.IORegistryEntryCreateCFProperty(s, "Name").stringValue());
        services.IOObjectRelease(s);
    }
    services.IOObjectRelease(it);
    EXPECT_EQ(names, (std::vector<std::string>{"QuintorParent1", "QuintorParent3"}));

    EXPECT_NE(open(3), 0u);
    EXPECT_EQ(open(2), 0u);
    EXPECT_EQ(services.openConnections(), 1u);

    // A registry kept elsewhere opens by name; only an instance name is taken.
    io_connect_t byName = 0;
    EXPECT_EQ(services.openInstance("QuintorParent1", &byName), KERN_SUCCESS);
    EXPECT_TRUE(services.owns(byName));
    EXPECT_EQ(services.openInstance("../QuintorParent1", &byName), kIOReturnBadArgument);
    EXPECT_EQ(services.openInstance("QuintorParent9", &byName), kIOReturnNoDevice);
}

TEST_F(DriverEndpoint, PrepareHandsTheSurfaceOverOnceAndThePeerReadsIt) {
    ServedEndpoint endpoint(dir.path(), 0);
    const io_connect_t c = open(0);
    ASSERT_NE(c, 0u);
    SurfacePool pool(surfaces, 2);
    pool.resize(64, 32);
    MemfdSurface* s = pool.at(pool.acquire());
    const auto address = reinterpret_cast<std::uintptr_t>(s->baseAddress());
    const auto size = static_cast<std::uint32_t>(s->allocSize());
    std::memset(s->baseAddress(), 0x37, s->allocSize());

    EXPECT_EQ(call(c, kMemoryMapReleaseAllSourceAddressMethod, {}), KERN_SUCCESS);
    ASSERT_EQ(call(c, kMemoryMapRegisterSourceAddressMethod, {size, address, 0}), KERN_SUCCESS);
    // The peer had read the frame before the call returned, through its own mapping.
    EXPECT_EQ(endpoint.firstByteSeen, 0x37);
    EXPECT_NE(endpoint.viewAddress, address);
    EXPECT_EQ(call(c, kMemoryMapReleaseSourceAddressMethod, {0, address, 0}), KERN_SUCCESS);
    EXPECT_EQ(call(c, kMemoryMapReleaseSourceAddressMethod, {0, address, 0}), kIOReturnNotFound);

    // The second prepare of the same surface goes without a descriptor and still works:
    // the peer sees the new pixels in the memory it already holds.
    s->baseAddress()[0] = 0x42;
    const int fdsBefore =
        static_cast<int>(std::distance(std::filesystem::directory_iterator("/proc/self/fd"),
                                       std::filesystem::directory_iterator()));
    ASSERT_EQ(call(c, kMemoryMapRegisterSourceAddressMethod, {size, address, 0}), KERN_SUCCESS);
    EXPECT_EQ(endpoint.firstByteSeen, 0x42);
    const int fdsAfter =
        static_cast<int>(std::distance(std::filesystem::directory_iterator("/proc/self/fd"),
                                       std::filesystem::directory_iterator()));
    EXPECT_EQ(fdsAfter, fdsBefore);

    MemoryMapRecord mapped;
    ASSERT_EQ(call(c, kMemoryMapMapSourceAddressMethod, {0, address, 0}, &mapped), KERN_SUCCESS);
    EXPECT_EQ(mapped.sourceAddress, address);
    EXPECT_EQ(mapped.mappedAddress, endpoint.viewAddress);
}

TEST_F(DriverEndpoint, RefusesWhatItCannotShare) {
    ServedEndpoint endpoint(dir.path(), 0);
    const io_connect_t c = open(0);
    ASSERT_NE(c, 0u);
    int onStack = 0;
    const auto foreign = reinterpret_cast<std::uintptr_t>(&onStack);
    EXPECT_EQ(call(c, kMemoryMapRegisterSourceAddressMethod, {4, foreign, 0}),
              kIOReturnBadArgument);
    EXPECT_EQ(endpoint.answered, 0);  // never reached the peer
    EXPECT_EQ(call(c, kMemoryMapReleaseSourceAddressMethod, {0, foreign, 0}), kIOReturnNotFound);

    mach_vm_address_t at = 0;
    mach_vm_size_t size = 0;
    EXPECT_NE(services.IOConnectMapMemory(c, 0, &at, &size, kIOMapAnywhere), KERN_SUCCESS);
    const auto lines = log.messages("DriverServices");
    ASSERT_EQ(lines.size(), 2u);
    EXPECT_EQ(lines[0],
              "IOConnectCallMethod: no frame surface at the address given to "
              "QuintorParent0");
    EXPECT_EQ(lines[1], "IOConnectMapMemory: no driver memory to map (connection " +
                            std::to_string(c) + ", type 0)");
}

TEST_F(DriverEndpoint, APeerThatWentAwayIsConnectedAgainOnceItIsBack) {
    MemfdSurface* surface = MemfdSurface::create(surfaces, 16, 4);
    surface->baseAddress()[0] = 0x5a;
    const MemoryMapRecord frame{static_cast<std::uint32_t>(surface->allocSize()),
                                reinterpret_cast<std::uintptr_t>(surface->baseAddress()), 0};
    io_connect_t c = 0;
    {
        ServedEndpoint first(dir.path(), 5);
        c = open(5);
        ASSERT_NE(c, 0u);
        EXPECT_EQ(call(c, kMemoryMapRegisterSourceAddressMethod, frame), KERN_SUCCESS);
    }
    // Gone: this call finds out, the next ones cannot connect (said once).
    EXPECT_EQ(call(c, kMemoryMapReleaseAllSourceAddressMethod, {}), kIOReturnNotOpen);
    EXPECT_EQ(call(c, kMemoryMapReleaseAllSourceAddressMethod, {}), kIOReturnNotOpen);
    EXPECT_EQ(call(c, kMemoryMapReleaseAllSourceAddressMethod, {}), kIOReturnNotOpen);
    EXPECT_EQ(services.openConnections(), 1u);
    {
        // Back at the same name: the surface goes over again, with its descriptor.
        ServedEndpoint second(dir.path(), 5);
        EXPECT_EQ(call(c, kMemoryMapRegisterSourceAddressMethod, frame), KERN_SUCCESS);
        EXPECT_EQ(second.firstByteSeen, 0x5a);
    }
    EXPECT_EQ(services.IOServiceClose(c), KERN_SUCCESS);
    EXPECT_EQ(services.openConnections(), 0u);
    surface->release();
    EXPECT_EQ(log.messages("DriverServices"),
              (std::vector<std::string>{"IOConnectCallMethod: QuintorParent5 has gone",
                                        "IOConnectCallMethod: cannot connect to QuintorParent5 "
                                        "again: No such file or directory",
                                        "IOConnectCallMethod: connected to QuintorParent5 again"}));
}

}  // namespace
}  // namespace qn::platform::linux_host
