#pragma once
// A socket that takes frames as bytes, for measuring what copying a frame to the Manager
// costs beside handing it over in place: each frame is a 32-bit length in host order
// followed by that many bytes, answered with one byte once all of it has been read.
// The bytes are read and dropped.

#include <cstdint>
#include <map>
#include <memory>
#include <string>
#include <vector>

#include "platform/Registration.h"
#include "platform/linux/event/EventLoop.h"
#include "sys/libutils/posix/FileDescriptor.h"

namespace qn::tools::qnmanager {

class CopySink {
  public:
    // Listens at `path` (replacing a stale socket there); throws std::system_error.
    CopySink(platform::linux_host::EventLoop& loop, const std::string& path);
    ~CopySink();
    CopySink(const CopySink&) = delete;
    CopySink& operator=(const CopySink&) = delete;

    std::uint64_t framesTaken() const { return m_frames; }

  private:
    struct Client {
        sys::FileDescriptor fd;
        platform::Registration watch;
        std::uint8_t header[4] = {};
        std::size_t headerRead = 0;
        std::size_t bodyLeft = 0;
    };

    void accept();
    // False once the client is gone or broke the framing.
    bool read(Client& client);

    platform::linux_host::EventLoop& m_loop;
    std::string m_path;
    sys::FileDescriptor m_listen;
    platform::Registration m_listening;
    std::map<int, std::unique_ptr<Client>> m_clients;
    std::vector<std::uint8_t> m_scratch;
    std::uint64_t m_frames = 0;
};

}  // namespace qn::tools::qnmanager
