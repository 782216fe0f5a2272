// What only the POSIX file system has: permission bits, symbolic links, pipes
// and name-length limits. The behaviour every FileSystem shares is in
// file_system_contract_test.cpp.
#include "platform/posix/file_system_posix.h"

#include <sys/stat.h>
#include <unistd.h>

#include <fcntl.h>

#include <algorithm>
#include <filesystem>

#include <gtest/gtest.h>

#include "temp_dir.h"

namespace q9 {
namespace {

using testing::ReadText;

mode_t Mode(const std::string& path) {
  struct stat st;
  return ::stat(path.c_str(), &st) == 0 ? (st.st_mode & 07777) : 0;
}

class PosixFileSystemTest : public ::testing::Test {
 protected:
  testing::TempDir dir_;
  PosixFileSystem fs_;
};

TEST_F(PosixFileSystemTest, ReadOnlyFlagIsTheOwnerWriteBitAloneAndSavesKeepTheMode) {
  const std::string file = dir_.WriteFile("f.xml", "x");
  ::chmod(file.c_str(), 0664);
  ASSERT_EQ(fs_.SetReadOnly(file, true), 0);
  EXPECT_EQ(Mode(file), 0464u);  // group write untouched
  ::chmod(file.c_str(), 0404);
  ASSERT_EQ(fs_.SetReadOnly(file, false), 0);
  EXPECT_EQ(Mode(file), 0604u);  // nothing but u+w added
  ASSERT_EQ(fs_.WriteFileAtomic(file, "new"), 0);
  EXPECT_EQ(ReadText(file), "new");
  EXPECT_EQ(Mode(file), 0604u);
}

TEST_F(PosixFileSystemTest, FoldersWithoutOwnerWriteRefuseASaveButNotATreeDeletion) {
  if (::geteuid() == 0) GTEST_SKIP() << "root writes into read-only folders anyway";
  const std::string file = dir_.WriteFile("ro/t.xml", "old");
  ::chmod(dir_.Path("ro").c_str(), 0555);
  EXPECT_EQ(fs_.WriteFileAtomic(file, "new"), 5);
  ::chmod(dir_.Path("ro").c_str(), 0755);
  EXPECT_EQ(ReadText(file), "old");
  EXPECT_EQ(std::distance(std::filesystem::directory_iterator(dir_.Path("ro")),
                          std::filesystem::directory_iterator()),
            1);

  dir_.WriteFile("tree/a/b.xml", "b");
  for (const char* path : {"tree/a", "tree"}) ::chmod(dir_.Path(path).c_str(), 0555);
  EXPECT_EQ(fs_.DeleteTree(dir_.Path("tree")), 0);
  EXPECT_FALSE(testing::PathExists(dir_.Path("tree")));
}

TEST_F(PosixFileSystemTest, LinksAreListedAndCopiedAsLinksAndNeverMadeWritable) {
  const std::string outside = dir_.WriteFile("outside/ro.txt", "x");
  ::chmod(outside.c_str(), 0444);
  dir_.MakeDir("store");
  ASSERT_EQ(::symlink(outside.c_str(), dir_.Path("store/link.xml").c_str()), 0);
  ASSERT_EQ(::symlink(".", dir_.Path("store/loop").c_str()), 0);
  std::vector<DirEntry> entries;
  ASSERT_EQ(fs_.ListDirectory(dir_.Path("store"), &entries), 0);
  std::string listed;  // folders marked "/", links "@"
  for (const DirEntry& e : entries) {
    listed += e.name + (e.is_directory ? "/" : "") + (e.is_link ? "@ " : " ");
  }
  EXPECT_EQ(listed, "link.xml@ loop/@ ");
  EXPECT_EQ(fs_.SetReadOnly(dir_.Path("store/link.xml"), false), 5);
  EXPECT_EQ(Mode(outside), 0444u);

  // A tree is copied with its links as links, so loops end.
  dir_.WriteFile("src/a.xml", "a");
  ASSERT_EQ(::symlink(".", dir_.Path("src/loop").c_str()), 0);
  ASSERT_EQ(::symlink("a.xml", dir_.Path("src/alias.xml").c_str()), 0);
  ASSERT_EQ(fs_.CopyTree(dir_.Path("src"), dir_.Path("dst")), 0);
  EXPECT_TRUE(std::filesystem::is_symlink(dir_.Path("dst/loop")));
  EXPECT_EQ(std::filesystem::read_symlink(dir_.Path("dst/alias.xml")), "a.xml");
  EXPECT_EQ(ReadText(dir_.Path("dst/alias.xml")), "a");
  // Copying again replaces the links instead of failing on them.
  EXPECT_EQ(fs_.CopyTree(dir_.Path("src"), dir_.Path("dst")), 0);
}

TEST_F(PosixFileSystemTest, TreeDeletionGivesFoldersOwnerWriteButNotFilesOrLinkTargets) {
  dir_.WriteFile("tree/a/b/c.xml", "c");
  dir_.MakeDir("outside");
  ASSERT_EQ(::symlink(dir_.Path("outside").c_str(), dir_.Path("tree/a/link").c_str()), 0);
  for (const char* path : {"tree/a/b/c.xml", "outside"}) ::chmod(dir_.Path(path).c_str(), 0444);
  for (const char* path : {"tree/a/b", "tree/a", "tree"}) ::chmod(dir_.Path(path).c_str(), 0555);
  AddOwnerWriteToFolders(dir_.Path("tree"));
  for (const char* path : {"tree", "tree/a", "tree/a/b"}) EXPECT_EQ(Mode(dir_.Path(path)), 0755u);
  EXPECT_EQ(Mode(dir_.Path("tree/a/b/c.xml")), 0444u);
  EXPECT_EQ(Mode(dir_.Path("outside")), 0444u);
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

TEST_F(PosixFileSystemTest, PipesAndDevicesAreRefusedWithoutBlockingAndProcFilesBounded) {
  const std::string fifo = dir_.Path("pipe.xml");
  ASSERT_EQ(::mkfifo(fifo.c_str(), 0644), 0);
  std::string contents;
  EXPECT_EQ(fs_.ReadFile(fifo, &contents), 5);
  EXPECT_EQ(fs_.CopyFile(fifo, dir_.Path("copy.xml"), true), 5);
  EXPECT_EQ(fs_.ReadFile("/dev/zero", &contents), 5);
  std::unique_ptr<SequentialFile> stream;
  EXPECT_EQ(fs_.OpenSequential(fifo, &stream), 5);
  std::unique_ptr<WritableFile> out;
  EXPECT_NE(fs_.OpenWritable(fifo, OpenMode::kAppend, &out), 0);  // no reader: refused, not stuck
  EXPECT_EQ(fs_.OpenWritable("/dev/null", OpenMode::kAppend, &out), 5);
  EXPECT_EQ(out, nullptr);
  EXPECT_FALSE(testing::PathExists(dir_.Path("copy.xml")));
  // /proc files say they are empty and then give more, as a file growing after
  // its size was taken does: the bound must hold while reading, not only before.
  EXPECT_EQ(fs_.ReadFileAtMost("/proc/self/status", 16, &contents), os_error::kFileTooLarge);
  EXPECT_EQ(contents, "");
}

TEST_F(PosixFileSystemTest, LongestLegalNamesCanBeCopiedAndSaved) {
  const std::string name = std::string(251, 'n') + ".xml";  // 255 bytes
  const std::string from = dir_.WriteFile("from.xml", "x");
  EXPECT_EQ(fs_.CopyFile(from, dir_.Path(name), false), 0);
  EXPECT_EQ(fs_.WriteFileAtomic(dir_.Path(name), "y"), 0);
  EXPECT_EQ(ReadText(dir_.Path(name)), "y");
  EXPECT_EQ(fs_.CopyFile(from, dir_.Path("n" + name), false), 206);
}

// A store whose root is itself a link (allowed) and that holds links to a
// folder and a read-only file outside it.
class ConfinedLinksTest : public PosixFileSystemTest {
 protected:
  ConfinedLinksTest() {
    dir_.WriteFile("outside/folder/x.xml", "outside");
    dir_.WriteFile("outside/file.xml", "outside");
    ::chmod(dir_.Path("outside/file.xml").c_str(), 0444);
    dir_.WriteFile("real-store/plain.xml", "plain");
    Link("real-store", "store");
    Link(dir_.Path("outside/folder"), "store/meta");
    Link(dir_.Path("outside/file.xml"), "store/t.xml");
    fs_.ConfineLinksBelow({dir_.Path("store")});
  }
  void Link(const std::string& target, const std::string& at) {
    ASSERT_EQ(::symlink(target.c_str(), dir_.Path(at).c_str()), 0);
  }
  std::string Store(const std::string& relative) { return dir_.Path("store/" + relative); }
};

TEST_F(ConfinedLinksTest, NothingGoesThroughALinkBelowTheRoot) {
  const auto outside = testing::Snapshot(dir_.Path("outside"));
  std::string text;
  std::vector<DirEntry> entries;
  std::unique_ptr<SequentialFile> in;
  std::unique_ptr<WritableFile> out;
  const std::tuple<const char*, OsError, OsError> cases[] = {
      {"read a linked file", fs_.ReadFile(Store("t.xml"), &text), 5},
      {"read in a linked folder", fs_.ReadFile(Store("meta/x.xml"), &text), 5},
      {"stream in a linked folder", fs_.OpenSequential(Store("META/X.xml"), &in), 5},
      {"list a linked folder", fs_.ListDirectory(Store("meta"), &entries), 5},
      {"save over a linked file", fs_.WriteFileAtomic(Store("t.xml"), "new"), 5},
      {"save in a linked folder", fs_.WriteFileAtomic(Store("meta/x.xml"), "new"), 5},
      {"copy a linked file", fs_.CopyFile(Store("t.xml"), Store("copy.xml"), true), 5},
      {"copy into a linked folder",
       fs_.CopyFile(Store("plain.xml"), Store("meta/y.xml"), false), 5},
      {"copy a tree into a linked folder", fs_.CopyTree(dir_.Path("real-store"), Store("meta")), 5},
      {"open a log in a linked folder",
       fs_.OpenWritable(Store("meta/x.xml"), OpenMode::kTruncate, &out), 5},
      {"clear read-only in a linked folder", fs_.SetReadOnly(Store("meta/x.xml"), false), 5},
      {"clear read-only on a link", fs_.SetReadOnly(Store("t.xml"), false), 5},
      {"create in a linked folder", fs_.CreateDirectory(Store("meta/sub")), 5},
      {"delete in a linked folder", fs_.DeleteFile(Store("meta/x.xml")), 5},
      {"delete a tree in a linked folder", fs_.DeleteTree(Store("meta/sub")), 5},
      {"delete a linked folder as a tree", fs_.DeleteTree(Store("meta")), 267},
      {"read below the root that is a link", fs_.ReadFile(Store("plain.xml"), &text), 0},
  };
  for (const auto& [what, result, expected] : cases) EXPECT_EQ(result, expected) << what;
  EXPECT_EQ(testing::Snapshot(dir_.Path("outside")), outside);
  const std::vector<FailureNote> notes = fs_.TakeFailureNotes();
  EXPECT_TRUE(std::any_of(notes.begin(), notes.end(), [&](const FailureNote& note) {
    return note.kind == FailureNote::Kind::kLinkNotFollowed && note.text == Store("meta");
  }));
}

TEST_F(ConfinedLinksTest, ALinkItselfIsDescribedCopiedAndDeleted) {
  FileInfo info;
  ASSERT_EQ(fs_.GetFileInfo(Store("meta"), &info), 0);
  EXPECT_FALSE(info.is_directory);
  ASSERT_EQ(fs_.CopyTree(Store("meta"), Store("meta(backup)")), 0);
  EXPECT_EQ(std::filesystem::read_symlink(Store("meta(backup)")), dir_.Path("outside/folder"));
  EXPECT_EQ(fs_.DeleteFile(Store("t.xml")), 0);
  EXPECT_TRUE(testing::PathExists(dir_.Path("outside/file.xml")));
  // Outside the confined roots links are followed as before.
  fs_.ConfineLinksBelow({});
  ASSERT_EQ(fs_.GetFileInfo(Store("meta"), &info), 0);
  EXPECT_TRUE(info.is_directory);
}

}  // namespace
}  // namespace q9
