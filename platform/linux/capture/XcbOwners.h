#pragma once
// Owners of xcb's C handles: replies and errors are freed with free(); a connection is
// either owned (disconnected when the owner goes) or borrowed from whoever owns the
// process's X connection.

#include <xcb/xcb.h>

#include <cstdlib>
#include <memory>

namespace qn::platform::linux_host {

struct XcbFree {
    void operator()(void* p) const { std::free(p); }
};
template <typename T>
using XcbReply = std::unique_ptr<T, XcbFree>;

// Where a reply call puts its error. Without one, xcb queues the error as an event, and
// on a connection borrowed from Xlib, Xlib's error handler would see it. A temporary
// frees the error at the end of the statement.
class XcbErrorSlot {
  public:
    XcbErrorSlot() = default;
    XcbErrorSlot(const XcbErrorSlot&) = delete;
    XcbErrorSlot& operator=(const XcbErrorSlot&) = delete;
    ~XcbErrorSlot() { std::free(m_error); }
    xcb_generic_error_t** receive() { return &m_error; }

  private:
    xcb_generic_error_t* m_error = nullptr;
};

class XcbConnection {
  public:
    // Opens its own connection to `display` (null: $DISPLAY, as the X library reads it).
    static XcbConnection open(const char* display);
    // Uses `connection` without owning it; it must outlive this object.
    static XcbConnection borrow(xcb_connection_t* connection) {
        return XcbConnection(connection, false);
    }

    XcbConnection(XcbConnection&& other) noexcept
        : m_connection(other.m_connection), m_owned(other.m_owned) {
        other.m_connection = nullptr;
    }
    XcbConnection(const XcbConnection&) = delete;
    XcbConnection& operator=(const XcbConnection&) = delete;
    XcbConnection& operator=(XcbConnection&&) = delete;
    ~XcbConnection() {
        if (m_owned && m_connection != nullptr) {
            xcb_disconnect(m_connection);
        }
    }

    xcb_connection_t* get() const { return m_connection; }
    bool owned() const { return m_owned; }
    // False when the connection could not be made or has broken.
    bool usable() const {
        return m_connection != nullptr && !xcb_connection_has_error(m_connection);
    }

  private:
    XcbConnection(xcb_connection_t* connection, bool owned)
        : m_connection(connection), m_owned(owned) {}

    xcb_connection_t* m_connection;
    bool m_owned;
};

inline XcbConnection XcbConnection::open(const char* display) {
    return XcbConnection(xcb_connect(display, nullptr), true);
}

}  // namespace qn::platform::linux_host
