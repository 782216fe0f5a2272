#include "log/install_log.h"

#include <algorithm>
#include <ctime>

#include "platform/path.h"

namespace q9 {
namespace {

// The environment value is read into a buffer of 260 characters; a longer
// value does not fit and counts as unset.
constexpr size_t kEnvironmentBufferSize = 260;

std::string DefaultLogFolder(Env& env) {
  std::string app_data;
  if (!env.folders().CommonAppData(&app_data)) app_data.clear();
  std::string folder = JoinPath(app_data, "Kestrel");
  for (const char* part : {"Automation", "Logfiles", "Setup"}) folder = JoinPath(folder, part);
  return folder + kPathSeparator;
}

}  // namespace

InstallLog::InstallLog(Env& env) : path_(LogFilePath(env)) {
  if (env.files().OpenWritable(path_, OpenMode::kTruncate, &file_) != os_error::kSuccess) {
    file_.reset();
  }
  WriteFirstLine(env);
}

InstallLog::InstallLog(Env& env, std::unique_ptr<WritableFile> sink) : file_(std::move(sink)) {
  WriteFirstLine(env);
}

InstallLog::~InstallLog() { Close(); }

std::string InstallLog::TimeStamp(Env& env) {
  const std::tm local = env.clock().LocalTime(env.clock().Now());
  char buffer[160];
  const size_t length = std::strftime(buffer, sizeof buffer, "%Y-%m-%d.%X", &local);
  std::string stamp(buffer, length);
  std::replace(stamp.begin(), stamp.end(), ':', '.');
  return stamp;
}

std::string InstallLog::LogFilePath(Env& env) {
  std::string folder;
  if (!env.process().GetEnvironmentVariable("AutInstLog", &folder) ||
      folder.size() >= kEnvironmentBufferSize) {
    folder = DefaultLogFolder(env);
  }
  return folder + "q9cfgImp64x_" + TimeStamp(env) + ".log";
}

void InstallLog::WriteFirstLine(Env& env) {
  Write("Start of CfgImp Inst-/Deinst-Process! Date: ", TimeStamp(env));
}

void InstallLog::WriteLine(std::initializer_list<std::string_view> fragments) {
  if (!file_) return;
  std::string line;
  for (std::string_view fragment : fragments) line += fragment;
  line += '\n';
  // A failing log must not fail the run: errors are dropped on purpose.
  (void)file_->Append(line);
  (void)file_->Flush();
}

void InstallLog::Close() {
  if (!file_) return;
  (void)file_->Close();
  file_.reset();
}

}  // namespace q9
