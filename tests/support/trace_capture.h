// Trace records written while a test runs, read back through the real trace
// client: it is started with every level on, the debugger output and the
// short layout, on shared objects no other test process uses. Only one
// capture may exist at a time (the trace client is process-wide).
#pragma once

#include <cstdint>
#include <memory>
#include <string>
#include <string_view>
#include <vector>

#include "test_env.h"

namespace q9::testing {

struct TraceLine {
  std::string module;    // "FileOperator"
  std::string function;  // "CopyFiles: "
  uint32_t level = 0;
  std::string text;      // the message
};

class TraceCapture {
 public:
  // Traces on an Env of its own.
  TraceCapture() : own_env_(std::make_unique<TestEnv>()), env_(*own_env_) { Configure(); }
  // Traces on `env`: its registry gets the trace configuration, so a client
  // that the code under test starts again on `env` keeps tracing to it.
  explicit TraceCapture(TestEnv& env) : env_(env) { Configure(); }
  TraceCapture(const TraceCapture&) = delete;
  TraceCapture& operator=(const TraceCapture&) = delete;
  ~TraceCapture();

  // Every record since construction or the last Clear(), in order.
  std::vector<TraceLine> Lines() const;
  void Clear() { env_.process.debug_output.clear(); }
  // True when a record of `module` and `function` at `level` reads `text`.
  bool Has(std::string_view module, std::string_view function, uint32_t level,
           std::string_view text) const;
  // The messages of `function`, in order, for comparing whole sequences.
  std::vector<std::string> Messages(std::string_view function) const;

 private:
  void Configure();

  std::unique_ptr<TestEnv> own_env_;
  TestEnv& env_;
};

}  // namespace q9::testing
