#pragma once

#include <cstdint>
#include <string>

#include "sys/libutils/Conversions.h"

namespace qn::sys {

// Reports a failed assertion through the handlers that the persistent
// AssertBehaviour mask selects, read afresh at each failure. Returns unless
// the mask asks for an abort: code behind an assertion must survive.
void assertFailed(const std::wstring& expression, const std::wstring& file, std::uint32_t line);

}  // namespace qn::sys

// Tests the condition once; on failure reports its text, `source` and the line.
#define QN_ASSERT_FROM(source, condition)                                       \
    do {                                                                        \
        if (!(condition)) {                                                     \
            ::qn::sys::assertFailed(::qn::sys::ToWideString(#condition),        \
                                    ::qn::sys::ToWideString(source), __LINE__); \
        }                                                                       \
    } while (false)

#define QN_ASSERT(condition) QN_ASSERT_FROM(__FILE__, condition)
