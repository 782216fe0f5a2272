// Test helpers of the XML layer: the trace records written during a test and
// the temporary files a save left behind.
#pragma once

#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

#include "platform/env.h"
#include "trace_capture.h"

namespace q9::testing {

// Every trace record since the last ClearTraces(), in order. The trace client
// is started for the test binary on first use.
std::vector<TraceLine> CapturedTraces();
void ClearTraces();
// True when a record of `function` at `level` has exactly the text `text`.
bool HasTrace(std::string_view function, uint32_t level, std::string_view text);

// Names of the entries of `dir` that start with the temporary-file prefix of
// atomic writes (".q9tmp-").
std::vector<std::string> LeftoverTemporaryFiles(const std::string& dir);

}  // namespace q9::testing
