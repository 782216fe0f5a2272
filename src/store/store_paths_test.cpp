#include "store/store_paths.h"

#include <gtest/gtest.h>

#include "temp_dir.h"
#include "test_env.h"

namespace q9 {
namespace {

using testing::PathExists;
using testing::TempDir;

constexpr const char* kKey = "SOFTWARE\\Kestrel\\Shared Tools\\Q9NET64";

class StorePathsTest : public ::testing::Test {
 protected:
  StorePathsTest() {
    test_.folders.app_data = dir_.MakeDir("appdata");
    test_.folders.program_files = dir_.MakeDir("common");
  }
  TempDir dir_;
  testing::TestEnv test_;
};

TEST_F(StorePathsTest, ExistingArgumentsWinButOnesWithALeadingEqualsFallThroughToTheRegistry) {
  test_.registry.SetString(kKey, "corvane_oam", dir_.MakeDir("reg-files"));
  test_.registry.SetString(kKey, "CORVANE_OAM_DATA", dir_.MakeDir("reg-data"));
  const StorePaths paths(test_.env, dir_.MakeDir("data arg"), dir_.MakeDir("files arg"));
  EXPECT_EQ(paths.ProgramDataRoot(), dir_.Path("data arg"));
  EXPECT_EQ(paths.ProgramFilesRoot(), dir_.Path("files arg"));
  const StorePaths equals(test_.env, "=" + dir_.Path("data arg"), "=" + dir_.Path("files arg"));
  EXPECT_EQ(equals.ProgramFilesRoot(), dir_.Path("reg-files"));
  EXPECT_EQ(equals.ProgramDataRoot(), dir_.Path("reg-data"));
}

// A folder path of exactly `length` bytes.
std::string FolderOfLength(TempDir& dir, size_t length) {
  const std::string prefix = dir.Path("len");
  return dir.MakeDir("len" + std::string(length - prefix.size(), 'x'));
}

TEST_F(StorePathsTest, RootIsTheRegistryFolderIfItExistsAndFitsElseTheKnownFolder) {
  const std::string fallback = dir_.Path("common/Kestrel/Automation/Corvane OAM");
  const std::string file = dir_.WriteFile("plain", "x");
  const std::string fits = FolderOfLength(dir_, 259);
  const std::pair<std::string, std::string> cases[] = {
      {dir_.Path("gone"), fallback},
      {file, fallback},
      {"", fallback},
      {fits, fits},
      {FolderOfLength(dir_, 260), fallback},  // no room for the terminator
  };
  for (const auto& [value, root] : cases) {
    test_.registry.SetString(kKey, "Corvane_Oam", value);
    // An argument that names a file is no folder either.
    EXPECT_EQ(StorePaths(test_.env, "", file).ProgramFilesRoot(), root) << value;
  }
  EXPECT_FALSE(PathExists(dir_.Path("gone")));
  test_.registry.Set(kKey, "Corvane_Oam_Data",
                     RegistryValue{RegistryType::kDword, "", {7, 0, 0, 0}});
  EXPECT_EQ(StorePaths(test_.env, "", "").ProgramDataRoot(),
            dir_.Path("appdata/Kestrel/Automation/Corvane OAM"));
}

TEST_F(StorePathsTest, RootIsCreatedOneLevelDeepOnlyEvenWhenTheKnownFolderQueryFails) {
  dir_.MakeDir("appdata/Kestrel/Automation");
  const StorePaths paths(test_.env, "", "");
  EXPECT_TRUE(StorePaths::IsDirectory(test_.env, paths.ProgramDataRoot()));
  // The program-files default lacks its parent folders and stays missing.
  EXPECT_FALSE(PathExists(paths.ProgramFilesRoot()));
  EXPECT_FALSE(PathExists(dir_.Path("common/Kestrel")));

  // A failed known-folder query keeps the registry candidate, which is created.
  test_.folders.app_data.clear();
  test_.registry.SetString(kKey, "Corvane_Oam_Data", dir_.Path("made-by-us"));
  EXPECT_EQ(StorePaths(test_.env, "", "").ProgramDataRoot(), dir_.Path("made-by-us"));
  EXPECT_TRUE(StorePaths::IsDirectory(test_.env, dir_.Path("made-by-us")));
}

// The other folders' names show in every end-to-end run; this one only when a
// backup is left behind.
TEST_F(StorePathsTest, LogDevicesAreBackedUpBesideTheDataFolder) {
  const StorePaths paths(test_.env, dir_.MakeDir("d"), dir_.MakeDir("f"));
  EXPECT_EQ(paths.LogDevicesBackup(), dir_.Path("d/LogDevices(backup)"));
}

}  // namespace
}  // namespace q9
