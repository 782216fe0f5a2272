#include "install/installer.h"
#include "install/read_only.h"

#include <unistd.h>

#include <filesystem>

#include <gtest/gtest.h>

#include "temp_dir.h"
#include "test_env.h"

namespace q9 {
namespace {

using testing::PathExists;

class InstallerTest : public ::testing::Test {
 protected:
  InstallerTest() : log_(test_.env, std::make_unique<testing::StringFile>(&log_text_)) {
    dir_.MakeDir("data/data");
    dir_.MakeDir("files");
  }

  std::unique_ptr<Installer> MakeInstaller() {
    auto installer = std::make_unique<Installer>(test_.env, log_, dir_.Path("data"),
                                                 dir_.Path("files"));
    log_text_.clear();
    return installer;
  }

  bool ReadOnly(const std::string& relative) {
    FileInfo info;
    return test_.env.files().GetFileInfo(dir_.Path(relative), &info) == 0 && info.read_only;
  }

  void MakeReadOnly(const std::string& relative) {
    ASSERT_EQ(test_.env.files().SetReadOnly(dir_.WriteFile(relative, "x"), true), 0);
  }

  testing::TempDir dir_;
  testing::TestEnv test_;
  std::string log_text_;
  InstallLog log_;
};

TEST_F(InstallerTest, ReadOnlyFlagsAreClearedOnEveryFileButNotOnFoldersOrThroughLinks) {
  MakeReadOnly("data/data/LogDevices/dev.xml");
  MakeReadOnly("files/meta/Boards/deep/b.xml");
  MakeReadOnly("files/Install/Protocols/p.txt");
  dir_.MakeDir("files/meta/ro-folder");
  ASSERT_EQ(test_.env.files().SetReadOnly(dir_.Path("files/meta/ro-folder"), true), 0);
  MakeReadOnly("outside/ro.xml");
  ASSERT_EQ(::symlink(dir_.Path("outside/ro.xml").c_str(), dir_.Path("files/meta/link.xml").c_str()),
            0);
  ASSERT_EQ(::symlink(".", dir_.Path("files/meta/a").c_str()), 0);
  ASSERT_EQ(::symlink(".", dir_.Path("files/meta/b").c_str()), 0);
  auto installer = MakeInstaller();
  EXPECT_EQ(CheckAndRemoveReadOnlyFlagForAllXmls(test_.env.files(), installer->paths(), log_),
            PGSP_OK);
  EXPECT_FALSE(ReadOnly("data/data/LogDevices/dev.xml"));
  EXPECT_FALSE(ReadOnly("files/meta/Boards/deep/b.xml"));
  EXPECT_FALSE(ReadOnly("files/Install/Protocols/p.txt"));
  EXPECT_TRUE(ReadOnly("files/meta/ro-folder"));
  EXPECT_TRUE(ReadOnly("outside/ro.xml"));
  EXPECT_EQ(log_text_, ">>>> CheckAndRemoveReadOnlyFlagForAllXmls\n");
  EXPECT_EQ(RemoveReadOnlyFlagForAllFilesIn(test_.env.files(), ""), PGSP_ERR_INVALID_PARAMETERS);
}

TEST_F(InstallerTest, UninstallRefusesWhileTemplatesWaitInInstall) {
  for (const char* folder : {"DefaultLogdevices", "Protocols", "Boards"}) {
    dir_.WriteFile(std::string("files/Install/") + folder + "/t.xml", "x");
    dir_.WriteFile("files/meta/Boards/b.xml", "b");
    auto installer = MakeInstaller();
    EXPECT_EQ(installer->Uninstall(), 5) << folder;
    EXPECT_TRUE(PathExists(dir_.Path("files/meta/Boards/b.xml")));
    EXPECT_EQ(log_text_, ">> Uninstall\n");
    std::filesystem::remove_all(dir_.Path("files/Install"));
  }
}

TEST_F(InstallerTest, UninstallDeletesTheStoreWhenOnlyLogNamesRemainAndLogsWhatIsMissing) {
  dir_.WriteFile("files/Install/LogNames/n.xml", "n");
  dir_.MakeDir("files/Install/Boards/sub");
  dir_.WriteFile("files/meta/Boards/b.xml", "b");
  dir_.WriteFile("data/data/LogDevices/d.xml", "d");
  dir_.WriteFile("data/data/LogNames/n.xml", "n");
  dir_.WriteFile("data/data/keep.xml", "k");
  auto installer = MakeInstaller();
  EXPECT_EQ(installer->Uninstall(), PGSP_OK);
  EXPECT_FALSE(PathExists(dir_.Path("files/meta")));
  EXPECT_FALSE(PathExists(dir_.Path("data/data/LogDevices")));
  EXPECT_FALSE(PathExists(dir_.Path("data/data/LogNames")));
  EXPECT_TRUE(PathExists(dir_.Path("data/data/keep.xml")));
  EXPECT_TRUE(PathExists(dir_.Path("files/Install/LogNames/n.xml")));
  EXPECT_EQ(log_text_, ">> Uninstall\n<< Uninstall returns with: 0\n");

  // Again, now that the store holds none of them.
  EXPECT_EQ(MakeInstaller()->Uninstall(), PGSP_OK);
  EXPECT_EQ(log_text_, ">> Uninstall\nCan't delete Meta Directory!\n"
                       "Can't delete LogDevices Directory!\nCan't delete LogNames Directory!\n"
                       "<< Uninstall returns with: 0\n");
}

}  // namespace
}  // namespace q9
