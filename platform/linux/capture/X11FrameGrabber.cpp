#include "platform/linux/capture/X11FrameGrabber.h"

#include <sys/ipc.h>
#include <sys/shm.h>
#include <unistd.h>

#include <cstring>

#include "platform/linux/capture/XcbOwners.h"
#include "platform/linux/surface/MemfdSurface.h"

namespace qn::platform::linux_host {

namespace {

using sys::Logger;

const char* describe(CaptureRung rung) {
    switch (rung) {
        case CaptureRung::ShmDescriptor:
            return "SHM segments on the frame surfaces' descriptors";
        case CaptureRung::ShmImage:
            return "SHM image reads";
        case CaptureRung::Plain:
            return "plain image reads";
        case CaptureRung::Exhausted:
            break;
    }
    return "nothing";
}

constexpr std::uint32_t kAllPlanes = ~0u;

}  // namespace

X11FrameGrabber::X11FrameGrabber(xcb_connection_t* connection, xcb_window_t root,
                                 const Logger::Logged& log, CaptureRung first)
    : m_connection(connection), m_root(root), m_log(log) {
    CaptureRung rung = first;
    // Attaching a descriptor needs MIT-SHM 1.2; SysV segments need any version.
    if (rung == CaptureRung::ShmDescriptor && !shmVersionAtLeast(1, 2)) {
        rung = CaptureRung::ShmImage;
    }
    if (rung == CaptureRung::ShmImage && !shmVersionAtLeast(1, 0)) {
        rung = CaptureRung::Plain;
    }
    m_rung = rung;
    QN_LOG(m_log, Logger::INFO) << "capture by " << describe(m_rung);
}

X11FrameGrabber::~X11FrameGrabber() {
    shutDown();
}

void X11FrameGrabber::shutDown() {
    if (m_connection == nullptr) {
        return;
    }
    forgetSurfaces();
    dropSysvSegment();
    xcb_flush(m_connection);
    m_connection = nullptr;
    m_rung = CaptureRung::Exhausted;
}

bool X11FrameGrabber::shmVersionAtLeast(int major, int minor) {
    const xcb_query_extension_reply_t* ext = xcb_get_extension_data(m_connection, &xcb_shm_id);
    if (ext == nullptr || !ext->present) {
        return false;
    }
    XcbReply<xcb_shm_query_version_reply_t> version(xcb_shm_query_version_reply(
        m_connection, xcb_shm_query_version(m_connection), XcbErrorSlot().receive()));
    return version && (version->major_version > major ||
                       (version->major_version == major && version->minor_version >= minor));
}

void X11FrameGrabber::stepDown(CaptureRung to) {
    m_rung = to;
    if (to == CaptureRung::Exhausted) {
        QN_LOG(m_log, Logger::ERROR) << "capture: no way left to read the screen";
    } else {
        QN_LOG(m_log, Logger::INFO) << "capture falls back to " << describe(to);
    }
}

void X11FrameGrabber::forgetSurfaces() {
    for (const auto& [serial, segment] : m_segments) {
        xcb_shm_detach(m_connection, segment);
    }
    m_segments.clear();
}

void X11FrameGrabber::dropSysvSegment() {
    if (m_sysvMemory != nullptr) {
        xcb_shm_detach(m_connection, m_sysvSegment);
        ::shmdt(m_sysvMemory);
        m_sysvMemory = nullptr;
        m_sysvSize = 0;
    }
}

bool X11FrameGrabber::grab(MemfdSurface& surface, std::int32_t x, std::int32_t y,
                           const std::vector<RowBand>& bands) {
    for (;;) {
        switch (m_rung) {
            case CaptureRung::ShmDescriptor:
                if (grabByDescriptor(surface, x, y, bands)) {
                    return true;
                }
                forgetSurfaces();
                stepDown(CaptureRung::ShmImage);
                break;
            case CaptureRung::ShmImage:
                if (grabByShmImage(surface, x, y, bands)) {
                    return true;
                }
                dropSysvSegment();
                stepDown(CaptureRung::Plain);
                break;
            case CaptureRung::Plain:
                if (grabPlain(surface, x, y, bands)) {
                    return true;
                }
                stepDown(CaptureRung::Exhausted);
                return false;
            case CaptureRung::Exhausted:
                return false;
        }
    }
}

bool X11FrameGrabber::grabByDescriptor(MemfdSurface& surface, std::int32_t x, std::int32_t y,
                                       const std::vector<RowBand>& bands) {
    auto segment = m_segments.find(surface.serial());
    if (segment == m_segments.end()) {
        // xcb closes the descriptor it sends, so it gets its own.
        const int fd = ::dup(surface.fd());
        if (fd < 0) {
            return false;
        }
        const xcb_shm_seg_t id = xcb_generate_id(m_connection);
        XcbReply<xcb_generic_error_t> error(
            xcb_request_check(m_connection, xcb_shm_attach_fd_checked(m_connection, id, fd, 0)));
        if (error) {
            return false;
        }
        segment = m_segments.emplace(surface.serial(), id).first;
    }
    const auto width = static_cast<std::uint16_t>(surface.width());
    for (const auto& band : bands) {
        XcbReply<xcb_shm_get_image_reply_t> reply(xcb_shm_get_image_reply(
            m_connection,
            xcb_shm_get_image(m_connection, m_root, static_cast<std::int16_t>(x),
                              static_cast<std::int16_t>(y + band.top), width,
                              static_cast<std::uint16_t>(band.bottom - band.top), kAllPlanes,
                              XCB_IMAGE_FORMAT_Z_PIXMAP, segment->second,
                              static_cast<std::uint32_t>(band.top * surface.bytesPerRow())),
            XcbErrorSlot().receive()));
        if (!reply) {
            return false;
        }
    }
    return true;
}

bool X11FrameGrabber::grabByShmImage(MemfdSurface& surface, std::int32_t x, std::int32_t y,
                                     const std::vector<RowBand>& bands) {
    if (m_sysvSize < surface.allocSize()) {
        dropSysvSegment();
        const int id = ::shmget(IPC_PRIVATE, surface.allocSize(), IPC_CREAT | 0600);
        if (id < 0) {
            return false;
        }
        void* memory = ::shmat(id, nullptr, 0);
        const xcb_shm_seg_t segment = xcb_generate_id(m_connection);
        XcbReply<xcb_generic_error_t> error;
        if (memory != reinterpret_cast<void*>(-1)) {
            error.reset(xcb_request_check(
                m_connection,
                xcb_shm_attach_checked(m_connection, segment, static_cast<std::uint32_t>(id), 0)));
        }
        // Both sides are attached (or failed): the segment goes when they detach.
        ::shmctl(id, IPC_RMID, nullptr);
        if (memory == reinterpret_cast<void*>(-1)) {
            return false;
        }
        if (error) {
            ::shmdt(memory);
            return false;
        }
        m_sysvSegment = segment;
        m_sysvMemory = static_cast<std::uint8_t*>(memory);
        m_sysvSize = surface.allocSize();
    }
    const auto width = static_cast<std::uint16_t>(surface.width());
    for (const auto& band : bands) {
        const std::size_t offset = band.top * surface.bytesPerRow();
        const std::size_t length = (band.bottom - band.top) * surface.bytesPerRow();
        XcbReply<xcb_shm_get_image_reply_t> reply(xcb_shm_get_image_reply(
            m_connection,
            xcb_shm_get_image(m_connection, m_root, static_cast<std::int16_t>(x),
                              static_cast<std::int16_t>(y + band.top), width,
                              static_cast<std::uint16_t>(band.bottom - band.top), kAllPlanes,
                              XCB_IMAGE_FORMAT_Z_PIXMAP, m_sysvSegment,
                              static_cast<std::uint32_t>(offset)),
            XcbErrorSlot().receive()));
        if (!reply) {
            return false;
        }
        std::memcpy(surface.baseAddress() + offset, m_sysvMemory + offset, length);
    }
    return true;
}

bool X11FrameGrabber::grabPlain(MemfdSurface& surface, std::int32_t x, std::int32_t y,
                                const std::vector<RowBand>& bands) {
    const auto width = static_cast<std::uint16_t>(surface.width());
    for (const auto& band : bands) {
        const std::size_t offset = band.top * surface.bytesPerRow();
        const std::size_t length = (band.bottom - band.top) * surface.bytesPerRow();
        XcbReply<xcb_get_image_reply_t> reply(xcb_get_image_reply(
            m_connection,
            xcb_get_image(m_connection, XCB_IMAGE_FORMAT_Z_PIXMAP, m_root,
                          static_cast<std::int16_t>(x), static_cast<std::int16_t>(y + band.top),
                          width, static_cast<std::uint16_t>(band.bottom - band.top), kAllPlanes),
            XcbErrorSlot().receive()));
        if (!reply || static_cast<std::size_t>(xcb_get_image_data_length(reply.get())) < length) {
            return false;
        }
        std::memcpy(surface.baseAddress() + offset, xcb_get_image_data(reply.get()), length);
    }
    return true;
}

}  // namespace qn::platform::linux_host
