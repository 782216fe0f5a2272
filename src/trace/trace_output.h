// A destination of trace records. Writers call it under the trace mutex.
#pragma once

#include <cstdint>
#include <string_view>

namespace q9 {

class TraceOutput {
 public:
  virtual ~TraceOutput() = default;
  // `line` is one whole record of `level`, ending in '\n'.
  virtual void Write(uint32_t level, std::string_view line) = 0;
};

}  // namespace q9
