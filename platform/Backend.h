#pragma once
// The process-wide backend: installed once by main, or for a scope by a test fixture,
// and reached through one accessor per port.

namespace qn::platform {

class Quartz;
class IOKit;
class IOSurface;
class CoreAudio;
class Foundation;
class AppKit;
class Dispatch;
class System;

struct Backend {
    Quartz* quartz = nullptr;
    IOKit* ioKit = nullptr;
    IOSurface* ioSurface = nullptr;
    CoreAudio* coreAudio = nullptr;
    Foundation* foundation = nullptr;
    AppKit* appKit = nullptr;
    Dispatch* dispatch = nullptr;
    System* system = nullptr;
};

// For main: installs the backend for the life of the process.
void installBackend(const Backend& backend);

// For tests: installs a backend for its own life and puts the previous one back.
class ScopedBackend {
  public:
    explicit ScopedBackend(const Backend& backend);
    ~ScopedBackend();
    ScopedBackend(const ScopedBackend&) = delete;
    ScopedBackend& operator=(const ScopedBackend&) = delete;

  private:
    Backend m_previous;
};

// Changes whenever a backend is installed or put back: facts read from the host once
// per process are read again under another host.
unsigned long backendGeneration();

// Each accessor fails with std::logic_error when no backend provides its port.
Quartz& quartz();
IOKit& ioKit();
IOSurface& ioSurface();
CoreAudio& coreAudio();
Foundation& foundation();
AppKit& appKit();
Dispatch& dispatch();
System& system();

}  // namespace qn::platform
