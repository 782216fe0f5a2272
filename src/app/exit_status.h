// The process exit status that carries a run's result code.
#pragma once

#include "platform/result_code.h"

namespace q9 {

// A POSIX exit status keeps only the low eight bits. A failure whose low byte
// is zero (256, 8704, ...) must not look like success to the caller, so it
// exits with 255; the install log always holds the full code.
[[nodiscard]] int ExitStatus(ResultCode result);

}  // namespace q9
