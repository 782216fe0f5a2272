#include "log/install_log.h"

#include <gtest/gtest.h>

#include "temp_dir.h"
#include "test_env.h"

namespace q9 {
namespace {

using testing::ReadText;
using testing::TestEnv;

// The test clock stands at 2027-01-15 08:00:00.
constexpr char kFileName[] = "q9cfgImp64x_2027-01-15.08.00.00.log";
constexpr char kFirstLine[] = "Start of CfgImp Inst-/Deinst-Process! Date: 2027-01-15.08.00.00\n";

TEST(InstallLogTest, FolderFromAutInstLogIsUsedAsItStandsEvenWhenMissing) {
  testing::TempDir dir;
  TestEnv test;
  test.process.variables["AutInstLog"] = dir.MakeDir("logs") + "/";
  {
    InstallLog log(test.env);
    log.Write("line");
    EXPECT_EQ(log.path(), dir.Path("logs/") + kFileName);
  }
  EXPECT_EQ(ReadText(dir.Path("logs/") + kFileName), std::string(kFirstLine) + "line\n");

  // A missing folder swallows the writes without failing.
  test.process.variables["AutInstLog"] = dir.Path("missing/");
  InstallLog lost(test.env);
  lost.Write("lost");
  lost.Close();
  lost.Write("after close");
  EXPECT_FALSE(testing::PathExists(dir.Path("missing")));
}

TEST(InstallLogTest, DefaultFolderIsUnderCommonAppDataUnlessAutInstLogIsSetAndFits) {
  TestEnv test;
  test.folders.app_data = "/srv/appdata";
  const std::string fallback = "/srv/appdata/Kestrel/Automation/Logfiles/Setup/";
  EXPECT_EQ(InstallLog::LogFilePath(test.env), fallback + kFileName);
  const std::string fits = "/" + std::string(257, 'l') + "/";  // 259 bytes and a terminator
  // Without a trailing separator the folder name runs into the file name.
  const std::pair<std::string, std::string> cases[] = {
      {fits, fits}, {fits + "x", fallback}, {"/srv/logs", "/srv/logs"}};
  for (const auto& [variable, folder] : cases) {
    test.process.variables["AutInstLog"] = variable;
    EXPECT_EQ(InstallLog::LogFilePath(test.env), folder + kFileName) << variable.size();
  }
}

}  // namespace
}  // namespace q9
