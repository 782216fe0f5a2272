#include "app/command_line.h"

#include <vector>

#include <gtest/gtest.h>

namespace q9 {
namespace {

CommandLine Parse(std::vector<const char*> args) {
  args.insert(args.begin(), "q9cfgImp64x");
  return ParseCommandLine(static_cast<int>(args.size()), args.data());
}

// "count mode files|data|export", the mode marked "*" when it was defaulted.
std::string Describe(const CommandLine& line) {
  return std::to_string(line.argument_count) + " " + line.mode + (line.mode_defaulted ? "*" : "") +
         " " + line.program_files + "|" + line.program_data + "|" + line.export_name;
}

TEST(CommandLineTest, ModeAndValuesAsTheArgumentsGiveThem) {
  const std::pair<std::vector<const char*>, const char*> cases[] = {
      {{}, "0 -up* ||"},
      // Keywords are exact and case-sensitive; the first one wins.
      {{"UP"}, "1 -up* ||"},
      {{"-I"}, "1 -up* ||"},
      {{"-i=x"}, "1 -up* ||"},
      {{"u"}, "1 u ||"},
      {{"x", "y", "-i"}, "3 -i ||"},
      {{"e", "-u"}, "2 e ||"},
      // Arguments past the fourth are counted but never read.
      {{"a", "b", "c", "d", "-u", "t=/x"}, "6 -up* ||"},
      // Values keep their leading '='; the first matching key wins.
      {{"-i", "t=/opt/store", "-d=/var/data=2"}, "3 -i =/opt/store|=/var/data=2|"},
      {{"--t=/a", "+t=/z", "T=/d", "t=/b"}, "4 -up* =/b||"},
      // The export value is read in the export modes only; a lone key/value
      // argument is no mode keyword.
      {{"-e", "-e=Boards.xml"}, "2 -e ||=Boards.xml"},
      {{"e", "e=x"}, "2 e ||=x"},
      {{"-i", "-e=Boards.xml"}, "2 -i ||"},
      {{"-e=Boards.xml"}, "1 -up* ||"},
      {{"-e"}, "1 -e ||"},
  };
  for (const auto& [args, parsed] : cases) {
    EXPECT_EQ(Describe(Parse(args)), parsed) << (args.empty() ? "" : args[0]);
  }
  EXPECT_EQ(Parse({"a", "b", "c", "d", "e"}).arguments[3], "d");
}

}  // namespace
}  // namespace q9
