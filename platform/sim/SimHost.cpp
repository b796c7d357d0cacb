#include "platform/sim/SimHost.h"

namespace qn::platform::sim {

SimHost::SimHost()
    : m_dispatch(m_runLoop),
      m_foundation(m_runLoop),
      m_quartz(m_runLoop, m_dispatch, m_faults),
      m_ioKit(m_faults),
      m_appKit(m_runLoop),
      m_system(m_runLoop),
      m_coreAudio(m_faults) {}

Backend SimHost::backend() {
    Backend b;
    b.quartz = &m_quartz;
    b.ioKit = &m_ioKit;
    b.ioSurface = &m_ioSurface;
    b.coreAudio = &m_coreAudio;
    b.foundation = &m_foundation;
    b.appKit = &m_appKit;
    b.dispatch = &m_dispatch;
    b.system = &m_system;
    return b;
}

}  // namespace qn::platform::sim
