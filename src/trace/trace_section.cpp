#include "trace/trace_section.h"

#include <chrono>
#include <thread>

namespace q9 {
namespace {

constexpr uint32_t kSectionMagic = 0x53543951;  // "Q9TS"
constexpr uint32_t kFresh = 0;
constexpr uint32_t kInitialising = 1;
constexpr uint32_t kReady = 2;
// A creator that has not finished after this long is taken to have died
// half-way; the waiter initialises the section itself.
constexpr auto kCreatorPatience = std::chrono::seconds(2);

}  // namespace

std::unique_ptr<TraceSection> TraceSection::Open(SharedObjects& shared, const std::string& name,
                                                 Failure* failure, OsError* error) {
  *failure = Failure::kNone;
  *error = os_error::kSuccess;
  std::unique_ptr<SharedMemory> memory;
  *error = shared.MapSharedMemory(name, sizeof(TraceSectionLayout), true, &memory);
  if (*error != os_error::kSuccess) {
    *failure = Failure::kSection;
    return nullptr;
  }
  auto section = std::make_unique<TraceSection>(shared, std::move(memory));
  *error = section->InitialiseOnce();
  if (*error != os_error::kSuccess) {
    *failure = Failure::kMutex;
    return nullptr;
  }
  return section;
}

OsError TraceSection::InitialiseOnce() {
  TraceSectionLayout& section = layout();
  uint32_t state = kFresh;
  if (!section.state.compare_exchange_strong(state, kInitialising)) {
    const auto give_up = std::chrono::steady_clock::now() + kCreatorPatience;
    while (section.state.load(std::memory_order_acquire) != kReady) {
      if (std::chrono::steady_clock::now() > give_up) break;
      std::this_thread::sleep_for(std::chrono::milliseconds(1));
    }
    if (section.state.load(std::memory_order_acquire) == kReady) return os_error::kSuccess;
  }
  const OsError result = shared_.InitSharedMutex(&section.mutex);
  if (result != os_error::kSuccess) {
    section.state.store(kFresh, std::memory_order_release);
    return result;
  }
  section.control_word.store(1, std::memory_order_relaxed);
  section.file = TraceFileState{};
  section.magic = kSectionMagic;
  section.state.store(kReady, std::memory_order_release);
  return os_error::kSuccess;
}

OsError SignalTraceReconfiguration(SharedObjects& shared, const std::string& name) {
  TraceSection::Failure failure;
  OsError error;
  std::unique_ptr<TraceSection> section = TraceSection::Open(shared, name, &failure, &error);
  if (section == nullptr) return error;
  section->control_word().fetch_add(1, std::memory_order_relaxed);
  return os_error::kSuccess;
}

}  // namespace q9
