#include "app/entry_point.h"

#include "app/command_line.h"
#include "install/installer.h"
#include "install/read_only.h"
#include "log/install_log.h"
#include "trace/trace.h"
#include "trace/trace_client.h"
#include "trace/tracing_file_system.h"
#include "xml/xml_library.h"

namespace q9 {
namespace {

constexpr TraceSite kSite{"Main", "wmain: "};

// The trace texts of this file are the tool's own, spelling and double
// blanks included ("comand", "Forth  "): readers of the trace search for them.
void TraceArguments(const CommandLine& line) {
  Q9_TRACE(kSite, trace_level::kProgress, "First  Command Line Argument: %s",
           line.arguments[0].c_str());
  Q9_TRACE(kSite, trace_level::kProgress, "Second Command Line Argument: %s",
           line.arguments[1].c_str());
  Q9_TRACE(kSite, trace_level::kProgress, "Third  Command Line Argument: %s",
           line.arguments[2].c_str());
  Q9_TRACE(kSite, trace_level::kProgress, "Forth  Command Line Argument: %s",
           line.arguments[3].c_str());
}

void ReportChoices(const CommandLine& line, InstallLog& log) {
  Q9_TRACE(kSite, trace_level::kProgress, "Using Install/Uninstall argument: %s",
           line.mode.c_str());
  Q9_TRACE(kSite, trace_level::kProgress, "Using Program Files argument: %s",
           line.program_files.c_str());
  Q9_TRACE(kSite, trace_level::kProgress, "Using ProgramData argument: %s",
           line.program_data.c_str());
  Q9_TRACE(kSite, trace_level::kProgress, "Using Export argument: %s", line.export_name.c_str());
  log.Write("Using Install/Uninstall argument: ", line.mode);
  log.Write("Using Program Files argument: ", line.program_files);
  log.Write("Using ProgramData argument: ", line.program_data);
  log.Write("Using Export argument: ", line.export_name);
}

// Runs the one operation the mode selects. Each mode is tested on its own;
// since the mode is a single keyword exactly one of them matches.
ResultCode RunOperation(Installer& installer, const CommandLine& line) {
  ResultCode result = kOperationNotAvailable;
  if (IsImportMode(line.mode)) result = installer.Import();
  if (IsUpdateMode(line.mode)) result = installer.Update();
  if (IsUninstallMode(line.mode)) result = installer.Uninstall();
  if (IsExportMode(line.mode)) result = installer.Export(line.export_name);
  return result;
}

}  // namespace

ResultCode RunCfgImp(Env& base_env, int argc, const char* const* argv) {
  const OsError security = base_env.shared().PrepareTraceSecurity();
  if (security != os_error::kSuccess) return security;
  TraceClient::Start(base_env, "q9cfgImp64x");
  // The program's file calls trace what the platform noted about them; the
  // trace client's own go past that, so no record leads back into it.
  TracingFileSystem files(base_env.files());
  Env env(files, base_env.registry(), base_env.folders(), base_env.libraries(), base_env.shared(),
          base_env.clock(), base_env.process());
  // libxml2's one-time set-up is not thread-safe; do it before anything parses.
  InitializeXmlLibrary();

  const int count = argc > 0 ? argc - 1 : 0;
  Q9_TRACE(kSite, trace_level::kEntry, ">> Start");
  Q9_TRACE(kSite, trace_level::kProgress, " Number of comand line arguments %d", count);
  InstallLog log(env);
  log.Write("Number of cmd-arguments: ", std::to_string(count));

  const CommandLine line = ParseCommandLine(argc, argv);
  TraceArguments(line);
  if (line.mode_defaulted) {
    Q9_TRACE(kSite, trace_level::kProgress, "Install/Uninstall argument not found. Use default: %s",
             line.mode.c_str());
    log.Write("Chosen install-mode is: ", line.mode);
  }

  const int32_t com = env.process().InitializeCom();
  Q9_TRACE(kSite, trace_level::kProgress, "CoInitializeEx result=%d", com);
  if (com != 0 && com != 1) {
    Q9_TRACE(kSite, trace_level::kProgress, "COM Library has not been initialized");
    Q9_TRACE(kSite, trace_level::kResult, "return ERR_CANT_CREATE_COM_INSTANCE");
    log.Close();
    TraceClient::Stop();
    return ERR_CANT_CREATE_COM_INSTANCE;
  }

  ReportChoices(line, log);
  ResultCode result = kOperationNotAvailable;
  {
    Installer installer(env, log, line.program_data, line.program_files);
    (void)CheckAndRemoveReadOnlyFlagForAllXmls(env.files(), installer.paths(), log);
    result = RunOperation(installer, line);
    log.Write("CfgImp ended with return-value: ", std::to_string(result));
    env.process().UninitializeCom();
    Q9_TRACE(kSite, trace_level::kResult, "<< return lRet = %d", result);
    env.shared().ReleaseTraceSecurity();
  }
  log.Close();
  TraceClient::Stop();
  return result;
}

}  // namespace q9
