#include "trace/trace_ring.h"

#include <algorithm>
#include <cstring>

namespace q9 {
namespace {

constexpr uint32_t kRingMagic = 0x4D533951;  // "Q9SM"
constexpr uint32_t kRingVersion = 1;

TraceRingSlot* Slots(void* memory) {
  return reinterpret_cast<TraceRingSlot*>(static_cast<unsigned char*>(memory) +
                                          sizeof(TraceRingHeader));
}

const TraceRingHeader* ValidHeader(const void* memory, size_t size) {
  if (memory == nullptr || size < kTraceRingMinimumSize) return nullptr;
  const auto* header = static_cast<const TraceRingHeader*>(memory);
  if (header->magic != kRingMagic || header->version != kRingVersion ||
      header->slot_size != sizeof(TraceRingSlot) || header->slot_count == 0) {
    return nullptr;
  }
  const size_t needed = sizeof(TraceRingHeader) + size_t{header->slot_count} * sizeof(TraceRingSlot);
  return needed <= size ? header : nullptr;
}

}  // namespace

uint32_t PrepareTraceRing(void* memory, size_t size) {
  if (size < kTraceRingMinimumSize) return 0;
  if (const TraceRingHeader* valid = ValidHeader(memory, size)) return valid->slot_count;
  std::memset(memory, 0, size);
  auto* header = static_cast<TraceRingHeader*>(memory);
  header->magic = kRingMagic;
  header->version = kRingVersion;
  header->slot_size = sizeof(TraceRingSlot);
  header->slot_count = static_cast<uint32_t>((size - sizeof(TraceRingHeader)) / sizeof(TraceRingSlot));
  header->next_sequence.store(1, std::memory_order_release);
  return header->slot_count;
}

void AppendToTraceRing(void* memory, uint32_t slot_count, std::string_view record) {
  auto* header = static_cast<TraceRingHeader*>(memory);
  const uint64_t sequence = header->next_sequence.load(std::memory_order_relaxed);
  TraceRingSlot& slot = Slots(memory)[(sequence - 1) % slot_count];
  const size_t length = std::min(record.size(), sizeof slot.text - 1);
  slot.sequence.store(0, std::memory_order_relaxed);
  std::atomic_thread_fence(std::memory_order_release);
  std::memcpy(slot.text, record.data(), length);
  slot.text[length] = '\0';
  slot.length = static_cast<uint32_t>(length);
  slot.sequence.store(sequence, std::memory_order_release);
  header->next_sequence.store(sequence + 1, std::memory_order_release);
}

TraceRingReader::TraceRingReader(const void* memory, size_t size)
    : header_(ValidHeader(memory, size)) {
  if (header_ == nullptr) return;
  slot_count_ = header_->slot_count;
  const uint64_t next = header_->next_sequence.load(std::memory_order_acquire);
  next_ = next > slot_count_ ? next - slot_count_ : 1;
}

bool TraceRingReader::Restarted() const {
  return header_ != nullptr &&
         (header_->magic != kRingMagic || header_->slot_count != slot_count_ ||
          header_->next_sequence.load(std::memory_order_acquire) < next_);
}

const TraceRingSlot& TraceRingReader::SlotOf(uint64_t sequence) const {
  const auto* slots = reinterpret_cast<const TraceRingSlot*>(
      reinterpret_cast<const unsigned char*>(header_) + sizeof(TraceRingHeader));
  return slots[(sequence - 1) % slot_count_];
}

uint64_t TraceRingReader::ReadNew(const std::function<void(std::string_view)>& sink) {
  if (header_ == nullptr) return 0;
  const uint64_t end = header_->next_sequence.load(std::memory_order_acquire);
  uint64_t lost = 0;
  if (end > next_ + slot_count_) {
    lost += end - slot_count_ - next_;
    next_ = end - slot_count_;
  }
  char text[sizeof(TraceRingSlot::text)];
  for (; next_ < end; ++next_) {
    const TraceRingSlot& slot = SlotOf(next_);
    if (slot.sequence.load(std::memory_order_acquire) != next_) {
      ++lost;
      continue;
    }
    const size_t length = std::min<size_t>(slot.length, sizeof text - 1);
    std::memcpy(text, slot.text, length);
    std::atomic_thread_fence(std::memory_order_acquire);
    if (slot.sequence.load(std::memory_order_relaxed) != next_) {
      ++lost;
      continue;
    }
    sink(std::string_view(text, length));
  }
  return lost;
}

}  // namespace q9
