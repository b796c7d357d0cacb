#include "tools/qnmanager/CopySink.h"

#include <sys/epoll.h>
#include <sys/socket.h>
#include <sys/un.h>

#include <cerrno>
#include <cstring>
#include <system_error>

namespace qn::tools::qnmanager {

namespace {

// Larger than any frame the agent sends (8K at 4 bytes a pixel): a longer length is a
// broken sender, not a frame.
constexpr std::uint32_t kLargestFrame = 7680u * 4320u * 4u;

}  // namespace

CopySink::CopySink(platform::linux_host::EventLoop& loop, const std::string& path)
    : m_loop(loop), m_path(path), m_scratch(1 << 20) {
    sockaddr_un address{};
    if (path.empty() || path.size() >= sizeof address.sun_path) {
        throw std::system_error(ENAMETOOLONG, std::generic_category(), path);
    }
    address.sun_family = AF_UNIX;
    std::memcpy(address.sun_path, path.c_str(), path.size() + 1);
    m_listen.reset(::socket(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC | SOCK_NONBLOCK, 0));
    if (!m_listen.valid()) {
        throw std::system_error(errno, std::generic_category(), "socket");
    }
    ::unlink(path.c_str());
    if (::bind(m_listen.get(), reinterpret_cast<const sockaddr*>(&address), sizeof address) != 0 ||
        ::listen(m_listen.get(), 4) != 0) {
        throw std::system_error(errno, std::generic_category(), path);
    }
    m_listening =
        m_loop.addIo(m_listen.get(), EPOLLIN, "copy-sink", [this](std::uint32_t) { accept(); });
}

CopySink::~CopySink() {
    m_clients.clear();
    m_listening.reset();
    ::unlink(m_path.c_str());
}

void CopySink::accept() {
    const int fd = ::accept4(m_listen.get(), nullptr, nullptr, SOCK_CLOEXEC | SOCK_NONBLOCK);
    if (fd < 0) {
        return;
    }
    auto client = std::make_unique<Client>();
    client->fd.reset(fd);
    Client* raw = client.get();
    client->watch = m_loop.addIo(fd, EPOLLIN, "copy-sink-client", [this, raw, fd](std::uint32_t) {
        if (!read(*raw)) {
            // Dropped from its own handler: the registration allows that.
            m_clients.erase(fd);
        }
    });
    m_clients[fd] = std::move(client);
}

bool CopySink::read(Client& client) {
    for (;;) {
        ssize_t got = 0;
        if (client.bodyLeft == 0) {
            got = ::recv(client.fd.get(), client.header + client.headerRead,
                         sizeof client.header - client.headerRead, 0);
        } else {
            got = ::recv(client.fd.get(), m_scratch.data(),
                         std::min(client.bodyLeft, m_scratch.size()), 0);
        }
        if (got < 0) {
            return errno == EAGAIN || errno == EINTR;
        }
        if (got == 0) {
            return false;
        }
        if (client.bodyLeft > 0) {
            client.bodyLeft -= static_cast<std::size_t>(got);
        } else {
            client.headerRead += static_cast<std::size_t>(got);
            if (client.headerRead < sizeof client.header) {
                continue;
            }
            std::uint32_t length = 0;
            std::memcpy(&length, client.header, sizeof length);
            client.headerRead = 0;
            if (length > kLargestFrame) {
                return false;
            }
            client.bodyLeft = length;
        }
        if (client.bodyLeft == 0) {
            ++m_frames;
            const char ack = 1;
            if (::send(client.fd.get(), &ack, 1, MSG_NOSIGNAL) != 1) {
                return false;
            }
        }
    }
}

}  // namespace qn::tools::qnmanager
