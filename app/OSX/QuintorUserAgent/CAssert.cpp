#include "app/OSX/QuintorUserAgent/CAssert.h"

#include <cstdio>
#include <cstdlib>

#include "platform/Backend.h"
#include "platform/System.h"

namespace qn::app::osx::qnuapp {

void cAssertFailed(const char* expression, const char* file, int line, const char* function) {
    std::fprintf(stderr, "%s:%d: %s: Assertion `%s' failed.\n", file, line, function, expression);
    std::fflush(stderr);
    platform::system().abort();
    // A backend's abort that came back is not honoured.
    std::abort();
}

}  // namespace qn::app::osx::qnuapp
