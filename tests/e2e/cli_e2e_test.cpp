// Start-up as a setup program sees it: arguments, store roots, install log.
#include <filesystem>
#include <regex>

#include <gtest/gtest.h>

#include "tool_runner.h"

namespace q9::testing {
namespace {

class CliTest : public ::testing::Test {
 protected:
  CliTest() {
    files_ = runner_.dir().MakeDir("store/Corvane OAM/Gerät files");
    data_ = runner_.dir().MakeDir("store/Corvane OAM/Gerät data");
    runner_.dir().MakeDir("store/Corvane OAM/Gerät data/data");
    runner_.dir().MakeDir("store/Corvane OAM/Gerät files/meta");
    runner_.dir().MakeDir("store/Corvane OAM/Gerät files/Install");
  }

  bool LogHas(const std::string& line) const {
    return ("\n" + runner_.Log()).find("\n" + line + "\n") != std::string::npos;
  }

  ToolRunner runner_;
  std::string files_;
  std::string data_;
};

TEST_F(CliTest, NoArgumentsRunsTheDefaultModeOnTheRegistryStore) {
  runner_.WriteStoreRegistry(files_, data_);
  // An empty store: Update stops at its check of the Install tree.
  EXPECT_EQ(runner_.Run({}), 4);
  EXPECT_EQ(runner_.LogBody(),
            "Number of cmd-arguments: 0\n"
            "Chosen install-mode is: -up\n"
            "Using Install/Uninstall argument: -up\n"
            "Using Program Files argument: \n"
            "Using ProgramData argument: \n"
            "Using Export argument: \n"
            "Setting ProgDataPath to: " + data_ + "\n"
            "Setting ProgFilePath to: " + files_ + "\n"
            ">>>> CheckAndRemoveReadOnlyFlagForAllXmls\n"
            ">> Update\n"
            "Scheme file(s) not found!\n"
            "InstallTemplates are empty!!!\n"
            "CfgImp ended with return-value: 4\n");
}

TEST_F(CliTest, LogFileNameAndFirstLineCarryTheStartTime) {
  runner_.WriteStoreRegistry(files_, data_);
  runner_.Run({"-u"});
  const auto entry = *std::filesystem::directory_iterator(runner_.dir().Path("logs"));
  const std::string name = entry.path().filename().string();
  EXPECT_TRUE(std::regex_match(name, std::regex(R"(q9cfgImp64x_\d{4}-\d\d-\d\d\.\d\d\.\d\d\.\d\d\.log)")))
      << name;
  const std::string stamp = name.substr(12, 19);
  const std::string log = runner_.Log();
  ASSERT_TRUE(log.starts_with("Start of CfgImp Inst-/Deinst-Process! Date: "));
  // The first line's stamp is taken again, a moment later; both have the same
  // fixed-width format, so text order is time order.
  const std::string first_line_stamp = log.substr(44, log.find('\n') - 44);
  EXPECT_EQ(first_line_stamp.size(), 19u);
  EXPECT_LE(stamp, first_line_stamp);
}

TEST_F(CliTest, CountsEveryArgumentButReadsOnlyTheFirstFour) {
  runner_.WriteStoreRegistry(files_, data_);
  EXPECT_EQ(runner_.Run({"x", "y", "z", "w", "-u"}), 4);  // "-u" is the fifth: Update
  EXPECT_TRUE(LogHas("Number of cmd-arguments: 5"));
  EXPECT_TRUE(LogHas("Chosen install-mode is: -up"));
  EXPECT_EQ(runner_.Run({"x", "y", "-u"}), 0);
  EXPECT_TRUE(LogHas("Using Install/Uninstall argument: -u"));
  EXPECT_EQ(runner_.Run({"-U"}), 4);
  EXPECT_TRUE(LogHas("Chosen install-mode is: -up"));
}

TEST_F(CliTest, KeyValueRootsKeepTheirEqualsSignAndFallThroughToTheRegistry) {
  runner_.WriteStoreRegistry(files_, data_);
  EXPECT_EQ(runner_.Run({"-u", "t=" + files_, "-d=" + data_}), 0);
  EXPECT_TRUE(LogHas("Using Program Files argument: =" + files_));
  EXPECT_TRUE(LogHas("Using ProgramData argument: =" + data_));
  EXPECT_TRUE(LogHas("Setting ProgFilePath to: " + files_));
  EXPECT_TRUE(LogHas("Setting ProgDataPath to: " + data_));
}

TEST_F(CliTest, ExportValueIsLoggedOnlyInExportMode) {
  runner_.WriteStoreRegistry(files_, data_);
  runner_.Run({"-e", "-e=Boards.xml"});
  EXPECT_TRUE(LogHas("Using Export argument: =Boards.xml"));
  runner_.Run({"-e=Boards.xml"});
  EXPECT_TRUE(LogHas("Using Export argument: "));
  EXPECT_TRUE(LogHas("Using Install/Uninstall argument: -up"));
}

TEST_F(CliTest, RegistryValueNamingAMissingFolderOrAFileFallsBackToTheDefault) {
  const std::string file = runner_.dir().WriteFile("a-file", "not a folder");
  runner_.WriteStoreRegistry(runner_.dir().Path("gone"), file);
  runner_.dir().MakeDir("opt/Kestrel/Automation");  // lets the default root be created
  runner_.Run({"-u"});
  EXPECT_TRUE(LogHas("Setting ProgFilePath to: " + runner_.DefaultFilesRoot()));
  EXPECT_TRUE(LogHas("Setting ProgDataPath to: " + runner_.DefaultDataRoot()));
  EXPECT_TRUE(std::filesystem::is_directory(runner_.DefaultFilesRoot()));
  // Its parent is missing, so the data root is not created.
  EXPECT_FALSE(std::filesystem::exists(runner_.DefaultDataRoot()));
  EXPECT_FALSE(std::filesystem::exists(runner_.dir().Path("gone")));
}

TEST_F(CliTest, MalformedOrBinaryRegistryFilesMeanNoKey) {
  const std::vector<std::string> bad_files = {
      std::string("\xFF\xFE\x00\x00garbage\x01\x02", 12),
      "Windows Registry Editor Version 5.00\n[HKEY_LOCAL_MACHINE\\SOFTWARE\\Kestrel\\Shared "
      "Tools\\Q9NET64\n\"Corvane_Oam\"=\"" + files_,
      std::string(70000, '['),
      "no header\n[HKEY_LOCAL_MACHINE\\SOFTWARE\\Kestrel\\Shared Tools\\Q9NET64]\n"
      "\"Corvane_Oam\"=\"" + files_ + "\"\n",
  };
  for (const std::string& contents : bad_files) {
    runner_.WriteRegistry(contents);
    EXPECT_EQ(runner_.Run({"-u"}), 0);
    EXPECT_TRUE(LogHas("Setting ProgFilePath to: " + runner_.DefaultFilesRoot())) << runner_.Log();
  }
}

TEST_F(CliTest, LogFolderWithoutTrailingSeparatorRunsIntoTheFileName) {
  runner_.WriteStoreRegistry(files_, data_);
  runner_.environment()["AutInstLog"] = runner_.dir().MakeDir("plain");
  EXPECT_EQ(runner_.Run({"-u"}), 0);
  bool found = false;
  for (const auto& entry : std::filesystem::directory_iterator(runner_.dir().path())) {
    found |= entry.path().filename().string().starts_with("plainq9cfgImp64x_");
  }
  EXPECT_TRUE(found);
}

TEST_F(CliTest, MissingLogFolderLosesTheLogButNotTheRun) {
  runner_.WriteStoreRegistry(files_, data_);
  runner_.environment()["AutInstLog"] = runner_.dir().Path("no/such/folder/");
  EXPECT_EQ(runner_.Run({"-u"}), 0);
  EXPECT_FALSE(std::filesystem::exists(runner_.dir().Path("no")));
  EXPECT_FALSE(std::filesystem::exists(files_ + "/meta"));
}

TEST_F(CliTest, ReadOnlyStoreFilesBecomeWritable) {
  runner_.WriteStoreRegistry(files_, data_);
  const std::string file = runner_.dir().WriteFile(
      "store/Corvane OAM/Gerät files/Install/Boards/Board ä.xml", "<b/>");
  std::filesystem::permissions(file, std::filesystem::perms::owner_write,
                               std::filesystem::perm_options::remove);
  EXPECT_EQ(runner_.Run({"-u"}), 5);
  EXPECT_NE(std::filesystem::status(file).permissions() & std::filesystem::perms::owner_write,
            std::filesystem::perms::none);
}

}  // namespace
}  // namespace q9::testing
