// qnlog: turns armoured log files back into text.

#include <csignal>
#include <iostream>

#include "tools/qnlog/QnlogApp.h"

namespace {
qn::tools::qnlog::QnlogApp* g_app = nullptr;
extern "C" void onSignal(int) {
    if (g_app != nullptr)
        g_app->stop();
}
}  // namespace

int main(int argc, char** argv) {
    std::ios::sync_with_stdio(false);
    qn::tools::qnlog::QnlogApp app(std::cin, std::cout, std::cerr);
    g_app = &app;
    std::signal(SIGINT, onSignal);
    std::signal(SIGTERM, onSignal);
    const int status = app.run(std::vector<std::string>(argv + 1, argv + argc));
    g_app = nullptr;
    return status;
}
