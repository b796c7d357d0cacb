#pragma once

#include <cstdint>
#include <ctime>
#include <ostream>

namespace qn::sys {

// Wall-clock microseconds since the epoch (gettimeofday).
std::int64_t CurrentMicroseconds();
// Always 1000000: the clock above counts microseconds.
std::int64_t TicksPerSecond();
void SleepMilliseconds(std::uint32_t milliseconds);
std::time_t CurrentTime();
// The first 24 characters of ctime: "Www Mmm dd hh:mm:ss yyyy", no newline.
void TimeToStream(std::ostream& stream, std::time_t time);

}  // namespace qn::sys
