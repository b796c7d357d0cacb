#include "app/OSX/QuintorUserAgent/ObjectFormat.h"

namespace qn::app::osx::qnuapp {

std::string formatWithObjects(const std::string& format,
                              const std::vector<ObjectArgument>& arguments) {
    std::string text;
    std::size_t next = 0;
    for (std::size_t i = 0; i < format.size(); ++i) {
        if (format[i] != '%' || i + 1 == format.size()) {
            text += format[i];
            continue;
        }
        const char directive = format[i + 1];
        if (directive == '@') {
            const bool given = next < arguments.size() && arguments[next].has_value();
            text += given ? *arguments[next] : "(null)";
            ++next;
            ++i;
        } else if (directive == '%') {
            text += '%';
            ++i;
        } else {
            // Not ours: left as it stands.
            text += '%';
        }
    }
    return text;
}

}  // namespace qn::app::osx::qnuapp
