#include "platform/linux/LinuxHost.h"

namespace qn::platform::linux_host {

LinuxHost::LinuxHost(ManagerLink::BusOpener openBus)
    : m_mainQueue(m_loop),
      m_foundation(m_loop, m_mainQueue),
      m_dispatch(m_loop, m_mainQueue),
      m_managerLink(m_loop, m_mainQueue, m_foundation.defaultCenter(),
                    m_foundation.distributedCenter(), std::move(openBus)) {
    m_foundation.setPeerDirectory(&m_managerLink);
    m_systemSlot.lend(m_system);
}

Backend LinuxHost::backend() {
    Backend b;
    b.quartz = m_quartz.get();
    b.ioKit = m_ioKit.get();
    b.ioSurface = m_ioSurface.get();
    b.coreAudio = m_coreAudio.get();
    b.foundation = &m_foundation;
    b.appKit = m_appKit.get();
    b.dispatch = &m_dispatch;
    b.system = m_systemSlot.get();
    return b;
}

bool LinuxHost::complete() const {
    return m_quartz && m_ioKit && m_ioSurface && m_coreAudio && m_appKit && m_systemSlot;
}

}  // namespace qn::platform::linux_host
