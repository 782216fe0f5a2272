// Runs the built q9cfgImp64x as a setup program would: in a store under a
// temporary folder, with its own registry file, log folder and known folders,
// and nothing inherited from the machine's configuration.
#pragma once

#include <map>
#include <string>
#include <vector>

#include "temp_dir.h"

namespace q9::testing {

class ToolRunner {
 public:
  ToolRunner();

  // A registry file with the store roots pointing at `files` and `data`
  // (either may be empty to leave the value out).
  void WriteStoreRegistry(const std::string& files, const std::string& data);

  // Runs the program with `args`; returns its exit status (-1 when it did
  // not exit normally).
  int Run(const std::vector<std::string>& args);

  // The install log of the last run (runs clear the log folder first), and
  // that log without its dated first line.
  std::string Log() const { return ReadOnlyFileIn(dir_.Path("logs")); }
  std::string LogBody() const { return AfterFirstLine(Log()); }
  std::string StandardError() const { return ReadText(dir_.Path("stderr.txt")); }

  const TempDir& dir() const { return dir_; }
  std::map<std::string, std::string>& environment() { return environment_; }

  // A copy of the sample store as both roots, named by the registry file;
  // returns its folder.
  std::string UseSampleStore();

 private:
  TempDir dir_;
  std::map<std::string, std::string> environment_;
};

}  // namespace q9::testing
