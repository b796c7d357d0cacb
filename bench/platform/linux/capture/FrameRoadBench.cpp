// The cost of one frame at 1920x1080 with a tenth of the screen changing, from pending
// damage to `frameAvailable:...` answered by qnmanager (the Manager stand-in, its own
// process on a private dbus-daemon), three ways in one run:
//   ZeroCopy     capture into the memfd surface, the driver endpoint's `prepare` round
//                trip to qnmanager (which maps the surface once and reads it in place),
//                then the call;
//   FullCopy     the same capture, the whole frame written through a Unix socket to
//                qnmanager's copy sink and its one-byte answer awaited, then the call;
//   DamagedCopy  the same, with only the dirty rectangles' bytes.
// Per frame: latency (median, p99) and the CPU time of the agent's thread. The X server's
// work (the same capture in all three), the bus daemon's and qnmanager's are not in the
// CPU figure; they are in the latency.
#include <benchmark/benchmark.h>
#include <poll.h>
#include <sys/socket.h>
#include <sys/uio.h>
#include <sys/un.h>
#include <time.h>
#include <xcb/xcb.h>

#include <algorithm>
#include <chrono>
#include <cstring>
#include <memory>
#include <stdexcept>

#include "platform/ManagerProtocol.h"
#include "platform/linux/bus/ManagerLink.h"
#include "platform/linux/capture/X11DisplayStreams.h"
#include "platform/linux/driver/DriverDirectory.h"
#include "platform/linux/driver/DriverEndpointServer.h"
#include "platform/linux/driver/DriverServices.h"
#include "platform/linux/event/LinuxNotificationCenter.h"
#include "platform/linux/surface/SurfaceRegistry.h"
#include "sys/libutils/posix/FileDescriptor.h"
#include "tests/e2e/support/TestServers.h"
#include "tests/support/XServer.h"

namespace {

using namespace qn::platform;
using namespace qn::platform::linux_host;
using qn::tests::e2e::DbusDaemon;
using qn::tests::e2e::ManagerStandIn;
using qn::tests::e2e::ScratchDirectory;
using Clock = std::chrono::steady_clock;

constexpr std::uint32_t kWidth = 1920;
constexpr std::uint32_t kHeight = 1080;
// 640 x 324 = 10 % of the screen.
constexpr std::uint16_t kChangeWidth = 640;
constexpr std::uint16_t kChangeHeight = 324;

std::int64_t threadCpuNanoseconds() {
    timespec t{};
    ::clock_gettime(CLOCK_THREAD_CPUTIME_ID, &t);
    return static_cast<std::int64_t>(t.tv_sec) * 1000000000 + t.tv_nsec;
}

class Painter {
  public:
    explicit Painter(const std::string& display) : m_c(xcb_connect(display.c_str(), nullptr)) {
        if (xcb_connection_has_error(m_c)) {
            throw std::runtime_error("cannot connect to " + display);
        }
        const xcb_screen_t* screen = xcb_setup_roots_iterator(xcb_get_setup(m_c)).data;
        m_window = xcb_generate_id(m_c);
        const std::uint32_t values[] = {screen->black_pixel, 1};
        xcb_create_window(m_c, XCB_COPY_FROM_PARENT, m_window, screen->root, 0, 0, kWidth, kHeight,
                          0, XCB_WINDOW_CLASS_INPUT_OUTPUT, screen->root_visual,
                          XCB_CW_BACK_PIXEL | XCB_CW_OVERRIDE_REDIRECT, values);
        xcb_map_window(m_c, m_window);
        m_gc = xcb_generate_id(m_c);
        xcb_create_gc(m_c, m_gc, m_window, 0, nullptr);
        sync();
    }
    ~Painter() { xcb_disconnect(m_c); }
    void change(std::uint32_t frame) {
        const std::uint32_t colour = 0x203040u + frame * 0x010203u;
        xcb_change_gc(m_c, m_gc, XCB_GC_FOREGROUND, &colour);
        const xcb_rectangle_t r{700, 400, kChangeWidth, kChangeHeight};
        xcb_poly_fill_rectangle(m_c, m_window, m_gc, 1, &r);
        sync();
    }
    void sync() { std::free(xcb_get_input_focus_reply(m_c, xcb_get_input_focus(m_c), nullptr)); }

  private:
    xcb_connection_t* m_c;
    xcb_window_t m_window = 0;
    xcb_gcontext_t m_gc = 0;
};

bool sendAll(int socket, iovec* iov, std::size_t count) {
    msghdr msg{};
    while (count > 0) {
        msg.msg_iov = iov;
        msg.msg_iovlen = std::min<std::size_t>(count, 1024);
        ssize_t sent = ::sendmsg(socket, &msg, MSG_NOSIGNAL);
        if (sent < 0) {
            return false;
        }
        while (count > 0 && sent >= static_cast<ssize_t>(iov->iov_len)) {
            sent -= static_cast<ssize_t>(iov->iov_len);
            ++iov;
            --count;
        }
        if (count > 0) {
            iov->iov_base = static_cast<std::uint8_t*>(iov->iov_base) + sent;
            iov->iov_len -= static_cast<std::size_t>(sent);
        }
    }
    return true;
}

std::unique_ptr<qn::test::XServer> startXvfb() {
    std::string error;
    auto server = qn::test::XServer::start(qn::test::XServer::Kind::Xvfb, &error);
    if (!server) {
        throw std::runtime_error(error);
    }
    return server;
}

int openPrivate(const std::string& address, sd_bus** bus) {
    int r = sd_bus_new(bus);
    if (r >= 0)
        r = sd_bus_set_address(*bus, address.c_str());
    if (r >= 0)
        r = sd_bus_set_bus_client(*bus, 1);
    if (r >= 0)
        r = sd_bus_start(*bus);
    return r;
}

qn::sys::FileDescriptor connectTo(const std::string& path) {
    qn::sys::FileDescriptor fd(::socket(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0));
    sockaddr_un address{};
    address.sun_family = AF_UNIX;
    std::strncpy(address.sun_path, path.c_str(), sizeof address.sun_path - 1);
    if (::connect(fd.get(), reinterpret_cast<const sockaddr*>(&address), sizeof address) != 0) {
        throw std::runtime_error("cannot connect to the copy sink at " + path);
    }
    return fd;
}

std::vector<std::string> standInArguments(const ScratchDirectory& scratch) {
    setenv("QN_TEST_SOURCE_DIR", QN_E2E_SOURCE_DIR, 0);
    setenv("QN_QNMANAGER", QN_E2E_QNMANAGER, 0);
    return {"--driver-dir", scratch.path(),           "--driver-index", "0",
            "--copy-sink",  scratch.file("copy-sink")};
}

struct World {
    std::unique_ptr<qn::test::XServer> xvfb = startXvfb();
    Painter painter{xvfb->display()};
    ScratchDirectory scratch;
    DbusDaemon bus{scratch, DbusDaemon::Kind::Session};
    // Ready once it owns the name, with the endpoint and the sink listening.
    ManagerStandIn standIn{bus.address(), standInArguments(scratch), "/dev/null"};
    qn::sys::Logger::Logged log{*qn::sys::Logger::instance(), "FrameRoadBench", ""};
    SurfaceRegistry registry;
    DriverServices services{registry, log, 5000};
    io_connect_t connection = 0;
    EventLoop loop;
    MainQueue mainQueue{loop};
    LinuxNotificationCenter defaultCenter{mainQueue, LinuxNotificationCenter::Delivery::Immediate};
    LinuxNotificationCenter distributed{mainQueue, LinuxNotificationCenter::Delivery::NextTurn};
    ManagerLink link{loop, mainQueue, defaultCenter, distributed,
                     [address = bus.address()](sd_bus** b) { return openPrivate(address, b); }};
    QNUAMessageHandlerProxy proxy{link.lookUp(kManagerRegisteredName)};
    qn::sys::FileDescriptor copySocket = connectTo(scratch.file("copy-sink"));
    std::unique_ptr<X11DisplayStreams> streams;

    World() {
        if (!proxy) {
            throw std::runtime_error("no Manager on the bus");
        }
        DriverDirectory::set(scratch.path());
        Value matching = Value::dictionary();
        matching.set(kIOProviderClassKey, Value::string("QuintorParent"));
        io_iterator_t it = 0;
        services.IOServiceGetMatchingServices(matching, &it);
        const io_service_t service = services.IOIteratorNext(it);
        if (service == 0 || services.IOServiceOpen(service, 0, &connection) != KERN_SUCCESS) {
            throw std::runtime_error("qnmanager's driver endpoint did not open");
        }
        // A tiny refresh period: the benchmark paces the frames itself.
        streams = std::make_unique<X11DisplayStreams>(
            XcbConnection::open(xvfb->display().c_str()), registry, log, [](CGDirectDisplayID) {
                return DisplayArea{0, 0, kWidth, kHeight, 1e6};
            });
    }
};

World& world() {
    static World instance;
    return instance;
}

enum class Road { ZeroCopy, FullCopy, DamagedCopy };

constexpr CGDirectDisplayID kDisplay = 1;

// The bounds of the dirty rectangles: what the call tells the Manager changed.
CGRect dirtyBounds(CGDisplayStreamUpdateRef update, const CGRect*& rects, std::size_t& count) {
    rects = X11DisplayStreams::CGDisplayStreamUpdateGetRects(
        update, kCGDisplayStreamUpdateDirtyRects, &count);
    if (count == 0) {
        return CGRectMake(0, 0, 0, 0);
    }
    double x0 = rects[0].origin.x, y0 = rects[0].origin.y;
    double x1 = x0 + rects[0].size.width, y1 = y0 + rects[0].size.height;
    for (std::size_t i = 1; i < count; ++i) {
        x0 = std::min(x0, rects[i].origin.x);
        y0 = std::min(y0, rects[i].origin.y);
        x1 = std::max(x1, rects[i].origin.x + rects[i].size.width);
        y1 = std::max(y1, rects[i].origin.y + rects[i].size.height);
    }
    return CGRectMake(x0, y0, x1 - x0, y1 - y0);
}

bool copyThroughSocket(World& w, Road road, MemfdSurface* surface, const CGRect* rects,
                       std::size_t count) {
    std::vector<iovec> iov(1);
    std::uint32_t length = 0;
    if (road == Road::FullCopy) {
        iov.push_back({surface->baseAddress(), surface->allocSize()});
        length = static_cast<std::uint32_t>(surface->allocSize());
    } else {
        for (std::size_t i = 0; i < count; ++i) {
            const auto x = static_cast<std::size_t>(rects[i].origin.x);
            const auto y = static_cast<std::size_t>(rects[i].origin.y);
            const auto rowBytes = static_cast<std::size_t>(rects[i].size.width) * 4;
            for (std::size_t row = 0; row < static_cast<std::size_t>(rects[i].size.height); ++row) {
                iov.push_back({surface->baseAddress() + (y + row) * surface->bytesPerRow() + x * 4,
                               rowBytes});
                length += static_cast<std::uint32_t>(rowBytes);
            }
        }
    }
    iov[0] = {&length, sizeof(length)};
    char ack = 0;
    return sendAll(w.copySocket.get(), iov.data(), iov.size()) &&
           ::recv(w.copySocket.get(), &ack, 1, 0) == 1;
}

bool handOver(World& w, Road road, MemfdSurface* surface, CGDisplayStreamUpdateRef update) {
    const CGRect* rects = nullptr;
    std::size_t count = 0;
    const CGRect bounds = dirtyBounds(update, rects, count);
    if (road == Road::ZeroCopy) {
        const auto record =
            MemoryMapRecord{static_cast<std::uint32_t>(surface->allocSize()),
                            reinterpret_cast<std::uintptr_t>(surface->baseAddress()), 0}
                .encode();
        if (w.services.IOConnectCallMethod(w.connection, kMemoryMapRegisterSourceAddressMethod,
                                           nullptr, 0, record.data(), record.size(), nullptr,
                                           nullptr, nullptr, nullptr) != KERN_SUCCESS) {
            return false;
        }
    } else if (!copyThroughSocket(w, road, surface, rects, count)) {
        return false;
    }
    // Synchronous: back once qnmanager has answered, a failed call raises.
    try {
        w.proxy.frameAvailable_andRect_andFrameSurfaceAddr_andByteStride_andToken(
            kDisplay, bounds, reinterpret_cast<std::uintptr_t>(surface->baseAddress()),
            static_cast<std::uint32_t>(surface->bytesPerRow()), 1);
    } catch (const std::exception&) {
        return false;
    }
    return true;
}

void runRoad(benchmark::State& state, Road road) {
    World& w = world();
    std::vector<double> latencies;
    std::int64_t cpu = 0;
    Clock::time_point begin;
    bool failed = false;
    std::size_t frames = 0;
    CGDisplayStreamRef stream = w.streams->CGDisplayStreamCreateWithDispatchQueue(
        kDisplay, kWidth, kHeight, kPixelFormatBGRA, Value(), nullptr,
        [&](CGDisplayStreamFrameStatus status, std::uint64_t, IOSurfaceRef surface,
            CGDisplayStreamUpdateRef update) {
            if (status != kCGDisplayStreamFrameStatusFrameComplete) {
                return;
            }
            failed |= !handOver(w, road, static_cast<MemfdSurface*>(surface), update);
            latencies.push_back(
                std::chrono::duration<double, std::micro>(Clock::now() - begin).count());
            ++frames;
        });
    w.streams->CGDisplayStreamStart(stream);
    // The first frame is the whole screen: not what is measured.
    while (frames == 0) {
        w.streams->dispatch();
    }
    latencies.clear();
    std::uint32_t n = 0;
    for (auto _ : state) {
        state.PauseTiming();
        // qnmanager's frame releases and anything else it posted, off the clock.
        while (w.loop.runOnce(0) > 0) {
        }
        w.painter.change(++n);
        const std::size_t before = frames;
        state.ResumeTiming();
        begin = Clock::now();
        const std::int64_t cpuBefore = threadCpuNanoseconds();
        while (frames == before && !failed) {
            w.streams->dispatch();
        }
        cpu += threadCpuNanoseconds() - cpuBefore;
    }
    w.streams->CGDisplayStreamStop(stream);
    w.streams->dispatch();
    CFRelease(stream);
    if (failed || latencies.empty()) {
        state.SkipWithError("a frame did not reach qnmanager");
        return;
    }
    std::sort(latencies.begin(), latencies.end());
    state.counters["median_us"] = latencies[latencies.size() / 2];
    state.counters["p99_us"] =
        latencies[std::min(latencies.size() - 1, latencies.size() * 99 / 100)];
    state.counters["cpu_us_per_frame"] =
        static_cast<double>(cpu) / 1000.0 / static_cast<double>(latencies.size());
}

void BM_ZeroCopy(benchmark::State& state) {
    runRoad(state, Road::ZeroCopy);
}
void BM_FullCopy(benchmark::State& state) {
    runRoad(state, Road::FullCopy);
}
void BM_DamagedCopy(benchmark::State& state) {
    runRoad(state, Road::DamagedCopy);
}
BENCHMARK(BM_ZeroCopy)->Iterations(300)->UseRealTime()->Unit(benchmark::kMicrosecond);
BENCHMARK(BM_FullCopy)->Iterations(300)->UseRealTime()->Unit(benchmark::kMicrosecond);
BENCHMARK(BM_DamagedCopy)->Iterations(300)->UseRealTime()->Unit(benchmark::kMicrosecond);

}  // namespace

BENCHMARK_MAIN();
