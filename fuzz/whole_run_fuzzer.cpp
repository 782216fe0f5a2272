// The command line and a whole run on a sandbox store: up to five arguments
// cut at NUL bytes. The parse must give a mode keyword and values that keep
// their '=', and the run must end without a memory error, undefined
// behaviour or a hang, whatever the arguments and the mode.
#include <cstdlib>
#include <filesystem>

#include "app/command_line.h"
#include "app/entry_point.h"
#include "fuzz_support.h"
#include "platform/posix/file_system_posix.h"
#include "platform/posix/registry_file.h"

namespace {

namespace fs = std::filesystem;

// The sandbox in place of the machine's configuration: its own registry
// file, log folder and known folders, and no board-control library.
class SandboxProcess final : public q9::Process {
 public:
  SandboxProcess(q9::Process& base, std::string folder) : base_(base), folder_(std::move(folder)) {}
  bool GetEnvironmentVariable(const char* name, std::string* value) override {
    if (std::string_view(name) == "AutInstLog") *value = folder_ + "/logs/";
    else if (std::string_view(name) == "Q9_BOARD_LIBRARY") *value = folder_ + "/none.so";
    else return false;
    return true;
  }
  int32_t InitializeCom() override { return base_.InitializeCom(); }
  void UninitializeCom() override { base_.UninitializeCom(); }
  uint32_t ProcessId() override { return base_.ProcessId(); }
  uint32_t ThreadId() override { return base_.ThreadId(); }
  void DebugOutput(std::string_view text) override { base_.DebugOutput(text); }
  void ShowWarning(std::string_view text) override { base_.ShowWarning(text); }

 private:
  q9::Process& base_;
  std::string folder_;
};

class SandboxFolders final : public q9::KnownFolders {
 public:
  explicit SandboxFolders(std::string folder) : folder_(std::move(folder)) {}
  bool CommonAppData(std::string* path) override { return *path = folder_ + "/var-opt", true; }
  bool CommonProgramFiles(std::string* path) override { return *path = folder_ + "/opt", true; }
  bool ExecutableFolder(std::string* path) override { return *path = folder_, true; }

 private:
  std::string folder_;
};

bool IsModeKeyword(const std::string& mode) {
  return q9::IsImportMode(mode) || q9::IsUpdateMode(mode) || q9::IsUninstallMode(mode) ||
         q9::IsExportMode(mode);
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  std::vector<std::string> arguments = q9::fuzz::SplitInput(data, size, 5);
  std::vector<const char*> argv = {"q9cfgImp64x"};
  for (const std::string& argument : arguments) {
    // Store roots come from the arguments; none may lead out of the sandbox.
    if (argument.find("..") != std::string::npos) return 0;
    argv.push_back(argument.c_str());
  }
  const q9::CommandLine line = q9::ParseCommandLine(static_cast<int>(argv.size()), argv.data());
  if (!IsModeKeyword(line.mode)) std::abort();
  for (const std::string* value : {&line.program_files, &line.program_data, &line.export_name}) {
    if (!value->empty() && !value->starts_with('=')) std::abort();
  }

  q9::Env& real = q9::fuzz::FuzzEnv();
  const std::string run = q9::fuzz::SandboxFolder() + "/run";
  fs::remove_all(run);
  fs::create_directories(run + "/logs");
  fs::copy(Q9_SAMPLE_STORE, run + "/store", fs::copy_options::recursive);
  // Relative roots ("=...") land in the sandbox; the fuzzer's own relative
  // paths need the old folder back afterwards.
  const fs::path caller_folder = fs::current_path();
  fs::current_path(run);
  q9::fuzz::WriteSandboxFile(
      "run/registry.reg",
      "Windows Registry Editor Version 5.00\n\n"
      "[HKEY_LOCAL_MACHINE\\SOFTWARE\\Kestrel\\Shared Tools\\Q9NET64]\n"
      "\"Corvane_Oam\"=\"" + run + "/store\"\n\"Corvane_Oam_Data\"=\"" + run + "/store\"\n");
  static q9::PosixFileSystem files;
  static q9::RegistryFile registry(files, q9::fuzz::SandboxFolder() + "/run/registry.reg");
  static SandboxFolders folders(run);
  static SandboxProcess process(real.process(), run);
  q9::Env env(files, registry, folders, real.libraries(), real.shared(), real.clock(), process);
  (void)q9::RunCfgImp(env, static_cast<int>(argv.size()), argv.data());
  fs::current_path(caller_folder);
  return 0;
}
