#include "app/OSX/QuintorUserAgent/ManagerCall.h"

namespace qn::app::osx::qnuapp {

std::ostream& operator<<(std::ostream& out, const Ascii& reason) {
    for (const char c : reason.text) {
        if (static_cast<unsigned char>(c) > 0x7F) {
            out.setstate(std::ios::badbit);
            return out;
        }
    }
    return out << reason.text;
}

}  // namespace qn::app::osx::qnuapp
