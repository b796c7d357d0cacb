#include "sys/libutils/Clock.h"

#include <sys/time.h>
#include <unistd.h>

namespace qn::sys {

std::int64_t CurrentMicroseconds() {
    timeval now{};
    gettimeofday(&now, nullptr);
    return static_cast<std::int64_t>(now.tv_sec) * 1000000 + now.tv_usec;
}

std::int64_t TicksPerSecond() {
    return 1000000;
}

void SleepMilliseconds(std::uint32_t milliseconds) {
    usleep(static_cast<useconds_t>(milliseconds) * 1000);
}

std::time_t CurrentTime() {
    return time(nullptr);
}

void TimeToStream(std::ostream& stream, std::time_t time) {
    char buffer[32] = {};
    // Reentrant form of ctime; same 26-byte text.
    if (ctime_r(&time, buffer) != nullptr) {
        stream.write(buffer, 24);
    }
}

}  // namespace qn::sys
