#include "platform/linux/capture/X11DisplayStream.h"

#include <algorithm>

#include "platform/linux/capture/X11StreamUpdate.h"
#include "platform/linux/capture/XcbOwners.h"

namespace qn::platform::linux_host {

namespace {

using sys::Logger;

// Where the mode gives no rate (Xvfb says 0 Hz), a common panel's.
constexpr double kFallbackRefreshHz = 60.0;

std::chrono::nanoseconds periodOf(double hz) {
    if (!(hz > 0)) {
        hz = kFallbackRefreshHz;
    }
    return std::chrono::nanoseconds(static_cast<std::int64_t>(1e9 / hz));
}

}  // namespace

std::vector<PixelRect> clipToDisplay(const std::vector<PixelRect>& rects, const DisplayArea& area) {
    std::vector<PixelRect> out;
    const std::int32_t right = area.x + static_cast<std::int32_t>(area.width);
    const std::int32_t bottom = area.y + static_cast<std::int32_t>(area.height);
    for (const auto& r : rects) {
        const std::int32_t l = std::max(r.x, area.x), t = std::max(r.y, area.y);
        const std::int32_t rr = std::min(r.x + r.width, right),
                           b = std::min(r.y + r.height, bottom);
        if (rr > l && b > t) {
            out.push_back({l - area.x, t - area.y, rr - l, b - t});
        }
    }
    return out;
}

X11DisplayStream::X11DisplayStream(xcb_connection_t* connection, xcb_window_t root,
                                   CGDirectDisplayID display, const DisplayArea& area,
                                   SurfaceRegistry& registry, const Logger::Logged& log,
                                   CGDisplayStreamFrameAvailableHandler handler,
                                   const Settings& settings)
    : m_connection(connection),
      m_root(root),
      m_displayId(display),
      m_area(area),
      m_log(log),
      m_handler(std::move(handler)),
      m_period(periodOf(area.refreshHz)),
      m_pool(registry, settings.surfaces),
      m_grabber(connection, root, log, settings.firstRung) {
    m_pool.resize(area.width, area.height);
    m_ledger.reset(0, static_cast<std::int32_t>(area.height));
}

X11DisplayStream::~X11DisplayStream() {
    shutDown();
}

void X11DisplayStream::shutDown() {
    if (m_connection == nullptr) {
        return;
    }
    dropDamage();
    m_pool.resize(0, 0);
    m_grabber.shutDown();
    m_connection = nullptr;
    m_state = State::Finished;
}

void X11DisplayStream::dropDamage() {
    if (m_damage != 0 && m_connection != nullptr) {
        xcb_damage_destroy(m_connection, m_damage);
        xcb_xfixes_destroy_region(m_connection, m_region);
        xcb_flush(m_connection);
        m_damage = 0;
        m_region = 0;
    }
}

CGError X11DisplayStream::start() {
    if (m_state == State::Running) {
        return kCGErrorSuccess;
    }
    if (m_state != State::Created) {
        return kCGErrorInvalidOperation;
    }
    // Both extensions want their version asked once per connection before first use.
    XcbReply<xcb_damage_query_version_reply_t> damageVersion(xcb_damage_query_version_reply(
        m_connection, xcb_damage_query_version(m_connection, 1, 1), XcbErrorSlot().receive()));
    XcbReply<xcb_xfixes_query_version_reply_t> fixesVersion(xcb_xfixes_query_version_reply(
        m_connection, xcb_xfixes_query_version(m_connection, 5, 0), XcbErrorSlot().receive()));
    if (!damageVersion || !fixesVersion) {
        QN_LOG(m_log, Logger::ERROR) << "display stream: the X server has no DAMAGE or XFIXES";
        return kCGErrorFailure;
    }
    m_damage = xcb_generate_id(m_connection);
    m_region = xcb_generate_id(m_connection);
    xcb_xfixes_create_region(m_connection, m_region, 0, nullptr);
    XcbReply<xcb_generic_error_t> error(xcb_request_check(
        m_connection, xcb_damage_create_checked(m_connection, m_damage, m_root,
                                                XCB_DAMAGE_REPORT_LEVEL_NON_EMPTY)));
    if (error) {
        m_damage = 0;
        xcb_xfixes_destroy_region(m_connection, m_region);
        QN_LOG(m_log, Logger::ERROR) << "display stream: cannot watch the screen for damage";
        return kCGErrorFailure;
    }
    m_state = State::Running;
    // The first frame shows the whole display.
    m_dirty.assign({{0, 0, static_cast<std::int32_t>(m_area.width),
                     static_cast<std::int32_t>(m_area.height)}});
    return kCGErrorSuccess;
}

void X11DisplayStream::setArea(const DisplayArea& area) {
    if (m_connection == nullptr) {
        return;
    }
    if (m_pool.resize(area.width, area.height)) {
        m_grabber.forgetSurfaces();
    }
    m_area = area;
    m_ledger.reset(m_pool.count(), static_cast<std::int32_t>(area.height));
    if (m_state == State::Running) {
        m_dirty.assign({{0, 0, static_cast<std::int32_t>(area.width),
                         static_cast<std::int32_t>(area.height)}});
    }
}

CGError X11DisplayStream::stop() {
    if (m_state == State::Created || m_state == State::Running) {
        m_state = State::Stopping;
        dropDamage();
    }
    return kCGErrorSuccess;
}

std::optional<X11DisplayStream::Clock::time_point> X11DisplayStream::nextDeadline() const {
    if (m_state == State::Stopping) {
        return Clock::time_point::min();
    }
    if (m_state != State::Running || m_dirty.empty()) {
        return std::nullopt;
    }
    auto due = m_lastFrame ? *m_lastFrame + m_period : Clock::time_point::min();
    // Every surface held: look again a period later, since nothing tells of a release.
    if (m_retryAt && *m_retryAt > due) {
        due = *m_retryAt;
    }
    return due;
}

void X11DisplayStream::readDamage() {
    xcb_damage_subtract(m_connection, m_damage, XCB_NONE, m_region);
    XcbReply<xcb_xfixes_fetch_region_reply_t> region(xcb_xfixes_fetch_region_reply(
        m_connection, xcb_xfixes_fetch_region(m_connection, m_region), XcbErrorSlot().receive()));
    if (!region) {
        return;
    }
    const xcb_rectangle_t* rects = xcb_xfixes_fetch_region_rectangles(region.get());
    const int count = xcb_xfixes_fetch_region_rectangles_length(region.get());
    std::vector<PixelRect> onRoot;
    for (int i = 0; i < count; ++i) {
        onRoot.push_back({rects[i].x, rects[i].y, rects[i].width, rects[i].height});
    }
    const auto damage = clipToDisplay(onRoot, m_area);
    if (damage.empty()) {
        return;
    }
    m_ledger.add(damage);
    // A running list stays short: past 64 rectangles their bounding box stands in.
    addDirty(m_dirty, damage);
}

void X11DisplayStream::tick(Clock::time_point now) {
    if (m_state == State::Stopping) {
        m_state = State::Finished;
        m_pool.resize(0, 0);
        m_grabber.forgetSurfaces();
        // Keeps this object alive through a handler that drops the last reference.
        retain();
        m_handler(kCGDisplayStreamFrameStatusStopped, 0, nullptr, nullptr);
        release();
        return;
    }
    if (m_state != State::Running) {
        return;
    }
    readDamage();
    if (m_dirty.empty() || (m_lastFrame && now < *m_lastFrame + m_period)) {
        return;
    }
    makeFrame(now);
}

void X11DisplayStream::makeFrame(Clock::time_point now) {
    const int slot = m_pool.acquire();
    if (slot < 0) {
        // Every surface is held: the damage waits for a release.
        m_retryAt = now + m_period;
        return;
    }
    m_retryAt.reset();
    m_ledger.ensureSlots(m_pool.count());
    MemfdSurface* surface = m_pool.at(slot);
    const auto bands = m_ledger.take(static_cast<std::size_t>(slot));
    if (!m_grabber.grab(*surface, m_area.x, m_area.y, bands)) {
        m_ledger.giveBack(static_cast<std::size_t>(slot), bands);
        return;
    }
    std::vector<CGRect> rects;
    for (const auto& r : m_dirty) {
        rects.push_back(CGRectMake(r.x, r.y, r.width, r.height));
    }
    m_dirty.clear();
    m_lastFrame = now;
    X11StreamUpdate* update = X11StreamUpdate::create(std::move(rects));
    const auto time = static_cast<std::uint64_t>(
        std::chrono::duration_cast<std::chrono::nanoseconds>(now.time_since_epoch()).count());
    retain();
    m_handler(kCGDisplayStreamFrameStatusFrameComplete, time, surface, update);
    // The host's reference ends with the handler; the logic retains what it keeps.
    update->release();
    release();
}

}  // namespace qn::platform::linux_host
