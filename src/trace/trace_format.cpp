#include "trace/trace_format.h"

#include <charconv>
#include <cstdio>
#include <cstring>

namespace q9 {
namespace {

const char* BaseName(const char* path) {
  const char* slash = std::strrchr(path, '/');
  return slash != nullptr ? slash + 1 : path;
}

size_t Clamp(int written, size_t capacity) {
  if (written < 0) return 0;
  return static_cast<size_t>(written) < capacity ? static_cast<size_t>(written) : capacity - 1;
}

// The small fields that are numbers or joined texts, prepared with to_chars
// and bounded formatting before the layout is applied.
struct PreparedFields {
  char level[12];
  char location[128];
  char ticks[24];
  char sequence[24];
};

void WriteDecimal(uint64_t value, char (&out)[24]) {
  const auto result = std::to_chars(out, out + sizeof out - 1, value);
  *result.ptr = '\0';
}

void Prepare(const TraceRecordFields& fields, PreparedFields* prepared) {
  std::snprintf(prepared->level, sizeof prepared->level, "L%04X", fields.level);
  std::snprintf(prepared->location, sizeof prepared->location, "(%s:%d)",
                BaseName(fields.source_file), fields.line);
  WriteDecimal(fields.ticks, prepared->ticks);
  WriteDecimal(fields.sequence, prepared->sequence);
}

}  // namespace

size_t FormatTraceRecord(TraceLayout layout, const TraceRecordFields& f,
                         char (&buffer)[kTraceRecordBufferSize]) {
  constexpr size_t kSize = kTraceRecordBufferSize;
  if (layout == TraceLayout::kText) {
    return Clamp(std::snprintf(buffer, kSize, "%s %s", f.function, f.message), kSize);
  }
  PreparedFields p;
  Prepare(f, &p);
  int written = 0;
  switch (layout) {
    case TraceLayout::kShort:
      written = std::snprintf(buffer, kSize, "%s %s %s %s %s%s %s %s", f.time, p.level,
                              f.component, f.process, f.module, p.location, f.function,
                              f.message);
      break;
    case TraceLayout::kTime:
      written = std::snprintf(buffer, kSize, "%s %s %s %s %s%s %s %s %s", f.date, f.time,
                              p.level, f.component, f.module, p.location, p.ticks, f.function,
                              f.message);
      break;
    default:
      written = std::snprintf(buffer, kSize, "%s %s P%09dT%09d %s %s %s%s %s %s,%s %s %s", f.date,
                              f.time, static_cast<int>(f.process_id),
                              static_cast<int>(f.thread_id), p.level, f.component, f.module,
                              p.location, f.process, p.ticks, p.sequence, f.function, f.message);
      break;
  }
  return Clamp(written, kSize);
}

}  // namespace q9
