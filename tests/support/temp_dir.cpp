#include "temp_dir.h"

#include <stdlib.h>

#include <filesystem>
#include <fstream>
#include <sstream>
#include <stdexcept>
#include <vector>

namespace q9::testing {

TempDir::TempDir() {
  std::string pattern = (std::filesystem::temp_directory_path() / "q9test-XXXXXX").string();
  if (::mkdtemp(pattern.data()) == nullptr) throw std::runtime_error("mkdtemp failed");
  path_ = pattern;
}

TempDir::~TempDir() {
  std::error_code ec;
  // Tests make files read-only; give the owner write access back first.
  for (auto it = std::filesystem::recursive_directory_iterator(path_, ec);
       !ec && it != std::filesystem::recursive_directory_iterator(); it.increment(ec)) {
    std::filesystem::permissions(it->path(), std::filesystem::perms::owner_all,
                                 std::filesystem::perm_options::add, ec);
  }
  std::filesystem::remove_all(path_, ec);
}

std::string TempDir::WriteFile(const std::string& relative, const std::string& contents) const {
  const std::filesystem::path full = Path(relative);
  std::filesystem::create_directories(full.parent_path());
  std::ofstream(full, std::ios::binary) << contents;
  return full.string();
}

std::string TempDir::MakeDir(const std::string& relative) const {
  std::filesystem::create_directories(Path(relative));
  return Path(relative);
}

std::string ReadText(const std::string& path) {
  std::ifstream in(path, std::ios::binary);
  if (!in) return "<missing>";
  std::ostringstream contents;
  contents << in.rdbuf();
  return contents.str();
}

bool PathExists(const std::string& path) {
  std::error_code ec;
  return std::filesystem::exists(std::filesystem::symlink_status(path, ec));
}

std::string ReadOnlyFileIn(const std::string& folder) {
  std::vector<std::string> files;
  for (const auto& entry : std::filesystem::directory_iterator(folder)) {
    files.push_back(entry.path().string());
  }
  if (files.size() != 1) return "<" + std::to_string(files.size()) + " files>";
  return ReadText(files[0]);
}

std::string AfterFirstLine(const std::string& text) {
  const size_t newline = text.find('\n');
  return newline == std::string::npos ? text : text.substr(newline + 1);
}

std::map<std::string, std::string> Snapshot(const std::string& root) {
  namespace fs = std::filesystem;
  std::map<std::string, std::string> state;
  const auto describe = [](const fs::path& path) {
    const std::string perms = std::to_string(static_cast<int>(fs::status(path).permissions()));
    return perms + " " + (fs::is_regular_file(path) ? ReadText(path) : "<folder>");
  };
  if (!fs::exists(root)) return state;
  state["."] = describe(root);
  if (!fs::is_directory(root)) return state;
  for (const fs::directory_entry& entry : fs::recursive_directory_iterator(root)) {
    state[fs::relative(entry.path(), root).string()] = describe(entry.path());
  }
  return state;
}
std::vector<std::string> LeftoverTemporaryFiles(const std::string& dir) {
  std::vector<std::string> names;
  for (const auto& entry : std::filesystem::directory_iterator(dir)) {
    const std::string name = entry.path().filename().string();
    if (name.starts_with(".q9tmp-")) names.push_back(name);
  }
  return names;
}

}  // namespace q9::testing
