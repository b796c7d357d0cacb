#include "platform/linux/driver/DriverWire.h"

#include <sys/socket.h>

#include <cerrno>
#include <cstring>

namespace qn::platform::linux_host {

namespace {

constexpr std::size_t kHeader = 8;

void put32(std::uint8_t* at, std::uint32_t value) {
    for (int i = 0; i < 4; ++i) {
        at[i] = static_cast<std::uint8_t>(value >> (8 * i));
    }
}

std::uint32_t get32(const std::uint8_t* at) {
    return static_cast<std::uint32_t>(at[0]) | static_cast<std::uint32_t>(at[1]) << 8 |
           static_cast<std::uint32_t>(at[2]) << 16 | static_cast<std::uint32_t>(at[3]) << 24;
}

bool sendMessage(int socket, const std::vector<std::uint8_t>& bytes, int passFd) {
    iovec iov{const_cast<std::uint8_t*>(bytes.data()), bytes.size()};
    msghdr msg{};
    msg.msg_iov = &iov;
    msg.msg_iovlen = 1;
    alignas(cmsghdr) char control[CMSG_SPACE(sizeof(int))] = {};
    if (passFd >= 0) {
        msg.msg_control = control;
        msg.msg_controllen = sizeof(control);
        cmsghdr* c = CMSG_FIRSTHDR(&msg);
        c->cmsg_level = SOL_SOCKET;
        c->cmsg_type = SCM_RIGHTS;
        c->cmsg_len = CMSG_LEN(sizeof(int));
        std::memcpy(CMSG_DATA(c), &passFd, sizeof(int));
    }
    ssize_t sent;
    do {
        sent = ::sendmsg(socket, &msg, MSG_NOSIGNAL);
    } while (sent < 0 && errno == EINTR);
    return sent == static_cast<ssize_t>(bytes.size());
}

// One whole message, or empty; a passed descriptor is kept only when `passedFd` is given.
std::optional<std::vector<std::uint8_t>> receiveMessage(int socket, OwnedFd* passedFd) {
    std::vector<std::uint8_t> bytes(kHeader + kMaxDriverStruct + 1);
    iovec iov{bytes.data(), bytes.size()};
    msghdr msg{};
    msg.msg_iov = &iov;
    msg.msg_iovlen = 1;
    alignas(cmsghdr) char control[CMSG_SPACE(sizeof(int))] = {};
    msg.msg_control = control;
    msg.msg_controllen = sizeof(control);
    ssize_t got;
    do {
        got = ::recvmsg(socket, &msg, MSG_CMSG_CLOEXEC);
    } while (got < 0 && errno == EINTR);
    OwnedFd fd;
    for (cmsghdr* c = CMSG_FIRSTHDR(&msg); c != nullptr; c = CMSG_NXTHDR(&msg, c)) {
        if (c->cmsg_level == SOL_SOCKET && c->cmsg_type == SCM_RIGHTS &&
            c->cmsg_len >= CMSG_LEN(sizeof(int))) {
            int received = -1;
            std::memcpy(&received, CMSG_DATA(c), sizeof(int));
            fd.reset(received);
        }
    }
    if (got < static_cast<ssize_t>(kHeader) || (msg.msg_flags & (MSG_TRUNC | MSG_CTRUNC)) != 0 ||
        static_cast<std::size_t>(got) > kHeader + kMaxDriverStruct) {
        return std::nullopt;
    }
    if (passedFd != nullptr) {
        *passedFd = std::move(fd);
    }
    bytes.resize(static_cast<std::size_t>(got));
    return bytes;
}

}  // namespace

bool sendDriverRequest(int socket, const DriverRequest& request, int passFd) {
    if (request.input.size() > kMaxDriverStruct) {
        return false;
    }
    std::vector<std::uint8_t> bytes(kHeader + request.input.size());
    put32(bytes.data(), request.selector);
    put32(bytes.data() + 4, request.outputCapacity);
    std::copy(request.input.begin(), request.input.end(), bytes.begin() + kHeader);
    return sendMessage(socket, bytes, passFd);
}

bool sendDriverAnswer(int socket, const DriverAnswer& answer) {
    if (answer.output.size() > kMaxDriverStruct) {
        return false;
    }
    std::vector<std::uint8_t> bytes(kHeader + answer.output.size());
    put32(bytes.data(), static_cast<std::uint32_t>(answer.result));
    put32(bytes.data() + 4, static_cast<std::uint32_t>(answer.output.size()));
    std::copy(answer.output.begin(), answer.output.end(), bytes.begin() + kHeader);
    return sendMessage(socket, bytes, -1);
}

std::optional<DriverRequest> receiveDriverRequest(int socket, OwnedFd& passedFd) {
    passedFd.reset();
    const auto bytes = receiveMessage(socket, &passedFd);
    if (!bytes) {
        return std::nullopt;
    }
    DriverRequest request;
    request.selector = get32(bytes->data());
    request.outputCapacity = get32(bytes->data() + 4);
    request.input.assign(bytes->begin() + kHeader, bytes->end());
    return request;
}

std::optional<DriverAnswer> receiveDriverAnswer(int socket) {
    const auto bytes = receiveMessage(socket, nullptr);
    if (!bytes || get32(bytes->data() + 4) != bytes->size() - kHeader) {
        return std::nullopt;
    }
    DriverAnswer answer;
    answer.result = static_cast<std::int32_t>(get32(bytes->data()));
    answer.output.assign(bytes->begin() + kHeader, bytes->end());
    return answer;
}

}  // namespace qn::platform::linux_host
