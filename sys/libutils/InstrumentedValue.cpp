#include "sys/libutils/InstrumentedValue.h"

#include "sys/libutils/Exception.h"
#include "sys/libutils/Formatter.h"
#include "sys/libutils/InstrumentationManager.h"

namespace qn::sys::instrumentation {

template <typename T, layout::Kind K>
InstrumentedValue<T, K>::InstrumentedValue(Instrumented* owner, const std::string& name, T initial)
    : m_owner(owner), m_name(Identity::sanitise(name)), m_value(&m_local), m_local(0) {
    if (m_owner != nullptr && m_owner->manager() != nullptr) {
        try {
            m_value = static_cast<T*>(m_owner->manager()->allocate(K, fullName()));
        } catch (const Exception&) {
            // No slot: the counter works privately.
            m_owner = nullptr;
            m_value = &m_local;
        }
    } else {
        m_owner = nullptr;
    }
    *m_value = initial;
}

template <typename T, layout::Kind K>
InstrumentedValue<T, K>::~InstrumentedValue() {
    if (m_owner != nullptr) {
        m_owner->manager()->release(K, fullName());
    }
}

template <typename T, layout::Kind K>
std::string InstrumentedValue<T, K>::fullName() const {
    Formatter pattern;
    pattern.setPattern("%1|%2|%3");
    if (m_owner != nullptr) {
        pattern << m_owner->getModule();
        pattern.next() << m_owner->getInstance();
        pattern.next();
    }
    pattern << m_name;
    pattern.next();
    return pattern.result();
}

template class InstrumentedValue<std::int32_t, layout::Kind::A>;
template class InstrumentedValue<std::int32_t, layout::Kind::B>;
template class InstrumentedValue<std::int64_t, layout::Kind::Wide>;

}  // namespace qn::sys::instrumentation
