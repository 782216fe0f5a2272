#include "log/install_log.h"

#include <regex>

#include <gtest/gtest.h>

#include "temp_dir.h"
#include "test_env.h"

namespace q9 {
namespace {

using testing::ReadText;
using testing::StringFile;
using testing::TempDir;
using testing::TestEnv;

TEST(InstallLogTest, FragmentsRunTogetherOnOneLineAfterTheFirstLine) {
  TestEnv test;
  std::string text;
  {
    InstallLog log(test.env, std::make_unique<StringFile>(&text));
    log.Write("Setting ProgDataPath to: ", "/var/x");
    log.Write("a", "b", "c");
    log.Write("Deleting file: ", "/f.xml", "   failed with: ", "5");
  }
  const std::regex expected(
      "Start of CfgImp Inst-/Deinst-Process! Date: \\d{4}-\\d{2}-\\d{2}\\.\\d{2}\\.\\d{2}\\.\\d{2}\n"
      "Setting ProgDataPath to: /var/x\n"
      "abc\n"
      "Deleting file: /f.xml   failed with: 5\n");
  EXPECT_TRUE(std::regex_match(text, expected)) << text;
}

TEST(InstallLogTest, TimeStampHasNoColon) {
  TestEnv test;
  const std::string stamp = InstallLog::TimeStamp(test.env);
  EXPECT_EQ(stamp.find(':'), std::string::npos);
  EXPECT_EQ(stamp.size(), 19u) << stamp;
}

TEST(InstallLogTest, FolderFromAutInstLogIsUsedAsItStands) {
  TempDir dir;
  TestEnv test;
  test.process.variables["AutInstLog"] = dir.MakeDir("logs") + "/";
  std::string path;
  {
    InstallLog log(test.env);
    log.Write("line");
    path = log.path();
  }
  ASSERT_TRUE(path.starts_with(dir.Path("logs/q9cfgImp64x_"))) << path;
  EXPECT_TRUE(path.ends_with(".log"));
  const std::string text = ReadText(path);
  EXPECT_TRUE(text.starts_with("Start of CfgImp Inst-/Deinst-Process! Date: "));
  EXPECT_TRUE(text.ends_with("\nline\n"));
}

TEST(InstallLogTest, WithoutTrailingSeparatorTheFolderNameRunsIntoTheFileName) {
  TempDir dir;
  TestEnv test;
  test.process.variables["AutInstLog"] = dir.MakeDir("logs");
  InstallLog log(test.env);
  EXPECT_TRUE(log.path().starts_with(dir.Path("logsq9cfgImp64x_"))) << log.path();
  log.Close();
  EXPECT_NE(ReadText(log.path()), "<missing>");
}

TEST(InstallLogTest, DefaultFolderIsUnderCommonAppData) {
  TestEnv test;
  test.folders.app_data = "/srv/appdata";
  EXPECT_TRUE(InstallLog::LogFilePath(test.env)
                  .starts_with("/srv/appdata/Kestrel/Automation/Logfiles/Setup/q9cfgImp64x_"));
}

TEST(InstallLogTest, EmptyAutInstLogCountsAsUnset) {
  TestEnv test;
  test.folders.app_data = "/srv/appdata";
  test.process.variables["AutInstLog"] = "";
  EXPECT_TRUE(InstallLog::LogFilePath(test.env).starts_with("/srv/appdata/"));
}

TEST(InstallLogTest, MissingFolderSwallowsWritesWithoutFailing) {
  TempDir dir;
  TestEnv test;
  test.process.variables["AutInstLog"] = dir.Path("missing/");
  InstallLog log(test.env);
  log.Write("lost");
  log.Close();
  log.Write("after close");
  EXPECT_FALSE(testing::PathExists(dir.Path("missing")));
}

}  // namespace
}  // namespace q9
