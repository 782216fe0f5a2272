// Links planted inside a store that point elsewhere: whatever mode runs,
// nothing outside the store changes.
#include <filesystem>
#include <vector>

#include <gtest/gtest.h>

#include "tool_runner.h"

namespace q9::testing {
namespace {

namespace fs = std::filesystem;

// Makes every file below `root` read-only, as a package might leave them.
void MakeFilesReadOnly(const std::string& root) {
  for (const fs::directory_entry& entry : fs::recursive_directory_iterator(root)) {
    if (entry.is_regular_file()) {
      fs::permissions(entry.path(), fs::perms::owner_write, fs::perm_options::remove);
    }
  }
}

// Where a link is planted (relative to the store) and what sample content
// sits outside in its place.
struct Plant {
  const char* at;
  const char* sample;  // relative to the sample store; "" for an empty folder
};

constexpr Plant kPlants[] = {
    {"meta", "meta"},
    {"Install/Boards/Board.xml", "meta/PGSP.xml"},
    {"Schemes", "Schemes"},
    {"Schemes/Boards.Schema.xsd", "Schemes/Boards.Schema.xsd"},
    {"data/LogDevices", "meta"},
    {"meta(backup)", "meta"},
    {"LogDevices(backup)", "meta"},
};

// Every mode, the default one included.
const std::vector<std::vector<std::string>> kModes = {{"-u"}, {"-i"}, {}, {"-e", "e=PGSP"}};

TEST(LinksOutOfTheStoreTest, NoModeChangesAnythingALinkPointsTo) {
  for (const Plant& plant : kPlants) {
    for (const std::vector<std::string>& mode : kModes) {
      ToolRunner runner;
      const std::string store = runner.dir().Path("store");
      fs::copy(Q9_SAMPLE_STORE, store, fs::copy_options::recursive);
      runner.dir().WriteFile("store/data/LogDevices/dev.xml", "<dev/>");
      const std::string outside = runner.dir().Path("outside");
      const std::string target = outside + "/" + fs::path(plant.at).filename().string();
      fs::create_directories(outside);
      fs::copy(std::string(Q9_SAMPLE_STORE) + "/" + plant.sample, target,
               fs::copy_options::recursive);
      MakeFilesReadOnly(outside);
      const std::string at = store + "/" + plant.at;
      fs::remove_all(at);
      fs::create_symlink(target, at);
      runner.WriteStoreRegistry(store, store);
      const auto before = Snapshot(outside);

      (void)runner.Run(mode);  // the result depends on the mode; the outside must not

      EXPECT_EQ(Snapshot(outside), before)
          << plant.at << " in mode " << (mode.empty() ? "(default)" : mode[0]);
    }
  }
}

}  // namespace
}  // namespace q9::testing
