#include "child_process.h"

#include <sys/wait.h>
#include <unistd.h>

#include <cstdio>

namespace q9::testing {

std::vector<int> RunInChildProcesses(int count, const std::function<int(int index)>& body) {
  std::vector<pid_t> children;
  std::fflush(nullptr);  // buffered output must not be written twice
  for (int i = 0; i < count; ++i) {
    const pid_t pid = ::fork();
    if (pid == 0) ::_exit(body(i));
    children.push_back(pid);
  }
  std::vector<int> statuses;
  for (const pid_t pid : children) {
    int status = 0;
    if (pid < 0 || ::waitpid(pid, &status, 0) != pid || !WIFEXITED(status)) {
      statuses.push_back(-1);
    } else {
      statuses.push_back(WEXITSTATUS(status));
    }
  }
  return statuses;
}

}  // namespace q9::testing
