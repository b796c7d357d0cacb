// Display streams against a real X server: frames, dirty rectangles, use counts, stop, and
// the driver endpoint's peer reading a frame through what it was handed.

#include <xcb/xcb.h>

#include <atomic>
#include <cstring>
#include <stdexcept>
#include <thread>

#include <gtest/gtest.h>

#include "platform/linux/capture/X11DisplayStreams.h"
#include "platform/linux/driver/DriverDirectory.h"
#include "platform/linux/driver/DriverEndpointServer.h"
#include "platform/linux/driver/DriverServices.h"
#include "platform/linux/surface/SurfaceRegistry.h"
#include "tests/platform/linux/LinuxTestLog.h"
#include "tests/support/XServer.h"

// Last: Xlib defines macros (None, Bool) that the headers above use as names.
#include <X11/Xlib-xcb.h>
#include <X11/Xlib.h>
#include <X11/Xutil.h>

namespace qn::platform::linux_host {
namespace {

constexpr std::uint32_t kWidth = 640;
constexpr std::uint32_t kHeight = 480;

// Draws on the screen through a connection of its own: one full-screen window.
class Painter {
  public:
    explicit Painter(const std::string& display) : m_c(xcb_connect(display.c_str(), nullptr)) {
        if (xcb_connection_has_error(m_c)) {
            throw std::runtime_error("Painter: cannot connect to " + display);
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

    void fill(std::int16_t x, std::int16_t y, std::uint16_t w, std::uint16_t h, std::uint32_t rgb) {
        xcb_change_gc(m_c, m_gc, XCB_GC_FOREGROUND, &rgb);
        const xcb_rectangle_t r{x, y, w, h};
        xcb_poly_fill_rectangle(m_c, m_window, m_gc, 1, &r);
    }
    // Returns once the server has done all drawing asked so far.
    void sync() { std::free(xcb_get_input_focus_reply(m_c, xcb_get_input_focus(m_c), nullptr)); }

  private:
    xcb_connection_t* m_c;
    xcb_window_t m_window = 0;
    xcb_gcontext_t m_gc = 0;
};

// The screen as XGetImage gives it.
class ScreenImage {
  public:
    explicit ScreenImage(const std::string& display) {
        Display* d = XOpenDisplay(display.c_str());
        if (d == nullptr) {
            throw std::runtime_error("ScreenImage: cannot open " + display);
        }
        XImage* image =
            XGetImage(d, DefaultRootWindow(d), 0, 0, kWidth, kHeight, AllPlanes, ZPixmap);
        if (image == nullptr || image->bits_per_pixel != 32) {
            throw std::runtime_error("ScreenImage: no 32-bit image");
        }
        m_bytes.resize(kWidth * kHeight * 4);
        for (std::uint32_t y = 0; y < kHeight; ++y) {
            std::memcpy(m_bytes.data() + y * kWidth * 4, image->data + y * image->bytes_per_line,
                        kWidth * 4);
        }
        XDestroyImage(image);
        XCloseDisplay(d);
    }
    // Pixels that differ in their colour bytes (the fourth byte is padding), the frame
    // showing the area of the given size at (left, top).
    std::size_t colourDifferences(const std::uint8_t* frame, std::size_t stride,
                                  const DisplayArea& area = {0, 0, kWidth, kHeight, 0}) const {
        std::size_t differences = 0;
        for (std::uint32_t y = 0; y < area.height; ++y) {
            for (std::uint32_t x = 0; x < area.width; ++x) {
                const auto* a = frame + y * stride + x * 4;
                const auto* b = m_bytes.data() + ((y + area.y) * kWidth + x + area.x) * 4;
                differences += (a[0] != b[0] || a[1] != b[1] || a[2] != b[2]) ? 1 : 0;
            }
        }
        return differences;
    }

  private:
    std::vector<std::uint8_t> m_bytes;
};

struct Delivery {
    CGDisplayStreamFrameStatus status;
    MemfdSurface* surface;
    std::vector<CGRect> rects;
};

class CaptureE2E : public ::testing::Test {
  protected:
    CaptureE2E() : xvfb(startXvfb()), painter(xvfb->display()), log("X11Capture") {}
    ~CaptureE2E() override {
        streams.reset();
        // The caller's references, as the stream wrapper would hold them.
        for (auto* stream : created) {
            CFRelease(stream);
        }
        // Every surface went with its stream.
        EXPECT_EQ(registry.size(), 0u);
    }

    void makeStreams(CaptureRung first) {
        makeStreams(first, XcbConnection::open(xvfb->display().c_str()));
    }
    void makeStreams(CaptureRung first, XcbConnection connection) {
        X11DisplayStream::Settings settings;
        settings.firstRung = first;
        streams = std::make_unique<X11DisplayStreams>(
            std::move(connection), registry, log.object(),
            [this](CGDirectDisplayID id) -> std::optional<DisplayArea> {
                if (id != 1) {
                    return std::nullopt;
                }
                return area;
            },
            settings);
    }

    CGDisplayStreamRef startStream() {
        CGDisplayStreamRef stream = streams->CGDisplayStreamCreateWithDispatchQueue(
            1, kWidth, kHeight, kPixelFormatBGRA, Value(), nullptr,
            [this](CGDisplayStreamFrameStatus status, std::uint64_t, IOSurfaceRef surface,
                   CGDisplayStreamUpdateRef update) {
                Delivery d{status, static_cast<MemfdSurface*>(surface), {}};
                std::size_t count = 0;
                const CGRect* rects = X11DisplayStreams::CGDisplayStreamUpdateGetRects(
                    update, kCGDisplayStreamUpdateDirtyRects, &count);
                d.rects.assign(rects, rects + count);
                if (onFrame) {
                    onFrame(d);
                }
                deliveries.push_back(std::move(d));
            });
        if (stream == nullptr) {
            throw std::runtime_error("no stream was made");
        }
        created.push_back(stream);
        if (streams->CGDisplayStreamStart(stream) != kCGErrorSuccess) {
            throw std::runtime_error("the stream did not start");
        }
        return stream;
    }

    // Lets the streams do all they have to do for what has been drawn so far: until they
    // wait for damage, or a dispatch at the time they asked for brings nothing twice (every
    // surface held).
    void pump() {
        painter.sync();
        int fruitless = 0;
        for (;;) {
            const std::size_t before = deliveries.size();
            streams->dispatch();
            fruitless = deliveries.size() == before ? fruitless + 1 : 0;
            const auto due = streams->nextDeadline();
            if (!due || fruitless > 2) {
                return;
            }
            std::this_thread::sleep_until(*due);
        }
    }

    std::size_t framesSoFar() const {
        return static_cast<std::size_t>(
            std::count_if(deliveries.begin(), deliveries.end(), [](const Delivery& d) {
                return d.status == kCGDisplayStreamFrameStatusFrameComplete;
            }));
    }

    static std::unique_ptr<qn::test::XServer> startXvfb() {
        std::string error;
        auto server = qn::test::XServer::start(
            qn::test::XServer::Kind::Xvfb, &error, {},
            std::to_string(kWidth) + "x" + std::to_string(kHeight) + "x24");
        if (!server) {
            throw std::runtime_error(error);
        }
        return server;
    }

    std::unique_ptr<qn::test::XServer> xvfb;
    Painter painter;
    testing::TestLog log;
    SurfaceRegistry registry;
    std::unique_ptr<X11DisplayStreams> streams;
    std::vector<Delivery> deliveries;
    std::function<void(const Delivery&)> onFrame;
    std::vector<CGDisplayStreamRef> created;
    DisplayArea area{0, 0, kWidth, kHeight, 0};
};

class CaptureRungs : public CaptureE2E, public ::testing::WithParamInterface<CaptureRung> {};

TEST_P(CaptureRungs, TheLastFrameIsTheScreenAfterDrawingStops) {
    makeStreams(GetParam());
    startStream();
    pump();
    ASSERT_EQ(framesSoFar(), 1u);
    for (int round = 0; round < 6; ++round) {
        painter.fill(static_cast<std::int16_t>(round * 70), static_cast<std::int16_t>(round * 40),
                     120, 90, 0x102030u * static_cast<std::uint32_t>(round + 1));
        painter.fill(600 - round * 50, 10, 30, 400, 0xff8000u + static_cast<std::uint32_t>(round));
        pump();
    }
    ASSERT_GE(framesSoFar(), 2u);
    const Delivery& last = deliveries.back();
    ASSERT_EQ(last.status, kCGDisplayStreamFrameStatusFrameComplete);
    const ScreenImage screen(xvfb->display());
    EXPECT_EQ(screen.colourDifferences(last.surface->baseAddress(), last.surface->bytesPerRow()),
              0u);
    const char* expected[] = {"capture by SHM segments on the frame surfaces' descriptors",
                              "capture by SHM image reads", "capture by plain image reads"};
    EXPECT_EQ(log.messages("X11Capture"),
              std::vector<std::string>{expected[static_cast<int>(GetParam())]});
}

std::string rungName(const ::testing::TestParamInfo<CaptureRung>& info) {
    static const char* const names[] = {"ShmDescriptor", "ShmImage", "Plain"};
    return names[static_cast<int>(info.param)];
}

INSTANTIATE_TEST_SUITE_P(EveryRoad, CaptureRungs,
                         ::testing::Values(CaptureRung::ShmDescriptor, CaptureRung::ShmImage,
                                           CaptureRung::Plain),
                         rungName);

TEST_F(CaptureE2E, ADirtyRectangleUnionCoversEverythingDrawn) {
    makeStreams(CaptureRung::ShmDescriptor);
    startStream();
    pump();
    deliveries.clear();
    std::vector<bool> drawn(kWidth * kHeight), reported(kWidth * kHeight);
    auto mark = [](std::vector<bool>& bitmap, int x, int y, int w, int h) {
        for (int j = std::max(0, y); j < std::min<int>(kHeight, y + h); ++j) {
            for (int i = std::max(0, x); i < std::min<int>(kWidth, x + w); ++i) {
                bitmap[j * kWidth + i] = true;
            }
        }
    };
    for (int step = 0; step < 30; ++step) {
        const int x = (step * 37) % 600, y = (step * 53) % 440, w = 10 + step, h = 12;
        painter.fill(static_cast<std::int16_t>(x), static_cast<std::int16_t>(y),
                     static_cast<std::uint16_t>(w), h,
                     0x00ff00u + static_cast<std::uint32_t>(step));
        mark(drawn, x, y, w, h);
        // Sometimes several drawings fall into one frame, sometimes one.
        if (step % 3 != 1) {
            pump();
        }
    }
    pump();
    for (const auto& d : deliveries) {
        for (const auto& r : d.rects) {
            mark(reported, static_cast<int>(r.origin.x), static_cast<int>(r.origin.y),
                 static_cast<int>(r.size.width), static_cast<int>(r.size.height));
        }
    }
    std::size_t missed = 0;
    for (std::size_t i = 0; i < drawn.size(); ++i) {
        missed += drawn[i] && !reported[i] ? 1 : 0;
    }
    EXPECT_EQ(missed, 0u);
    EXPECT_GE(framesSoFar(), 10u);
}

TEST_F(CaptureE2E, AHeldSurfaceIsNeverWrittenAndCatchesUpWhenGivenBack) {
    makeStreams(CaptureRung::ShmDescriptor);
    // The logic keeps every frame, as a Manager that never answers would make it.
    onFrame = [](const Delivery& d) {
        if (d.surface != nullptr) {
            d.surface->incrementUseCount();
        }
    };
    startStream();
    pump();
    ASSERT_EQ(framesSoFar(), 1u);
    MemfdSurface* first = deliveries[0].surface;
    const std::vector<std::uint8_t> firstBytes(first->baseAddress(),
                                               first->baseAddress() + first->allocSize());

    painter.fill(10, 10, 50, 50, 0xff0000u);
    pump();
    painter.fill(100, 100, 50, 50, 0x0000ffu);
    pump();
    ASSERT_EQ(framesSoFar(), 3u);
    // Three surfaces, all held: damage waits, no frame, no write.
    painter.fill(200, 300, 80, 20, 0x00ff00u);
    pump();
    EXPECT_EQ(framesSoFar(), 3u);
    EXPECT_TRUE(std::equal(firstBytes.begin(), firstBytes.end(), first->baseAddress()));
    for (std::size_t i = 1; i < deliveries.size(); ++i) {
        EXPECT_NE(deliveries[i].surface, first);
    }

    // Given back, the oldest surface is written again, with all it missed since frame 1.
    onFrame = nullptr;
    first->decrementUseCount();
    streams->dispatch();
    pump();
    ASSERT_EQ(framesSoFar(), 4u);
    EXPECT_EQ(deliveries.back().surface, first);
    // The update tells only what changed since the previous frame.
    ASSERT_EQ(deliveries.back().rects.size(), 1u);
    EXPECT_EQ(deliveries.back().rects[0], CGRectMake(200, 300, 80, 20));
    const ScreenImage screen(xvfb->display());
    EXPECT_EQ(screen.colourDifferences(first->baseAddress(), first->bytesPerRow()), 0u);
}

TEST_F(CaptureE2E, StreamsOnAConnectionBorrowedFromXlib) {
    // As the agent runs: Xlib owns the connection and its event queue, the streams only
    // send requests and read their replies on it.
    Display* owner = XOpenDisplay(xvfb->display().c_str());
    ASSERT_NE(owner, nullptr);
    makeStreams(CaptureRung::ShmDescriptor, XcbConnection::borrow(XGetXCBConnection(owner)));
    EXPECT_EQ(streams->fd(), ConnectionNumber(owner));
    startStream();
    pump();
    painter.fill(5, 5, 300, 200, 0x00ffffu);
    pump();
    ASSERT_EQ(framesSoFar(), 2u);
    const ScreenImage screen(xvfb->display());
    EXPECT_EQ(screen.colourDifferences(deliveries.back().surface->baseAddress(),
                                       deliveries.back().surface->bytesPerRow()),
              0u);
    streams.reset();
    XCloseDisplay(owner);
}

TEST_F(CaptureE2E, AMovedAndResizedDisplayStartsOverInANewPool) {
    makeStreams(CaptureRung::ShmDescriptor);
    startStream();
    painter.fill(0, 0, 640, 480, 0x404040u);
    painter.fill(120, 60, 200, 100, 0xc03000u);
    pump();
    const std::size_t before = framesSoFar();
    MemfdSurface* old = deliveries.back().surface;
    old->retain();

    area = DisplayArea{100, 50, 320, 240, 0};
    streams->displaysChanged();
    pump();
    ASSERT_EQ(framesSoFar(), before + 1);
    const Delivery& resized = deliveries.back();
    EXPECT_EQ(resized.surface->width(), 320u);
    EXPECT_EQ(resized.surface->height(), 240u);
    EXPECT_EQ(resized.rects, (std::vector<CGRect>{CGRectMake(0, 0, 320, 240)}));
    // The frame held from before the change is still whole.
    EXPECT_EQ(old->width(), kWidth);
    old->release();

    // Rectangles are in the display's own pixels, and only its area is watched.
    painter.fill(150, 100, 20, 20, 0x00c0c0u);
    painter.fill(600, 400, 20, 20, 0x00c0c0u);
    pump();
    ASSERT_EQ(framesSoFar(), before + 2);
    EXPECT_EQ(deliveries.back().rects, (std::vector<CGRect>{CGRectMake(50, 50, 20, 20)}));
    const ScreenImage screen(xvfb->display());
    EXPECT_EQ(screen.colourDifferences(deliveries.back().surface->baseAddress(),
                                       deliveries.back().surface->bytesPerRow(), area),
              0u);
}

TEST_F(CaptureE2E, StopDeliversTheStoppedStatusOnceAndNothingAfter) {
    makeStreams(CaptureRung::ShmDescriptor);
    CGDisplayStreamRef stream = startStream();
    pump();
    painter.fill(0, 0, 10, 10, 0xffffffu);
    ASSERT_EQ(streams->CGDisplayStreamStop(stream), kCGErrorSuccess);
    pump();
    painter.fill(20, 20, 10, 10, 0xffffffu);
    pump();
    ASSERT_EQ(deliveries.size(), 2u);
    EXPECT_EQ(deliveries[1].status, kCGDisplayStreamFrameStatusStopped);
    EXPECT_EQ(deliveries[1].surface, nullptr);
    EXPECT_EQ(streams->activeStreams(), 0u);
    // The caller's reference is all that is left; the pool's surfaces are gone.
    EXPECT_EQ(stream->retainCount(), 1);
    EXPECT_EQ(registry.size(), 0u);
    EXPECT_EQ(streams->CGDisplayStreamStart(stream), kCGErrorInvalidOperation);
}

TEST_F(CaptureE2E, ThePeerReadsTheFrameOnlyThroughWhatItWasHanded) {
    testing::ScratchDir dir;
    DriverDirectory::set(dir.path());
    DriverEndpointServer server(dir.path(), 0);
    std::atomic<std::size_t> peerDifferences{~std::size_t{0}};
    std::vector<std::uint8_t> peerCopy;
    server.setObserver([&](std::uint32_t selector, const MemoryMapRecord& record, IOReturn result) {
        if (selector == kMemoryMapRegisterSourceAddressMethod && result == 0) {
            const auto* frame = server.frame(record.sourceAddress);
            peerCopy.assign(frame->data, frame->data + frame->size);
        }
    });
    std::atomic<bool> stop{false};
    std::thread peer([&] {
        while (!stop) {
            server.serveOnce(20);
        }
    });

    DriverServices services(registry, log.object(), 5000);
    Value matching = Value::dictionary();
    matching.set(kIOProviderClassKey, Value::string("QuintorParent"));
    io_iterator_t it = 0;
    ASSERT_EQ(services.IOServiceGetMatchingServices(matching, &it), KERN_SUCCESS);
    const io_service_t service = services.IOIteratorNext(it);
    io_connect_t connection = 0;
    ASSERT_EQ(services.IOServiceOpen(service, 0, &connection), KERN_SUCCESS);

    makeStreams(CaptureRung::ShmDescriptor);
    int prepared = 0;
    onFrame = [&](const Delivery& d) {
        if (d.surface == nullptr) {
            return;
        }
        const auto record =
            MemoryMapRecord{static_cast<std::uint32_t>(d.surface->allocSize()),
                            reinterpret_cast<std::uintptr_t>(d.surface->baseAddress()), 0}
                .encode();
        if (services.IOConnectCallMethod(connection, kMemoryMapRegisterSourceAddressMethod, nullptr,
                                         0, record.data(), record.size(), nullptr, nullptr, nullptr,
                                         nullptr) == KERN_SUCCESS) {
            ++prepared;
        }
    };
    startStream();
    painter.fill(30, 30, 300, 200, 0x123456u);
    painter.fill(400, 100, 100, 300, 0xabcdefu);
    pump();
    ASSERT_GE(prepared, 1);
    stop = true;
    peer.join();
    DriverDirectory::set(DriverDirectory::builtIn());

    const ScreenImage screen(xvfb->display());
    ASSERT_EQ(peerCopy.size(), kWidth * kHeight * 4);
    EXPECT_EQ(screen.colourDifferences(peerCopy.data(), kWidth * 4), 0u);
}

}  // namespace
}  // namespace qn::platform::linux_host
