// Writes a template store of a chosen size for benchmarks: the sample
// store's schemas and fixed meta files, and an Install tree of generated
// templates that are valid against those schemas.
#pragma once

#include <string>

#include "platform/env.h"
#include "platform/result_code.h"

namespace q9 {

// Fills the program-files root `root` (created when missing) with Schemes
// and the four fixed meta files copied from `sample_store`, and an Install
// tree of its TCP template and `count` default log devices of 100 parameters
// each, count / 10
// protocols, count / 10 boards and two log names. Returns 0 or the first
// file-system error.
[[nodiscard]] ResultCode GenerateStore(Env& env, const std::string& sample_store,
                                       const std::string& root, int count);

}  // namespace q9
