#include "platform/sim/SimQuartz.h"

#include <algorithm>
#include <utility>

namespace qn::platform::sim {

SimQuartz::SimQuartz(SimRunLoop& runLoop, SimDispatch& dispatch, SimFaults& faults)
    : m_runLoop(runLoop), m_dispatch(dispatch), m_faults(faults) {}

SimDisplay* SimQuartz::display(CGDirectDisplayID id) {
    for (auto& d : m_displays) {
        if (d.id == id) {
            return &d;
        }
    }
    return nullptr;
}

CGDirectDisplayID SimQuartz::CGMainDisplayID() {
    if (!m_windowServer) {
        return 0;
    }
    if (const auto* main = display(m_mainDisplay); main && main->online) {
        return main->id;
    }
    for (const auto& d : m_displays) {
        if (d.online) {
            return d.id;
        }
    }
    return 0;
}

CGError SimQuartz::list(std::uint32_t maxDisplays, CGDirectDisplayID* displays,
                        std::uint32_t* displayCount, bool (*wanted)(const SimDisplay&)) {
    std::uint32_t count = 0;
    if (!m_windowServer) {
        *displayCount = 0;
        return kCGErrorFailure;
    }
    for (const auto& d : m_displays) {
        if (!wanted(d)) {
            continue;
        }
        // Without an array only the count is asked for.
        if (displays) {
            if (count == maxDisplays) {
                break;
            }
            displays[count] = d.id;
        }
        ++count;
    }
    *displayCount = count;
    return kCGErrorSuccess;
}

CGError SimQuartz::CGGetOnlineDisplayList(std::uint32_t maxDisplays,
                                          CGDirectDisplayID* onlineDisplays,
                                          std::uint32_t* displayCount) {
    return list(maxDisplays, onlineDisplays, displayCount,
                [](const SimDisplay& d) { return d.online; });
}

CGError SimQuartz::CGGetActiveDisplayList(std::uint32_t maxDisplays,
                                          CGDirectDisplayID* activeDisplays,
                                          std::uint32_t* displayCount) {
    // Asleep or inactive (mirrored) displays are online but not active.
    return list(maxDisplays, activeDisplays, displayCount,
                [](const SimDisplay& d) { return d.online && d.active && !d.asleep; });
}

CGRect SimQuartz::CGDisplayBounds(CGDirectDisplayID id) {
    const auto* d = display(id);
    return d ? d->bounds : CGRect{};
}

boolean_t SimQuartz::CGDisplayIsAsleep(CGDirectDisplayID id) {
    const auto* d = display(id);
    return d && d->asleep ? 1 : 0;
}

io_service_t SimQuartz::CGDisplayIOServicePort(CGDirectDisplayID id) {
    const auto* d = display(id);
    return d && m_windowServer ? d->servicePort : 0;
}

std::uint32_t SimQuartz::CGDisplayModelNumber(CGDirectDisplayID id) {
    const auto* d = display(id);
    return d ? d->modelNumber : 0;
}

std::uint32_t SimQuartz::CGDisplayVendorNumber(CGDirectDisplayID id) {
    const auto* d = display(id);
    return d ? d->vendorNumber : 0;
}

CGDisplayModeRef SimQuartz::CGDisplayCopyDisplayMode(CGDirectDisplayID id) {
    const auto* d = display(id);
    if (!d || !d->hasMode) {
        return nullptr;
    }
    m_modes.push_back(
        std::make_unique<SimDisplayMode>(m_faults, d->pixelWidth, d->pixelHeight, d->refreshRate));
    return m_modes.back().get();
}

double SimQuartz::CGDisplayModeGetRefreshRate(CGDisplayModeRef mode) {
    auto* m = static_cast<SimDisplayMode*>(mode);
    return m && m->check("CGDisplayModeGetRefreshRate") ? m->refreshRate : 0.0;
}

std::size_t SimQuartz::CGDisplayModeGetPixelWidth(CGDisplayModeRef mode) {
    auto* m = static_cast<SimDisplayMode*>(mode);
    return m && m->check("CGDisplayModeGetPixelWidth") ? m->width : 0;
}

std::size_t SimQuartz::CGDisplayModeGetPixelHeight(CGDisplayModeRef mode) {
    auto* m = static_cast<SimDisplayMode*>(mode);
    return m && m->check("CGDisplayModeGetPixelHeight") ? m->height : 0;
}

void SimQuartz::CGDisplayModeRelease(CGDisplayModeRef mode) {
    if (mode) {
        mode->release();
    }
}

template <typename Callback>
CGError SimQuartz::add(std::vector<Registered<Callback>>& list, Callback callback, void* userInfo,
                       CGError& failure) {
    if (failure != kCGErrorSuccess) {
        return std::exchange(failure, kCGErrorSuccess);
    }
    const bool known = std::any_of(list.begin(), list.end(), [&](const auto& r) {
        return r.callback == callback && r.userInfo == userInfo;
    });
    if (!callback || known) {
        return kCGErrorIllegalArgument;
    }
    list.push_back({callback, userInfo});
    return kCGErrorSuccess;
}

template <typename Callback>
void SimQuartz::remove(std::vector<Registered<Callback>>& list, Callback callback, void* userInfo) {
    std::erase_if(list,
                  [&](const auto& r) { return r.callback == callback && r.userInfo == userInfo; });
}

CGError SimQuartz::CGDisplayRegisterReconfigurationCallback(
    CGDisplayReconfigurationCallBack callback, void* userInfo) {
    return add(m_reconfiguration, callback, userInfo, m_reconfigurationFailure);
}

CGError SimQuartz::CGDisplayRemoveReconfigurationCallback(CGDisplayReconfigurationCallBack callback,
                                                          void* userInfo) {
    remove(m_reconfiguration, callback, userInfo);
    return kCGErrorSuccess;
}

CGError SimQuartz::CGRegisterScreenRefreshCallback(CGScreenRefreshCallback callback,
                                                   void* userInfo) {
    return add(m_refresh, callback, userInfo, m_refreshFailure);
}

void SimQuartz::CGUnregisterScreenRefreshCallback(CGScreenRefreshCallback callback,
                                                  void* userInfo) {
    remove(m_refresh, callback, userInfo);
}

CGError SimQuartz::CGScreenRegisterMoveCallback(CGScreenUpdateMoveCallback callback,
                                                void* userInfo) {
    return add(m_move, callback, userInfo, m_moveFailure);
}

void SimQuartz::CGScreenUnregisterMoveCallback(CGScreenUpdateMoveCallback callback,
                                               void* userInfo) {
    remove(m_move, callback, userInfo);
}

void SimQuartz::failRegistration(Registration which, CGError code) {
    switch (which) {
        case Registration::Reconfiguration:
            m_reconfigurationFailure = code;
            break;
        case Registration::Refresh:
            m_refreshFailure = code;
            break;
        case Registration::Move:
            m_moveFailure = code;
            break;
    }
}

std::size_t SimQuartz::registeredCount(Registration which) const {
    switch (which) {
        case Registration::Reconfiguration:
            return m_reconfiguration.size();
        case Registration::Refresh:
            return m_refresh.size();
        case Registration::Move:
            return m_move.size();
    }
    return 0;
}

void SimQuartz::setDisplay(const SimDisplay& d) {
    if (auto* existing = display(d.id)) {
        *existing = d;
    } else {
        m_displays.push_back(d);
    }
}

void SimQuartz::addDisplay(const SimDisplay& d) {
    setDisplay(d);
    reconfigure(d.id, kCGDisplayBeginConfigurationFlag);
    reconfigure(d.id, kCGDisplayAddFlag | kCGDisplayEnabledFlag);
}

void SimQuartz::forgetDisplay(CGDirectDisplayID id) {
    std::erase_if(m_displays, [id](const SimDisplay& d) { return d.id == id; });
}

void SimQuartz::removeDisplay(CGDirectDisplayID id) {
    forgetDisplay(id);
    reconfigure(id, kCGDisplayBeginConfigurationFlag);
    reconfigure(id, kCGDisplayRemoveFlag | kCGDisplayDisabledFlag);
}

void SimQuartz::setMode(CGDirectDisplayID id, std::size_t width, std::size_t height,
                        double refreshRate) {
    if (auto* d = display(id)) {
        d->hasMode = true;
        d->pixelWidth = width;
        d->pixelHeight = height;
        d->refreshRate = refreshRate;
        reconfigure(id, kCGDisplayBeginConfigurationFlag);
        reconfigure(id, kCGDisplaySetModeFlag);
    }
}

void SimQuartz::setAsleep(CGDirectDisplayID id, bool asleep) {
    if (auto* d = display(id)) {
        d->asleep = asleep;
    }
}

void SimQuartz::reconfigure(CGDirectDisplayID id, CGDisplayChangeSummaryFlags flags) {
    m_runLoop.post([this, id, flags] {
        const auto registered = m_reconfiguration;
        for (const auto& r : registered) {
            // A callback removed by an earlier one in this round is not called.
            const bool still =
                std::any_of(m_reconfiguration.begin(), m_reconfiguration.end(), [&](const auto& x) {
                    return x.callback == r.callback && x.userInfo == r.userInfo;
                });
            if (still) {
                r.callback(id, flags, r.userInfo);
            }
        }
    });
}

void SimQuartz::refresh(std::vector<CGRect> rects) {
    m_runLoop.post([this, rects = std::move(rects)] {
        const auto registered = m_refresh;
        for (const auto& r : registered) {
            r.callback(static_cast<std::uint32_t>(rects.size()), rects.data(), r.userInfo);
        }
    });
}

void SimQuartz::move(CGScreenUpdateMoveDelta delta, std::vector<CGRect> rects) {
    m_runLoop.post([this, delta, rects = std::move(rects)] {
        const auto registered = m_move;
        for (const auto& r : registered) {
            r.callback(delta, rects.size(), rects.data(), r.userInfo);
        }
    });
}

CGDisplayStreamRef SimQuartz::CGDisplayStreamCreateWithDispatchQueue(
    CGDirectDisplayID id, std::size_t outputWidth, std::size_t outputHeight,
    std::int32_t pixelFormat, const Value& properties, dispatch_queue_t queue,
    CGDisplayStreamFrameAvailableHandler handler) {
    if (!m_windowServer || !display(id) || !queue || !handler) {
        return nullptr;
    }
    m_streams.push_back(std::make_unique<SimDisplayStream>(m_faults, id, outputWidth, outputHeight,
                                                           pixelFormat, properties, queue,
                                                           std::move(handler)));
    return m_streams.back().get();
}

CGError SimQuartz::CGDisplayStreamStart(CGDisplayStreamRef stream) {
    auto* s = static_cast<SimDisplayStream*>(stream);
    if (!s || !s->check("CGDisplayStreamStart")) {
        return kCGErrorIllegalArgument;
    }
    ++s->startCalls;
    s->running = true;
    return kCGErrorSuccess;
}

void SimQuartz::onQueue(SimDisplayStream& stream, std::function<void()> work) {
    m_dispatch.dispatch_async(stream.queue, std::move(work));
}

CGError SimQuartz::CGDisplayStreamStop(CGDisplayStreamRef stream) {
    auto* s = static_cast<SimDisplayStream*>(stream);
    if (!s || !s->check("CGDisplayStreamStop")) {
        return kCGErrorIllegalArgument;
    }
    ++s->stopCalls;
    if (s->running) {
        s->running = false;
        onQueue(*s, [this, s] {
            ++s->stoppedDelivered;
            s->handler(kCGDisplayStreamFrameStatusStopped,
                       static_cast<std::uint64_t>(m_runLoop.now()), nullptr, nullptr);
        });
    }
    return kCGErrorSuccess;
}

SimStreamUpdate* SimQuartz::newUpdate(std::vector<CGRect> rects) {
    m_updates.push_back(std::make_unique<SimStreamUpdate>(m_faults, std::move(rects)));
    return m_updates.back().get();
}

SimSurface* SimQuartz::freeSurface(SimDisplayStream& stream) {
    for (auto& surface : stream.surfaces) {
        if (!surface->isFreed() && surface->useCount() == 0 && surface->pendingDeliveries == 0) {
            return surface.get();
        }
    }
    stream.surfaces.push_back(std::make_unique<SimSurface>(m_faults, stream.width, stream.height));
    stream.surfaces.back()->setWatcher(&m_surfaceWatcher);
    return stream.surfaces.back().get();
}

void SimQuartz::deliverFrame(CGDirectDisplayID id, std::vector<CGRect> dirtyRects,
                             CGDisplayStreamFrameStatus status) {
    for (auto& stream : m_streams) {
        if (stream->display != id || !stream->running) {
            continue;
        }
        auto* s = stream.get();
        if (status != kCGDisplayStreamFrameStatusFrameComplete) {
            onQueue(*s, [this, s, status] {
                s->handler(status, static_cast<std::uint64_t>(m_runLoop.now()), nullptr, nullptr);
            });
            continue;
        }
        auto* surface = freeSurface(*s);
        if (surface->paint(id, ++m_frameNumber)) {
            const auto address = reinterpret_cast<std::uint64_t>(surface->baseAddress());
            m_lastPainting[address] = m_paintings.size();
            m_paintings.push_back({id, m_frameNumber, surface, address});
        }
        ++surface->pendingDeliveries;
        auto* update = newUpdate(dirtyRects);
        onQueue(*s, [this, s, surface, update] {
            --surface->pendingDeliveries;
            ++s->framesDelivered;
            s->handler(kCGDisplayStreamFrameStatusFrameComplete,
                       static_cast<std::uint64_t>(m_runLoop.now()), surface, update);
            // The host's own reference to the update ends with the handler.
            update->release();
        });
    }
}

const SimQuartz::Painting* SimQuartz::lastPaintingAt(std::uint64_t address) const {
    const auto found = m_lastPainting.find(address);
    return found == m_lastPainting.end() ? nullptr : &m_paintings[found->second];
}

const CGRect* SimQuartz::CGDisplayStreamUpdateGetRects(CGDisplayStreamUpdateRef update,
                                                       CGDisplayStreamUpdateRectType rectType,
                                                       std::size_t* rectCount) {
    auto* u = static_cast<SimStreamUpdate*>(update);
    *rectCount = 0;
    if (!u || !u->check("CGDisplayStreamUpdateGetRects") ||
        rectType == kCGDisplayStreamUpdateMovedRects || u->dirtyRects.empty()) {
        return nullptr;
    }
    *rectCount = u->dirtyRects.size();
    return u->dirtyRects.data();
}

CGDisplayStreamUpdateRef SimQuartz::CGDisplayStreamUpdateCreateMergedUpdate(
    CGDisplayStreamUpdateRef firstUpdate, CGDisplayStreamUpdateRef secondUpdate) {
    auto* first = static_cast<SimStreamUpdate*>(firstUpdate);
    auto* second = static_cast<SimStreamUpdate*>(secondUpdate);
    std::vector<CGRect> rects;
    if (first && first->check("CGDisplayStreamUpdateCreateMergedUpdate")) {
        rects = first->dirtyRects;
    }
    if (second && second->check("CGDisplayStreamUpdateCreateMergedUpdate")) {
        // Like a region's union, a rectangle that another already covers adds nothing;
        // otherwise the older rectangles come first.
        const auto covers = [](const CGRect& outer, const CGRect& inner) {
            return inner.origin.x >= outer.origin.x && inner.origin.y >= outer.origin.y &&
                   inner.origin.x + inner.size.width <= outer.origin.x + outer.size.width &&
                   inner.origin.y + inner.size.height <= outer.origin.y + outer.size.height;
        };
        for (const auto& rect : second->dirtyRects) {
            if (std::none_of(rects.begin(), rects.end(),
                             [&](const CGRect& kept) { return covers(kept, rect); })) {
                rects.push_back(rect);
            }
        }
    }
    auto* merged = newUpdate(std::move(rects));
    merged->merged = true;
    return merged;
}

}  // namespace qn::platform::sim
