#pragma once
// The C library's assertion: a failure is reported on stderr and ends the process at
// once, whatever the agent's own assertion behaviour says. Kept for the one programming
// error that must not run on (a display id of 0 in a stream start).

namespace qn::app::osx::qnuapp {

[[noreturn]] void cAssertFailed(const char* expression, const char* file, int line,
                                const char* function);

}  // namespace qn::app::osx::qnuapp

#define QNUA_C_ASSERT(expression) \
    ((expression)                 \
         ? static_cast<void>(0)   \
         : ::qn::app::osx::qnuapp::cAssertFailed(#expression, __FILE__, __LINE__, __func__))
