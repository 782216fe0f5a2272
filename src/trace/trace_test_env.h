// Doubles for the trace tests: an in-memory registry, a clock that moves
// when told, a process that keeps its debugger output, shared objects under
// names of their own (removed afterwards) that can be made to fail, and the
// Env that bundles them with the real file system.
#pragma once

#include <atomic>
#include <cctype>
#include <ctime>
#include <map>
#include <string>

#include "platform/env.h"
#include "platform/posix/shared_objects_posix.h"
#include "trace/trace_client.h"

namespace q9::testing {

class MemoryRegistryKey final : public RegistryKey {
 public:
  explicit MemoryRegistryKey(std::map<std::string, RegistryValue> values)
      : values_(std::move(values)) {}
  bool QueryValue(std::string_view name, RegistryValue* value) const override {
    // Names are stored in upper case.
    std::string upper(name);
    for (char& c : upper) c = static_cast<char>(std::toupper(static_cast<unsigned char>(c)));
    const auto it = values_.find(upper);
    if (it == values_.end()) return false;
    *value = it->second;
    return true;
  }

 private:
  std::map<std::string, RegistryValue> values_;
};

// One key at most: the trace configuration.
class MemoryRegistry final : public Registry {
 public:
  bool OpenKey(std::string_view key_path, std::unique_ptr<RegistryKey>* key) override {
    if (!has_key_ || key_path != "Software\\KESTREL\\TELAN\\TrcParams") return false;
    *key = std::make_unique<MemoryRegistryKey>(values_);
    return true;
  }
  void Set(const std::string& name, const std::string& text,
           RegistryType type = RegistryType::kString) {
    has_key_ = true;
    std::string upper(name);
    for (char& c : upper) c = static_cast<char>(std::toupper(static_cast<unsigned char>(c)));
    values_[upper] = RegistryValue{type, text, {}};
  }
  void CreateKey() { has_key_ = true; }

 private:
  bool has_key_ = false;
  std::map<std::string, RegistryValue> values_;
};

class ManualClock final : public Clock {
 public:
  uint64_t NowMicros() override { return micros; }
  std::time_t Now() override { return static_cast<std::time_t>(micros / 1'000'000); }
  std::tm LocalTime(std::time_t t) override {
    return *std::gmtime(&t);
  }
  void Advance(uint64_t seconds) { micros += seconds * 1'000'000; }

  uint64_t micros = 1'800'000'000'000'000;  // 2027-01-15 08:00:00 UTC
};

class RecordingProcess final : public Process {
 public:
  bool GetEnvironmentVariable(const char*, std::string*) override { return false; }
  int32_t InitializeCom() override { return 0; }
  void UninitializeCom() override {}
  OsError PrepareTraceSecurity() override { return 0; }
  uint32_t ProcessId() override { return Env::Default().process().ProcessId(); }
  uint32_t ThreadId() override { return 7; }
  void DebugOutput(std::string_view text) override { debug_output.append(text); }
  void ShowWarning(std::string_view) override {}

  std::string debug_output;
};

// Real shared objects under names unique to this test process; fails
// chosen operations on request.
class TestSharedObjects final : public SharedObjects {
 public:
  OsError MapSharedMemory(const std::string& name, size_t min_size, bool create,
                          std::unique_ptr<SharedMemory>* memory) override {
    if (map_error != 0) return map_error;
    return real_.MapSharedMemory(name, min_size, create, memory);
  }
  OsError RemoveSharedMemory(const std::string& name) override {
    return real_.RemoveSharedMemory(name);
  }
  OsError InitSharedMutex(SharedMutexStorage* mutex) override {
    if (mutex_error != 0) return mutex_error;
    return real_.InitSharedMutex(mutex);
  }
  MutexLockResult LockSharedMutex(SharedMutexStorage* mutex) override {
    return real_.LockSharedMutex(mutex);
  }
  void UnlockSharedMutex(SharedMutexStorage* mutex) override { real_.UnlockSharedMutex(mutex); }
  OsError OpenDevice(const std::string& path, std::unique_ptr<WritableFile>* device) override {
    if (device_error != 0) return device_error;
    return real_.OpenDevice(path, device);
  }
  OsError OpenSerialPort(const std::string& path, std::unique_ptr<WritableFile>* port) override {
    return real_.OpenSerialPort(path, port);
  }

  OsError map_error = 0;
  OsError mutex_error = 0;
  OsError device_error = 0;

 private:
  PosixSharedObjects real_;
};

// Libraries that exist only when a test lists their symbols.
class FakeLibraries final : public DynamicLibraries {
 public:
  OsError Load(const std::string& path, std::unique_ptr<DynamicLibrary>* library) override {
    loaded_path = path;
    if (!present) return os_error::kModNotFound;
    *library = std::make_unique<FakeLibrary>(symbols);
    return os_error::kSuccess;
  }

  bool present = false;
  std::map<std::string, void*> symbols;
  std::string loaded_path;

 private:
  class FakeLibrary final : public DynamicLibrary {
   public:
    explicit FakeLibrary(std::map<std::string, void*> symbols) : symbols_(std::move(symbols)) {}
    void* Symbol(const char* name) override {
      const auto it = symbols_.find(name);
      return it == symbols_.end() ? nullptr : it->second;
    }

   private:
    std::map<std::string, void*> symbols_;
  };
};

// Object names no other test process uses.
inline TraceObjectNames UniqueTraceNames() {
  static std::atomic<int> counter{0};
  const std::string stem =
      "/q9test-" + std::to_string(Env::Default().process().ProcessId()) + "-" + std::to_string(counter++) + "-";
  TraceObjectNames names;
  names.section = stem + "SECTION";
  names.ring = stem + "SDD";
  return names;
}

// The real file system and folders with the doubles above.
struct TraceTestEnv {
  TraceTestEnv()
      : env(Env::Default().files(), registry, Env::Default().folders(), libraries, shared, clock,
            process) {}
  ~TraceTestEnv() {
    TraceClient::Stop();
    (void)shared.RemoveSharedMemory(names.section);
    (void)shared.RemoveSharedMemory(names.ring);
  }
  void Start() { TraceClient::Start(env, "q9cfgImp64x", names); }

  MemoryRegistry registry;
  FakeLibraries libraries;
  TestSharedObjects shared;
  ManualClock clock;
  RecordingProcess process;
  TraceObjectNames names = UniqueTraceNames();
  Env env;
};

}  // namespace q9::testing
