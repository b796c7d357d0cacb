#pragma once
// A port of the Linux host that another backend fills: owned once its backend is built
// into the host, or lent by whoever owns it (a test's fixed facts). Empty means the
// port's accessor fails, as with no backend installed.

#include <memory>

namespace qn::platform::linux_host {

template <typename Port>
class PortSlot {
  public:
    void fill(std::unique_ptr<Port> owned) {
        m_owned = std::move(owned);
        m_port = m_owned.get();
    }
    // The lender keeps `borrowed` alive for the host's life.
    void lend(Port& borrowed) {
        m_owned.reset();
        m_port = &borrowed;
    }
    Port* get() const { return m_port; }
    explicit operator bool() const { return m_port != nullptr; }

  private:
    std::unique_ptr<Port> m_owned;
    Port* m_port = nullptr;
};

}  // namespace qn::platform::linux_host
