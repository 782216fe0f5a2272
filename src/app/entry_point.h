// The whole life of one run, from trace start-up to the exit status.
#pragma once

#include "platform/result_code.h"
#include "platform/env.h"

namespace q9 {

// Runs the tool with the process's arguments (argv[0] is the program name)
// and returns the exit status: the result of the one operation that ran.
[[nodiscard]] ResultCode RunCfgImp(Env& env, int argc, const char* const* argv);

}  // namespace q9
