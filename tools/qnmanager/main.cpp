// qnmanager: a stand-in for the Manager on a D-Bus bus (see --help and docs/protocol.md).

#include <iostream>
#include <string>
#include <vector>

#include "platform/linux/bus/ManagerWire.h"
#include "tools/qnmanager/ManagerApp.h"
#include "tools/qnmanager/ManagerOptions.h"

int main(int argc, char** argv) {
    using namespace qn::tools::qnmanager;
    std::string error;
    const auto options =
        parseManagerOptions(std::vector<std::string>(argv + 1, argv + argc), error);
    if (!options) {
        std::cerr << "qnmanager: " << error << "\n\n" << managerUsage();
        return 2;
    }
    if (options->help) {
        std::cout << managerUsage();
        return 0;
    }
    if (options->introspect) {
        std::cout << qn::platform::linux_host::managerIntrospectionXml();
        return 0;
    }
    ManagerApp app(*options, std::cout, std::cerr);
    return app.run();
}
