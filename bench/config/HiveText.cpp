#include "bench/config/HiveText.h"

#include <string>

namespace qn::bench {

std::string makeHiveText(std::size_t minimumSize) {
    std::string text =
        "<?xml version=\"1.0\" encoding=\"ISO-8859-1\"?>\r\n<QN_HIVE>\r\n"
        "<node name=\"HKEY_CURRENT_USER\">\r\n</node>\r\n"
        "<node name=\"HKEY_LOCAL_MACHINE\">\r\n<node name=\"Software\">\r\n"
        "<node name=\"Quintor\">\r\n";
    const std::string tail = "</node>\r\n</node>\r\n</node>\r\n</QN_HIVE>\r\n";
    for (int key = 0; text.size() + tail.size() < minimumSize; ++key) {
        const std::string n = std::to_string(key);
        text += "<node name=\"Module" + n + "\">\r\n";
        text += "<value name=\"verbosity\">DEBUG</value>\r\n";
        text += "<value name=\"filesize\">10240" + n + "</value>\r\n";
        text += "<value name=\"directory\"/>\r\n";
        text +=
            "<node name=\"Outputs\">\r\n<value name=\"file" + n + "\">INFO</value>\r\n</node>\r\n";
        text += "</node>\r\n";
    }
    return text + tail;
}

}  // namespace qn::bench
