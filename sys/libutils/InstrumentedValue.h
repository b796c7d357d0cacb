#pragma once

#include <cstdint>
#include <string>

#include "sys/libutils/InstrumentationLayout.h"
#include "sys/libutils/Instrumented.h"

namespace qn::sys::instrumentation {

// A named counter of an instrumented object, kept in a slot of the manager's
// region under "module|instance|name". Where no slot can be had (the table
// is full, or the name is taken) it keeps its value privately: counting must
// never stop the program. Reads and writes are plain, without a lock.
template <typename T, layout::Kind K>
class InstrumentedValue {
  public:
    InstrumentedValue(Instrumented* owner, const std::string& name, T initial);
    ~InstrumentedValue();
    InstrumentedValue(const InstrumentedValue&) = delete;
    InstrumentedValue& operator=(const InstrumentedValue&) = delete;

    InstrumentedValue& operator=(T value) {
        *m_value = value;
        return *this;
    }
    operator T() const { return *m_value; }
    T get() const { return *m_value; }
    InstrumentedValue& operator+=(T delta) {
        *m_value += delta;
        return *this;
    }
    InstrumentedValue& operator-=(T delta) {
        *m_value -= delta;
        return *this;
    }
    InstrumentedValue& operator++() { return *this += 1; }
    InstrumentedValue& operator--() { return *this -= 1; }
    T operator++(int) {
        const T before = *m_value;
        *this += 1;
        return before;
    }
    T operator--(int) {
        const T before = *m_value;
        *this -= 1;
        return before;
    }

    // True when the value lies in the shared region (or its private stand-in).
    bool hasSlot() const { return m_owner != nullptr; }
    // "module|instance|name", as the region holds it.
    std::string fullName() const;

  private:
    Instrumented* m_owner;
    std::string m_name;
    T* m_value;
    T m_local;
};

using InstrumentedValueA = InstrumentedValue<std::int32_t, layout::Kind::A>;
using InstrumentedValueB = InstrumentedValue<std::int32_t, layout::Kind::B>;
using InstrumentedValue64 = InstrumentedValue<std::int64_t, layout::Kind::Wide>;

extern template class InstrumentedValue<std::int32_t, layout::Kind::A>;
extern template class InstrumentedValue<std::int32_t, layout::Kind::B>;
extern template class InstrumentedValue<std::int64_t, layout::Kind::Wide>;

}  // namespace qn::sys::instrumentation
