#include "platform/Backend.h"

#include <stdexcept>
#include <string>

namespace qn::platform {

namespace {

// Written by main before any other thread starts, or by a test fixture on its thread.
Backend g_backend;
unsigned long g_generation = 0;

template <typename Port>
Port& require(Port* port, const char* name) {
    if (!port) {
        throw std::logic_error(std::string("no platform backend installed for ") + name);
    }
    return *port;
}

}  // namespace

void installBackend(const Backend& backend) {
    g_backend = backend;
    ++g_generation;
}

ScopedBackend::ScopedBackend(const Backend& backend) : m_previous(g_backend) {
    g_backend = backend;
    ++g_generation;
}

ScopedBackend::~ScopedBackend() {
    g_backend = m_previous;
    ++g_generation;
}

unsigned long backendGeneration() {
    return g_generation;
}

Quartz& quartz() {
    return require(g_backend.quartz, "Quartz");
}
IOKit& ioKit() {
    return require(g_backend.ioKit, "IOKit");
}
IOSurface& ioSurface() {
    return require(g_backend.ioSurface, "IOSurface");
}
CoreAudio& coreAudio() {
    return require(g_backend.coreAudio, "CoreAudio");
}
Foundation& foundation() {
    return require(g_backend.foundation, "Foundation");
}
AppKit& appKit() {
    return require(g_backend.appKit, "AppKit");
}
Dispatch& dispatch() {
    return require(g_backend.dispatch, "Dispatch");
}
System& system() {
    return require(g_backend.system, "System");
}

}  // namespace qn::platform
