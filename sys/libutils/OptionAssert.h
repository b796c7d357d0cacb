#pragma once

#include "sys/libutils/posix/qnassert.h"

// The option classes are spread over several files but report their misuse
// under one source name.
#define QN_OPTION_ASSERT(condition) QN_ASSERT_FROM("sys/libutils/Option", condition)
