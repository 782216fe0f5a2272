// The process's trace client: started once by the entry point, stopped at
// exit. It reads the configuration from the registry, opens the destination
// and writes the records that pass the level test of trace.h.
//
// Every record is written under the mutex of the shared trace section, so
// writers in all processes serialise. Before each record the client reads its
// configuration again when another process changed the section's control word
// (SignalTraceReconfiguration) or when the "Consult" interval has passed since
// the last reading.
#pragma once

#include "platform/env.h"
#include "trace/trace_destination.h"

namespace q9 {

class TraceClient {
 public:
  // Reads the configuration and opens the output; `module` names the process
  // in its records. Starting again replaces the running client.
  static void Start(Env& env, const char* module);
  // The same on shared objects and devices of other names (for tests).
  static void Start(Env& env, const char* module, const TraceObjectNames& names);
  // Closes the output; no record is written afterwards.
  static void Stop();
};

}  // namespace q9
