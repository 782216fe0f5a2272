// The trace configuration read from the registry key
// Software\KESTREL\TELAN\TrcParams, with its defaults and parsing rules.
#pragma once

#include <cstddef>
#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

#include "platform/env.h"

namespace q9 {

inline constexpr char kTraceConfigKey[] = "Software\\KESTREL\\TELAN\\TrcParams";

// Destinations by their codes.
enum class TraceOutputKind : int {
  kVxd = 0,
  kCom1 = 1,
  kCom2 = 2,
  kPipe = 3,
  kFile = 4,
  kSharedMemory = 5,
  kDebugger = 6,
  kTraceEngine = 7,
};

// Record layouts by their "Format" codes (see trace_format.h).
enum class TraceLayout : int { kShort = 1, kStandard = 2, kTime = 3, kText = 4 };

// One of the filter lists "Module", "FctName", "String" and "TraceId".
// Syntax: entries separated by ';', blanks around an entry ignored, empty
// entries skipped, entries after the 100th ignored. An empty list lets every
// record pass.
class TraceFilterList {
 public:
  static constexpr size_t kMaxEntries = 100;

  static TraceFilterList Parse(std::string_view text);

  bool empty() const { return entries_.empty(); }
  const std::vector<std::string>& entries() const { return entries_; }
  // An entry equals `name` ignoring ASCII case.
  bool HasName(std::string_view name) const;
  // An entry occurs in `text` (case matters).
  bool OccursIn(std::string_view text) const;

 private:
  std::vector<std::string> entries_;
};

struct TraceConfig {
  static constexpr uint64_t kDefaultBytesPerFile = 2'097'152;
  static constexpr size_t kDefaultSharedMemorySize = 2'000'000;
  // The shared-memory output stays in memory until the machine restarts, so
  // a configured size is held to this ceiling.
  static constexpr size_t kMaxSharedMemorySize = 64u << 20;

  bool key_present = false;
  uint32_t level_mask = 0;
  uint32_t consult_seconds = 0;  // 0: never read again
  TraceLayout layout = TraceLayout::kStandard;
  TraceOutputKind output = TraceOutputKind::kFile;
  TraceFilterList modules;    // "Module": the site's module name
  TraceFilterList functions;  // "FctName": the function label without ": "
  TraceFilterList texts;      // "String": text inside the message
  TraceFilterList trace_ids;  // "TraceId": the component tag ("IMP")
  size_t shared_memory_size = kDefaultSharedMemorySize;
  uint64_t bytes_per_file = kDefaultBytesPerFile;
  std::string path;
  std::string file_name;
};

// Reads the key; every setting that is missing, not a string, empty, or too
// long for the 260-byte buffer keeps its default.
TraceConfig ReadTraceConfig(Registry& registry);

// Base name of the trace files: the folder "Path" and the name "FileName"
// (joined with the path separator when "Path" does not end in one, so both
// spellings of a folder work), else /tmp/Q9FILE.
std::string TraceFileBase(const TraceConfig& config);

// Parsing rules of single values, exposed for their tests.
uint32_t ParseTraceLevel(const std::string& text);      // base from the text
TraceLayout ParseTraceLayout(const std::string& text);  // unknown: standard
bool ParseTraceOutput(const std::string& text, TraceOutputKind* output);

}  // namespace q9
