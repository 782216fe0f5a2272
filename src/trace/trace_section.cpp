#include "trace/trace_section.h"

namespace q9 {
namespace {

constexpr uint32_t kSectionMagic = 0x53543951;  // "Q9TS"
// A creator that has not begun setting the section up is passed over this
// many times at most.
constexpr int kAttachRounds = 50;

// A section of another layout (another build, or something else under the
// name) is neither used nor overwritten.
OsError CheckLayout(const TraceSectionLayout& section, TraceSection::Failure* failure) {
  if (section.magic == kSectionMagic && section.layout_size == sizeof(TraceSectionLayout)) {
    return os_error::kSuccess;
  }
  *failure = TraceSection::Failure::kSection;
  return os_error::kAlreadyExists;
}

}  // namespace

std::unique_ptr<TraceSection> TraceSection::Open(SharedObjects& shared, const std::string& name,
                                                 Failure* failure, OsError* error) {
  *failure = Failure::kNone;
  std::unique_ptr<SharedMemory> memory;
  *error = shared.MapSharedMemory(name, sizeof(TraceSectionLayout), true, &memory);
  if (*error != os_error::kSuccess) {
    *failure = Failure::kSection;
    return nullptr;
  }
  auto section = std::make_unique<TraceSection>(shared, std::move(memory));
  *error = section->Attach(failure);
  return *error == os_error::kSuccess ? std::move(section) : nullptr;
}

OsError TraceSection::Attach(Failure* failure) {
  for (int round = 0; round < kAttachRounds; ++round) {
    if (memory_->LockObject(ObjectLock::kExclusive, false) == os_error::kSuccess) {
      const OsError result = SetUpAlone(failure);
      // Whoever slipped in while the lock is converted is alone for a moment
      // too; the wait lets it finish.
      const OsError attached = memory_->LockObject(ObjectLock::kShared, true);
      if (result != os_error::kSuccess || attached == os_error::kSuccess) return result;
      *failure = Failure::kSection;
      return attached;
    }
    const OsError attached = memory_->LockObject(ObjectLock::kShared, true);
    if (attached != os_error::kSuccess) {
      *failure = Failure::kSection;
      return attached;
    }
    if (layout().magic != 0) return CheckLayout(layout(), failure);
    // The creator has not begun, or died half-way: one of us sets it up.
    memory_->UnlockObject();
  }
  *failure = Failure::kSection;
  return os_error::kSharingViolation;
}

OsError TraceSection::SetUpAlone(Failure* failure) {
  TraceSectionLayout& section = layout();
  if (section.magic == 0) {
    const OsError result = shared_.InitSharedMutex(&section.mutex);
    if (result != os_error::kSuccess) {
      *failure = Failure::kMutex;
      return result;
    }
    section.control_word.store(1, std::memory_order_relaxed);
    section.layout_size = sizeof(TraceSectionLayout);
    section.magic = kSectionMagic;
  } else if (const OsError foreign = CheckLayout(section, failure)) {
    return foreign;
  }
  // No other process uses the section, so nobody writes the file it names.
  section.file = TraceFileState{};
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
