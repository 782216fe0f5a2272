// q9cfgImp64x: installs, updates, uninstalls and exports the communication
// templates of the store. The exit status is the operation's result code.
#include "app/entry_point.h"
#include "platform/caching_file_system.h"

namespace {

// A POSIX exit status keeps only the low eight bits. A failure whose low
// byte is zero (256, 8704, ...) must not look like success to the caller,
// so it exits with 255; the install log always holds the full code.
int ExitStatus(q9::ResultCode result) {
  if (result != 0 && (result & 0xFF) == 0) return 255;
  return result & 0xFF;
}

}  // namespace

int main(int argc, char** argv) {
  // The run reads the same folders and templates many times; the cache keeps
  // them between the program's own changes.
  q9::Env& real = q9::Env::Default();
  q9::CachingFileSystem files(real.files());
  q9::Env env(files, real.registry(), real.folders(), real.libraries(), real.shared(),
              real.clock(), real.process());
  return ExitStatus(q9::RunCfgImp(env, argc, argv));
}
