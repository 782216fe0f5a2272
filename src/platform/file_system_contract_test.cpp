// The FileSystem contract of env.h, run against every implementation so that
// a test double cannot drift from the real behaviour.
#include <filesystem>

#include <gtest/gtest.h>

#include "fault_injection_file_system.h"
#include "platform/caching_file_system.h"
#include "platform/posix/file_system_posix.h"
#include "temp_dir.h"

namespace q9 {
namespace {

using testing::PathExists;
using testing::ReadText;

// The names of `entries`, folders' with a trailing "/".
std::vector<std::string> Names(const std::vector<DirEntry>& entries) {
  std::vector<std::string> names;
  for (const DirEntry& entry : entries) {
    names.push_back(entry.name + (entry.is_directory ? "/" : ""));
  }
  return names;
}

// Every name in `folder` as the disk has it, temporary files included.
std::vector<std::string> DiskNames(const std::string& folder) {
  std::vector<std::string> names;
  for (const auto& entry : std::filesystem::directory_iterator(folder)) {
    names.push_back(entry.path().filename().string());
  }
  std::sort(names.begin(), names.end());
  return names;
}

// The implementation named `name`, built on top of the real file system.
std::unique_ptr<FileSystem> Make(const std::string& name, FileSystem& real) {
  if (name == "Caching") return std::make_unique<CachingFileSystem>(real);
  if (name == "Posix") return std::make_unique<PosixFileSystem>();
  return std::make_unique<testing::FaultInjectionFileSystem>(real);
}

class FileSystemContractTest : public ::testing::TestWithParam<std::string> {
 protected:
  FileSystemContractTest() : owned_(Make(GetParam(), real_)), fs_(*owned_) {}

  bool ReadOnly(const std::string& path) {
    FileInfo info;
    return fs_.GetFileInfo(path, &info) == 0 && info.read_only;
  }

  testing::TempDir dir_;
  PosixFileSystem real_;
  std::unique_ptr<FileSystem> owned_;
  FileSystem& fs_;
};

TEST_P(FileSystemContractTest, ListsInCaseInsensitiveOrderWithoutDotEntries) {
  dir_.WriteFile("list/b.xml", "");
  dir_.WriteFile("list/A.xml", "");
  dir_.WriteFile("list/a.xml", "");
  dir_.WriteFile("list/_x", "");
  dir_.MakeDir("list/C");
  std::vector<DirEntry> entries;
  ASSERT_EQ(fs_.ListDirectory(dir_.Path("list"), &entries), 0);
  // Upper-case form first ('_' sorts after 'Z' by its ASCII code), then bytes.
  EXPECT_EQ(Names(entries), (std::vector<std::string>{"A.xml", "a.xml", "b.xml", "C/", "_x"}));
  // A save that died half-way leaves its temporary file; it is no store entry.
  dir_.WriteFile("list/.q9tmp-b.xml.Ab12Cd", "<half");
  ASSERT_EQ(fs_.ListDirectory(dir_.Path("list"), &entries), 0);
  EXPECT_EQ(entries.size(), 5u);
  EXPECT_EQ(fs_.ListDirectory(dir_.Path("nowhere"), &entries), 3);
  EXPECT_EQ(fs_.ListDirectory(dir_.Path("list/b.xml"), &entries), 267);
}

TEST_P(FileSystemContractTest, ResolvesComponentsIgnoringCaseAndBoundsReads) {
  dir_.WriteFile("Install/DefaultLogDevices/one.xml", "1");
  std::vector<DirEntry> entries;
  ASSERT_EQ(fs_.ListDirectory(dir_.Path("Install/DefaultLogdevices"), &entries), 0);
  EXPECT_EQ(Names(entries), std::vector<std::string>{"one.xml"});
  std::string contents;
  ASSERT_EQ(fs_.ReadFile(dir_.Path("install/defaultlogdevices/ONE.XML"), &contents), 0);
  EXPECT_EQ(contents, "1");
  FileInfo info;
  ASSERT_EQ(fs_.GetFileInfo(dir_.Path("INSTALL"), &info), 0);
  EXPECT_TRUE(info.is_directory);

  ASSERT_EQ(fs_.CreateDirectory(dir_.Path("meta")), 0);
  ASSERT_EQ(fs_.CreateDirectory(dir_.Path("meta/DefaultLogdevices")), 0);
  ASSERT_EQ(fs_.ListDirectory(dir_.Path("meta/DefaultLogDevices"), &entries), 0);
  EXPECT_TRUE(entries.empty());

  contents = "stale";
  EXPECT_EQ(fs_.ReadFile(dir_.Path("Meta"), &contents), 5);
  EXPECT_EQ(contents, "");
  EXPECT_EQ(fs_.ReadFile(dir_.Path("none.xml"), &contents), 2);
  EXPECT_EQ(fs_.ReadFile(dir_.Path("no/none.xml"), &contents), 3);
  EXPECT_EQ(fs_.GetFileInfo(dir_.Path("none.xml"), &info), 2);

  // A bounded read gives nothing for a file over the limit.
  const std::string file = dir_.WriteFile("ten.xml", "0123456789");
  contents = "stale";
  EXPECT_EQ(fs_.ReadFileAtMost(file, 9, &contents), os_error::kFileTooLarge);
  EXPECT_EQ(contents, "");
  ASSERT_EQ(fs_.ReadFileAtMost(file, 10, &contents), 0);
  EXPECT_EQ(contents, "0123456789");
  // Once read, a file is no smaller for a tighter limit.
  EXPECT_EQ(fs_.ReadFileAtMost(file, 9, &contents), os_error::kFileTooLarge);
}

TEST_P(FileSystemContractTest, CreateDirectoryMakesOneLevelAndMeetsNamesInAnyCase) {
  EXPECT_EQ(fs_.CreateDirectory(dir_.Path("Meta/b")), 3);
  EXPECT_EQ(fs_.CreateDirectory(dir_.Path("Meta")), 0);
  EXPECT_EQ(fs_.CreateDirectory(dir_.Path("Meta/b")), 0);
  EXPECT_EQ(fs_.CreateDirectory(dir_.Path("meta")), 183);
  EXPECT_TRUE(std::filesystem::is_directory(dir_.Path("Meta/b")));
  ASSERT_EQ(fs_.WriteFileAtomic(dir_.Path("META/File.xml"), "new"), 0);
  EXPECT_EQ(ReadText(dir_.Path("Meta/File.xml")), "new");
  ASSERT_EQ(fs_.WriteFileAtomic(dir_.Path("meta/file.XML"), "newer"), 0);
  EXPECT_EQ(ReadText(dir_.Path("Meta/File.xml")), "newer");
  EXPECT_EQ(DiskNames(dir_.Path("Meta")), (std::vector<std::string>{"File.xml", "b"}));
}

TEST_P(FileSystemContractTest, CopyRefusesExistingOrReadOnlyTargetsLeavesNoTemporaryAndTakesAnyName) {
  const std::string from = dir_.WriteFile("from.xml", "source");
  const std::string to = dir_.WriteFile("to.xml", "target");
  EXPECT_EQ(fs_.CopyFile(from, to, /*overwrite=*/false), 80);
  EXPECT_EQ(ReadText(to), "target");
  EXPECT_EQ(fs_.CopyFile(from, to, /*overwrite=*/true), 0);
  EXPECT_EQ(ReadText(to), "source");

  ASSERT_EQ(fs_.WriteFileAtomic(to, "target"), 0);
  ASSERT_EQ(fs_.SetReadOnly(to, true), 0);
  EXPECT_EQ(fs_.CopyFile(from, to, /*overwrite=*/true), 5);
  EXPECT_EQ(ReadText(to), "target");
  EXPECT_EQ(fs_.CopyFile(dir_.Path("missing.xml"), dir_.Path("x.xml"), true), 2);
  EXPECT_EQ(fs_.CopyFile(from, dir_.Path("no/folder.xml"), true), 3);
  EXPECT_EQ(DiskNames(dir_.path()), (std::vector<std::string>{"from.xml", "to.xml"}));

  // The read-only flag travels with the copy.
  ASSERT_EQ(fs_.CopyFile(to, dir_.Path("copy.xml"), false), 0);
  FileInfo info;
  ASSERT_EQ(fs_.GetFileInfo(dir_.Path("copy.xml"), &info), 0);
  EXPECT_TRUE(info.read_only);
  EXPECT_FALSE(info.is_directory);
  EXPECT_EQ(info.size, 6u);

  // Non-ASCII and spaced names work.
  const std::string named = dir_.WriteFile("Corvane OAM/Gerät ü.xml", "ü");
  std::string contents;
  ASSERT_EQ(fs_.ReadFile(named, &contents), 0);
  EXPECT_EQ(contents, "ü");
  ASSERT_EQ(fs_.CopyFile(named, dir_.Path("Corvane OAM/Kopie ä.xml"), false), 0);
  EXPECT_EQ(ReadText(dir_.Path("Corvane OAM/Kopie ä.xml")), "ü");
}

TEST_P(FileSystemContractTest, ReadOnlyFilesResistDeletionAndSavesUntilTheFlagIsCleared) {
  const std::string file = dir_.WriteFile("f.xml", "old contents that are longer");
  ASSERT_EQ(fs_.WriteFileAtomic(file, "new"), 0);
  EXPECT_EQ(ReadText(file), "new");
  EXPECT_FALSE(ReadOnly(file));
  ASSERT_EQ(fs_.SetReadOnly(file, true), 0);
  EXPECT_TRUE(ReadOnly(file));
  EXPECT_EQ(fs_.DeleteFile(file), 5);
  EXPECT_EQ(fs_.WriteFileAtomic(file, "newer"), 5);
  EXPECT_EQ(ReadText(file), "new");
  EXPECT_EQ(fs_.WriteFileAtomic(dir_.Path("no/t.xml"), "x"), 3);
  EXPECT_EQ(DiskNames(dir_.path()), std::vector<std::string>{"f.xml"});  // no temporary left
  ASSERT_EQ(fs_.SetReadOnly(file, false), 0);
  EXPECT_FALSE(ReadOnly(file));
  EXPECT_EQ(fs_.DeleteFile(file), 0);
  EXPECT_EQ(fs_.DeleteFile(file), 2);
  EXPECT_EQ(fs_.DeleteFile(dir_.Path("no/f.xml")), 3);
  EXPECT_EQ(fs_.DeleteFile(dir_.MakeDir("folder")), 5);
  EXPECT_EQ(fs_.SetReadOnly(dir_.Path("gone.xml"), true), 2);
}

TEST_P(FileSystemContractTest, TreesAreCopiedOverExistingFilesAndDeletedWhole) {
  dir_.WriteFile("src/a.xml", "a");
  dir_.WriteFile("src/sub/b.xml", "b");
  dir_.MakeDir("src/empty");
  dir_.WriteFile("dst/a.xml", "old");
  ASSERT_EQ(fs_.SetReadOnly(dir_.Path("dst/a.xml"), true), 0);
  ASSERT_EQ(fs_.CopyTree(dir_.Path("src"), dir_.Path("dst")), 0);
  EXPECT_EQ(ReadText(dir_.Path("dst/a.xml")), "a");
  EXPECT_EQ(ReadText(dir_.Path("dst/sub/b.xml")), "b");
  EXPECT_TRUE(std::filesystem::is_directory(dir_.Path("dst/empty")));
  ASSERT_EQ(fs_.CopyTree(dir_.Path("src"), dir_.Path("fresh")), 0);
  EXPECT_EQ(ReadText(dir_.Path("fresh/sub/b.xml")), "b");
  EXPECT_EQ(fs_.CopyTree(dir_.Path("missing"), dir_.Path("dst2")), 3);
  EXPECT_FALSE(PathExists(dir_.Path("dst2")));

  dir_.WriteFile("tree/a/b/c.xml", "c");
  ASSERT_EQ(fs_.SetReadOnly(dir_.Path("tree/a/b/c.xml"), true), 0);
  EXPECT_EQ(fs_.DeleteTree(dir_.Path("TREE")), 0);
  EXPECT_FALSE(PathExists(dir_.Path("tree")));
  EXPECT_EQ(fs_.DeleteTree(dir_.Path("tree")), 2);
  EXPECT_EQ(fs_.DeleteTree(dir_.Path("x/y")), 3);
  EXPECT_EQ(fs_.DeleteTree(dir_.WriteFile("f", "")), 267);
}

TEST_P(FileSystemContractTest, WritableFileTruncatesOrAppends) {
  const std::string file = dir_.WriteFile("log.txt", "before\n");
  std::unique_ptr<WritableFile> out;
  ASSERT_EQ(fs_.OpenWritable(file, OpenMode::kAppend, &out), 0);
  ASSERT_EQ(out->Append("after\n"), 0);
  ASSERT_EQ(out->Flush(), 0);
  ASSERT_EQ(out->Close(), 0);
  EXPECT_EQ(ReadText(file), "before\nafter\n");
  ASSERT_EQ(fs_.OpenWritable(dir_.Path("LOG.TXT"), OpenMode::kTruncate, &out), 0);
  ASSERT_EQ(out->Append("fresh"), 0);
  out.reset();
  EXPECT_EQ(ReadText(file), "fresh");
  EXPECT_EQ(fs_.OpenWritable(dir_.Path("no/log.txt"), OpenMode::kTruncate, &out), 3);
  EXPECT_EQ(out, nullptr);
}

INSTANTIATE_TEST_SUITE_P(AllFileSystems, FileSystemContractTest,
                         ::testing::Values("Posix", "FaultInjectionBeforeItsFault", "Caching"),
                         [](const auto& info) { return info.param; });

}  // namespace
}  // namespace q9
