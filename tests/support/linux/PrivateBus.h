#pragma once
// A private dbus-daemon for one test, standing in for the system bus, and client
// connections to it. Ready once the daemon has printed its address.

#include <systemd/sd-bus.h>

#include <memory>
#include <string>

#include "tests/support/ChildProcess.h"
#include "tests/support/linux/ScratchDir.h"

namespace qn::testing::linux_host {

struct BusCloser {
    void operator()(sd_bus* bus) const { sd_bus_flush_close_unref(bus); }
};
using BusConnection = std::unique_ptr<sd_bus, BusCloser>;

class PrivateBus {
  public:
    // Throws std::runtime_error when the daemon does not start. Without `systemPolicy` a
    // session-type bus of the test's user; with it a system-type bus any local user may
    // join, under the system bus's default rules, that policy file (the packaged one) and
    // logind's name for root alone.
    explicit PrivateBus(const std::string& systemPolicy = {});
    const std::string& address() const { return m_address; }
    const std::string& directory() const { return m_dir.path(); }
    // A new client connection, registered with the daemon. Throws on failure.
    BusConnection connect() const;

  private:
    ScratchDir m_dir;
    std::string m_address;
    std::unique_ptr<test::ChildProcess> m_daemon;
};

// Processes the connection until `done()` or the deadline (seconds); false on the
// deadline. For readiness, never for timing: the deadline only ends a broken test.
template <typename Done>
bool processUntil(sd_bus* bus, Done done, int deadlineSeconds = 30);

}  // namespace qn::testing::linux_host

#include "tests/support/linux/PrivateBus.inl"
