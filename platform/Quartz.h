#pragma once
// Quartz display services: display lists and facts, modes, the reconfiguration, screen
// refresh and move callbacks, the session dictionary and display streams.

#include <cstddef>
#include <cstdint>
#include <functional>
#include <limits>

#include "platform/CoreFoundation.h"
#include "platform/IOSurface.h"
#include "platform/Value.h"

namespace qn::platform {

class DispatchQueueObject;
using dispatch_queue_t = DispatchQueueObject*;

using CGDirectDisplayID = std::uint32_t;
using CGError = std::int32_t;
using CGDisplayCount = std::uint32_t;
using CGDisplayChangeSummaryFlags = std::uint32_t;
using boolean_t = std::uint32_t;
using io_service_t = std::uint32_t;

constexpr CGError kCGErrorSuccess = 0;
constexpr CGError kCGErrorFailure = 1000;
constexpr CGError kCGErrorIllegalArgument = 1001;
constexpr CGError kCGErrorInvalidOperation = 1004;

constexpr CGDisplayChangeSummaryFlags kCGDisplayBeginConfigurationFlag = 1 << 0;
constexpr CGDisplayChangeSummaryFlags kCGDisplayMovedFlag = 1 << 1;
constexpr CGDisplayChangeSummaryFlags kCGDisplaySetMainFlag = 1 << 2;
constexpr CGDisplayChangeSummaryFlags kCGDisplaySetModeFlag = 1 << 3;
constexpr CGDisplayChangeSummaryFlags kCGDisplayAddFlag = 1 << 4;
constexpr CGDisplayChangeSummaryFlags kCGDisplayRemoveFlag = 1 << 5;
constexpr CGDisplayChangeSummaryFlags kCGDisplayEnabledFlag = 1 << 8;
constexpr CGDisplayChangeSummaryFlags kCGDisplayDisabledFlag = 1 << 9;
constexpr CGDisplayChangeSummaryFlags kCGDisplayMirrorFlag = 1 << 10;
constexpr CGDisplayChangeSummaryFlags kCGDisplayUnMirrorFlag = 1 << 11;

struct CGPoint {
    double x = 0;
    double y = 0;
};
struct CGSize {
    double width = 0;
    double height = 0;
};
struct CGRect {
    CGPoint origin;
    CGSize size;
};
inline bool operator==(const CGRect& a, const CGRect& b) {
    return a.origin.x == b.origin.x && a.origin.y == b.origin.y && a.size.width == b.size.width &&
           a.size.height == b.size.height;
}
inline CGRect CGRectMake(double x, double y, double width, double height) {
    return CGRect{{x, y}, {width, height}};
}
// The null rectangle: infinite origin, zero size.
inline const CGRect CGRectNull{
    {std::numeric_limits<double>::infinity(), std::numeric_limits<double>::infinity()}, {0, 0}};
inline bool CGRectIsNull(const CGRect& r) {
    return r.origin.x == std::numeric_limits<double>::infinity() ||
           r.origin.y == std::numeric_limits<double>::infinity();
}

struct CGScreenUpdateMoveDelta {
    std::int32_t dX = 0;
    std::int32_t dY = 0;
};

// Callbacks, delivered on the main run loop.
using CGDisplayReconfigurationCallBack = void (*)(CGDirectDisplayID display,
                                                  CGDisplayChangeSummaryFlags flags,
                                                  void* userInfo);
using CGScreenRefreshCallback = void (*)(std::uint32_t count, const CGRect* rects, void* userInfo);
using CGScreenUpdateMoveCallback = void (*)(CGScreenUpdateMoveDelta delta, std::size_t count,
                                            const CGRect* rects, void* userInfo);

// Reference-counted display modes and stream objects.
class CGDisplayModeObject : public CFObject {};
using CGDisplayModeRef = CGDisplayModeObject*;
class CGDisplayStreamObject : public CFObject {};
using CGDisplayStreamRef = CGDisplayStreamObject*;
class CGDisplayStreamUpdateObject : public CFObject {};
using CGDisplayStreamUpdateRef = CGDisplayStreamUpdateObject*;

enum CGDisplayStreamFrameStatus : std::int32_t {
    kCGDisplayStreamFrameStatusFrameComplete = 0,
    kCGDisplayStreamFrameStatusFrameIdle = 1,
    kCGDisplayStreamFrameStatusFrameBlank = 2,
    kCGDisplayStreamFrameStatusStopped = 3,
};

using CGDisplayStreamUpdateRectType = std::int32_t;
constexpr CGDisplayStreamUpdateRectType kCGDisplayStreamUpdateRefreshedRects = 0;
constexpr CGDisplayStreamUpdateRectType kCGDisplayStreamUpdateMovedRects = 1;
constexpr CGDisplayStreamUpdateRectType kCGDisplayStreamUpdateDirtyRects = 2;
constexpr CGDisplayStreamUpdateRectType kCGDisplayStreamUpdateReducedDirtyRects = 3;

// The stream's handler block; surface and update are good only during the call unless
// retained.
using CGDisplayStreamFrameAvailableHandler =
    std::function<void(CGDisplayStreamFrameStatus status, std::uint64_t displayTime,
                       IOSurfaceRef frameSurface, CGDisplayStreamUpdateRef updateRef)>;

// Keys.
inline constexpr const char* kCGDisplayStreamShowCursor = "kCGDisplayStreamShowCursor";
inline constexpr const char* kCGSSessionOnConsoleKey = "kCGSSessionOnConsoleKey";
inline constexpr const char* kCGSessionLoginDoneKey = "kCGSessionLoginDoneKey";
inline constexpr const char* kCGSessionUserIDKey = "kCGSSessionUserIDKey";
inline constexpr const char* kCGSessionUserNameKey = "kCGSSessionUserNameKey";

class Quartz {
  public:
    virtual ~Quartz() = default;

    // 0 when there is no window server.
    virtual CGDirectDisplayID CGMainDisplayID() = 0;
    // Every online display, also the inactive (asleep, mirrored) ones, up to maxDisplays.
    virtual CGError CGGetOnlineDisplayList(std::uint32_t maxDisplays,
                                           CGDirectDisplayID* onlineDisplays,
                                           std::uint32_t* displayCount) = 0;
    virtual CGError CGGetActiveDisplayList(std::uint32_t maxDisplays,
                                           CGDirectDisplayID* activeDisplays,
                                           std::uint32_t* displayCount) = 0;
    // Global display coordinates; a zero rectangle for an unknown display.
    virtual CGRect CGDisplayBounds(CGDirectDisplayID display) = 0;
    // Non-zero when the display is asleep.
    virtual boolean_t CGDisplayIsAsleep(CGDirectDisplayID display) = 0;
    // The registry service of the display, 0 when there is none.
    virtual io_service_t CGDisplayIOServicePort(CGDirectDisplayID display) = 0;
    virtual std::uint32_t CGDisplayModelNumber(CGDirectDisplayID display) = 0;
    virtual std::uint32_t CGDisplayVendorNumber(CGDirectDisplayID display) = 0;

    // The current mode, owned by the caller (CGDisplayModeRelease), or null.
    virtual CGDisplayModeRef CGDisplayCopyDisplayMode(CGDirectDisplayID display) = 0;
    // 0 for a null mode.
    virtual double CGDisplayModeGetRefreshRate(CGDisplayModeRef mode) = 0;
    virtual std::size_t CGDisplayModeGetPixelWidth(CGDisplayModeRef mode) = 0;
    virtual std::size_t CGDisplayModeGetPixelHeight(CGDisplayModeRef mode) = 0;
    // Null is allowed.
    virtual void CGDisplayModeRelease(CGDisplayModeRef mode) = 0;

    virtual CGError CGDisplayRegisterReconfigurationCallback(
        CGDisplayReconfigurationCallBack callback, void* userInfo) = 0;
    virtual CGError CGDisplayRemoveReconfigurationCallback(
        CGDisplayReconfigurationCallBack callback, void* userInfo) = 0;
    virtual CGError CGRegisterScreenRefreshCallback(CGScreenRefreshCallback callback,
                                                    void* userInfo) = 0;
    virtual void CGUnregisterScreenRefreshCallback(CGScreenRefreshCallback callback,
                                                   void* userInfo) = 0;
    virtual CGError CGScreenRegisterMoveCallback(CGScreenUpdateMoveCallback callback,
                                                 void* userInfo) = 0;
    virtual void CGScreenUnregisterMoveCallback(CGScreenUpdateMoveCallback callback,
                                                void* userInfo) = 0;

    // The current session's dictionary (kCGSSessionOnConsoleKey, kCGSessionLoginDoneKey,
    // ...), or the null value when the process has no window-server session.
    virtual Value CGSessionCopyCurrentDictionary() = 0;

    // A stream of the display at the given output size and pixel format; once started,
    // the handler is called on the queue for each frame, and once with the stopped status
    // after a stop. Null on failure.
    virtual CGDisplayStreamRef CGDisplayStreamCreateWithDispatchQueue(
        CGDirectDisplayID display, std::size_t outputWidth, std::size_t outputHeight,
        std::int32_t pixelFormat, const Value& properties, dispatch_queue_t queue,
        CGDisplayStreamFrameAvailableHandler handler) = 0;
    virtual CGError CGDisplayStreamStart(CGDisplayStreamRef stream) = 0;
    virtual CGError CGDisplayStreamStop(CGDisplayStreamRef stream) = 0;
    // The rectangles of the given type, owned by the update, and their count.
    virtual const CGRect* CGDisplayStreamUpdateGetRects(CGDisplayStreamUpdateRef update,
                                                        CGDisplayStreamUpdateRectType rectType,
                                                        std::size_t* rectCount) = 0;
    // A new update owned by the caller describing both, the older first.
    virtual CGDisplayStreamUpdateRef CGDisplayStreamUpdateCreateMergedUpdate(
        CGDisplayStreamUpdateRef firstUpdate, CGDisplayStreamUpdateRef secondUpdate) = 0;
};

}  // namespace qn::platform
