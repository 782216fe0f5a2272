// Start-up as only the built program shows it: the store roots taken from the
// registry file or the common folders.
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
// stand for.
TEST_F(CliTest, RootsComeFromTheRegistryFileElseFromTheCommonFolders) {
  runner_.WriteStoreRegistry(files_, data_);
  EXPECT_EQ(runner_.Run({"-u"}), 0);
  EXPECT_TRUE(LogHas("Setting ProgFilePath to: " + files_)) << runner_.Log();
  EXPECT_TRUE(LogHas("Setting ProgDataPath to: " + data_));

  runner_.dir().WriteFile("registry.reg", std::string(70000, '['));
  EXPECT_EQ(runner_.Run({"-u"}), 0);
  const std::string roots = "/Kestrel/Automation/Corvane OAM";
  EXPECT_TRUE(LogHas("Setting ProgFilePath to: " + runner_.dir().Path("opt") + roots))
      << runner_.Log();
  EXPECT_TRUE(LogHas("Setting ProgDataPath to: " + runner_.dir().Path("var-opt") + roots));
}

}  // namespace
}  // namespace q9::testing
