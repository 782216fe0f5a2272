// The command line of one run: up to four arguments, a mode keyword and
// key/value arguments such as t=<folder>.
#pragma once

#include <array>
#include <string>

namespace q9 {

struct CommandLine {
  int argument_count = 0;              // arguments after the program name, all counted
  std::array<std::string, 4> arguments;  // the first four; further ones are ignored
  std::array<std::string, 4> keys;       // text before the first '=', else empty
  std::string mode;                    // a keyword, "-up" when none was given
  bool mode_defaulted = false;
  // Values of key/value arguments keep their leading '=' (t=/x gives "=/x");
  // they are handed on exactly so.
  std::string program_files;  // key "t" or "-t"
  std::string program_data;   // key "d" or "-d"
  std::string export_name;    // key "e" or "-e", only in the export modes
};

// argv[0] is the program name.
CommandLine ParseCommandLine(int argc, const char* const* argv);

bool IsImportMode(const std::string& mode);
bool IsUpdateMode(const std::string& mode);
bool IsUninstallMode(const std::string& mode);
bool IsExportMode(const std::string& mode);

}  // namespace q9
