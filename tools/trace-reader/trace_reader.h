// q9trace-reader: shows the records that running processes write to the
// shared-memory trace output, as "tail -f" shows a growing log.
//
//   q9trace-reader               print the records held, then follow new ones
//   q9trace-reader --dump        print the records held and exit
//   q9trace-reader --reconfigure make every tracing process read its
//                                configuration again
//   --name NAME      the shared-memory output (default /Q9SDD_Trace)
//   --section NAME   the trace section (default /Q9TRACE_SECTION)
//   --interval MS    how often to look for new records (default 100)
#pragma once

#include <functional>
#include <ostream>
#include <string>
#include <vector>

#include "platform/shared_objects.h"

namespace q9 {

// Runs the reader with the arguments after the program name; returns the
// exit status. `keep_following` is asked before every look for new records
// when following (the program passes one that always says yes).
int RunTraceReader(const std::vector<std::string>& args, SharedObjects& shared, std::ostream& out,
                   std::ostream& err, const std::function<bool()>& keep_following);

}  // namespace q9
