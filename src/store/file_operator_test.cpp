#include "store/file_operator.h"

#include <filesystem>

#include <gtest/gtest.h>

#include "temp_dir.h"
#include "test_env.h"
#include "trace_capture.h"

namespace q9 {
namespace {

using testing::PathExists;
using testing::ReadText;
using testing::StringFile;
using testing::TempDir;
using testing::TestEnv;
using testing::TraceCapture;

class FileOperatorTest : public ::testing::Test {
 protected:
  FileOperatorTest()
      : log_(test_.env, std::make_unique<StringFile>(&log_text_)),
        paths_(test_.env, dir_.MakeDir("data"), dir_.MakeDir("files")),
        files_(test_.env, xml_, log_, paths_) {
    log_text_.clear();  // drop the first line
  }

  std::vector<std::string> AllNames(const std::string& folder) {
    std::vector<std::string> names;
    std::string name;
    for (uint32_t i = 0; files_.EnumFile(folder, i, &name) == PGSP_OK; ++i) names.push_back(name);
    return names;
  }

  TempDir dir_;
  TestEnv test_;
  XmlContext xml_{test_.env};
  std::string log_text_;
  InstallLog log_;
  StorePaths paths_;
  FileOperator files_;
};

TEST_F(FileOperatorTest, CopyFilesLogsTheCopyAndItsResult) {
  const std::string from = dir_.WriteFile("a.xml", "A");
  const std::string to = dir_.Path("b.xml");
  EXPECT_EQ(files_.CopyFiles(log_, from, to, 0), PGSP_OK);
  EXPECT_EQ(ReadText(to), "A");
  EXPECT_EQ(log_text_, ">> CopyFiles\nFile:   " + from + "   copied to:   " + to +
                           "\n<< CopyFiles returns with: 0\n");
}

TEST_F(FileOperatorTest, CopyFilesWithoutOverwriteFailsButStillLogsTheCopyLine) {
  const std::string from = dir_.WriteFile("a.xml", "A");
  const std::string to = dir_.WriteFile("b.xml", "B");
  EXPECT_EQ(files_.CopyFiles(log_, from, to, 0), ERR_COPY_FAILED);
  EXPECT_EQ(ReadText(to), "B");
  EXPECT_EQ(log_text_, ">> CopyFiles\nFile:   " + from + "   copied to:   " + to +
                           "\n<< CopyFiles returns with: 8512\n");
  log_text_.clear();
  EXPECT_EQ(files_.CopyFiles(log_, from, to, 7), PGSP_OK);
  EXPECT_EQ(ReadText(to), "A");
}

TEST_F(FileOperatorTest, CopyFilesRejectsEmptyPathsAfterTheEntryLine) {
  EXPECT_EQ(files_.CopyFiles(log_, "", dir_.Path("x"), 1), PGSP_ERR_INVALID_PARAMETERS);
  EXPECT_EQ(files_.CopyFiles(log_, dir_.Path("x"), "", 1), PGSP_ERR_INVALID_PARAMETERS);
  EXPECT_EQ(log_text_, ">> CopyFiles\n>> CopyFiles\n");
}

TEST_F(FileOperatorTest, DeleteFilesReportsTheOsErrorOnFailure) {
  const std::string file = dir_.WriteFile("gone.xml", "x");
  EXPECT_EQ(files_.DeleteFiles(log_, file), PGSP_OK);
  EXPECT_FALSE(PathExists(file));
  EXPECT_EQ(files_.DeleteFiles(log_, file), ERR_DELETE_FAILED);
  EXPECT_EQ(files_.DeleteFiles(log_, ""), ERR_DELETE_FAILED);
  EXPECT_EQ(log_text_, "Successfully deleted file: " + file + "\nDeleting file: " + file +
                           "   failed with: 2\nDeleting file:    failed with: 3\n");
}

TEST_F(FileOperatorTest, DeleteFilesRefusesReadOnlyFiles) {
  const std::string file = dir_.WriteFile("ro.xml", "x");
  ASSERT_EQ(test_.env.files().SetReadOnly(file, true), 0);
  EXPECT_EQ(files_.DeleteFiles(log_, file), ERR_DELETE_FAILED);
  EXPECT_TRUE(PathExists(file));
  EXPECT_EQ(log_text_, "Deleting file: " + file + "   failed with: 5\n");
}

TEST_F(FileOperatorTest, CreateDirSaysDeletedOnSuccessAndGives183ForExisting) {
  const std::string folder = dir_.Path("new");
  EXPECT_EQ(files_.CreateDir(log_, folder), PGSP_OK);
  EXPECT_EQ(files_.CreateDir(log_, folder), ERR_CREATE_DIRECTORY_FAILED);
  EXPECT_EQ(files_.CreateDir(log_, dir_.Path("no/parent")), ERR_CREATE_DIRECTORY_FAILED);
  EXPECT_EQ(log_text_, "Successfully deleted directory: " + folder + "\nCreating directory: " +
                           folder + "   failed with: 183\nCreating directory: " +
                           dir_.Path("no/parent") + "   failed with: 3\n");
}

TEST_F(FileOperatorTest, CopyDirectoryLandsUnderItsOwnNameInAnExistingFolder) {
  dir_.WriteFile("files/meta/DefaultLogDevices/a.xml", "a");
  const std::string backup = dir_.MakeDir("backup");
  EXPECT_EQ(files_.CopyDirectory(log_, paths_.Meta(), backup), PGSP_OK);
  EXPECT_EQ(ReadText(dir_.Path("backup/meta/DefaultLogDevices/a.xml")), "a");
  EXPECT_EQ(log_text_, ">> CopyDirectory\n<< CopyDirectory returns with: 0\n");
}

TEST_F(FileOperatorTest, CopyDirectoryToAMissingFolderTakesThatName) {
  dir_.WriteFile("files/meta(backup)/Boards/b.xml", "b");
  EXPECT_EQ(files_.CopyDirectory(log_, paths_.MetaBackup(), paths_.Meta()), PGSP_OK);
  EXPECT_EQ(ReadText(dir_.Path("files/meta/Boards/b.xml")), "b");
  EXPECT_FALSE(PathExists(dir_.Path("files/meta/meta(backup)")));
}

TEST_F(FileOperatorTest, CopyDirectoryFailures) {
  EXPECT_EQ(files_.CopyDirectory(log_, "", dir_.path()), PGSP_ERR_INVALID_PARAMETERS);
  EXPECT_EQ(log_text_, ">> CopyDirectory\n");
  log_text_.clear();
  EXPECT_EQ(files_.CopyDirectory(log_, dir_.Path("missing"), dir_.MakeDir("to")), ERR_COPY_FAILED);
  EXPECT_EQ(files_.CopyDirectory(log_, dir_.MakeDir("src"), dir_.Path("no/parent")),
            ERR_COPY_FAILED);
  EXPECT_EQ(log_text_, ">> CopyDirectory\n<< CopyDirectory returns with: 8512\n"
                       ">> CopyDirectory\n<< CopyDirectory returns with: 8512\n");
}

TEST_F(FileOperatorTest, DeleteDirectoryRemovesTheTreeAndFailsOnMissingOnes) {
  dir_.WriteFile("files/meta/Boards/b.xml", "b");
  EXPECT_EQ(files_.DeleteDirectory(paths_.Meta()), PGSP_OK);
  EXPECT_FALSE(PathExists(paths_.Meta()));
  EXPECT_EQ(files_.DeleteDirectory(paths_.Meta()), ERR_DELETE_FAILED);
  EXPECT_EQ(files_.DeleteDirectory(""), PGSP_ERR_INVALID_PARAMETERS);
  EXPECT_EQ(log_text_, "");
}

TEST_F(FileOperatorTest, EnumFileSkipsFoldersAndEndsWith259) {
  dir_.WriteFile("e/Boards.Schema.xsd", "");
  dir_.WriteFile("e/a.xml", "");
  dir_.MakeDir("e/sub");
  EXPECT_EQ(AllNames(dir_.Path("e")), (std::vector<std::string>{"a.xml", "Boards.Schema.xsd"}));
  std::string name;
  EXPECT_EQ(files_.EnumFile(dir_.Path("e"), 2, &name), PGSP_ERR_NO_MORE_ITEMS);
  EXPECT_EQ(files_.EnumFile(dir_.MakeDir("only-folders/x"), 0, &name), PGSP_ERR_NO_MORE_ITEMS);
  EXPECT_EQ(files_.EnumFile(dir_.Path("missing"), 0, &name), 3);
  EXPECT_EQ(files_.EnumFile("", 0, &name), PGSP_ERR_INVALID_PARAMETERS);
}

TEST_F(FileOperatorTest, EnumSchemesCountsOnlyLowerCaseXsdNames) {
  dir_.WriteFile("s/a.xml", "");
  dir_.WriteFile("s/B.XSD", "");
  dir_.WriteFile("s/c.xsd", "");
  dir_.WriteFile("s/xsd", "");
  dir_.WriteFile("s/.xsd", "");
  std::string name;
  ASSERT_EQ(files_.EnumSchemes(dir_.Path("s"), 0, &name), PGSP_OK);
  EXPECT_EQ(name, ".xsd");
  ASSERT_EQ(files_.EnumSchemes(dir_.Path("s"), 1, &name), PGSP_OK);
  EXPECT_EQ(name, "c.xsd");
  EXPECT_EQ(files_.EnumSchemes(dir_.Path("s"), 2, &name), PGSP_ERR_NO_MORE_ITEMS);
}

TEST_F(FileOperatorTest, FailedCopyTracesItsStepsAndTheOsError) {
  TraceCapture trace;
  const std::string from = dir_.WriteFile("a.xml", "A");
  const std::string to = dir_.WriteFile("b.xml", "B");
  ASSERT_EQ(files_.CopyFiles(log_, from, to, 0), ERR_COPY_FAILED);
  EXPECT_EQ(trace.Messages("CopyFiles: "),
            (std::vector<std::string>{">> Start", "From: " + from + ",  To: " + to + ",",
                                      "Cannot copy file " + from, "GetLastError() = 80",
                                      "<< return lRet = 8512"}));
  EXPECT_TRUE(trace.Has("FileOperator", "CopyFiles: ", 128, "<< return lRet = 8512"));
  EXPECT_TRUE(trace.Has("FileOperator", "CopyFiles: ", 8, ">> Start"));
}

TEST_F(FileOperatorTest, PrimitivesTraceTheirOutcomesAtTheirLevels) {
  TraceCapture trace;
  const std::string folder = dir_.Path("made");
  ASSERT_EQ(files_.CreateDir(log_, folder), PGSP_OK);
  ASSERT_EQ(files_.CreateDir(log_, folder), ERR_CREATE_DIRECTORY_FAILED);
  EXPECT_TRUE(trace.Has("FileOperator", "CreateDir: ", 128,
                        "Successfully created directory: " + folder));
  EXPECT_TRUE(trace.Has("FileOperator", "CreateDir: ", 128,
                        "Creating directory: " + folder + "  failed with: 183 "));
  std::string name;
  ASSERT_EQ(files_.EnumSchemes(dir_.Path("none"), 0, &name), 3);
  EXPECT_TRUE(trace.Has("FileOperator", "EnumSchemes: ", 16, "<< FindFirstFile failed! LastError: 3"));
  ASSERT_EQ(files_.EnumFile(folder, 0, &name), PGSP_ERR_NO_MORE_ITEMS);
  EXPECT_TRUE(trace.Has("FileOperator", "EnumFile: ", 16,
                        "<< FindFirstFile returned with PGSP_ERR_NO_MORE_ITEMS!"));
  ASSERT_EQ(files_.DeleteDirectory(folder), PGSP_OK);
  EXPECT_EQ(trace.Messages("DeleteDirectory: "),
            (std::vector<std::string>{"Delete existing directory: " + folder,
                                      "<< return lRet = 0"}));
  trace.Clear();
  ASSERT_EQ(files_.DeleteDirectory(""), PGSP_ERR_INVALID_PARAMETERS);
  ASSERT_EQ(files_.DeleteFiles(log_, folder), ERR_DELETE_FAILED);
  EXPECT_EQ(trace.Messages("DeleteDirectory: "), std::vector<std::string>{});
  EXPECT_TRUE(trace.Has("FileOperator", "DeleteFiles: ", 128,
                        "Deleting file: " + folder + "  failed!"));
}

}  // namespace
}  // namespace q9
