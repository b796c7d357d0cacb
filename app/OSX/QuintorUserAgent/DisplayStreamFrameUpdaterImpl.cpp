#include "app/OSX/QuintorUserAgent/DisplayStreamFrameUpdaterImpl.h"

#include <boost/bind/bind.hpp>

#include "app/OSX/QuintorUserAgent/AgentLogging.h"
#include "app/OSX/QuintorUserAgent/CAssert.h"
#include "app/OSX/QuintorUserAgent/ManagerCall.h"
#include "platform/Backend.h"
#include "platform/Dispatch.h"
#include "tk/quartz/ICGDisplayMode.h"

namespace qn::app::osx::qnuapp {

using sys::Logger;

namespace {

constexpr std::uint32_t kPixelFormatBGRA = 0x42475241;  // 'BGRA'
constexpr std::uint32_t kDirtyRects = 2;
constexpr std::int64_t kSelfDeletionDelay = 100;  // nanoseconds

}  // namespace

DisplayStreamFrameUpdaterImpl::DisplayStreamFrameUpdaterImpl(
    platform::ProxyRef qnmProxy, ExceptionHandlingCallbacks* exceptionHandlingDelegate,
    tk::driver::DriverControlFactory* driverControlFactory,
    tk::driver::MemoryMapperFactory* memoryMapperFactory)
    : sys::Identity("DisplayStreamFrameUpdaterImpl", ""),
      m_qnmProxy(std::move(qnmProxy)),
      m_exceptionHandlingDelegate(exceptionHandlingDelegate),
      m_driverControlFactory(driverControlFactory),
      m_memoryMapperFactory(memoryMapperFactory) {
    PendingAccess pending(m_pending);
    pending->ready = true;
    pending->update = nullptr;
    m_sentSurfaceAddress = 0;
}

DisplayStreamFrameUpdaterImpl::~DisplayStreamFrameUpdaterImpl() {
    // Nobody can give these frames back once the updater is gone: a Manager that died
    // holding one, or one that never released it before the stop, would leak a frame
    // surface per stream.
    {
        PendingAccess pending(m_pending);
        if (pending->update != nullptr) {
            giveBack(pending->surface, pending->update);
            pending->update = nullptr;
        }
        if (m_sentHeld) {
            giveBack(m_sentSurface, m_sentUpdate);
            m_sentHeld = false;
        }
    }
    m_qnmProxy = platform::QNUAMessageHandlerProxy();
    // The mapper closes its driver connection as it goes.
    m_memoryMapper.reset();
    m_displayStream.reset();
    m_stoppedStream.reset();
}

void DisplayStreamFrameUpdaterImpl::start(std::uint32_t displayId, std::uint32_t frameBufferIndex,
                                          std::uint64_t token) {
    QNUA_LOG(Logger::DEBUG) << "DisplayStreamFrameUpdaterImpl::start for: 0x" << std::hex
                            << displayId;
    const std::uint32_t displayID = displayId;
    QNUA_C_ASSERT(displayID);
    m_displayId = displayId;

    const auto mode = tk::osx108::ICGDisplayMode::create(displayId);
    const std::size_t width = mode->pixelWidth();
    const std::size_t height = mode->pixelHeight();

    // The cursor is never part of the frames.
    platform::Value options = platform::Value::dictionary();
    options.set(platform::kCGDisplayStreamShowCursor, platform::kCFBooleanFalse());

    auto& dispatch = platform::dispatch();
    // Creating the stream starts it. No frame can come before the mapper below exists:
    // frames arrive on the main queue, and this runs on the main thread.
    m_displayStream = tk::osx108::ICGDisplayStream::create(
        displayId, width, height, kPixelFormatBGRA, options, dispatch.dispatch_get_main_queue(),
        boost::bind(&DisplayStreamFrameUpdaterImpl::frameAvailableHandler, this,
                    boost::placeholders::_1, boost::placeholders::_2, boost::placeholders::_3,
                    boost::placeholders::_4));

    m_memoryMapper =
        m_memoryMapperFactory->create(m_driverControlFactory->create(1, frameBufferIndex));
    // Whatever an earlier life left registered with the driver goes.
    m_memoryMapper->releaseAll();
    m_token = token;
    m_displayStream->start();
}

void DisplayStreamFrameUpdaterImpl::frameAvailableHandler(
    FrameStatus status, std::uint64_t, platform::IOSurfaceRef surface,
    platform::CGDisplayStreamUpdateRef update) {
    QNUA_LOG(Logger::VERBOSE) << "DisplayStreamFrameUpdaterImpl::frameAvailableHandler with status "
                              << static_cast<std::int32_t>(status);
    if (status == FrameStatus::Stopped) {
        QNUA_LOG(Logger::DEBUG) << "display stream frame stopped for: 0x" << std::hex
                                << m_displayId;
        // The stream object stays until the updater goes: this call runs inside it.
        m_stoppedStream = std::move(m_displayStream);
        auto& dispatch = platform::dispatch();
        dispatch.dispatch_after_f(
            dispatch.dispatch_time(platform::DISPATCH_TIME_NOW, kSelfDeletionDelay),
            dispatch.dispatch_get_main_queue(), this, &DisplayStreamFrameUpdaterImpl::deleteSelf);
        return;
    }
    if (status != FrameStatus::FrameComplete || surface == nullptr) {
        return;
    }
    auto& ioSurface = platform::ioSurface();
    ioSurface.IOSurfaceIncrementUseCount(surface);
    platform::CFRetain(surface);

    PendingAccess pending(m_pending);
    if (pending->ready) {
        QNUA_LOG(Logger::VERBOSE) << "QNM is ready to accept new frame";
        // A frame that a failed send left here goes back first: kept, it would hold its
        // surface for good, and a stream whose surfaces are all held makes no frame.
        if (pending->update != nullptr) {
            giveBack(pending->surface, pending->update);
        }
        pending->surface = surface;
        pending->update = update;
        platform::CFRetain(update);
        sendLastFrameInfo(pending);
        return;
    }
    QNUA_LOG(Logger::VERBOSE) << "QNM is not ready to accept new frame";
    if (pending->update != nullptr) {
        // The replaced frame's surface goes back at once; its rectangles live on in the
        // merged update. The merge is owned already and is retained once more all the
        // same, so each merged update keeps one reference for good.
        auto* merged = m_displayStream->createMergedUpdate(pending->update, update);
        ioSurface.IOSurfaceDecrementUseCount(pending->surface);
        platform::CFRelease(pending->update);
        platform::CFRelease(pending->surface);
        update = merged;
    }
    pending->surface = surface;
    pending->update = update;
    platform::CFRetain(update);
}

void DisplayStreamFrameUpdaterImpl::sendLastFrameInfo(PendingAccess& pending) {
    QNUA_LOG(Logger::VERBOSE) << "DisplayStreamFrameUpdaterImpl::sendLastFrameInfo";
    auto& ioSurface = platform::ioSurface();
    const auto bytesPerRow = ioSurface.IOSurfaceGetBytesPerRow(pending->surface);
    const auto baseAddress =
        reinterpret_cast<std::uint64_t>(ioSurface.IOSurfaceGetBaseAddress(pending->surface));
    const auto allocSize = ioSurface.IOSurfaceGetAllocSize(pending->surface);

    if (!m_memoryMapper->prepare(baseAddress, static_cast<std::uint32_t>(allocSize))) {
        QNUA_LOG(Logger::ERROR) << "Error in preparing memory ";
        return;
    }
    if (!m_qnmProxy) {
        return;
    }
    const auto reason = tryManagerCall([&] {
        const platform::CGRect rect = sendDirtyRects(pending->update);
        QNUA_LOG(Logger::VERBOSE) << "Sending notification frameAvailable";
        m_qnmProxy.frameAvailable_andRect_andFrameSurfaceAddr_andByteStride_andToken(
            m_displayId, rect, baseAddress, static_cast<std::uint32_t>(bytesPerRow), m_token);
    });
    if (reason) {
        proxyFailed(*reason);
        return;
    }
    // The frame's references move with it; none is taken or dropped.
    m_sentSurface = pending->surface;
    m_sentUpdate = pending->update;
    m_sentSurfaceAddress = baseAddress;
    m_sentHeld = true;
    pending->ready = false;
    pending->update = nullptr;
}

platform::CGRect DisplayStreamFrameUpdaterImpl::sendDirtyRects(
    platform::CGDisplayStreamUpdateRef update) {
    std::size_t count = 0;
    const platform::CGRect* rects = m_displayStream->getRects(update, kDirtyRects, &count);
    if (count == 0) {
        return platform::CGRectNull;
    }
    // All but the last go one by one; the last travels with the frame.
    for (std::size_t i = 0; i + 1 < count; ++i) {
        if (!m_qnmProxy) {
            continue;
        }
        QNUA_LOG(Logger::VERBOSE) << "Sending dirty rects";
        if (const auto reason = tryManagerCall(
                [&] { m_qnmProxy.onRectRefreshed_onDisplayID(rects[i], m_displayId); })) {
            proxyFailed(*reason);
        }
    }
    return rects[count - 1];
}

void DisplayStreamFrameUpdaterImpl::proxyFailed(const std::string& reason) {
    QNUA_LOG(Logger::ERROR) << "Exception: " << Ascii{reason};
    if (m_exceptionHandlingDelegate) {
        m_exceptionHandlingDelegate->onProxyException();
    }
}

void DisplayStreamFrameUpdaterImpl::releaseFrameSurface(std::uint64_t surfaceAddress) {
    QNUA_LOG(Logger::VERBOSE) << "DisplayStreamFrameUpdaterImpl::releaseFrameSurface "
                              << surfaceAddress;
    PendingAccess pending(m_pending);
    if (surfaceAddress != 0) {
        m_memoryMapper->release(surfaceAddress);
        // A second release of one address drops nothing: the references are gone.
        if (m_sentSurfaceAddress == surfaceAddress && m_sentHeld) {
            giveBack(m_sentSurface, m_sentUpdate);
            m_sentHeld = false;
        }
    }
    if (pending->update != nullptr) {
        sendLastFrameInfo(pending);
    } else {
        pending->ready = true;
    }
}

void DisplayStreamFrameUpdaterImpl::stop() {
    QNUA_LOG(Logger::DEBUG) << "DisplayStreamFrameUpdaterImpl::stop for: 0x" << std::hex
                            << m_displayId;
    PendingAccess pending(m_pending);
    if (pending->update != nullptr) {
        platform::ioSurface().IOSurfaceDecrementUseCount(pending->surface);
        platform::CFRelease(pending->surface);
        platform::CFRelease(pending->update);
        pending->update = nullptr;
    }
    // A frame still on its way only goes into the reserve.
    pending->ready = false;
    if (m_displayStream) {
        m_displayStream->stop();
    }
}

void DisplayStreamFrameUpdaterImpl::giveBack(platform::IOSurfaceRef surface,
                                             platform::CGDisplayStreamUpdateRef update) {
    platform::ioSurface().IOSurfaceDecrementUseCount(surface);
    platform::CFRelease(surface);
    platform::CFRelease(update);
}

void DisplayStreamFrameUpdaterImpl::deleteSelf(void* updater) {
    delete static_cast<DisplayStreamFrameUpdaterImpl*>(updater);
}

}  // namespace qn::app::osx::qnuapp
