#include "tools/qnlog/LineFilter.h"

#include "sys/libutils/LogLevel.h"
#include "sys/libutils/LogLine.h"

namespace qn::tools::qnlog {

bool LineFilter::accepts(std::string_view plainLine) const {
    if (!active())
        return true;
    sys::logline::Fields fields;
    if (!sys::logline::parse(plainLine, fields))
        return false;
    if (m_module && fields.module != *m_module)
        return false;
    if (m_instance && fields.instance != *m_instance)
        return false;
    if (m_level) {
        if (!fields.full)
            return false;
        const std::int32_t level = sys::loglevel::parseLevel(fields.level, -1);
        if (level < 0 || level > *m_level)
            return false;
    }
    return true;
}

}  // namespace qn::tools::qnlog
