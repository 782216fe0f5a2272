#include "trace/trace_client.h"

#include <cstdarg>
#include <cstdio>
#include <mutex>

#include "trace/trace.h"
#include "trace/trace_format.h"

namespace q9 {
namespace trace_internal {
namespace {
// Stands in for the shared control word while no client runs.
constinit std::atomic<uint32_t> idle_control{0};
}  // namespace

constinit Gate gate{{0}, {0}, {&idle_control}};
}  // namespace trace_internal

namespace {

using trace_internal::gate;

constexpr char kComponent[] = "IMP";

// Texts for the section and mutex failures; GetLastError() is the name
// people search for, whatever the platform.
constexpr char kSectionFailedFormat[] = "ERROR: Can't create Q9TRC_SECTION, GetLastError()=%d \n";
constexpr char kMutexFailedFormat[] = "ERROR: Can't create Q9TRC_MUTEX, GetLastError()=%d \n";

std::string_view WithoutLabelEnd(std::string_view label) {
  while (!label.empty() && (label.back() == ' ' || label.back() == ':')) label.remove_suffix(1);
  return label;
}

// Asking the system for the thread's identifier costs a call into the
// kernel; each thread keeps it for the client it was asked for.
struct ThreadIdentity {
  uint64_t client_serial = 0;
  uint32_t thread_id = 0;
};
thread_local ThreadIdentity t_identity;
uint64_t g_client_serial = 0;

class ActiveClient {
 public:
  ActiveClient(Env& env, const char* module, const TraceObjectNames& names)
      : env_(env), module_(module != nullptr ? module : ""), names_(names) {}

  void Start();
  void Write(const TraceSite& site, uint32_t level, const char* file, int line,
             const char* format, va_list args);

 private:
  void OpenSection();
  // Takes the process's lock, then the section's.
  bool Lock(bool starting);
  void Unlock();
  void StandDown();
  // Reads the configuration and opens the destination; under the lock.
  void Initialise();
  bool ConfigurationStale();
  bool PassesSiteFilters(const TraceSite& site) const;
  void UpdateClockTexts();
  void Emit(const TraceSite& site, uint32_t level, const char* file, int line,
            const char* message);

  uint32_t CurrentThreadId();

  Env& env_;
  const uint64_t serial_ = ++g_client_serial;
  uint32_t process_id_ = 0;
  const std::string module_;
  const TraceObjectNames names_;
  // Serialises the process's writers, and stands alone while the section
  // cannot be had. section_ changes only under it.
  std::mutex local_mutex_;
  std::unique_ptr<TraceSection> section_;
  std::atomic<uint32_t> local_control_{1};
  TraceFileState local_file_state_;

  TraceConfig config_;
  std::unique_ptr<TraceOutput> output_;
  bool reading_time_stored_ = false;
  uint64_t reading_time_us_ = 0;
  uint64_t sequence_ = 0;
  std::time_t clock_second_ = -1;
  char date_[16] = "";
  char time_[16] = "";
};

std::unique_ptr<ActiveClient> g_client;

void ActiveClient::Start() {
  process_id_ = env_.process().ProcessId();
  gate.shared_control.store(&local_control_);
  if (!Lock(true)) return StandDown();
  Initialise();
  Unlock();
}

void ActiveClient::StandDown() {
  // Another writer holds the mutex and does not let go. Waiting for it at
  // every record would stall the program: tracing stays off until the
  // control word changes again.
  gate.control_copy.store(gate.shared_control.load()->load(std::memory_order_relaxed));
  gate.level_mask.store(0);
}

void ActiveClient::OpenSection() {
  TraceSection::Failure failure;
  OsError error;
  section_ = TraceSection::Open(env_.shared(), names_.section, &failure, &error);
  if (section_ != nullptr) {
    gate.shared_control.store(&section_->control_word());
    return;
  }
  char text[96];
  std::snprintf(text, sizeof text,
                failure == TraceSection::Failure::kMutex ? kMutexFailedFormat : kSectionFailedFormat,
                static_cast<int>(error));
  env_.process().DebugOutput(text);
}

bool ActiveClient::Lock(bool starting) {
  local_mutex_.lock();
  // A section that could not be had is tried again at every reading.
  if (section_ == nullptr && (starting || ConfigurationStale())) OpenSection();
  if (section_ == nullptr || section_->Lock() != MutexLockResult::kFailed) return true;
  local_mutex_.unlock();
  return false;
}

void ActiveClient::Unlock() {
  if (section_ != nullptr) section_->Unlock();
  local_mutex_.unlock();
}

void ActiveClient::Initialise() {
  // The copy is taken before the registry is read, so a change made while
  // it is read is not missed.
  const std::atomic<uint32_t>& control =
      section_ != nullptr ? section_->control_word() : local_control_;
  const uint32_t control_copy = control.load(std::memory_order_relaxed);
  output_.reset();
  config_ = ReadTraceConfig(env_.registry());
  if (config_.key_present) {
    TraceFileState* file_state =
        section_ != nullptr ? &section_->file_state() : &local_file_state_;
    output_ = OpenTraceOutput(config_, {env_, names_, file_state, module_.c_str()});
  }
  reading_time_stored_ = config_.consult_seconds != 0;
  reading_time_us_ = env_.clock().NowMicros();
  gate.control_copy.store(control_copy);
  gate.level_mask.store(config_.key_present ? config_.level_mask : 0);
}

bool ActiveClient::ConfigurationStale() {
  if (reading_time_stored_ &&
      env_.clock().NowMicros() - reading_time_us_ >= uint64_t{config_.consult_seconds} * 1'000'000) {
    return true;
  }
  return gate.shared_control.load(std::memory_order_relaxed)->load(std::memory_order_relaxed) !=
         gate.control_copy.load(std::memory_order_relaxed);
}

bool ActiveClient::PassesSiteFilters(const TraceSite& site) const {
  if (!config_.modules.empty() && !config_.modules.HasName(site.module)) return false;
  if (!config_.functions.empty() && !config_.functions.HasName(WithoutLabelEnd(site.function))) {
    return false;
  }
  return config_.trace_ids.empty() || config_.trace_ids.HasName(kComponent);
}

void ActiveClient::UpdateClockTexts() {
  const std::time_t now = env_.clock().Now();
  if (now == clock_second_) return;
  clock_second_ = now;
  const std::tm local = env_.clock().LocalTime(now);
  std::snprintf(date_, sizeof date_, "%04d-%02d-%02d", (local.tm_year + 1900) % 10000,
                (local.tm_mon + 1) % 100, local.tm_mday % 100);
  std::snprintf(time_, sizeof time_, "%02d:%02d:%02d", local.tm_hour % 100, local.tm_min % 100,
                local.tm_sec % 100);
}

uint32_t ActiveClient::CurrentThreadId() {
  if (t_identity.client_serial != serial_) {
    t_identity.client_serial = serial_;
    t_identity.thread_id = env_.process().ThreadId();
  }
  return t_identity.thread_id;
}

void ActiveClient::Write(const TraceSite& site, uint32_t level, const char* file, int line,
                         const char* format, va_list args) {
  if (!Lock(false)) return StandDown();
  if (ConfigurationStale()) Initialise();
  if ((config_.level_mask & level) != 0 && output_ != nullptr && PassesSiteFilters(site)) {
    char message[kTraceRecordBufferSize];
    std::vsnprintf(message, sizeof message, format, args);
    if (config_.texts.empty() || config_.texts.OccursIn(message)) {
      Emit(site, level, file, line, message);
    }
  }
  Unlock();
}

void ActiveClient::Emit(const TraceSite& site, uint32_t level, const char* file, int line,
                        const char* message) {
  UpdateClockTexts();
  TraceRecordFields fields;
  fields.date = date_;
  fields.time = time_;
  fields.process_id = process_id_;
  fields.thread_id = CurrentThreadId();
  fields.level = level;
  fields.component = kComponent;
  fields.process = module_.c_str();
  fields.module = site.module;
  fields.source_file = file;
  fields.line = line;
  fields.ticks = env_.clock().NowMicros();
  fields.sequence = ++sequence_;
  fields.function = site.function;
  fields.message = message;
  char record[kTraceRecordBufferSize];
  const size_t length = FormatTraceRecord(config_.layout, fields, record);
  record[length] = '\n';  // length < buffer size: this replaces the terminator
  output_->Write(level, std::string_view(record, length + 1));
}

}  // namespace

void TraceRecord(const TraceSite& site, uint32_t level, const char* file, int line,
                 const char* format, ...) {
  if (g_client == nullptr) return;
  va_list args;
  va_start(args, format);
  g_client->Write(site, level, file, line, format, args);
  va_end(args);
}

void TraceClient::Start(Env& env, const char* module) { Start(env, module, TraceObjectNames{}); }

void TraceClient::Start(Env& env, const char* module, const TraceObjectNames& names) {
  Stop();
  g_client = std::make_unique<ActiveClient>(env, module, names);
  g_client->Start();
}

void TraceClient::Stop() {
  gate.level_mask.store(0);
  gate.shared_control.store(&trace_internal::idle_control);
  gate.control_copy.store(0);
  g_client.reset();
}

}  // namespace q9
