// Opening the destination that the configuration chooses.
#pragma once

#include <memory>
#include <string>
#include <string_view>

#include "platform/env.h"
#include "trace/trace_config.h"
#include "trace/trace_output.h"
#include "trace/trace_ring.h"
#include "trace/trace_section.h"

namespace q9 {

// Where the shared objects and devices of the trace facility are; tests use
// names of their own so that parallel runs do not meet.
struct TraceObjectNames {
  std::string section = kTraceSectionName;
  std::string ring = kTraceRingName;
  std::string vxd_device = "/dev/q9onlinx";
  std::string com1 = "/dev/ttyS0";
  std::string com2 = "/dev/ttyS1";
};

// Texts of the client's failure reports on the debugger output.
inline constexpr char kVxdNotSupportedText[] =
    "Unable to open VxD, device does not support DeviceIOCTL";
inline constexpr char kVxdFailedText[] = "Unable to open VxD, got error code !";
inline constexpr char kNoHandlerText[] =
    "Fehler im QTOOL-Tracesystem, bitte wenden Sie sich an den Hersteller !";

// Writes `text` to the debugger output as one line.
void ReportToDebugger(Process& process, std::string_view text);

struct TraceOutputContext {
  Env& env;
  const TraceObjectNames& names;
  TraceFileState* file_state;  // shared with other writers, or private
  const char* process_module;
};

// Opens the destination of `config`, reporting failures on the debugger
// output. nullptr when records have nowhere to go. Call under the trace mutex.
std::unique_ptr<TraceOutput> OpenTraceOutput(const TraceConfig& config,
                                             const TraceOutputContext& context);

}  // namespace q9
