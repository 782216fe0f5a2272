// The Q9TRACEENGINE destination: the trace engine library
// <common program files>/Kestrel/Automation/TraceEngine/bin/libQ9TraceEngine64X.so
// and its four C entry points:
//
//   void*   TraceOpenA(const char* settings_file, const char* meta_info_file,
//                      const char* version);
//             Opens a trace session from the engine's settings; nullptr when
//             it cannot.
//   int32_t TraceCommand(void* session, const char* command);
//             A command to the session; the client sends "client=<module>"
//             once after opening, naming the process in the engine.
//   int32_t TraceWrite(void* session, uint32_t level, const char* record);
//             One record, 0-terminated and without line end.
//   int32_t TraceClose(void* session);
//
// Settings: <common program files>/Kestrel/q9net/meta/trace/Settings/ holds
// Q9sdd_TraceSettings.xml and Q9sdd_TraceMetaInfo.xml; version "1.0.0.0".
#pragma once

#include <cstdint>
#include <memory>
#include <string>

#include "platform/env.h"
#include "trace/trace_output.h"

namespace q9 {

// Error reports of the client on the debugger output:
// "TraceClient error 0xC0001400: <library path>" when the library is missing,
// "TraceClient error 0xC0001401: <entry point>" when an entry point is.
inline constexpr uint32_t kTraceEngineMissing = 0xC0001400;
inline constexpr uint32_t kTraceEngineEntryMissing = 0xC0001401;

extern "C" {
using TraceOpenAFunction = void* (*)(const char*, const char*, const char*);
using TraceCommandFunction = int32_t (*)(void*, const char*);
using TraceWriteFunction = int32_t (*)(void*, uint32_t, const char*);
using TraceCloseFunction = int32_t (*)(void*);
}

// Path of the engine library under the common program files folder.
std::string TraceEngineLibraryPath(KnownFolders& folders);

// Loads the engine and opens a session; on failure reports it and returns
// nullptr, so tracing through the engine stays off.
std::unique_ptr<TraceOutput> OpenTraceEngine(Env& env, const char* process_module);

}  // namespace q9
