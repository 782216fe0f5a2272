// The process's trace client: started once by the entry point, stopped at exit.
#pragma once

#include "platform/env.h"

namespace q9 {

class TraceClient {
 public:
  // Reads the configuration and opens the output; `module` names the process
  // in its records.
  static void Start(Env& env, const char* module);
  static void Stop();
};

}  // namespace q9
