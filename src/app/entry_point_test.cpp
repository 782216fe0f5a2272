#include "app/entry_point.h"

#include <vector>

#include <gtest/gtest.h>

#include "temp_dir.h"
#include "test_env.h"
#include "trace_capture.h"

namespace q9 {
namespace {

class EntryPointTest : public ::testing::Test {
 protected:
  EntryPointTest() {
    test_.process.variables["AutInstLog"] = dir_.MakeDir("logs") + "/";
    test_.folders.app_data = dir_.MakeDir("appdata");
    test_.folders.program_files = dir_.MakeDir("common");
  }

  ResultCode Run(std::vector<const char*> args) {
    args.insert(args.begin(), "q9cfgImp64x");
    return RunCfgImp(test_.env, static_cast<int>(args.size()), args.data());
  }

  // The one install log the run wrote, and that log without its dated first line.
  std::string Log() { return testing::ReadOnlyFileIn(dir_.Path("logs")); }
  std::string LogBody() { return testing::AfterFirstLine(Log()); }

  testing::TempDir dir_;
  testing::TestEnv test_;
};

TEST_F(EntryPointTest, DefaultRunLogsTheWholeStartUpAndItsResult) {
  EXPECT_EQ(Run({}), ERR_MISSING_TEMPL_IN_INSTALL);
  const std::string files = dir_.Path("common/Kestrel/Automation/Corvane OAM");
  const std::string data = dir_.Path("appdata/Kestrel/Automation/Corvane OAM");
  EXPECT_EQ(LogBody(),
            "Number of cmd-arguments: 0\n"
            "Chosen install-mode is: -up\n"
            "Using Install/Uninstall argument: -up\n"
            "Using Program Files argument: \n"
            "Using ProgramData argument: \n"
            "Using Export argument: \n"
            "Setting ProgDataPath to: " + data + "\n"
            "Setting ProgFilePath to: " + files + "\n"
            ">>>> CheckAndRemoveReadOnlyFlagForAllXmls\n"
            "<<<< CheckAndRemoveReadOnlyFlagForAllXmls returns with: 3\n"
            ">> Update\n"
            "Scheme file(s) not found!\n"
            "InstallTemplates are empty!!!\n"
            "CfgImp ended with return-value: 4\n");
  EXPECT_EQ(test_.process.com_uninitialized, 1);
  EXPECT_EQ(test_.shared.security_released, 1);
}

TEST_F(EntryPointTest, KeyValueArgumentsAreLoggedWithTheirEqualsSign) {
  test_.process.com_result = 1;  // COM already initialised on this thread is fine
  const std::string store = dir_.MakeDir("store");
  const std::string t = "t=" + store;
  EXPECT_EQ(Run({"a", "b", t.c_str(), "-u", "-e=x"}), PGSP_OK);
  const std::string body = LogBody();
  EXPECT_TRUE(body.starts_with("Number of cmd-arguments: 5\n"
                               "Using Install/Uninstall argument: -u\n"
                               "Using Program Files argument: =" + store + "\n"
                               "Using ProgramData argument: \n"
                               "Using Export argument: \n")) << body;
  EXPECT_TRUE(body.ends_with("<< Uninstall returns with: 0\nCfgImp ended with return-value: 0\n"));
}

TEST_F(EntryPointTest, StartUpTracesEveryStepWithItsTexts) {
  testing::TraceCapture trace(test_);
  EXPECT_EQ(Run({"-u", "d=/x", "three"}), PGSP_OK);
  EXPECT_EQ(trace.Messages("wmain: "),
            (std::vector<std::string>{">> Start", " Number of comand line arguments 3",
                                      "First  Command Line Argument: -u",
                                      "Second Command Line Argument: d=/x",
                                      "Third  Command Line Argument: three",
                                      "Forth  Command Line Argument: ", "CoInitializeEx result=0",
                                      "Using Install/Uninstall argument: -u",
                                      "Using Program Files argument: ",
                                      "Using ProgramData argument: =/x",
                                      "Using Export argument: ", "<< return lRet = 0"}));
  EXPECT_TRUE(trace.Has("Main", "wmain: ", 8, ">> Start"));
  EXPECT_TRUE(trace.Has("Main", "wmain: ", 128, "<< return lRet = 0"));
  EXPECT_TRUE(trace.Has("Installer", "Uninstall: ", 64, "5 second waiting loop"));
}

TEST_F(EntryPointTest, FailedComStartEndsWithTenBeforeTheStoreIsTouched) {
  testing::TraceCapture trace(test_);
  test_.process.com_result = -2147418113;
  EXPECT_EQ(Run({}), ERR_CANT_CREATE_COM_INSTANCE);
  EXPECT_EQ(LogBody(), "Number of cmd-arguments: 0\nChosen install-mode is: -up\n");
  EXPECT_EQ(test_.process.com_uninitialized, 0);
  EXPECT_EQ(test_.shared.security_released, 0);
  EXPECT_FALSE(testing::PathExists(dir_.Path("appdata/Kestrel/Automation/Corvane OAM")));
  EXPECT_TRUE(trace.Has("Main", "wmain: ", 64, "Install/Uninstall argument not found. Use default: -up"));
  EXPECT_TRUE(trace.Has("Main", "wmain: ", 64, "CoInitializeEx result=-2147418113"));
  EXPECT_TRUE(trace.Has("Main", "wmain: ", 64, "COM Library has not been initialized"));
  EXPECT_TRUE(trace.Has("Main", "wmain: ", 128, "return ERR_CANT_CREATE_COM_INSTANCE"));
}

TEST_F(EntryPointTest, FailedTraceSecurityEndsTheRunWithItsErrorAndNoLog) {
  test_.shared.security_result = 1337;
  EXPECT_EQ(Run({"-u"}), 1337);
  EXPECT_EQ(Log(), "<0 files>");
}

}  // namespace
}  // namespace q9
