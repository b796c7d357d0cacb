#pragma once
// Every Linux backend of the agent, behind the ports, as SimHost is for the simulated
// world. Members are declared in dependency order: the loop first, then the queue and
// the services on it, the bus link, then the backends that use them; teardown is the
// reverse. Only the agent's main makes one (and e2e test programs).
//
// The host starts with empty slots for display facts and callbacks (Quartz), the device
// registry (IOKit), frame surfaces (IOSurface), audio (CoreAudio) and windows and
// workspace events (AppKit); startBackends() fills them with this machine's: logind on
// the system bus, the X server that DISPLAY names, sysfs, the panel's windows and
// PipeWire. A test program may lend its own instead. Backends with a descriptor are on
// loop() through registrations the host keeps for their life.

#include <memory>
#include <string>

#include "platform/AppKit.h"
#include "platform/Backend.h"
#include "platform/CoreAudio.h"
#include "platform/IOKit.h"
#include "platform/IOSurface.h"
#include "platform/Quartz.h"
#include "platform/Registration.h"
#include "platform/linux/PortSlot.h"
#include "platform/linux/bus/BusHandles.h"
#include "platform/linux/bus/ManagerLink.h"
#include "platform/linux/event/EventLoop.h"
#include "platform/linux/event/LinuxDispatch.h"
#include "platform/linux/event/LinuxFoundation.h"
#include "platform/linux/event/LinuxNotificationCenter.h"
#include "platform/linux/event/MainQueue.h"
#include "platform/linux/surface/LinuxIOSurface.h"
#include "platform/linux/surface/SurfaceRegistry.h"
#include "platform/linux/system/LinuxSystem.h"

namespace qn::platform::x11 {
class X11Quartz;
}
namespace qn::platform::sysfs {
class SysfsIOKit;
}
namespace qn::platform::linux_audio {
class PipeWireAudio;
}
namespace qn::platform::linux_host::login {
class LoginSession;
class LoginEvents;
}  // namespace qn::platform::linux_host::login

namespace qn::platform::panel {
class X11PanelAppKit;
}
namespace qn::platform::linux_host {
class StreamingQuartz;
class X11DisplayStreams;
class DriverRoutedIOKit;
}  // namespace qn::platform::linux_host

namespace qn::platform::linux_host {

class LinuxHost {
  public:
    explicit LinuxHost(ManagerLink::BusOpener openBus = &sd_bus_open_system);
    ~LinuxHost();
    LinuxHost(const LinuxHost&) = delete;
    LinuxHost& operator=(const LinuxHost&) = delete;

    // Builds this machine's backends into the empty slots. `resourceDirectory` holds the
    // panel's pictures. Nothing here fails the process: without a system bus there is no
    // session (the agent waits for one), without an X server no display (the agent ends
    // with status 1), without PipeWire no audio device.
    void startBackends(const std::string& resourceDirectory);

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
    // [[NSWorkspace sharedWorkspace] notificationCenter]: logind's events arrive here.
    NSNotificationCenter& workspaceCenter() { return m_workspaceCenter; }

    PortSlot<Quartz>& quartzSlot() { return m_quartz; }
    PortSlot<IOKit>& ioKitSlot() { return m_ioKit; }
    PortSlot<IOSurface>& ioSurfaceSlot() { return m_ioSurface; }
    PortSlot<CoreAudio>& coreAudioSlot() { return m_coreAudio; }
    PortSlot<AppKit>& appKitSlot() { return m_appKit; }
    PortSlot<System>& systemSlot() { return m_systemSlot; }

  private:
    void startLogin();
    void startX11();
    void runX11Turn();
    void scheduleX11Turn();
    void afterEachTurn();
    void watchStreams(X11DisplayStreams& streams);
    void runStreams();
    void armStreamsTimer();

    EventLoop m_loop;
    MainQueue m_mainQueue;
    LinuxFoundation m_foundation;
    LinuxDispatch m_dispatch;
    LinuxSystem m_system;
    ManagerLink m_managerLink;
    // Delivers before postNotification returns: logind's sleep lock is let go only once
    // the observers have run.
    LinuxNotificationCenter m_workspaceCenter;
    // Every frame surface is listed here until its last release, and the port over them
    // holds no state: both outlive every backend below.
    SurfaceRegistry m_surfaces;
    LinuxIOSurface m_surfacePort;
    PortSlot<System> m_systemSlot;
    PortSlot<IOSurface> m_ioSurface;
    PortSlot<IOKit> m_ioKit;
    PortSlot<Quartz> m_quartz;
    PortSlot<CoreAudio> m_coreAudio;
    PortSlot<AppKit> m_appKit;

    // The backends of startBackends(), in the order they need each other.
    BusPtr m_loginBus;
    std::unique_ptr<login::LoginSession> m_loginSession;
    std::unique_ptr<x11::X11Quartz> m_x11;
    Registration m_x11Io;
    Registration m_x11Turn;
    // Display streams on an X connection of their own, made at the first stream; their
    // descriptor and next deadline are on the loop once they exist.
    std::unique_ptr<StreamingQuartz> m_streaming;
    Registration m_streamsIo;
    Registration m_streamsTimer;
    std::uint64_t m_streamsTimerAt = 0;
    Registration m_streamsMore;
    std::unique_ptr<sysfs::SysfsIOKit> m_sysfs;
    // The driver's endpoints beside the sysfs registry.
    std::unique_ptr<DriverRoutedIOKit> m_driverIoKit;
    std::unique_ptr<login::LoginEvents> m_loginEvents;
    Registration m_sleepLockSoon;
    std::unique_ptr<panel::X11PanelAppKit> m_panel;
    Registration m_panelIo;
    std::unique_ptr<linux_audio::PipeWireAudio> m_audio;
    // Last: it looks at the X backends after every turn of the loop.
    Registration m_afterEachTurn;
};

}  // namespace qn::platform::linux_host
