// Copies of the running process, for tests of behaviour between processes
// (locks, shared memory, files written by several writers at once).
#pragma once

#include <functional>
#include <vector>

namespace q9::testing {

// Forks `count` children that run `body(index)` at the same time and end
// with its result as their exit status, without running exit handlers.
// Returns each child's status, -1 for one that could not be started or that
// died from a signal.
std::vector<int> RunInChildProcesses(int count, const std::function<int(int index)>& body);

}  // namespace q9::testing
