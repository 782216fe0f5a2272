// Export from the command line, with the board simulator beside the program.
#include <filesystem>

#include <gtest/gtest.h>

#include "tool_runner.h"

namespace q9::testing {
namespace {

namespace fs = std::filesystem;

constexpr char kScanLine[] = "board-sim: scan found";

class ExportTest : public ::testing::Test {
 protected:
  ExportTest() : store_(runner_.UseSampleStore()) {
    // A merged store as Import leaves it, made by hand: Export's own steps only.
    const auto copy = [&](const char* from, const char* to) {
      fs::create_directories(store_ + "/" + to);
      fs::copy(store_ + "/" + from, store_ + "/" + to, fs::copy_options::recursive);
    };
    copy("Install/Protocols", "meta/Protocols");
    copy("Install/Boards", "meta/Boards");
    copy("Install/DefaultLogdevices", "meta/DefaultLogDevices");
    copy("Install/DefaultLogdevices", "data/LogDevices");
  }

  std::map<std::string, std::string> Store() const { return Snapshot(store_); }
  bool BackupExists() const { return fs::exists(store_ + "/meta(backup)"); }

  ToolRunner runner_;
  std::string store_;
};

TEST_F(ExportTest, NamesAsTheCommandLineGivesThemDeleteNothingAndRescanWhateverTheScanGives) {
  const auto before = Store();
  for (const char* argument :
       {"e=Automation-OnlineAccess-PT-H1.xml", "-e=Automation-OnlineAccess-LDT-Loomnet.ISO.xml"}) {
    SCOPED_TRACE(argument);
    EXPECT_EQ(runner_.Run({"-e", argument}), 0);
    EXPECT_EQ(Store(), before);
    EXPECT_FALSE(BackupExists());
    EXPECT_NE(runner_.StandardError().find(kScanLine), std::string::npos);
    const std::string value = std::string(argument).substr(std::string(argument).find('='));
    EXPECT_NE(runner_.LogBody().find("Using Export argument: " + value + "\n"), std::string::npos);
    EXPECT_TRUE(runner_.LogBody().ends_with(
        ">> ScanBoards\n<< ScanBoards returns with: 0\nCfgImp ended with return-value: 0\n"))
        << runner_.LogBody();
  }
  // Loading faults of the board library are shown by Import's test; the
  // scan's own failure is logged but is not Export's result.
  runner_.environment()["Q9_BOARD_SIM_RESULT"] = "-7";
  EXPECT_EQ(runner_.Run({"-e", "-e=Automation-OnlineAccess-PT-H1.xml"}), 0);
  EXPECT_TRUE(runner_.LogBody().ends_with(
      "<< ScanBoards returns with: -7\nCfgImp ended with return-value: 0\n"))
      << runner_.LogBody();
}

TEST_F(ExportTest, FailuresBeforeTheExportStepScanNothing) {
  // What fails, what is removed below the store, the exit status, the log's end.
  const std::tuple<const char*, const char*, int, const char*> cases[] = {
      // No meta to back up: 8512 leaves the exit status's low byte, 64.
      {"backup of meta impossible", "meta", 64,
       "<< CopyDirectory returns with: 8512\nCfgImp ended with return-value: 8512\n"},
      {"templates missing in Install", "Install/Protocols", 4,
       "InstallTemplates are empty!!!\nCfgImp ended with return-value: 4\n"},
  };
  // In this order: each case keeps what the one before removed.
  for (const auto& [what, remove, exit_status, ending] : cases) {
    SCOPED_TRACE(what);
    fs::remove_all(store_ + "/" + remove);
    const auto before = Store();
    EXPECT_EQ(runner_.Run({"-e", "-e=Automation-OnlineAccess-PT-H1.xml"}), exit_status);
    EXPECT_EQ(Store(), before);
    EXPECT_FALSE(BackupExists());
    EXPECT_EQ(runner_.StandardError(), "");
    EXPECT_TRUE(runner_.LogBody().ends_with(ending)) << runner_.LogBody();
  }
}

}  // namespace
}  // namespace q9::testing
