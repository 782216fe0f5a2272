// The shipped sample store against the validator: every template in it must
// validate, and every deliberately broken copy in examples/invalid must be
// rejected as invalid (not as unloadable). The store's own check script runs
// xmllint over the same files, so the two validators are held to agree.
#include <filesystem>
#include <string>
#include <vector>

#include <gtest/gtest.h>

#include "xml/validation.h"

namespace q9 {
namespace {

namespace fs = std::filesystem;

const std::string kStore = Q9_SAMPLE_STORE;
const std::string kSchemes = kStore + "/Schemes";

std::vector<std::string> XmlFilesIn(const std::string& folder) {
  std::vector<std::string> files;
  for (const auto& entry : fs::directory_iterator(folder)) {
    if (entry.path().extension() == ".xml") files.push_back(entry.path().string());
  }
  return files;
}

TEST(SampleStoreTest, EveryShippedTemplateValidates) {
  const std::pair<const char*, const char*> folders[] = {
      {"Install/DefaultLogdevices", "Corvane.Device.Driver.Logdevice"},
      {"Install/Protocols", "Protocols.Schema"},
      {"Install/Boards", "Boards.Schema"},
      {"Install/LogNames", "Corvane.Device.Driver.Logname"},
      {"meta", "DriverInfo.Schema"},
  };
  XmlContext xml(Env::Default());
  size_t checked = 0;
  for (const auto& [folder, schema] : folders) {
    for (const std::string& file : XmlFilesIn(kStore + "/" + folder)) {
      EXPECT_EQ(ValidateFile(xml, file, kSchemes, schema), PGSP_OK) << file;
      ++checked;
    }
  }
  EXPECT_GE(checked, 18u);
}

TEST(SampleStoreTest, BrokenCopiesAreRejectedAsInvalid) {
  XmlContext xml(Env::Default());
  size_t checked = 0;
  for (const auto& schema_folder : fs::directory_iterator(Q9_INVALID_SAMPLES)) {
    const std::string schema = schema_folder.path().filename().string();
    for (const std::string& file : XmlFilesIn(schema_folder.path().string())) {
      EXPECT_EQ(ValidateFile(xml, file, kSchemes, schema), kInvalidAgainstSchema) << file;
      ++checked;
    }
  }
  EXPECT_GE(checked, 20u);
}

}  // namespace
}  // namespace q9
