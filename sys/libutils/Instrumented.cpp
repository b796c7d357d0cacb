#include "sys/libutils/Instrumented.h"

#include "sys/libutils/InstrumentationManager.h"

namespace qn::sys::instrumentation {

Instrumented::Instrumented() : m_manager(Manager::instance()) {}

Instrumented::Instrumented(Manager* manager) : m_manager(manager) {}

}  // namespace qn::sys::instrumentation
