// qninstr_demo [directory [seconds]]: an instrumented program that counts
// frames until it is stopped, for qninstr to read. Prints "ready" once its
// counters are in place. An empty directory means the default one.

#include <unistd.h>

#include <csignal>
#include <cstdlib>
#include <iostream>
#include <memory>

#include "sys/libutils/Files.h"
#include "sys/libutils/InstrumentationManager.h"
#include "sys/libutils/InstrumentedValue.h"

namespace {

using namespace qn::sys::instrumentation;

volatile std::sig_atomic_t g_stop = 0;
extern "C" void onSignal(int) {
    g_stop = 1;
}

class FramePump : public Instrumented {
  public:
    FramePump(Manager* manager, const std::string& instance)
        : qn::sys::Identity("FramePump", instance),
          Instrumented(manager),
          m_frames(this, "frames", 0),
          m_dropped(this, "dropped", 0),
          m_bytes(this, "bytes", 0) {}

    void tick() {
        ++m_frames;
        if (m_frames % 7 == 0) {
            ++m_dropped;
        }
        m_bytes += 1920 * 1080 * 4;
    }

  private:
    InstrumentedValueA m_frames;
    InstrumentedValueB m_dropped;
    InstrumentedValue64 m_bytes;
};

}  // namespace

int main(int argc, char** argv) {
    std::signal(SIGTERM, onSignal);
    std::signal(SIGINT, onSignal);
    std::unique_ptr<Manager> own;
    Manager* manager = nullptr;
    if (argc > 1 && argv[1][0] != '\0') {
        own = std::make_unique<Manager>(argv[1], qn::sys::executableName(), Manager::kDefaultSlots);
        manager = own.get();
    } else {
        manager = Manager::instance();
    }
    const long ticks = argc > 2 ? std::atol(argv[2]) * 100 : -1;
    FramePump first(manager, "display1");
    FramePump second(manager, "display2");
    std::cout << "ready" << std::endl;
    for (long i = 0; !g_stop && i != ticks; ++i) {
        first.tick();
        if (i % 2 == 0) {
            second.tick();
        }
        ::usleep(10000);
    }
    return 0;
}
