#include <string>

#include "sys/libutils/Logger.h"

#ifndef QN_VERSION
#define QN_VERSION "0.0.0"
#endif
#ifndef QN_BUILD_NUMBER
#define QN_BUILD_NUMBER "0"
#endif
#ifndef QN_BUILDER
#define QN_BUILDER "unknown"
#endif

namespace qn::sys {

const std::string& buildBanner() {
    static const std::string banner = "Version " QN_VERSION " (" QN_BUILD_NUMBER
                                      "). Built by " QN_BUILDER ", at " __TIME__ " " __DATE__ ". ";
    return banner;
}

}  // namespace qn::sys
