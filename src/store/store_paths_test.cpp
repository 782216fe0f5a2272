#include "store/store_paths.h"

#include <gtest/gtest.h>

#include "temp_dir.h"
#include "test_env.h"

namespace q9 {
namespace {

using testing::PathExists;
using testing::TempDir;
using testing::TestEnv;

constexpr const char* kKey = "SOFTWARE\\Kestrel\\Shared Tools\\Q9NET64";

class StorePathsTest : public ::testing::Test {
 protected:
  StorePathsTest() {
    test_.folders.app_data = dir_.MakeDir("appdata");
    test_.folders.program_files = dir_.MakeDir("common");
  }
  TempDir dir_;
  TestEnv test_;
};

TEST_F(StorePathsTest, ExistingArgumentsWin) {
  test_.registry.SetString(kKey, "Corvane_Oam", dir_.MakeDir("reg-files"));
  const StorePaths paths(test_.env, dir_.MakeDir("data arg"), dir_.MakeDir("files arg"));
  EXPECT_EQ(paths.ProgramDataRoot(), dir_.Path("data arg"));
  EXPECT_EQ(paths.ProgramFilesRoot(), dir_.Path("files arg"));
}

TEST_F(StorePathsTest, ArgumentWithLeadingEqualsFallsThroughToTheRegistry) {
  dir_.MakeDir("store");
  test_.registry.SetString(kKey, "corvane_oam", dir_.MakeDir("reg-files"));
  test_.registry.SetString(kKey, "CORVANE_OAM_DATA", dir_.MakeDir("reg-data"));
  const StorePaths paths(test_.env, "=" + dir_.Path("store"), "=" + dir_.Path("store"));
  EXPECT_EQ(paths.ProgramFilesRoot(), dir_.Path("reg-files"));
  EXPECT_EQ(paths.ProgramDataRoot(), dir_.Path("reg-data"));
}

TEST_F(StorePathsTest, RegistryValueNamingAMissingFolderFallsBackToTheKnownFolder) {
  test_.registry.SetString(kKey, "Corvane_Oam", dir_.Path("gone"));
  test_.registry.SetDword(kKey, "Corvane_Oam_Data", 7);
  const StorePaths paths(test_.env, "", "");
  EXPECT_EQ(paths.ProgramFilesRoot(), dir_.Path("common/Kestrel/Automation/Corvane OAM"));
  EXPECT_EQ(paths.ProgramDataRoot(), dir_.Path("appdata/Kestrel/Automation/Corvane OAM"));
  EXPECT_FALSE(PathExists(dir_.Path("gone")));
}

TEST_F(StorePathsTest, DefaultRootIsCreatedOneLevelDeepOnly) {
  dir_.MakeDir("appdata/Kestrel/Automation");
  const StorePaths paths(test_.env, "", "");
  EXPECT_TRUE(StorePaths::IsDirectory(test_.env, paths.ProgramDataRoot()));
  // The program-files default lacks its parent folders and stays missing.
  EXPECT_FALSE(PathExists(paths.ProgramFilesRoot()));
  EXPECT_FALSE(PathExists(dir_.Path("common/Kestrel")));
}

TEST_F(StorePathsTest, FailedKnownFolderQueryKeepsTheRegistryCandidate) {
  test_.folders.app_data.clear();
  test_.registry.SetString(kKey, "Corvane_Oam_Data", dir_.Path("made-by-us"));
  const StorePaths paths(test_.env, "", "");
  EXPECT_EQ(paths.ProgramDataRoot(), dir_.Path("made-by-us"));
  EXPECT_TRUE(StorePaths::IsDirectory(test_.env, dir_.Path("made-by-us")));
}

TEST_F(StorePathsTest, DerivedPathsAreTheRootPlusTheirSuffix) {
  const StorePaths paths(test_.env, dir_.MakeDir("d"), dir_.MakeDir("f"));
  const std::string f = dir_.Path("f");
  const std::string d = dir_.Path("d");
  EXPECT_EQ(paths.Schemes(), f + "/Schemes");
  EXPECT_EQ(paths.MetaDefaultLogDevices(), f + "/meta/DefaultLogDevices");
  EXPECT_EQ(paths.MetaBackup(), f + "/meta(backup)");
  EXPECT_EQ(paths.InstallDefaultLogDevices(), f + "/Install/DefaultLogdevices");
  EXPECT_EQ(paths.InstallLogNames(), f + "/Install/LogNames");
  EXPECT_EQ(paths.DataLogDevices(), d + "/data/LogDevices");
  EXPECT_EQ(paths.LogDevicesBackup(), d + "/LogDevices(backup)");
}

TEST_F(StorePathsTest, TrailingSeparatorDoublesInDerivedPaths) {
  dir_.MakeDir("f");
  const StorePaths paths(test_.env, "", dir_.Path("f") + "/");
  EXPECT_EQ(paths.Meta(), dir_.Path("f") + "//meta");
}

TEST_F(StorePathsTest, AFileIsNoDirectory) {
  const std::string file = dir_.WriteFile("plain", "x");
  EXPECT_FALSE(StorePaths::IsDirectory(test_.env, file));
  EXPECT_FALSE(StorePaths::IsDirectory(test_.env, ""));
  const StorePaths paths(test_.env, file, file);
  EXPECT_NE(paths.ProgramFilesRoot(), file);
}

}  // namespace
}  // namespace q9
