// The shared trace section: the state that every tracing process of the
// machine sees, in the shared-memory object "/Q9TRACE_SECTION".
//
// Layout (one page at most, all fields native-endian):
//   magic         uint32  'Q9TS' once initialised, written last
//   layout_size   uint32  bytes of this layout
//   control_word  uint32  changed by whoever wants every process to read its
//                         configuration again; starts at 1
//   mutex         robust process-shared mutex that serialises all writers
//   file          the trace-file pair being written: which base name, which
//                 of the two files, its size, and a generation that changes
//                 whenever writers must reopen
//
// Every process that uses the section holds a shared lock on the object for
// as long as it does (the system drops it when the process dies). A process
// that gets it exclusively has the section to itself: it sets the section up
// when nobody finished doing so, and forgets the trace file state, whose
// writers are all gone.
#pragma once

#include <atomic>
#include <cstdint>
#include <memory>
#include <string>

#include "platform/shared_objects.h"

namespace q9 {

inline constexpr char kTraceSectionName[] = "/Q9TRACE_SECTION";

// Which pair of trace files writers append to; read and written under the
// section's mutex.
struct TraceFileState {
  uint64_t base_id = 0;  // hash of the base name; 0 while nobody chose
  uint64_t size = 0;     // bytes in the current file
  uint32_t index = 1;    // 1 or 2
  uint32_t generation = 0;
};

struct TraceSectionLayout {
  uint32_t magic;
  uint32_t layout_size;
  std::atomic<uint32_t> control_word;
  uint32_t reserved;
  SharedMutexStorage mutex;
  TraceFileState file;
};

class TraceSection {
 public:
  enum class Failure { kNone, kSection, kMutex };

  // Opens the section, creating and initialising it when it is new. On
  // failure `*failure` says which object could not be created and `*error`
  // the system's error number; a section of another layout gives 183.
  static std::unique_ptr<TraceSection> Open(SharedObjects& shared, const std::string& name,
                                            Failure* failure, OsError* error);

  // Use Open(); this only adopts a mapping.
  TraceSection(SharedObjects& shared, std::unique_ptr<SharedMemory> memory)
      : shared_(shared), memory_(std::move(memory)) {}

  std::atomic<uint32_t>& control_word() { return layout().control_word; }
  TraceFileState& file_state() { return layout().file; }
  MutexLockResult Lock() { return shared_.LockSharedMutex(&layout().mutex); }
  void Unlock() { shared_.UnlockSharedMutex(&layout().mutex); }

 private:
  TraceSectionLayout& layout() {
    return *static_cast<TraceSectionLayout*>(memory_->address());
  }
  OsError Attach(Failure* failure);
  OsError SetUpAlone(Failure* failure);

  SharedObjects& shared_;
  std::unique_ptr<SharedMemory> memory_;
};

// Makes every process that traces through the section `name` read its
// configuration again at its next record.
OsError SignalTraceReconfiguration(SharedObjects& shared, const std::string& name);

}  // namespace q9
