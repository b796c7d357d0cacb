// qninstr: prints the instrumentation counters of running processes.

#include <csignal>
#include <iostream>

#include "tools/qninstr/QninstrApp.h"

namespace {
qn::tools::qninstr::QninstrApp* g_app = nullptr;
extern "C" void onSignal(int) {
    if (g_app != nullptr) {
        g_app->stop();
    }
}
}  // namespace

int main(int argc, char** argv) {
    qn::tools::qninstr::QninstrApp app(std::cout, std::cerr);
    g_app = &app;
    std::signal(SIGINT, onSignal);
    std::signal(SIGTERM, onSignal);
    const int status = app.run(argc, argv);
    g_app = nullptr;
    return status;
}
