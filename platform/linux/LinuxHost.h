#pragma once
// Every Linux backend of the agent, behind the ports, as SimHost is for the simulated
// world. Members are declared in dependency order: the loop first, then the queue and
// the services on it, the bus link, then the backends that use them; teardown is the
// reverse. Only the agent's main makes one (and e2e test programs).
//
// Display facts and callbacks (Quartz), the device registry (IOKit), frame surfaces
// (IOSurface), audio (CoreAudio) and windows and workspace events (AppKit) are slots that
// their own backends fill; the process-level System port is this host's own LinuxSystem
// unless a slot says otherwise. Backends with a descriptor register it on loop() with
// EventLoop::addIo and keep the Registration for their life.

#include "platform/AppKit.h"
#include "platform/Backend.h"
#include "platform/CoreAudio.h"
#include "platform/IOKit.h"
#include "platform/IOSurface.h"
#include "platform/Quartz.h"
#include "platform/linux/PortSlot.h"
#include "platform/linux/bus/ManagerLink.h"
#include "platform/linux/event/EventLoop.h"
#include "platform/linux/event/LinuxDispatch.h"
#include "platform/linux/event/LinuxFoundation.h"
#include "platform/linux/event/MainQueue.h"
#include "platform/linux/system/LinuxSystem.h"

namespace qn::platform::linux_host {

class LinuxHost {
  public:
    explicit LinuxHost(ManagerLink::BusOpener openBus = &sd_bus_open_system);
    LinuxHost(const LinuxHost&) = delete;
    LinuxHost& operator=(const LinuxHost&) = delete;

    // The ports as they stand; an empty slot gives a null port.
    Backend backend();
    // Installs this host until the result goes out of scope (main keeps it to the end).
    ScopedBackend install() { return ScopedBackend(backend()); }
    // Whether every port has a backend.
    bool complete() const;

    EventLoop& loop() { return m_loop; }
    MainQueue& mainQueue() { return m_mainQueue; }
    LinuxFoundation& foundation() { return m_foundation; }
    LinuxDispatch& dispatch() { return m_dispatch; }
    LinuxSystem& linuxSystem() { return m_system; }
    ManagerLink& managerLink() { return m_managerLink; }

    PortSlot<Quartz>& quartzSlot() { return m_quartz; }
    PortSlot<IOKit>& ioKitSlot() { return m_ioKit; }
    PortSlot<IOSurface>& ioSurfaceSlot() { return m_ioSurface; }
    PortSlot<CoreAudio>& coreAudioSlot() { return m_coreAudio; }
    PortSlot<AppKit>& appKitSlot() { return m_appKit; }
    PortSlot<System>& systemSlot() { return m_systemSlot; }

  private:
    EventLoop m_loop;
    MainQueue m_mainQueue;
    LinuxFoundation m_foundation;
    LinuxDispatch m_dispatch;
    LinuxSystem m_system;
    ManagerLink m_managerLink;
    PortSlot<System> m_systemSlot;
    PortSlot<IOSurface> m_ioSurface;
    PortSlot<IOKit> m_ioKit;
    PortSlot<Quartz> m_quartz;
    PortSlot<CoreAudio> m_coreAudio;
    PortSlot<AppKit> m_appKit;
};

}  // namespace qn::platform::linux_host
