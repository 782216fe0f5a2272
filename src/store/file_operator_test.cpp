#include "store/file_operator.h"

#include <filesystem>

#include <gtest/gtest.h>

#include "temp_dir.h"
#include "template_files.h"
#include "test_env.h"
#include "trace_capture.h"

namespace q9 {
namespace {

using testing::LogDeviceXml;
using testing::LogNameXml;
using testing::PathExists;
using testing::ReadText;
using testing::TraceCapture;

class FileOperatorTest : public ::testing::Test {
 protected:
  FileOperatorTest()
      : log_(test_.env, std::make_unique<testing::StringFile>(&log_text_)),
        paths_(test_.env, dir_.MakeDir("data"), dir_.MakeDir("files")),
        files_(test_.env, xml_, paths_) {
    log_text_.clear();  // drop the first line
  }

  // The names an enumeration gives index by index, then "#" and the code that ended it.
  using Enumeration = ResultCode (FileOperator::*)(const std::string&, uint32_t, std::string*);
  std::string Listing(const std::string& folder, Enumeration enumerate = &FileOperator::EnumFile) {
    std::string listed;
    std::string name;
    uint32_t index = 0;
    ResultCode result;
    while ((result = (files_.*enumerate)(folder, index++, &name)) == PGSP_OK) listed += name + " ";
    return listed + "#" + std::to_string(result);
  }

  // Writes `relative` below the program-files root.
  std::string Store(const std::string& relative, const std::string& contents) {
    return dir_.WriteFile("files/" + relative, contents);
  }
  void CopySampleSchemes() {
    std::filesystem::copy(Q9_SAMPLE_STORE "/Schemes", dir_.MakeDir("files/Schemes"));
  }

  testing::TempDir dir_;
  testing::TestEnv test_;
  XmlContext xml_{test_.env};
  std::string log_text_;
  InstallLog log_;
  StorePaths paths_;
  FileOperator files_;
};

TEST_F(FileOperatorTest, CopyFilesLogsTheCopyLineWhetherOrNotItWorked) {
  const std::string from = dir_.WriteFile("a.xml", "A");
  const std::string to = dir_.Path("b.xml");
  // The target's contents before (nullptr: none), the overwrite flag, the
  // result and the target's contents after.
  const std::tuple<const char*, int32_t, ResultCode, const char*> cases[] = {
      {nullptr, 0, PGSP_OK, "A"}, {"B", 0, ERR_COPY_FAILED, "B"}, {"B", 7, PGSP_OK, "A"}};
  for (const auto& [existing, overwrite, result, after] : cases) {
    std::filesystem::remove(to);
    if (existing != nullptr) dir_.WriteFile("b.xml", existing);
    log_text_.clear();
    EXPECT_EQ(files_.CopyFiles(log_, from, to, overwrite), result);
    EXPECT_EQ(ReadText(to), after);
    EXPECT_EQ(log_text_, ">> CopyFiles\nFile:   " + from + "   copied to:   " + to +
                             "\n<< CopyFiles returns with: " + std::to_string(result) + "\n");
  }
  log_text_.clear();
  EXPECT_EQ(files_.CopyFiles(log_, "", to, 1), PGSP_ERR_INVALID_PARAMETERS);
  EXPECT_EQ(files_.CopyFiles(log_, from, "", 1), PGSP_ERR_INVALID_PARAMETERS);
  EXPECT_EQ(log_text_, ">> CopyFiles\n>> CopyFiles\n");
}

TEST_F(FileOperatorTest, DeleteFilesReportsTheOsErrorOnFailure) {
  const std::string file = dir_.WriteFile("gone.xml", "x");
  const std::string read_only = dir_.WriteFile("ro.xml", "x");
  ASSERT_EQ(test_.env.files().SetReadOnly(read_only, true), 0);
  EXPECT_EQ(files_.DeleteFiles(log_, file), PGSP_OK);
  EXPECT_FALSE(PathExists(file));
  EXPECT_EQ(files_.DeleteFiles(log_, file), ERR_DELETE_FAILED);
  EXPECT_EQ(files_.DeleteFiles(log_, read_only), ERR_DELETE_FAILED);
  EXPECT_TRUE(PathExists(read_only));
  EXPECT_EQ(files_.DeleteFiles(log_, ""), ERR_DELETE_FAILED);
  EXPECT_EQ(log_text_, "Successfully deleted file: " + file + "\nDeleting file: " + file +
                           "   failed with: 2\nDeleting file: " + read_only +
                           "   failed with: 5\nDeleting file:    failed with: 3\n");
}

TEST_F(FileOperatorTest, CreateDirSaysDeletedOnSuccessAndGives183AndDeleteDirectoryLogsNothing) {
  const std::string folder = dir_.Path("new");
  EXPECT_EQ(files_.CreateDir(log_, folder), PGSP_OK);
  EXPECT_EQ(files_.CreateDir(log_, folder), ERR_CREATE_DIRECTORY_FAILED);
  EXPECT_EQ(files_.CreateDir(log_, dir_.Path("no/parent")), ERR_CREATE_DIRECTORY_FAILED);
  // DeleteDirectory removes the tree, fails on a missing one and logs nothing.
  dir_.WriteFile("new/b.xml", "b");
  EXPECT_EQ(files_.DeleteDirectory(folder), PGSP_OK);
  EXPECT_FALSE(PathExists(folder));
  EXPECT_EQ(files_.DeleteDirectory(folder), ERR_DELETE_FAILED);
  EXPECT_EQ(files_.DeleteDirectory(""), PGSP_ERR_INVALID_PARAMETERS);
  EXPECT_EQ(log_text_, "Successfully deleted directory: " + folder + "\nCreating directory: " +
                           folder + "   failed with: 183\nCreating directory: " +
                           dir_.Path("no/parent") + "   failed with: 3\n");
}

TEST_F(FileOperatorTest, CopyDirectoryLandsUnderItsOwnNameOrTakesTheMissingTargetsName) {
  dir_.WriteFile("files/meta/DefaultLogDevices/a.xml", "<L ID=\"A\"/>");
  const std::string replaced =
      dir_.WriteFile("backup/meta/DefaultLogDevices/a.xml", "<L ID=\"B\"/>");
  std::string id;
  ASSERT_EQ(xml_.facts().RootAttribute(replaced, "ID", &id), PGSP_OK);
  const auto time = std::filesystem::last_write_time(replaced);
  EXPECT_EQ(files_.CopyDirectory(log_, paths_.Meta(), dir_.MakeDir("backup")), PGSP_OK);
  // What was known of a replaced file goes, also where the clock is too
  // coarse to show the change.
  std::filesystem::last_write_time(replaced, time);
  EXPECT_EQ(xml_.facts().RootAttribute(replaced, "ID", &id), PGSP_OK);
  EXPECT_EQ(id, "A");
  EXPECT_EQ(files_.CopyDirectory(log_, paths_.Meta(), paths_.MetaBackup()), PGSP_OK);
  EXPECT_EQ(ReadText(paths_.MetaBackup() + "/DefaultLogDevices/a.xml"), "<L ID=\"A\"/>");
  EXPECT_EQ(files_.CopyDirectory(log_, "", dir_.path()), PGSP_ERR_INVALID_PARAMETERS);
  EXPECT_EQ(files_.CopyDirectory(log_, dir_.Path("missing"), dir_.MakeDir("to")), ERR_COPY_FAILED);
  EXPECT_EQ(files_.CopyDirectory(log_, dir_.MakeDir("src"), dir_.Path("no/parent")),
            ERR_COPY_FAILED);
  const std::string copied = ">> CopyDirectory\n<< CopyDirectory returns with: 0\n";
  const std::string failed = ">> CopyDirectory\n<< CopyDirectory returns with: 8512\n";
  EXPECT_EQ(log_text_, copied + copied + ">> CopyDirectory\n" + failed + failed);
}

TEST_F(FileOperatorTest, EnumerationsSkipFoldersAndEndWith259) {
  for (const char* name : {"Boards.Schema.xsd", "a.xml", "B.XSD", "c.xsd", "xsd", ".xsd"}) {
    dir_.WriteFile(std::string("e/") + name, "");
  }
  dir_.MakeDir("e/sub.xsd");
  dir_.MakeDir("only-folders/x");
  const std::tuple<Enumeration, std::string, std::string> cases[] = {
      {&FileOperator::EnumFile, dir_.Path("e"),
       ".xsd a.xml B.XSD Boards.Schema.xsd c.xsd xsd #259"},
      {&FileOperator::EnumFile, dir_.Path("only-folders"), "#259"},
      {&FileOperator::EnumFile, dir_.Path("missing"), "#3"},
      {&FileOperator::EnumFile, "", "#" + std::to_string(PGSP_ERR_INVALID_PARAMETERS)},
      // Only names ending in ".xsd" exactly count.
      {&FileOperator::EnumSchemes, dir_.Path("e"), ".xsd Boards.Schema.xsd c.xsd #259"},
  };
  for (const auto& [enumerate, folder, listed] : cases) {
    EXPECT_EQ(Listing(folder, enumerate), listed) << folder;
  }
}

TEST_F(FileOperatorTest, PrimitivesTraceTheirStepsAndOutcomesAtTheirLevels) {
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

TEST_F(FileOperatorTest, CleanMetaAndCleanDataRenewOnlyTheKindFolders) {
  Store("meta/PGSP.xml", "fixed");
  Store("meta/Boards/b.xml", "b");
  Store("meta/Protocols/p.xml", "p");
  dir_.WriteFile("data/data/LogDevices/d.xml", "d");
  dir_.WriteFile("data/data/LogNames/n.xml", "n");
  dir_.WriteFile("data/data/keep.xml", "k");
  files_.CleanMeta(log_);
  EXPECT_EQ(log_text_, "Creating directory: " + paths_.Meta() + "   failed with: 183\n" +
                           "Successfully deleted directory: " + paths_.MetaDefaultLogDevices() +
                           "\nSuccessfully deleted directory: " + paths_.MetaProtocols() +
                           "\nSuccessfully deleted directory: " + paths_.MetaBoards() + "\n");
  files_.CleanData(log_);
  EXPECT_EQ(ReadText(paths_.Meta() + "/PGSP.xml"), "fixed");
  EXPECT_EQ(Listing(paths_.Data()), "keep.xml #259");
  for (const std::string& kind : {paths_.MetaBoards(), paths_.MetaProtocols(),
                                  paths_.MetaDefaultLogDevices(), paths_.DataLogDevices(),
                                  paths_.DataLogNames()}) {
    EXPECT_EQ(Listing(kind), "#259") << kind;
  }
}

TEST_F(FileOperatorTest, CleanLogdevicesReportsDeletedFilesAsTheFailure) {
  const std::tuple<std::vector<std::string>, bool, ResultCode, std::string> cases[] = {
      {{}, false, PGSP_OK, "#259"},
      {{"a.xml", "b.xml"}, false, ERR_DELETE_FAILED, "#259"},
      {{"ro.xml"}, true, PGSP_OK, "ro.xml #259"},
  };
  for (const auto& [names, read_only, result, left] : cases) {
    const std::string folder = dir_.MakeDir("data/data/LogDevices");
    for (const std::string& name : names) {
      const std::string file = dir_.WriteFile("data/data/LogDevices/" + name, "x");
      ASSERT_EQ(test_.env.files().SetReadOnly(file, read_only), 0);
    }
    TraceCapture trace;
    EXPECT_EQ(files_.CleanLogdevices(log_), result) << names.size();
    EXPECT_EQ(Listing(folder), left);
    const bool deleted = result == ERR_DELETE_FAILED;
    EXPECT_EQ(trace.Has("FileOperator", "CleanLogdevices: ", 64,
                        "Cannot delete file: a.xml   because of errorcode = 0"),
              deleted);
    EXPECT_TRUE(trace.Has("FileOperator", "CleanLogdevices: ", 128,
                          deleted ? "<< Cannot delete one or more LogDevices"
                                  : "<< Deleted LogDevice XML files"));
    std::filesystem::remove_all(folder);
  }
}

TEST_F(FileOperatorTest, CopyLogNamesToMetaCopiesValidMissingNamesIntoData) {
  CopySampleSchemes();
  Store("Install/LogNames/Automation-OnlineAccess-LN-NEW.xml", LogNameXml("NEW"));
  Store("Install/LogNames/Automation-OnlineAccess-LN-OLD.xml", LogNameXml("OLD2"));
  Store("Install/LogNames/Automation-OnlineAccess-LN-BAD.xml", LogDeviceXml("", "x"));
  const std::string old_file =
      dir_.WriteFile("data/data/LogNames/automation-onlineaccess-ln-old.xml.keep", "mine");
  TraceCapture trace;
  EXPECT_EQ(files_.CopyLogNamesToMeta(log_), PGSP_OK);
  EXPECT_EQ(Listing(paths_.DataLogNames()),
            "Automation-OnlineAccess-LN-NEW.xml automation-onlineaccess-ln-old.xml.keep #259");
  EXPECT_EQ(ReadText(old_file), "mine");
  EXPECT_TRUE(trace.Has("FileOperator", "CopyLogNamesToMeta: ", 64,
                        "Invalid Logname: Automation-OnlineAccess-LN-BAD.xml not coppied to meta"));
  EXPECT_EQ(log_text_.substr(0, 24), ">> CopyLogNamesToData\n>>");
  EXPECT_EQ(log_text_.substr(log_text_.size() - 22), "<< CopyLogNamesToData\n");
  EXPECT_EQ(log_text_.find("LN-BAD"), std::string::npos);
}

TEST_F(FileOperatorTest, InstallTemplatesExistNeedsAFileInEachKindFolder) {
  const std::pair<std::vector<std::string>, ResultCode> cases[] = {
      {{"DefaultLogdevices/d.xml", "Boards/b.xml", "Protocols/p.xml"}, PGSP_OK},
      {{"DefaultLogdevices/d.xml", "Boards/b.xml", "Protocols/sub/p.xml"}, ERR_MISSING_TEMPL_IN_INSTALL},
      {{"DefaultLogdevices/d.xml", "Protocols/p.xml", "LogNames/n.xml"}, ERR_MISSING_TEMPL_IN_INSTALL},
  };
  for (const auto& [files, result] : cases) {
    std::filesystem::remove_all(paths_.Install());
    for (const std::string& file : files) Store("Install/" + file, "x");
    log_text_.clear();
    EXPECT_EQ(files_.InstallTemplatesExist(log_), result) << files[2];
    EXPECT_EQ(log_text_, result == PGSP_OK ? "InstallTemplates Exist returns successfull!\n"
                                           : "InstallTemplates are empty!!!\n");
  }
}

TEST_F(FileOperatorTest, CheckSchemesWantsExactlyOneSchemaOfEachKind) {
  // Schemas added, schemas removed, and whether each kind still has one.
  const std::tuple<std::vector<std::string>, const char*, bool> cases[] = {
      {{"Other.xsd", "Boards.Schema.XSD"}, nullptr, true},
      {{"Boards.Schema.v2.xsd"}, nullptr, false},
      {{}, "Protocols.Schema.xsd", false},
      {{"protocols.schema.xsd"}, "Protocols.Schema.xsd", false},
  };
  for (const auto& [extra, removed, complete] : cases) {
    std::filesystem::remove_all(paths_.Schemes());
    CopySampleSchemes();
    for (const std::string& name : extra) Store("Schemes/" + name, "");
    if (removed != nullptr) std::filesystem::remove(paths_.Schemes() + "/" + removed);
    log_text_.clear();
    EXPECT_EQ(files_.CheckSchemes(log_), PGSP_OK);
    EXPECT_EQ(log_text_, complete ? "" : "Scheme file(s) not found!\n") << extra.size();
  }
}

// A store with two protocols' worth of generated log devices, for the
// removal operations.
class TemplateRemovalTest : public FileOperatorTest {
 protected:
  TemplateRemovalTest() {
    Store("meta/Protocols/Automation-OnlineAccess-PT-TCPIP.xml",
          testing::ProtocolXml(R"(Name="TCPIP")"));
    Store("meta/Boards/x-Automation-OnlineAccess-BT-CL1613.xml",
          testing::BoardXml(R"(DeviceID="CL1613" CP_TYPE="H1")"));
    Store("meta/DefaultLogDevices/Automation-OnlineAccess-LDT-CL1613.H1.xml",
          LogDeviceXml(R"(DeviceID="CL1613" CP_TYPE="H1")", "CL1613.H1"));
    Device("a.xml", R"(DeviceID="CL1613" CP_TYPE="TCPIP")", "CL1613.TCPIP");
    Device("b.xml", R"(DeviceID="ETH" CP_TYPE="TCPIP")", "ETH.TCPIP");
    Device("c.xml", R"(DeviceID="CL1613" CP_TYPE="H1")", "CL1613.H1");
    Device("d.xml", R"(DeviceID="CL1613" CP_TYPE="H1")", "other");
    Device("e.xml", R"(DeviceID="KBUSB" CP_TYPE="KBUS")", "KB");
  }
  void Device(const std::string& name, const char* attributes, const char* device_name) {
    dir_.WriteFile("data/data/LogDevices/" + name, LogDeviceXml(attributes, device_name));
  }
  std::string LogDevices() { return Listing(paths_.DataLogDevices()); }
};

TEST_F(TemplateRemovalTest, DeleteAssociatedLogDevicesFollowsTheTemplateKind) {
  const std::string all = "a.xml b.xml c.xml d.xml e.xml #259";
  // The template's name, the devices left and the trace of the first deletion.
  const std::tuple<std::string, std::string, std::string> cases[] = {
      {"Automation-OnlineAccess-PT-TCPIP.xml", "c.xml d.xml e.xml #259",
       "Delete Protocol-Associated LogDevice= a.xml"},
      {"x-Automation-OnlineAccess-BT-CL1613.xml", "b.xml e.xml #259",
       "Delete Board-Associated LogDevice= d.xml"},
      {"Automation-OnlineAccess-LDT-CL1613.H1.xml", "a.xml b.xml d.xml e.xml #259",
       "Delete DefLogDevice-Associated LogDevice= c.xml"},
      {"TCPIP.xml", all, ""},
      {"", all, ""},
      {"../Protocols/Automation-OnlineAccess-PT-TCPIP.xml", all, ""},
  };
  for (const auto& [name, left, traced] : cases) {
    const std::string backup = dir_.Path("backup");
    std::filesystem::copy(paths_.DataLogDevices(), backup);
    TraceCapture trace;
    EXPECT_EQ(files_.DeleteAssociatedLogDevices(name), PGSP_OK);
    EXPECT_EQ(LogDevices(), left) << name;
    EXPECT_TRUE(traced.empty() ||
                trace.Has("FileOperator", "DeleteAssociatedLogDevices: ", 64, traced)) << name;
    std::filesystem::remove_all(paths_.DataLogDevices());
    std::filesystem::rename(backup, paths_.DataLogDevices());
  }
}

TEST_F(TemplateRemovalTest, ExportAndDeleteRemoveOnlyTheirTemplatesAndNoLogDevice) {
  const std::string install = Store("Install/Protocols/Automation-OnlineAccess-PT-TCPIP.xml", "i");
  for (const char* name : {"Automation-OnlineAccess-LDT-CL1613.H1.xml", "",
                           "../Protocols/Automation-OnlineAccess-PT-TCPIP.xml"}) {
    EXPECT_EQ(files_.ExportAndDeleteTemplates(name), PGSP_OK);
  }
  EXPECT_EQ(Listing(paths_.MetaProtocols()), "Automation-OnlineAccess-PT-TCPIP.xml #259");
  EXPECT_EQ(Listing(paths_.MetaDefaultLogDevices()),
            "Automation-OnlineAccess-LDT-CL1613.H1.xml #259");
  EXPECT_EQ(files_.ExportAndDeleteTemplates("Automation-OnlineAccess-PT-TCPIP.xml"), PGSP_OK);
  EXPECT_EQ(files_.ExportAndDeleteTemplates("x-Automation-OnlineAccess-BT-CL1613.xml"), PGSP_OK);
  EXPECT_EQ(Listing(paths_.MetaProtocols()), "#259");
  EXPECT_EQ(Listing(paths_.MetaBoards()), "#259");
  EXPECT_EQ(ReadText(install), "i");

  // The default log device's Install file is found in any letter case.
  const std::string default_install = Store("Install/DefaultLogdevices/Automation-OnlineAccess-LDT-CL1613.H1.xml",
                                    LogDeviceXml(R"(DeviceID="CL1613" CP_TYPE="H1")", "CL1613.H1"));
  const std::string meta = paths_.MetaDefaultLogDevices() + "/Automation-OnlineAccess-LDT-CL1613.H1.xml";
  for (const char* name : {"Automation-OnlineAccess-LDT-CL1613", "../DefaultLogdevices/x.xml", "..",
                           "AUTOMATION-ONLINEACCESS-LDT-CL1613.H1.xml/"}) {
    EXPECT_EQ(files_.ExportAndDeleteDefaultLogDevices(name), PGSP_OK);
    EXPECT_TRUE(PathExists(default_install)) << name;
    EXPECT_TRUE(PathExists(meta)) << name;
  }
  EXPECT_EQ(files_.ExportAndDeleteDefaultLogDevices("AUTOMATION-ONLINEACCESS-LDT-cl1613.h1"), PGSP_OK);
  EXPECT_FALSE(PathExists(default_install));
  EXPECT_FALSE(PathExists(meta));
  EXPECT_EQ(LogDevices(), "a.xml b.xml c.xml d.xml e.xml #259");
}

}  // namespace
}  // namespace q9
