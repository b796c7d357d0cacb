#include "tools/qnmanager/CopySink.h"

#include <gtest/gtest.h>
#include <sys/socket.h>
#include <sys/un.h>

#include <cstring>
#include <vector>

#include "tests/support/linux/ScratchDir.h"

namespace qn::tools::qnmanager {
namespace {

using platform::linux_host::EventLoop;

sys::FileDescriptor connectTo(const std::string& path) {
    sys::FileDescriptor fd(::socket(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0));
    sockaddr_un address{};
    address.sun_family = AF_UNIX;
    std::strncpy(address.sun_path, path.c_str(), sizeof address.sun_path - 1);
    if (::connect(fd.get(), reinterpret_cast<const sockaddr*>(&address), sizeof address) != 0) {
        fd.reset();
    }
    return fd;
}

// Turns the loop until `done`; the turn count is a hang guard only.
template <typename Done>
bool turnUntil(EventLoop& loop, Done done) {
    for (int i = 0; i < 2000 && !done(); ++i) {
        loop.runOnce(10000);
    }
    return done();
}

// Turns the loop until a turn finds nothing to do: what was sent on a local socket is
// readable at once, so everything sent before has been dispatched.
void turnUntilIdle(EventLoop& loop) {
    while (loop.runOnce(1000) > 0) {
    }
}

TEST(CopySink, AnswersEachFrameOnceAllOfItsBytesHaveCome) {
    qn::testing::linux_host::ScratchDir dir;
    const std::string path = dir.path() + "/sink";
    EventLoop loop;
    CopySink sink(loop, path);
    sys::FileDescriptor client = connectTo(path);
    ASSERT_TRUE(client.valid());

    // A frame larger than the sink's read buffer, its length split across two writes, and
    // an empty frame behind it in the same write as the rest.
    const std::uint32_t length = 3u << 20;
    std::vector<std::uint8_t> bytes(sizeof length + length + sizeof(std::uint32_t), 0x5a);
    std::memcpy(bytes.data(), &length, sizeof length);
    std::memset(bytes.data() + sizeof length + length, 0, sizeof(std::uint32_t));
    ASSERT_EQ(::send(client.get(), bytes.data(), 2, 0), 2);
    turnUntilIdle(loop);
    EXPECT_EQ(sink.framesTaken(), 0u);

    std::size_t sent = 2;
    while (sent < bytes.size()) {
        const ssize_t n = ::send(client.get(), bytes.data() + sent,
                                 std::min<std::size_t>(bytes.size() - sent, 1 << 16), MSG_DONTWAIT);
        if (n > 0) {
            sent += static_cast<std::size_t>(n);
        } else {
            loop.runOnce(10000);
        }
    }
    ASSERT_TRUE(turnUntil(loop, [&] { return sink.framesTaken() == 2; }));
    char acks[3] = {};
    EXPECT_EQ(::recv(client.get(), acks, sizeof acks, MSG_DONTWAIT), 2);

    // A length no frame has: the sender is dropped, the sink stays.
    const std::uint32_t absurd = 0xffffffffu;
    ASSERT_EQ(::send(client.get(), &absurd, sizeof absurd, 0), 4);
    turnUntilIdle(loop);
    EXPECT_EQ(::recv(client.get(), acks, 1, 0), 0);
    EXPECT_TRUE(connectTo(path).valid());
}

TEST(CopySink, FailsWhenItCannotListen) {
    EventLoop loop;
    EXPECT_THROW(CopySink(loop, "/nonexistent-dir/sink"), std::system_error);
}

}  // namespace
}  // namespace qn::tools::qnmanager
