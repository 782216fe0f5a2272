// The install log: the dated, human-readable record of one run. Each write is
// one line of fragments run together, flushed at once, so the log is complete
// up to the last finished line however the process ends. A log that could not
// be opened swallows every write; the log never fails the run.
#pragma once

#include <memory>
#include <string>
#include <string_view>

#include "platform/env.h"

namespace q9 {

class InstallLog {
 public:
  // Opens "<folder>q9cfgImp64x_<time stamp>.log", truncating a log of the same
  // name, and writes the first line. The folder is the AutInstLog environment
  // value as it stands (so it must end in a separator), else the setup-log
  // folder under the common application-data folder.
  explicit InstallLog(Env& env);
  // A log on an already opened sink (nullptr swallows writes), for tests.
  InstallLog(Env& env, std::unique_ptr<WritableFile> sink);
  InstallLog(const InstallLog&) = delete;
  InstallLog& operator=(const InstallLog&) = delete;
  ~InstallLog();

  void Write(std::string_view a) { WriteLine({a}); }
  void Write(std::string_view a, std::string_view b) { WriteLine({a, b}); }
  void Write(std::string_view a, std::string_view b, std::string_view c) { WriteLine({a, b, c}); }
  void Write(std::string_view a, std::string_view b, std::string_view c, std::string_view d) {
    WriteLine({a, b, c, d});
  }
  void Close();

  // The file the log was opened on (empty for a sink).
  const std::string& path() const { return path_; }

  // "%Y-%m-%d.%X" of the local time with every ':' turned into '.'.
  static std::string TimeStamp(Env& env);
  // Where a log opened now would be written.
  static std::string LogFilePath(Env& env);

 private:
  void WriteLine(std::initializer_list<std::string_view> fragments);
  void WriteFirstLine(Env& env);

  std::string path_;
  std::unique_ptr<WritableFile> file_;
};

}  // namespace q9
