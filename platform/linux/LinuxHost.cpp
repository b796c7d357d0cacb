#include "platform/linux/LinuxHost.h"

#include <sys/epoll.h>
#include <unistd.h>

#include <algorithm>
#include <chrono>
#include <filesystem>
#include <fstream>
#include <sstream>

#include "platform/StringsTable.h"
#include "platform/linux/audio/PipeWireAudio.h"
#include "platform/linux/capture/StreamingQuartz.h"
#include "platform/linux/capture/X11DisplayStreams.h"
#include "platform/linux/driver/DriverRoutedIOKit.h"
#include "platform/linux/login/LoginEvents.h"
#include "platform/linux/login/LoginSession.h"
#include "platform/linux/panel/X11PanelAppKit.h"
#include "platform/linux/sysfs/SysfsIOKit.h"
#include "platform/linux/x11/X11Quartz.h"

namespace qn::platform::linux_host {

LinuxHost::LinuxHost(ManagerLink::BusOpener openBus)
    : m_mainQueue(m_loop),
      m_foundation(m_loop, m_mainQueue),
      m_dispatch(m_loop, m_mainQueue),
      m_managerLink(m_loop, m_mainQueue, m_foundation.defaultCenter(),
                    m_foundation.distributedCenter(), std::move(openBus)),
      m_workspaceCenter(m_mainQueue, LinuxNotificationCenter::Delivery::Immediate) {
    m_foundation.setPeerDirectory(&m_managerLink);
    m_systemSlot.lend(m_system);
}

// Out of line: the backends' types are complete only here.
LinuxHost::~LinuxHost() = default;

namespace {

// Each "<table>.strings" of the resources, as the bundle's tables; a table that does not
// parse is left out, and its keys show as themselves.
void loadStringsTables(LinuxFoundation& foundation, const std::string& directory) {
    std::error_code error;
    for (const auto& entry : std::filesystem::directory_iterator(directory, error)) {
        if (entry.path().extension() != ".strings") {
            continue;
        }
        std::ifstream file(entry.path());
        std::stringstream text;
        text << file.rdbuf();
        try {
            for (const auto& [key, value] : parseStringsTable(text.str())) {
                foundation.setLocalizedString(entry.path().stem().string(), key, value);
            }
        } catch (const StringsTableError&) {
        }
    }
}

}  // namespace

void LinuxHost::startBackends(const std::string& resourceDirectory) {
    // First: PipeWire's context (its configuration and modules) is made on the audio
    // thread while this one talks to the bus and X, and the agent's first look at the
    // devices, before it reports to the Manager, waits for it.
    m_audio = std::make_unique<linux_audio::PipeWireAudio>();
    m_coreAudio.lend(*m_audio);
    // Read when a message first needs them: most runs never show one.
    m_foundation.loadStringsWhenFirstAsked([resourceDirectory](LinuxFoundation& foundation) {
        loadStringsTables(foundation, resourceDirectory);
    });
    startLogin();
    startX11();
    m_sysfs =
        std::make_unique<sysfs::SysfsIOKit>("/", [this] { return m_x11->drivenConnectorIds(); });
    m_driverIoKit = std::make_unique<DriverRoutedIOKit>(*m_sysfs, m_surfaces);
    m_ioKit.lend(*m_driverIoKit);
    m_ioSurface.lend(m_surfacePort);
    if (m_loginSession) {
        m_loginEvents = std::make_unique<login::LoginEvents>(m_loginBus.get(), *m_loginSession,
                                                             m_workspaceCenter);
        // On the loop's first turn: the lookups before the start message go to logind
        // ahead of it, and no sleep can be announced to the agent before that turn.
        m_sleepLockSoon = m_loop.defer("logind-sleep-lock", [this] {
            m_sleepLockSoon.reset();
            m_loginEvents->holdSleepLock();
        });
    }
    // The panel's own X connection is opened when a message first needs it.
    m_panel = std::make_unique<panel::X11PanelAppKit>(
        m_workspaceCenter, resourceDirectory, panel::X11PanelAppKit::OpenLater{[this](int fd) {
            m_panelIo = m_loop.addIo(fd, EPOLLIN, "x11-panel",
                                     [this](std::uint32_t) { m_panel->processPendingEvents(); });
        }});
    m_appKit.lend(*m_panel);
    m_afterEachTurn = m_loop.afterEachTurn("x11-queued-events", [this] { afterEachTurn(); });
}

void LinuxHost::startLogin() {
    // A connection of its own: logind's signals and the sleep lock must not wait behind a
    // Manager call, and a bus without logind must not hold up the Manager's.
    if (sd_bus_open_system(m_loginBus.receive()) < 0) {
        m_loginBus.reset();
    } else if (sd_bus_attach_event(m_loginBus.get(), m_loop.get(), SD_EVENT_PRIORITY_NORMAL) < 0) {
        m_loginBus.reset();
    }
    if (!m_loginBus) {
        return;
    }
    m_loginSession = std::make_unique<login::LoginSession>(m_loginBus.get(), getpid());
    m_system.setSessionInfoSource(
        [this](SecuritySessionId session, SecuritySessionId* id, SessionAttributeBits* bits) {
            return m_loginSession->sessionGetInfo(session, id, bits);
        });
}

void LinuxHost::startX11() {
    m_x11 = std::make_unique<x11::X11Quartz>(m_system);
    m_x11->setSessionDictionarySource(
        [this] { return m_loginSession ? m_loginSession->copyCurrentDictionary() : Value(); });
    if (m_x11->fd() >= 0) {
        m_x11Io = m_loop.addIo(m_x11->fd(), EPOLLIN, "x11-quartz",
                               [this](std::uint32_t) { runX11Turn(); });
    }
    m_streaming = std::make_unique<StreamingQuartz>(
        *m_x11, m_surfaces,
        [](SurfaceRegistry& registry, const sys::Logger::Logged& log,
           X11DisplayStreams::DisplayLookup lookup) {
            // A connection of its own: the streams' damage and SHM requests stay off
            // Xlib's queue and error handler, and out of the display facts' turns.
            return std::make_unique<X11DisplayStreams>(XcbConnection::open(nullptr), registry, log,
                                                       std::move(lookup));
        },
        [this](X11DisplayStreams& streams) { watchStreams(streams); });
    m_quartz.lend(*m_streaming);
}

void LinuxHost::watchStreams(X11DisplayStreams& streams) {
    if (streams.fd() >= 0) {
        m_streamsIo = m_loop.addIo(streams.fd(), EPOLLIN, "x11-streams",
                                   [this](std::uint32_t) { runStreams(); });
    }
}

void LinuxHost::runStreams() {
    if (X11DisplayStreams* streams = m_streaming->streams()) {
        streams->dispatch();
    }
}

void LinuxHost::armStreamsTimer() {
    X11DisplayStreams* streams = m_streaming ? m_streaming->streams() : nullptr;
    const auto due = streams ? streams->nextDeadline() : std::nullopt;
    if (!due) {
        m_streamsTimer.reset();
        m_streamsTimerAt = 0;
        return;
    }
    // The streams' clock is CLOCK_MONOTONIC, as the loop's; a deadline passed is now.
    const auto sinceBoot =
        std::chrono::duration_cast<std::chrono::microseconds>(due->time_since_epoch()).count();
    const std::uint64_t at =
        std::max<std::uint64_t>(sinceBoot > 0 ? static_cast<std::uint64_t>(sinceBoot) : 0, 1);
    if (m_streamsTimer && at == m_streamsTimerAt) {
        return;
    }
    m_streamsTimerAt = at;
    m_streamsTimer = m_loop.addTimer(at, "x11-streams-due", [this]() -> std::uint64_t {
        // Re-armed after the turn, from the deadlines as the dispatch left them.
        m_streamsTimerAt = 0;
        runStreams();
        return 0;
    });
}

void LinuxHost::runX11Turn() {
    if (m_x11->dispatchPending()) {
        scheduleX11Turn();
    }
}

void LinuxHost::scheduleX11Turn() {
    if (!m_x11Turn) {
        m_x11Turn = m_loop.defer("x11-quartz-more", [this] {
            m_x11Turn.reset();
            runX11Turn();
        });
    }
}

void LinuxHost::afterEachTurn() {
    // Events Xlib read while waiting for a reply sit in its queue; the descriptor will
    // not wake for them.
    if (m_x11->hasQueuedEvents()) {
        scheduleX11Turn();
    }
    m_panel->processPendingEvents();
    if (X11DisplayStreams* streams = m_streaming ? m_streaming->streams() : nullptr) {
        if (streams->drainQueuedEvents() && !m_streamsMore) {
            m_streamsMore = m_loop.defer("x11-streams-more", [this] {
                m_streamsMore.reset();
                runStreams();
            });
        }
        armStreamsTimer();
    }
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
