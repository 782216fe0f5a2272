// The trace interface every module uses. A record is formatted only when its
// level is enabled, so a disabled call costs four loads and two compares.
//
//   constexpr TraceSite kSite{"FileOperator", "CopyFiles: "};
//   Q9_TRACE(kSite, trace_level::kEntry, ">> Start");
//   Q9_TRACE(kSite, trace_level::kResult, "<< return lRet = %d", result);
//
// Records carry the component tag "IMP", the site's module and function
// label, and the source file and line of the call (see trace_format.h).
#pragma once

#include <atomic>
#include <cstdint>

namespace q9 {

// Where a record comes from: the source module ("Main", "Installer",
// "FileOperator", "Merge", "q9xmlHelper") and the function label ("Import: ").
struct TraceSite {
  const char* module;
  const char* function;
};

// Trace levels used by the program's own records.
namespace trace_level {
inline constexpr uint32_t kEntry = 8;
inline constexpr uint32_t kWarning = 16;
inline constexpr uint32_t kProgress = 64;
inline constexpr uint32_t kResult = 128;
}  // namespace trace_level

namespace trace_internal {
// Owned by the trace client (trace_client.cpp): the enabled levels, the
// control word of the shared trace section (or a local stand-in) and the copy
// of it taken when the configuration was last read. Kept together so that
// the level test touches one cache line of the process.
struct Gate {
  std::atomic<uint32_t> level_mask{0};
  std::atomic<uint32_t> control_copy{0};
  std::atomic<const std::atomic<uint32_t>*> shared_control{nullptr};
};
extern Gate gate;
}  // namespace trace_internal

// True when a record of `level` may be written: its level is enabled, or
// another process changed the shared control word, so the configuration must
// be looked at again first. Reads the shared state without the lock.
inline bool TraceLevelEnabled(uint32_t level) {
  using trace_internal::gate;
  // Both tests are laid out as the branch not taken, so a disabled call runs
  // straight through.
  if ((gate.level_mask.load(std::memory_order_relaxed) & level) != 0) [[unlikely]] {
    return true;
  }
  if (gate.shared_control.load(std::memory_order_relaxed)->load(std::memory_order_relaxed) !=
      gate.control_copy.load(std::memory_order_relaxed)) [[unlikely]] {
    return true;
  }
  return false;
}

// Formats and writes one record; call only after TraceLevelEnabled.
void TraceRecord(const TraceSite& site, uint32_t level, const char* file, int line,
                 const char* format, ...) __attribute__((format(printf, 5, 6)));

}  // namespace q9

#define Q9_TRACE(site, level, ...)                                              \
  do {                                                                          \
    if (::q9::TraceLevelEnabled(level)) [[unlikely]] {                          \
      ::q9::TraceRecord((site), (level), __FILE__, __LINE__, __VA_ARGS__);      \
    }                                                                           \
  } while (false)
