#pragma once
// The whole simulated host: one world behind every port, on one virtual clock. A test
// makes one, configures the world, installs it as the backend for its scope and drives
// time with runLoop().advance().

#include "platform/Backend.h"
#include "platform/sim/SimAppKit.h"
#include "platform/sim/SimCoreAudio.h"
#include "platform/sim/SimDispatch.h"
#include "platform/sim/SimFaults.h"
#include "platform/sim/SimFoundation.h"
#include "platform/sim/SimIOKit.h"
#include "platform/sim/SimIOSurface.h"
#include "platform/sim/SimQuartz.h"
#include "platform/sim/SimRunLoop.h"
#include "platform/sim/SimSystem.h"

namespace qn::platform::sim {

class SimHost {
  public:
    SimHost();
    SimHost(const SimHost&) = delete;
    SimHost& operator=(const SimHost&) = delete;

    Backend backend();
    // Installs this host as the process's backend until the result goes out of scope.
    ScopedBackend install() { return ScopedBackend(backend()); }

    SimFaults& faults() { return m_faults; }
    SimRunLoop& runLoop() { return m_runLoop; }
    SimDispatch& dispatch() { return m_dispatch; }
    SimFoundation& foundation() { return m_foundation; }
    SimManager& manager() { return m_foundation.manager(); }
    SimQuartz& quartz() { return m_quartz; }
    SimIOSurface& ioSurface() { return m_ioSurface; }
    SimIOKit& ioKit() { return m_ioKit; }
    SimCoreAudio& coreAudio() { return m_coreAudio; }
    SimAppKit& appKit() { return m_appKit; }
    SimSystem& system() { return m_system; }

  private:
    // Declared in order of dependency; the audio thread ends first (coreAudio is last).
    SimFaults m_faults;
    SimRunLoop m_runLoop;
    SimDispatch m_dispatch;
    SimFoundation m_foundation;
    SimQuartz m_quartz;
    SimIOSurface m_ioSurface;
    SimIOKit m_ioKit;
    SimAppKit m_appKit;
    SimSystem m_system;
    SimCoreAudio m_coreAudio;
};

}  // namespace qn::platform::sim
