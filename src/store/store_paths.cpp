#include "store/store_paths.h"

#include "platform/path.h"

namespace q9 {
namespace {

constexpr const char* kRegistryKey = "SOFTWARE\\Kestrel\\Shared Tools\\Q9NET64";
// Registry values are read into a buffer of 260 characters; a longer one fails.
constexpr size_t kRegistryBufferSize = 260;

std::string DefaultSubPath() {
  return JoinPath(JoinPath("Kestrel", "Automation"), "Corvane OAM");
}

// The text of a registry value of any type; empty when the key or the value
// is missing or does not fit.
std::string ReadRegistryRoot(Env& env, const char* value_name) {
  std::unique_ptr<RegistryKey> key;
  RegistryValue value;
  if (!env.registry().OpenKey(kRegistryKey, &key) || !key->QueryValue(value_name, &value)) {
    return std::string();
  }
  if (value.text.size() >= kRegistryBufferSize) return std::string();
  return value.text;
}

using FolderQuery = bool (KnownFolders::*)(std::string*);

std::string ResolveRoot(Env& env, const std::string& argument, const char* registry_value,
                        FolderQuery known_folder) {
  if (StorePaths::IsDirectory(env, argument)) return argument;
  std::string root = ReadRegistryRoot(env, registry_value);
  if (!StorePaths::IsDirectory(env, root)) {
    std::string folder;
    if ((env.folders().*known_folder)(&folder)) root = JoinPath(folder, DefaultSubPath());
  }
  if (!StorePaths::IsDirectory(env, root)) {
    // Only the last level is created; a missing parent leaves the root missing
    // and later file operations report it.
    (void)env.files().CreateDirectory(root);
  }
  return root;
}

}  // namespace

StorePaths::StorePaths(Env& env, const std::string& program_data_argument,
                       const std::string& program_files_argument)
    : program_data_(ResolveRoot(env, program_data_argument, "Corvane_Oam_Data",
                                &KnownFolders::CommonAppData)) {
  program_files_ = ResolveRoot(env, program_files_argument, "Corvane_Oam",
                               &KnownFolders::CommonProgramFiles);
}

bool StorePaths::IsDirectory(Env& env, const std::string& path) {
  FileInfo info;
  return !path.empty() && env.files().GetFileInfo(path, &info) == os_error::kSuccess &&
         info.is_directory;
}

std::string StorePaths::FilesPath(const char* a, const char* b) const {
  return program_files_ + kPathSeparator + a + (b ? kPathSeparator + std::string(b) : "");
}

std::string StorePaths::DataPath(const char* a, const char* b) const {
  return program_data_ + kPathSeparator + a + (b ? kPathSeparator + std::string(b) : "");
}

}  // namespace q9
