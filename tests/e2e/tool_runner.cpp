#include "tool_runner.h"

#include <fcntl.h>
#include <spawn.h>
#include <sys/wait.h>
#include <unistd.h>

#include <filesystem>

namespace q9::testing {

ToolRunner::ToolRunner() {
  environment_["PATH"] = "/usr/bin:/bin";
  environment_["Q9_REGISTRY_FILE"] = dir_.Path("registry.reg");
  environment_["AutInstLog"] = dir_.MakeDir("logs") + "/";
  environment_["Q9_COMMON_APPDATA"] = dir_.MakeDir("var-opt");
  environment_["Q9_COMMON_FILES"] = dir_.MakeDir("opt");
}

void ToolRunner::WriteStoreRegistry(const std::string& files, const std::string& data) {
  // Test paths hold neither the backslashes nor the quotes that .reg strings escape.
  std::string reg = "Windows Registry Editor Version 5.00\r\n\r\n"
                    "[HKEY_LOCAL_MACHINE\\SOFTWARE\\Kestrel\\Shared Tools\\Q9NET64]\r\n";
  if (!files.empty()) reg += "\"Corvane_Oam\"=\"" + files + "\"\r\n";
  if (!data.empty()) reg += "\"Corvane_Oam_Data\"=\"" + data + "\"\r\n";
  dir_.WriteFile("registry.reg", reg);
}

int ToolRunner::Run(const std::vector<std::string>& args) {
  std::filesystem::remove_all(dir_.Path("logs"));
  dir_.MakeDir("logs");

  std::vector<std::string> argv_text = {Q9_TOOL_PATH};
  argv_text.insert(argv_text.end(), args.begin(), args.end());
  std::vector<char*> argv;
  for (std::string& arg : argv_text) argv.push_back(arg.data());
  argv.push_back(nullptr);
  std::vector<std::string> env_text;
  for (const auto& [name, value] : environment_) env_text.push_back(name + "=" + value);
  std::vector<char*> envp;
  for (std::string& entry : env_text) envp.push_back(entry.data());
  envp.push_back(nullptr);

  posix_spawn_file_actions_t actions;
  posix_spawn_file_actions_init(&actions);
  const std::string stderr_path = dir_.Path("stderr.txt");
  posix_spawn_file_actions_addopen(&actions, 2, stderr_path.c_str(), O_WRONLY | O_CREAT | O_TRUNC,
                                   0644);
  pid_t pid = 0;
  const int spawned = posix_spawn(&pid, argv[0], &actions, nullptr, argv.data(), envp.data());
  posix_spawn_file_actions_destroy(&actions);
  if (spawned != 0) return -1;
  int status = 0;
  if (waitpid(pid, &status, 0) != pid || !WIFEXITED(status)) return -1;
  return WEXITSTATUS(status);
}

std::string ToolRunner::UseSampleStore() {
  const std::string store = dir_.Path("Corvane OAM");
  std::filesystem::copy(Q9_SAMPLE_STORE, store, std::filesystem::copy_options::recursive);
  WriteStoreRegistry(store, store);
  return store;
}

}  // namespace q9::testing
