// Start-up as only the built program shows it: the install log's name and the
// store roots taken from the registry file or the common folders.
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
  }

  bool LogHas(const std::string& line) const {
    return ("\n" + runner_.Log()).find("\n" + line + "\n") != std::string::npos;
  }

  ToolRunner runner_;
  std::string files_;
  std::string data_;
};

// Q9_REGISTRY_FILE names the file that holds the roots; without a usable one
// the roots lie below the folders that Q9_COMMON_FILES and Q9_COMMON_APPDATA
// stand for. AutInstLog names the log's folder.
TEST_F(CliTest, RootsComeFromTheRegistryFileElseFromTheCommonFoldersAndTheLogCarriesTheTime) {
  runner_.WriteStoreRegistry(files_, data_);
  EXPECT_EQ(runner_.Run({"-u"}), 0);
  EXPECT_TRUE(LogHas("Setting ProgFilePath to: " + files_)) << runner_.Log();
  EXPECT_TRUE(LogHas("Setting ProgDataPath to: " + data_));
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

  runner_.dir().WriteFile("registry.reg", std::string(70000, '['));
  EXPECT_EQ(runner_.Run({"-u"}), 0);
  const std::string roots = "/Kestrel/Automation/Corvane OAM";
  EXPECT_TRUE(LogHas("Setting ProgFilePath to: " + runner_.dir().Path("opt") + roots))
      << runner_.Log();
  EXPECT_TRUE(LogHas("Setting ProgDataPath to: " + runner_.dir().Path("var-opt") + roots));
}

}  // namespace
}  // namespace q9::testing
