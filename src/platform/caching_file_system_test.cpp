// The contract suite covers single calls; these tests cover what the cache
// adds: that no change through it is missed and that kept answers are used.
#include "platform/caching_file_system.h"

#include <functional>

#include <gtest/gtest.h>

#include "fault_injection_file_system.h"
#include "platform/posix/file_system_posix.h"
#include "temp_dir.h"

namespace q9 {
namespace {

using testing::TempDir;

// Everything a reader can learn about `path`, as one comparable text.
std::string Describe(FileSystem& files, const std::string& path) {
  std::string text;
  std::vector<DirEntry> entries;
  text += "list " + std::to_string(files.ListDirectory(path, &entries)) + ":";
  for (const DirEntry& entry : entries) {
    text += " " + entry.name + (entry.is_directory ? "/" : "") + (entry.is_link ? "@" : "");
  }
  FileInfo info;
  const OsError info_error = files.GetFileInfo(path, &info);
  text += "; info " + std::to_string(info_error);
  if (info_error == 0) {
    text += " dir=" + std::to_string(info.is_directory) + " ro=" +
            std::to_string(info.read_only) + " size=" + std::to_string(info.size) +
            " time=" + std::to_string(info.modified_ns);
  }
  std::string contents;
  text += "; read " + std::to_string(files.ReadFile(path, &contents)) + ": " + contents;
  std::unique_ptr<SequentialFile> stream;
  if (files.OpenSequential(path, &stream) == 0) {
    char buffer[64];
    size_t read = 0;
    text += "; stream " + std::to_string(stream->Read(buffer, sizeof buffer, &read)) + ": " +
            std::string(buffer, read);
  }
  return text;
}

TEST(CachingFileSystemTest, EveryChangeThroughItIsSeenByTheNextListingInfoAndRead) {
  TempDir dir;
  dir.WriteFile("Store/old.xml", "old");
  PosixFileSystem real;
  CachingFileSystem cache(real);
  const auto at = [&](const char* relative) { return dir.Path(relative); };
  std::unique_ptr<WritableFile> log;

  struct Change {
    const char* what;
    std::function<OsError()> apply;
  };
  const Change changes[] = {
      {"nothing yet", [] { return 0; }},
      {"new file", [&] { return cache.WriteFileAtomic(at("Store/a.xml"), "a1"); }},
      {"file replaced under another spelling",
       [&] { return cache.WriteFileAtomic(at("STORE/A.XML"), "a2 longer"); }},
      {"flag set", [&] { return cache.SetReadOnly(at("store/a.xml"), true); }},
      {"file copied", [&] { return cache.CopyFile(at("Store/a.xml"), at("Store/b.xml"), false); }},
      {"new file between others in letter case", [&] { return cache.WriteFileAtomic(at("Store/AB.xml"), "ab"); }},
      {"copy refused by an existing file", [&] { return 80 - cache.CopyFile(at("Store/a.xml"), at("Store/B.XML"), false); }},
      {"flag cleared", [&] { return cache.SetReadOnly(at("Store/B.xml"), false); }},
      {"copy over a file", [&] { return cache.CopyFile(at("Store/old.xml"), at("store/b.XML"), true); }},
      {"folder made", [&] { return cache.CreateDirectory(at("Store/Sub")); }},
      {"log opened", [&] { return cache.OpenWritable(at("store/sub/Log.txt"), OpenMode::kAppend, &log); }},
      {"log appended", [&] { return log->Append("line\n"); }},
      {"log closed after another line", [&] { return log->Append("more\n") + log->Close(); }},
      {"tree copied", [&] { return cache.CopyTree(at("Store"), at("Copy")); }},
      {"tree copied over changed files",
       [&] { return cache.WriteFileAtomic(at("Store/Sub/log.txt"), "x") + cache.CopyTree(at("store"), at("COPY")); }},
      {"file deleted", [&] { return cache.DeleteFile(at("Copy/SUB/log.txt")); }},
      {"tree deleted", [&] { return cache.DeleteTree(at("copy")); }},
      {"file deleted from a listed folder", [&] { return cache.DeleteFile(at("Store/b.xml")); }},
  };
  const char* const probes[] = {
      "",           "Store",         "store",    "STORE/A.XML",      "Store/a.xml",
      "Store/b.xml", "store/B.XML",  "Store/old.xml", "Store/Sub", "store/sub/LOG.TXT",
      "Store/Sub/log.txt", "Copy",   "copy/sub", "Copy/a.xml",       "COPY/Sub/log.txt",
      "Copy/nothing/x.xml",
  };
  for (const Change& change : changes) {
    ASSERT_EQ(change.apply(), 0) << change.what;
    for (const char* probe : probes) {
      // Asking the cache first keeps its answer, which the next change must drop.
      EXPECT_EQ(Describe(cache, at(probe)), Describe(real, at(probe)))
          << "after " << change.what << ", at " << probe;
    }
  }
}

// The file system below looks names up in the listings kept here, so a
// listing must answer for the folder spelled exactly so, with the first of
// several names that equal ignoring case, as a search of the folder would.
TEST(CachingFileSystemTest, NamesAreLookedUpAsInTheFolderItself) {
  TempDir dir;
  dir.WriteFile("STORE/Name.xml", "other folder");
  dir.WriteFile("Store/A.xml", "first");
  dir.WriteFile("Store/a.xml", "second");
  PosixFileSystem real;
  CachingFileSystem cache(real);
  std::vector<DirEntry> entries;
  ASSERT_EQ(cache.ListDirectory(dir.Path("STORE"), &entries), 0);
  ASSERT_EQ(cache.ListDirectory(dir.Path("Store"), &entries), 0);

  ASSERT_EQ(cache.WriteFileAtomic(dir.Path("Store/NAME.XML"), "new"), 0);
  ASSERT_EQ(cache.WriteFileAtomic(dir.Path("Store/a.XML"), "replaced"), 0);
  ASSERT_EQ(real.ListDirectory(dir.Path("Store"), &entries), 0);
  std::vector<std::string> names;
  for (const DirEntry& entry : entries) names.push_back(entry.name);
  EXPECT_EQ(names, (std::vector<std::string>{"A.xml", "a.xml", "NAME.XML"}));
  EXPECT_EQ(testing::ReadText(dir.Path("Store/A.xml")), "replaced");
}

class CachingFileSystemKeepsTest : public ::testing::Test {
 protected:
  // Every call that reaches the wrapped file system from now on fails.
  void BreakTheDisk() { faulty_.FailAll(os_error::kGenFailure); }

  TempDir dir_;
  PosixFileSystem real_;
  testing::FaultInjectionFileSystem faulty_{real_};
};

TEST_F(CachingFileSystemKeepsTest, AnswersUntilDiscardedButNotTheBytesOfHugeFiles) {
  CachingFileSystem cache(faulty_);
  const std::string file = dir_.WriteFile("Store/a.xml", "a");
  const std::string huge =
      dir_.WriteFile("Store/huge.xml", std::string(CachingFileSystem::kLargestKeptFile + 1, 'x'));
  const std::string missing = dir_.Path("Store/none.xml");
  const std::string probes[] = {dir_.Path("Store"), file, missing};
  std::vector<std::string> before;
  for (const std::string& probe : probes) before.push_back(Describe(cache, probe));
  std::string contents;
  ASSERT_EQ(cache.ReadFile(huge, &contents), 0);

  BreakTheDisk();
  for (size_t i = 0; i < std::size(probes); ++i) {
    EXPECT_EQ(Describe(cache, probes[i]), before[i]) << probes[i];
  }
  EXPECT_EQ(cache.ReadFile(huge, &contents), os_error::kGenFailure);
  // Another spelling is another question for the disk.
  EXPECT_EQ(cache.ReadFile(dir_.Path("STORE/A.XML"), &contents), os_error::kGenFailure);

  cache.DiscardCache();
  EXPECT_EQ(cache.ReadFile(file, &contents), os_error::kGenFailure);
}

TEST_F(CachingFileSystemKeepsTest, DropsEverythingWhenOverItsBudget) {
  CachingFileSystem cache(faulty_, /*budget=*/4096);
  const std::string first = dir_.WriteFile("first.xml", std::string(1000, 'a'));
  const std::string second = dir_.WriteFile("second.xml", std::string(3500, 'b'));
  std::string contents;
  ASSERT_EQ(cache.ReadFile(first, &contents), 0);
  ASSERT_EQ(cache.ReadFile(second, &contents), 0);
  BreakTheDisk();
  EXPECT_EQ(cache.ReadFile(first, &contents), os_error::kGenFailure);
}

}  // namespace
}  // namespace q9
