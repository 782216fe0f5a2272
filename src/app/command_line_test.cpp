#include "app/command_line.h"

#include <vector>

#include <gtest/gtest.h>

namespace q9 {
namespace {

CommandLine Parse(std::vector<const char*> args) {
  args.insert(args.begin(), "q9cfgImp64x");
  return ParseCommandLine(static_cast<int>(args.size()), args.data());
}

TEST(CommandLineTest, NoArgumentsDefaultsToUpdateWithEmptyValues) {
  const CommandLine line = Parse({});
  EXPECT_EQ(line.argument_count, 0);
  EXPECT_EQ(line.mode, "-up");
  EXPECT_TRUE(line.mode_defaulted);
  EXPECT_EQ(line.program_files, "");
  EXPECT_EQ(line.program_data, "");
  EXPECT_EQ(line.export_name, "");
}

TEST(CommandLineTest, KeywordsAreExactAndCaseSensitive) {
  EXPECT_EQ(Parse({"UP"}).mode, "-up");
  EXPECT_TRUE(Parse({"UP"}).mode_defaulted);
  EXPECT_EQ(Parse({"-I"}).mode, "-up");
  EXPECT_EQ(Parse({"-i=x"}).mode, "-up");
  EXPECT_EQ(Parse({"u"}).mode, "u");
  EXPECT_FALSE(Parse({"u"}).mode_defaulted);
  EXPECT_EQ(Parse({"x", "y", "-i"}).mode, "-i");
  // The first keyword wins.
  EXPECT_EQ(Parse({"e", "-u"}).mode, "e");
}

TEST(CommandLineTest, ArgumentsPastTheFourthAreCountedButNeverRead) {
  const CommandLine line = Parse({"a", "b", "c", "d", "-u", "t=/x"});
  EXPECT_EQ(line.argument_count, 6);
  EXPECT_EQ(line.arguments[3], "d");
  EXPECT_EQ(line.mode, "-up");
  EXPECT_EQ(line.program_files, "");
}

TEST(CommandLineTest, ValuesKeepTheirLeadingEqualsSign) {
  const CommandLine line = Parse({"-i", "t=/opt/store", "-d=/var/data=2"});
  EXPECT_EQ(line.program_files, "=/opt/store");
  EXPECT_EQ(line.program_data, "=/var/data=2");
  EXPECT_EQ(line.keys[1], "t");
  EXPECT_EQ(line.keys[2], "-d");
  EXPECT_EQ(line.keys[0], "");
}

TEST(CommandLineTest, FirstMatchingKeyWinsAndOtherKeysAreIgnored) {
  const CommandLine line = Parse({"--t=/a", "t=/b", "-t=/c", "T=/d"});
  EXPECT_EQ(line.program_files, "=/b");
}

TEST(CommandLineTest, ExportValueIsReadOnlyInExportModes) {
  EXPECT_EQ(Parse({"-e", "-e=Boards.xml"}).export_name, "=Boards.xml");
  EXPECT_EQ(Parse({"e", "e=x"}).export_name, "=x");
  EXPECT_EQ(Parse({"-i", "-e=Boards.xml"}).export_name, "");
  // A lone key/value argument is no mode keyword: Update runs.
  const CommandLine lone = Parse({"-e=Boards.xml"});
  EXPECT_EQ(lone.mode, "-up");
  EXPECT_EQ(lone.export_name, "");
  EXPECT_EQ(Parse({"-e"}).export_name, "");
}

}  // namespace
}  // namespace q9
