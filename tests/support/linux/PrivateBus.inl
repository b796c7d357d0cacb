// Template part of PrivateBus.h.
#include <chrono>

namespace qn::testing::linux_host {

template <typename Done>
bool processUntil(sd_bus* bus, Done done, int deadlineSeconds) {
    const auto deadline = std::chrono::steady_clock::now() + std::chrono::seconds(deadlineSeconds);
    while (!done()) {
        if (std::chrono::steady_clock::now() >= deadline) {
            return false;
        }
        const int r = sd_bus_process(bus, nullptr);
        if (r < 0) {
            return false;
        }
        if (r == 0) {
            sd_bus_wait(bus, 100000);
        }
    }
    return true;
}

}  // namespace qn::testing::linux_host
