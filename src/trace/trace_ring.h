// The shared-memory trace output "/Q9SDD_Trace": a ring of fixed-size slots
// that writers fill under the trace mutex and readers follow without it.
//
// Layout (native-endian):
//   offset 0   header, 64 bytes
//     magic          uint32  'Q9SM'
//     version        uint32  1
//     slot_size      uint32  440
//     slot_count     uint32  (object size - 64) / 440
//     next_sequence  uint64  sequence number the next record will get; the
//                            first record is 1
//     reserved       40 bytes
//   offset 64  slot_count slots of 440 bytes; record n lives in slot
//              (n - 1) % slot_count
//     sequence       uint64  the record's sequence number, 0 while empty or
//                            being rewritten
//     length         uint32  bytes of text
//     reserved       uint32
//     text           424 bytes, the record without line end, 0-terminated
//
// A writer clears the slot's sequence, writes length and text, then stores
// the sequence. A reader that sees the same sequence before and after copying
// a slot has a whole record; otherwise the writer lapped it and the record is
// counted as lost.
#pragma once

#include <atomic>
#include <cstddef>
#include <cstdint>
#include <functional>
#include <string_view>

namespace q9 {

inline constexpr char kTraceRingName[] = "/Q9SDD_Trace";

struct TraceRingHeader {
  uint32_t magic;
  uint32_t version;
  uint32_t slot_size;
  uint32_t slot_count;
  std::atomic<uint64_t> next_sequence;
  unsigned char reserved[40];
};

struct TraceRingSlot {
  std::atomic<uint64_t> sequence;
  uint32_t length;
  uint32_t reserved;
  char text[424];
};

static_assert(sizeof(TraceRingHeader) == 64);
static_assert(sizeof(TraceRingSlot) == 440);

// Smallest object that holds one slot.
inline constexpr size_t kTraceRingMinimumSize = sizeof(TraceRingHeader) + sizeof(TraceRingSlot);

// Sets the ring up in `memory` unless it holds a valid ring already (whose
// layout is then kept). Returns its slot count, checked against `size`; 0
// when `size` is too small. Call under the lock.
//
// The header lies in memory every process can write, so writers and readers
// take the slot count once, when they map the ring, and never again.
uint32_t PrepareTraceRing(void* memory, size_t size);

// Stores one record (cut to fit a slot) in a ring of `slot_count` slots, as
// PrepareTraceRing returned it. Call under the lock.
void AppendToTraceRing(void* memory, uint32_t slot_count, std::string_view record);

// Follows a ring from the oldest record it still holds.
class TraceRingReader {
 public:
  TraceRingReader(const void* memory, size_t size);

  // False when the memory holds no valid ring.
  bool valid() const { return header_ != nullptr; }
  // True when the ring was set up anew since this reader took it (its
  // sequence went back, or its layout changed).
  bool Restarted() const;
  // Hands every record written since the last call to `sink`, oldest first;
  // returns how many records were overwritten before they could be read.
  uint64_t ReadNew(const std::function<void(std::string_view)>& sink);

 private:
  const TraceRingSlot& SlotOf(uint64_t sequence) const;

  const TraceRingHeader* header_ = nullptr;
  uint64_t slot_count_ = 0;
  uint64_t next_ = 1;
};

}  // namespace q9
