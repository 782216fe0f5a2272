#include "app/command_line.h"

#include <string_view>

namespace q9 {
namespace {

bool IsModeKeyword(const std::string& text) {
  return IsImportMode(text) || IsUpdateMode(text) || IsUninstallMode(text) || IsExportMode(text);
}

// The value of the first argument whose key is `key` or "-" + `key`, from its
// first '=' on.
std::string ValueOf(const CommandLine& line, std::string_view key) {
  for (size_t i = 0; i < line.arguments.size(); ++i) {
    const std::string& k = line.keys[i];
    if (k == key || (k.size() == key.size() + 1 && k[0] == '-' && k.substr(1) == key)) {
      return line.arguments[i].substr(line.arguments[i].find('='));
    }
  }
  return std::string();
}

}  // namespace

bool IsImportMode(const std::string& mode) { return mode == "i" || mode == "-i"; }
bool IsUpdateMode(const std::string& mode) { return mode == "up" || mode == "-up"; }
bool IsUninstallMode(const std::string& mode) { return mode == "u" || mode == "-u"; }
bool IsExportMode(const std::string& mode) { return mode == "e" || mode == "-e"; }

CommandLine ParseCommandLine(int argc, const char* const* argv) {
  CommandLine line;
  line.argument_count = argc > 0 ? argc - 1 : 0;
  for (int i = 1; i < argc && i <= 4; ++i) line.arguments[i - 1] = argv[i];

  for (const std::string& argument : line.arguments) {
    if (IsModeKeyword(argument)) {
      line.mode = argument;
      break;
    }
  }
  if (line.mode.empty()) {
    line.mode = "-up";
    line.mode_defaulted = true;
  }

  for (size_t i = 0; i < line.arguments.size(); ++i) {
    const size_t equals = line.arguments[i].find('=');
    if (equals != std::string::npos) line.keys[i] = line.arguments[i].substr(0, equals);
  }
  line.program_files = ValueOf(line, "t");
  line.program_data = ValueOf(line, "d");
  if (IsExportMode(line.mode)) line.export_name = ValueOf(line, "e");
  return line;
}

}  // namespace q9
