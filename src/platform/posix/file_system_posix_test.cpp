#include "platform/posix/file_system_posix.h"

#include <sys/stat.h>
#include <unistd.h>

#include <filesystem>

#include <gtest/gtest.h>

#include "temp_dir.h"

namespace q9 {
namespace {

using testing::PathExists;
using testing::ReadText;
using testing::TempDir;

std::vector<std::string> Names(const std::vector<DirEntry>& entries) {
  std::vector<std::string> names;
  for (const DirEntry& entry : entries) names.push_back(entry.name);
  return names;
}

bool HasOwnerWrite(const std::string& path) {
  struct stat st;
  return ::stat(path.c_str(), &st) == 0 && (st.st_mode & S_IWUSR) != 0;
}

std::vector<std::string> TempLeftovers(const std::string& folder) {
  std::vector<std::string> found;
  for (const auto& entry : std::filesystem::directory_iterator(folder)) {
    const std::string name = entry.path().filename().string();
    if (name.starts_with(".q9tmp-")) found.push_back(name);
  }
  return found;
}

class PosixFileSystemTest : public ::testing::Test {
 protected:
  TempDir dir_;
  PosixFileSystem fs_;
};

TEST_F(PosixFileSystemTest, ListsInCaseInsensitiveOrderWithoutDotEntries) {
  dir_.WriteFile("list/b.xml", "");
  dir_.WriteFile("list/A.xml", "");
  dir_.WriteFile("list/a.xml", "");
  dir_.WriteFile("list/_x", "");
  dir_.MakeDir("list/C");
  std::vector<DirEntry> entries;
  ASSERT_EQ(fs_.ListDirectory(dir_.Path("list"), &entries), 0);
  // Upper-case form first ('_' sorts after 'Z' by its ASCII code), then bytes.
  EXPECT_EQ(Names(entries), (std::vector<std::string>{"A.xml", "a.xml", "b.xml", "C", "_x"}));
  EXPECT_TRUE(entries[3].is_directory);
  EXPECT_FALSE(entries[0].is_directory);
}

TEST_F(PosixFileSystemTest, ListingAMissingFolderIsAMissingPath) {
  std::vector<DirEntry> entries;
  EXPECT_EQ(fs_.ListDirectory(dir_.Path("nowhere"), &entries), 3);
  EXPECT_EQ(fs_.ListDirectory(dir_.WriteFile("file", "x"), &entries), 267);
}

TEST_F(PosixFileSystemTest, ResolvesComponentsIgnoringCaseInBothDirections) {
  dir_.WriteFile("Install/DefaultLogDevices/one.xml", "1");
  std::vector<DirEntry> entries;
  ASSERT_EQ(fs_.ListDirectory(dir_.Path("Install/DefaultLogdevices"), &entries), 0);
  EXPECT_EQ(Names(entries), std::vector<std::string>{"one.xml"});
  std::string contents;
  ASSERT_EQ(fs_.ReadFile(dir_.Path("install/defaultlogdevices/ONE.XML"), &contents), 0);
  EXPECT_EQ(contents, "1");

  dir_.MakeDir("meta/DefaultLogdevices");
  ASSERT_EQ(fs_.ListDirectory(dir_.Path("meta/DefaultLogDevices"), &entries), 0);
  EXPECT_TRUE(entries.empty());
}

TEST_F(PosixFileSystemTest, CreatingANameThatExistsInAnotherCaseUsesTheExistingEntry) {
  dir_.MakeDir("Meta");
  EXPECT_EQ(fs_.CreateDirectory(dir_.Path("meta")), 183);
  ASSERT_EQ(fs_.WriteFileAtomic(dir_.Path("META/File.xml"), "new"), 0);
  EXPECT_EQ(ReadText(dir_.Path("Meta/File.xml")), "new");
  ASSERT_EQ(fs_.WriteFileAtomic(dir_.Path("meta/file.XML"), "newer"), 0);
  EXPECT_EQ(ReadText(dir_.Path("Meta/File.xml")), "newer");
  EXPECT_FALSE(PathExists(dir_.Path("Meta/file.XML")));
}

TEST_F(PosixFileSystemTest, CreateDirectoryMakesOneLevelOnly) {
  EXPECT_EQ(fs_.CreateDirectory(dir_.Path("a/b")), 3);
  EXPECT_EQ(fs_.CreateDirectory(dir_.Path("a")), 0);
  EXPECT_EQ(fs_.CreateDirectory(dir_.Path("a/b")), 0);
  EXPECT_TRUE(std::filesystem::is_directory(dir_.Path("a/b")));
}

TEST_F(PosixFileSystemTest, CopyRefusesAnExistingTargetUnlessOverwriting) {
  const std::string from = dir_.WriteFile("from.xml", "source");
  const std::string to = dir_.WriteFile("to.xml", "target");
  EXPECT_EQ(fs_.CopyFile(from, to, /*overwrite=*/false), 80);
  EXPECT_EQ(ReadText(to), "target");
  EXPECT_EQ(fs_.CopyFile(from, to, /*overwrite=*/true), 0);
  EXPECT_EQ(ReadText(to), "source");
  EXPECT_TRUE(TempLeftovers(dir_.path()).empty());
}

TEST_F(PosixFileSystemTest, CopyKeepsReadOnlyTargetsAndReportsMissingSources) {
  const std::string from = dir_.WriteFile("from.xml", "source");
  const std::string to = dir_.WriteFile("to.xml", "target");
  ASSERT_EQ(fs_.SetReadOnly(to, true), 0);
  EXPECT_EQ(fs_.CopyFile(from, to, /*overwrite=*/true), 5);
  EXPECT_EQ(ReadText(to), "target");
  EXPECT_EQ(fs_.CopyFile(dir_.Path("missing.xml"), dir_.Path("x.xml"), true), 2);
  EXPECT_EQ(fs_.CopyFile(from, dir_.Path("no/folder.xml"), true), 3);
  EXPECT_TRUE(TempLeftovers(dir_.path()).empty());
}

TEST_F(PosixFileSystemTest, CopyCarriesTheReadOnlyFlagAlong) {
  const std::string from = dir_.WriteFile("from.xml", "source");
  ASSERT_EQ(fs_.SetReadOnly(from, true), 0);
  ASSERT_EQ(fs_.CopyFile(from, dir_.Path("to.xml"), false), 0);
  FileInfo info;
  ASSERT_EQ(fs_.GetFileInfo(dir_.Path("to.xml"), &info), 0);
  EXPECT_TRUE(info.read_only);
  EXPECT_EQ(info.size, 6u);
}

TEST_F(PosixFileSystemTest, ReadOnlyFlagIsTheOwnerWriteBit) {
  const std::string file = dir_.WriteFile("f.xml", "x");
  ::chmod(file.c_str(), 0664);
  ASSERT_EQ(fs_.SetReadOnly(file, true), 0);
  struct stat st;
  ASSERT_EQ(::stat(file.c_str(), &st), 0);
  EXPECT_EQ(st.st_mode & 0777, 0464u);  // group write untouched
  EXPECT_EQ(fs_.DeleteFile(file), 5);
  ASSERT_EQ(fs_.SetReadOnly(file, false), 0);
  EXPECT_TRUE(HasOwnerWrite(file));
  EXPECT_EQ(fs_.DeleteFile(file), 0);
  EXPECT_EQ(fs_.DeleteFile(file), 2);
  EXPECT_EQ(fs_.DeleteFile(dir_.MakeDir("folder")), 5);
}

TEST_F(PosixFileSystemTest, AtomicWriteReplacesWholeFileAndKeepsItsMode) {
  const std::string file = dir_.WriteFile("t.xml", "old contents that are longer");
  ::chmod(file.c_str(), 0640);
  ASSERT_EQ(fs_.WriteFileAtomic(file, "new"), 0);
  EXPECT_EQ(ReadText(file), "new");
  struct stat st;
  ASSERT_EQ(::stat(file.c_str(), &st), 0);
  EXPECT_EQ(st.st_mode & 0777, 0640u);
  EXPECT_TRUE(TempLeftovers(dir_.path()).empty());
}

TEST_F(PosixFileSystemTest, FailedAtomicWriteLeavesTheOldFileAndNoTemporary) {
  const std::string file = dir_.WriteFile("ro/t.xml", "old");
  ASSERT_EQ(fs_.SetReadOnly(file, true), 0);
  EXPECT_EQ(fs_.WriteFileAtomic(file, "new"), 5);
  EXPECT_EQ(ReadText(file), "old");
  if (::geteuid() != 0) {  // root writes into read-only folders anyway
    ASSERT_EQ(fs_.SetReadOnly(file, false), 0);
    ::chmod(dir_.Path("ro").c_str(), 0555);
    EXPECT_EQ(fs_.WriteFileAtomic(file, "new"), 5);
    ::chmod(dir_.Path("ro").c_str(), 0755);
    EXPECT_EQ(ReadText(file), "old");
  }
  EXPECT_TRUE(TempLeftovers(dir_.Path("ro")).empty());
}

TEST_F(PosixFileSystemTest, ReadingAFolderOrMissingFileFails) {
  std::string contents = "stale";
  EXPECT_EQ(fs_.ReadFile(dir_.MakeDir("d"), &contents), 5);
  EXPECT_EQ(contents, "");
  EXPECT_EQ(fs_.ReadFile(dir_.Path("none.xml"), &contents), 2);
}

// The POSIX file and the in-memory fallback must read alike.
TEST_F(PosixFileSystemTest, SequentialReadsGiveTheWholeFileInPieces) {
  const std::string bytes = std::string(5000, 'x') + "end";
  const std::string path = dir_.WriteFile("Seq/File.xml", bytes);
  std::unique_ptr<SequentialFile> files[2];
  ASSERT_EQ(fs_.OpenSequential(dir_.Path("seq/file.xml"), &files[0]), 0);
  std::string contents;
  ASSERT_EQ(fs_.ReadFile(path, &contents), 0);
  files[1] = std::make_unique<MemorySequentialFile>(contents);
  for (auto& file : files) {
    std::string read;
    char buffer[1024];
    size_t n = 0;
    do {
      ASSERT_EQ(file->Read(buffer, sizeof buffer, &n), 0);
      read.append(buffer, n);
    } while (n > 0);
    EXPECT_EQ(read, bytes);
  }
  std::unique_ptr<SequentialFile> file;
  EXPECT_EQ(fs_.OpenSequential(dir_.Path("missing.xml"), &file), 2);
  EXPECT_EQ(fs_.OpenSequential(dir_.MakeDir("folder"), &file), 5);
  EXPECT_EQ(file, nullptr);
}

TEST_F(PosixFileSystemTest, CopyTreeCopiesEverythingAndReplacesExistingFiles) {
  dir_.WriteFile("src/a.xml", "a");
  dir_.WriteFile("src/sub/b.xml", "b");
  dir_.MakeDir("src/empty");
  dir_.WriteFile("dst/a.xml", "old");
  ASSERT_EQ(fs_.SetReadOnly(dir_.Path("dst/a.xml"), true), 0);
  ASSERT_EQ(fs_.CopyTree(dir_.Path("src"), dir_.Path("dst")), 0);
  EXPECT_EQ(ReadText(dir_.Path("dst/a.xml")), "a");
  EXPECT_EQ(ReadText(dir_.Path("dst/sub/b.xml")), "b");
  EXPECT_TRUE(std::filesystem::is_directory(dir_.Path("dst/empty")));
  EXPECT_EQ(fs_.CopyTree(dir_.Path("missing"), dir_.Path("dst2")), 3);
  EXPECT_FALSE(PathExists(dir_.Path("dst2")));
}

TEST_F(PosixFileSystemTest, DeleteTreeRemovesEverythingButNeedsAFolder) {
  dir_.WriteFile("tree/a/b/c.xml", "c");
  ASSERT_EQ(fs_.SetReadOnly(dir_.Path("tree/a/b/c.xml"), true), 0);
  EXPECT_EQ(fs_.DeleteTree(dir_.Path("TREE")), 0);
  EXPECT_FALSE(PathExists(dir_.Path("tree")));
  EXPECT_EQ(fs_.DeleteTree(dir_.Path("tree")), 2);
  EXPECT_EQ(fs_.DeleteTree(dir_.Path("x/y")), 3);
  EXPECT_EQ(fs_.DeleteTree(dir_.WriteFile("f", "")), 267);
}

TEST_F(PosixFileSystemTest, WritableFileTruncatesOrAppends) {
  const std::string file = dir_.WriteFile("log.txt", "before\n");
  std::unique_ptr<WritableFile> out;
  ASSERT_EQ(fs_.OpenWritable(file, OpenMode::kAppend, &out), 0);
  ASSERT_EQ(out->Append("after\n"), 0);
  ASSERT_EQ(out->Close(), 0);
  EXPECT_EQ(ReadText(file), "before\nafter\n");
  ASSERT_EQ(fs_.OpenWritable(file, OpenMode::kTruncate, &out), 0);
  ASSERT_EQ(out->Append("fresh"), 0);
  out.reset();
  EXPECT_EQ(ReadText(file), "fresh");
  EXPECT_EQ(fs_.OpenWritable(dir_.Path("no/log.txt"), OpenMode::kTruncate, &out), 3);
  EXPECT_EQ(out, nullptr);
}

TEST_F(PosixFileSystemTest, NonAsciiAndSpacedNamesWork) {
  const std::string file = dir_.WriteFile("Corvane OAM/Gerät ü.xml", "ü");
  std::string contents;
  ASSERT_EQ(fs_.ReadFile(file, &contents), 0);
  EXPECT_EQ(contents, "ü");
  ASSERT_EQ(fs_.CopyFile(file, dir_.Path("Corvane OAM/Kopie ä.xml"), false), 0);
  EXPECT_EQ(ReadText(dir_.Path("Corvane OAM/Kopie ä.xml")), "ü");
}

}  // namespace
}  // namespace q9
