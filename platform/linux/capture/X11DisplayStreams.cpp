#include "platform/linux/capture/X11DisplayStreams.h"

#include <algorithm>

#include "platform/linux/capture/X11StreamUpdate.h"

namespace qn::platform::linux_host {

namespace {

using sys::Logger;

X11DisplayStream* streamOf(CGDisplayStreamRef stream) {
    return static_cast<X11DisplayStream*>(stream);
}

}  // namespace

X11DisplayStreams::X11DisplayStreams(XcbConnection connection, SurfaceRegistry& registry,
                                     const Logger::Logged& log, DisplayLookup lookup,
                                     X11DisplayStream::Settings settings)
    : m_connection(std::move(connection)),
      m_registry(registry),
      m_log(log),
      m_lookup(std::move(lookup)),
      m_settings(settings) {
    if (!m_connection.usable()) {
        QN_LOG(m_log, Logger::ERROR) << "display streams: no X connection";
        return;
    }
    const xcb_setup_t* setup = xcb_get_setup(m_connection.get());
    const xcb_screen_t* screen = xcb_setup_roots_iterator(setup).data;
    m_root = screen->root;
    // Frames are 32 bits a pixel, as images of the root's depth must come.
    for (auto f = xcb_setup_pixmap_formats_iterator(setup); f.rem; xcb_format_next(&f)) {
        if (f.data->depth == screen->root_depth && f.data->bits_per_pixel == 32) {
            m_thirtyTwoBitPixels = true;
        }
    }
}

X11DisplayStreams::~X11DisplayStreams() {
    // The connection may go with this object: no stream may use it afterwards.
    for (auto* stream : m_streams) {
        stream->shutDown();
        stream->release();
    }
}

CGDisplayStreamRef X11DisplayStreams::CGDisplayStreamCreateWithDispatchQueue(
    CGDirectDisplayID display, std::size_t outputWidth, std::size_t outputHeight,
    std::int32_t pixelFormat, const Value& /*properties*/, dispatch_queue_t /*queue*/,
    CGDisplayStreamFrameAvailableHandler handler) {
    if (!m_connection.usable() || !m_thirtyTwoBitPixels) {
        QN_LOG(m_log, Logger::ERROR) << "display stream: the screen cannot give 32-bit frames";
        return nullptr;
    }
    const auto area = m_lookup ? m_lookup(display) : std::nullopt;
    if (!area || pixelFormat != kPixelFormatBGRA || outputWidth != area->width ||
        outputHeight != area->height) {
        QN_LOG(m_log, Logger::ERROR)
            << "display stream: cannot stream display 0x" << std::hex << display << std::dec
            << " at " << outputWidth << "x" << outputHeight;
        return nullptr;
    }
    auto* stream = new X11DisplayStream(m_connection.get(), m_root, display, *area, m_registry,
                                        m_log, std::move(handler), m_settings);
    // One reference for the caller, one kept here until the stopped status.
    stream->retain();
    m_streams.push_back(stream);
    return stream;
}

CGError X11DisplayStreams::CGDisplayStreamStart(CGDisplayStreamRef stream) {
    if (stream == nullptr) {
        return kCGErrorIllegalArgument;
    }
    const CGError result = streamOf(stream)->start();
    xcb_flush(m_connection.get());
    return result;
}

CGError X11DisplayStreams::CGDisplayStreamStop(CGDisplayStreamRef stream) {
    if (stream == nullptr) {
        return kCGErrorIllegalArgument;
    }
    const CGError result = streamOf(stream)->stop();
    xcb_flush(m_connection.get());
    return result;
}

const CGRect* X11DisplayStreams::CGDisplayStreamUpdateGetRects(
    CGDisplayStreamUpdateRef update, CGDisplayStreamUpdateRectType rectType,
    std::size_t* rectCount) {
    const auto* u = static_cast<X11StreamUpdate*>(update);
    // X tells no moves: a move is damage at both places.
    if (u == nullptr || rectType == kCGDisplayStreamUpdateMovedRects || u->dirtyRects().empty()) {
        if (rectCount != nullptr) {
            *rectCount = 0;
        }
        return nullptr;
    }
    if (rectCount != nullptr) {
        *rectCount = u->dirtyRects().size();
    }
    return u->dirtyRects().data();
}

CGDisplayStreamUpdateRef X11DisplayStreams::CGDisplayStreamUpdateCreateMergedUpdate(
    CGDisplayStreamUpdateRef firstUpdate, CGDisplayStreamUpdateRef secondUpdate) {
    return X11StreamUpdate::merge(static_cast<X11StreamUpdate*>(firstUpdate),
                                  static_cast<X11StreamUpdate*>(secondUpdate));
}

void X11DisplayStreams::displaysChanged() {
    for (auto* stream : m_streams) {
        const auto area = m_lookup ? m_lookup(stream->displayId()) : std::nullopt;
        const auto& now = stream->area();
        if (area && (area->x != now.x || area->y != now.y || area->width != now.width ||
                     area->height != now.height)) {
            stream->setArea(*area);
        }
    }
}

int X11DisplayStreams::fd() const {
    return m_connection.usable() ? xcb_get_file_descriptor(m_connection.get()) : -1;
}

void X11DisplayStreams::dispatch() {
    if (!m_connection.usable()) {
        return;
    }
    if (m_connection.owned()) {
        // Only damage notifications come here; the damage is read by subtracting it.
        while (xcb_generic_event_t* event = xcb_poll_for_event(m_connection.get())) {
            std::free(event);
        }
    }
    const auto now = X11DisplayStream::Clock::now();
    // A handler may start or stop streams: work on a snapshot, each kept alive.
    const auto streams = m_streams;
    for (auto* stream : streams) {
        stream->retain();
    }
    for (auto* stream : streams) {
        stream->tick(now);
    }
    for (auto* stream : streams) {
        if (stream->finished()) {
            const auto found = std::find(m_streams.begin(), m_streams.end(), stream);
            if (found != m_streams.end()) {
                m_streams.erase(found);
                stream->release();
            }
        }
        stream->release();
    }
    xcb_flush(m_connection.get());
}

bool X11DisplayStreams::drainQueuedEvents() {
    if (!m_connection.usable() || !m_connection.owned()) {
        return false;
    }
    bool any = false;
    while (xcb_generic_event_t* event = xcb_poll_for_queued_event(m_connection.get())) {
        std::free(event);
        any = true;
    }
    return any;
}

std::optional<X11DisplayStream::Clock::time_point> X11DisplayStreams::nextDeadline() const {
    std::optional<X11DisplayStream::Clock::time_point> next;
    for (const auto* stream : m_streams) {
        const auto due = stream->nextDeadline();
        if (due && (!next || *due < *next)) {
            next = due;
        }
    }
    return next;
}

}  // namespace qn::platform::linux_host
