// Uninstall from the command line on a filled store.
#include <filesystem>

#include <gtest/gtest.h>

#include "tool_runner.h"

namespace q9::testing {
namespace {

class UninstallTest : public ::testing::Test {
 protected:
  UninstallTest() {
    files_ = runner_.dir().MakeDir("files");
    data_ = runner_.dir().MakeDir("data");
    runner_.WriteStoreRegistry(files_, data_);
    runner_.dir().WriteFile("files/Schemes/Boards.Schema.xsd", "<xs:schema/>");
    runner_.dir().WriteFile("files/meta/Boards/b.xml", "<b/>");
    runner_.dir().WriteFile("files/meta/DefaultLogDevices/d.xml", "<d/>");
    runner_.dir().WriteFile("data/data/LogDevices/dev.xml", "<dev/>");
    runner_.dir().WriteFile("data/data/LogNames/n.xml", "<n/>");
    runner_.dir().WriteFile("data/data/PGSP.xml", "<p/>");
  }

  bool Exists(const std::string& relative) const {
    return std::filesystem::exists(runner_.dir().Path(relative));
  }

  ToolRunner runner_;
  std::string files_;
  std::string data_;
};

TEST_F(UninstallTest, RemovesMergedAndGeneratedFilesOnly) {
  runner_.dir().WriteFile("files/Install/LogNames/n.xml", "<n/>");
  EXPECT_EQ(runner_.Run({"u"}), 0);
  EXPECT_FALSE(Exists("files/meta"));
  EXPECT_FALSE(Exists("data/data/LogDevices"));
  EXPECT_FALSE(Exists("data/data/LogNames"));
  EXPECT_TRUE(Exists("data/data/PGSP.xml"));
  EXPECT_TRUE(Exists("files/Schemes/Boards.Schema.xsd"));
  EXPECT_TRUE(runner_.LogBody().ends_with(
      ">>>> CheckAndRemoveReadOnlyFlagForAllXmls\n>> Uninstall\n<< Uninstall returns with: 0\n"
      "CfgImp ended with return-value: 0\n"))
      << runner_.LogBody();
}

TEST_F(UninstallTest, TemplatesLeftInInstallKeepTheStore) {
  runner_.dir().WriteFile("files/Install/DefaultLogDevices/tcp.xml", "<t/>");
  EXPECT_EQ(runner_.Run({"-u"}), 5);
  EXPECT_TRUE(Exists("files/meta/Boards/b.xml"));
  EXPECT_TRUE(Exists("data/data/LogDevices/dev.xml"));
  EXPECT_TRUE(runner_.LogBody().ends_with(">> Uninstall\nCfgImp ended with return-value: 5\n"));
}

TEST_F(UninstallTest, SecondUninstallLogsTheMissingFolders) {
  EXPECT_EQ(runner_.Run({"-u"}), 0);
  EXPECT_EQ(runner_.Run({"-u"}), 0);
  EXPECT_TRUE(runner_.LogBody().ends_with(
      ">> Uninstall\nCan't delete Meta Directory!\nCan't delete LogDevices Directory!\n"
      "Can't delete LogNames Directory!\n<< Uninstall returns with: 0\n"
      "CfgImp ended with return-value: 0\n"))
      << runner_.LogBody();
}

}  // namespace
}  // namespace q9::testing

namespace q9::testing {
namespace {

TEST(UninstallSampleStoreTest, ShippedStoreStillHoldsTemplatesSoNothingIsDeleted) {
  ToolRunner runner;
  const std::string store = runner.UseSampleStore();
  EXPECT_EQ(runner.Run({"-u"}), 5);
  EXPECT_TRUE(std::filesystem::exists(store + "/meta/PGSP.xml"));
  EXPECT_TRUE(runner.LogBody().ends_with(">> Uninstall\nCfgImp ended with return-value: 5\n"));
}

}  // namespace
}  // namespace q9::testing
