// q9cfgImp64x: installs, updates, uninstalls and exports the communication
// templates of the store. The exit status is the operation's result code.
#include "app/entry_point.h"
#include "app/exit_status.h"
#include "platform/caching_file_system.h"

int main(int argc, char** argv) {
  // The run reads the same folders and templates many times; the cache keeps
  // them between the program's own changes.
  q9::Env& real = q9::Env::Default();
  q9::CachingFileSystem files(real.files());
  q9::Env env(files, real.registry(), real.folders(), real.libraries(), real.shared(),
              real.clock(), real.process());
  return q9::ExitStatus(q9::RunCfgImp(env, argc, argv));
}
