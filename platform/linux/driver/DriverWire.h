#pragma once
// One request and one answer per driver call, each a single SOCK_SEQPACKET message:
//   request: u32 selector, u32 output capacity, the input structure's bytes;
//            a descriptor may ride along (SCM_RIGHTS)
//   answer:  i32 result, the output structure's bytes (at most the capacity)
// Little-endian, as the record inside.

#include <cstdint>
#include <optional>
#include <vector>

#include "platform/linux/OwnedFd.h"

namespace qn::platform::linux_host {

struct DriverRequest {
    std::uint32_t selector = 0;
    std::uint32_t outputCapacity = 0;
    std::vector<std::uint8_t> input;
};

struct DriverAnswer {
    std::int32_t result = 0;
    std::vector<std::uint8_t> output;
};

// Larger structures are refused on both sides; the record is 20 bytes.
inline constexpr std::size_t kMaxDriverStruct = 4096;

// False when the message could not be sent whole (peer gone, structure too large).
bool sendDriverRequest(int socket, const DriverRequest& request, int passFd = -1);
bool sendDriverAnswer(int socket, const DriverAnswer& answer);
// Empty when the peer has gone or sent something malformed; a descriptor that came with
// the request lands in `passedFd`.
std::optional<DriverRequest> receiveDriverRequest(int socket, OwnedFd& passedFd);
std::optional<DriverAnswer> receiveDriverAnswer(int socket);

}  // namespace qn::platform::linux_host
