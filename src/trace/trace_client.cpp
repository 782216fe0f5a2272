#include "trace/trace_client.h"

#include "trace/trace.h"

namespace q9 {

// Tracing stays off until the client is written.
bool TraceLevelEnabled(uint32_t) { return false; }
void TraceRecord(const TraceSite&, uint32_t, const char*, int, const char*, ...) {}

void TraceClient::Start(Env&, const char*) {}
void TraceClient::Stop() {}

}  // namespace q9
