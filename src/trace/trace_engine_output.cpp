#include "trace/trace_engine_output.h"

#include <algorithm>
#include <cstdio>
#include <cstring>

#include "trace/trace_format.h"
#include "trace/trace_destination.h"

namespace q9 {
namespace {

constexpr char kLibrarySuffix[] = "/Kestrel/Automation/TraceEngine/bin/libQ9TraceEngine64X.so";
constexpr char kSettingsFolder[] = "/Kestrel/q9net/meta/trace/Settings/";
constexpr char kSettingsFile[] = "Q9sdd_TraceSettings.xml";
constexpr char kMetaInfoFile[] = "Q9sdd_TraceMetaInfo.xml";
constexpr char kSettingsVersion[] = "1.0.0.0";

struct EngineEntryPoints {
  TraceOpenAFunction open = nullptr;
  TraceCommandFunction command = nullptr;
  TraceWriteFunction write = nullptr;
  TraceCloseFunction close = nullptr;
};

void ReportEngineError(Process& process, uint32_t code, const std::string& detail) {
  char text[512];
  std::snprintf(text, sizeof text, "TraceClient error 0x%08X: %s", code, detail.c_str());
  ReportToDebugger(process, text);
}

// Looks the entry point up; reports it when it is missing.
template <typename Function>
bool LookUp(DynamicLibrary& library, const char* name, Process& process, Function* function) {
  void* symbol = library.Symbol(name);
  if (symbol == nullptr) {
    ReportEngineError(process, kTraceEngineEntryMissing, name);
    return false;
  }
  *function = reinterpret_cast<Function>(symbol);
  return true;
}

class TraceEngineOutput final : public TraceOutput {
 public:
  TraceEngineOutput(std::unique_ptr<DynamicLibrary> library, EngineEntryPoints entry,
                    void* session)
      : library_(std::move(library)), entry_(entry), session_(session) {}
  TraceEngineOutput(const TraceEngineOutput&) = delete;
  TraceEngineOutput& operator=(const TraceEngineOutput&) = delete;
  ~TraceEngineOutput() override { entry_.close(session_); }

  void Write(uint32_t level, std::string_view line) override {
    if (!line.empty() && line.back() == '\n') line.remove_suffix(1);
    char record[kTraceRecordBufferSize];
    const size_t length = std::min(line.size(), sizeof record - 1);
    std::memcpy(record, line.data(), length);
    record[length] = '\0';
    entry_.write(session_, level, record);
  }

 private:
  std::unique_ptr<DynamicLibrary> library_;
  EngineEntryPoints entry_;
  void* session_;
};

}  // namespace

std::string TraceEngineLibraryPath(KnownFolders& folders) {
  std::string common;
  if (!folders.CommonProgramFiles(&common)) common.clear();
  return common + kLibrarySuffix;
}

std::unique_ptr<TraceOutput> OpenTraceEngine(Env& env, const char* process_module) {
  Process& process = env.process();
  const std::string path = TraceEngineLibraryPath(env.folders());
  std::unique_ptr<DynamicLibrary> library;
  if (env.libraries().Load(path, &library) != os_error::kSuccess) {
    ReportEngineError(process, kTraceEngineMissing, path);
    return nullptr;
  }
  EngineEntryPoints entry;
  if (!LookUp(*library, "TraceOpenA", process, &entry.open) ||
      !LookUp(*library, "TraceWrite", process, &entry.write) ||
      !LookUp(*library, "TraceCommand", process, &entry.command) ||
      !LookUp(*library, "TraceClose", process, &entry.close)) {
    return nullptr;
  }
  std::string common;
  if (!env.folders().CommonProgramFiles(&common)) common.clear();
  const std::string folder = common + kSettingsFolder;
  void* session = entry.open((folder + kSettingsFile).c_str(), (folder + kMetaInfoFile).c_str(),
                             kSettingsVersion);
  if (session == nullptr) return nullptr;
  entry.command(session, (std::string("client=") + process_module).c_str());
  return std::make_unique<TraceEngineOutput>(std::move(library), entry, session);
}

}  // namespace q9
