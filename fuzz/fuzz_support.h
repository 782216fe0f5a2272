// What the fuzz targets share: a sandbox folder for the files they hand to
// the program, and the cutting of one input into several strings.
#pragma once

#include <cstddef>
#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

#include "platform/env.h"

namespace q9::fuzz {

// A fresh folder under the temporary folder, for the whole fuzzing process.
const std::string& SandboxFolder();

// Writes `contents` to `relative` below the sandbox and returns its path.
std::string WriteSandboxFile(const std::string& relative, std::string_view contents);

// The input cut at each NUL byte, at most `max_parts` parts (the last takes
// the rest, NULs included).
std::vector<std::string> SplitInput(const uint8_t* data, size_t size, size_t max_parts);

// The real Env, with the XML library set up once.
Env& FuzzEnv();

}  // namespace q9::fuzz
