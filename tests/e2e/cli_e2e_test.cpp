// Start-up as only the built program shows it: the store roots taken from the
// registry file or the common folders.
#include <gtest/gtest.h>

#include "tool_runner.h"

namespace q9::testing {
namespace {

// Q9_REGISTRY_FILE names the file that holds the roots; without a usable one
// the roots lie below the folders that Q9_COMMON_FILES and Q9_COMMON_APPDATA
// stand for.
TEST(CliTest, RootsComeFromTheRegistryFileElseFromTheCommonFolders) {
  ToolRunner runner;
  const auto log_has = [&](const std::string& line) {
    return ("\n" + runner.Log()).find("\n" + line + "\n") != std::string::npos;
  };
  const std::string files = runner.dir().MakeDir("store/Corvane OAM/Gerät files");
  const std::string data = runner.dir().MakeDir("store/Corvane OAM/Gerät data");
  runner.WriteStoreRegistry(files, data);
  EXPECT_EQ(runner.Run({"-u"}), 0);
  EXPECT_TRUE(log_has("Setting ProgFilePath to: " + files)) << runner.Log();
  EXPECT_TRUE(log_has("Setting ProgDataPath to: " + data));

  runner.dir().WriteFile("registry.reg", std::string(70000, '['));
  EXPECT_EQ(runner.Run({"-u"}), 0);
  const std::string roots = "/Kestrel/Automation/Corvane OAM";
  EXPECT_TRUE(log_has("Setting ProgFilePath to: " + runner.dir().Path("opt") + roots))
      << runner.Log();
  EXPECT_TRUE(log_has("Setting ProgDataPath to: " + runner.dir().Path("var-opt") + roots));
}

}  // namespace
}  // namespace q9::testing
