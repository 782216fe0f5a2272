// Layout of one trace record. Each "Format" has its layout; the fields are
// filled as follows ("|" marks where two fields meet without a blank):
//
//   1 SHORT     time level component process module|location function message
//   2 standard  date time P<pid>T<tid> level component module|location process
//               ticks,sequence function message
//   3 TIME      date time level component module|location ticks function message
//   4 TEXT      function message
//
//   date       local date of the record, "2026-11-22"
//   time       local time of day, "00:17:35"
//   pid, tid   process and thread identifier, nine digits each
//   level      "L" and the level in four hex digits, "L0040"
//   component  component tag, "IMP"
//   process    module name of the process, "q9cfgImp64x"
//   module     source module of the call site, "FileOperator"
//   location   source file name and line, "(file_operator.cpp:120)"
//   ticks      microseconds of the monotonic clock, for sub-second timing
//   sequence   number of the record within its process, from 1
//   function   function label of the call site, "CopyFiles: "
//   message    the caller's formatted text
//
// A standard record therefore reads
//   2026-11-22 00:17:35 P000001234T000001235 L0040 IMP FileOperator(file_operator.cpp:120)
//   q9cfgImp64x 1234567890,42 CopyFiles:  >> Start
// on one line. Records are cut at 418 characters (the 419-byte buffer with its
// terminator); the message is formatted into a buffer of the same size first.
#pragma once

#include <cstddef>
#include <cstdint>

#include "trace/trace_config.h"

namespace q9 {

inline constexpr size_t kTraceRecordBufferSize = 419;

struct TraceRecordFields {
  const char* date = "";
  const char* time = "";
  uint32_t process_id = 0;
  uint32_t thread_id = 0;
  uint32_t level = 0;
  const char* component = "";
  const char* process = "";
  const char* module = "";
  const char* source_file = "";  // a path; only its last component is shown
  int line = 0;
  uint64_t ticks = 0;
  uint64_t sequence = 0;
  const char* function = "";
  const char* message = "";
};

// Formats the record into `buffer` and returns its length (at most
// kTraceRecordBufferSize - 1); the buffer is always terminated.
size_t FormatTraceRecord(TraceLayout layout, const TraceRecordFields& fields,
                         char (&buffer)[kTraceRecordBufferSize]);

}  // namespace q9
