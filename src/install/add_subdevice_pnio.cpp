#include "install/installer.h"
#include "merge/section_entries.h"
#include "platform/path.h"

namespace q9 {

void Installer::AddSubdevicePNIO() {
  log_.Write(">> AddSubdevicePNIO");
  const std::string folder = paths().MetaDefaultLogDevices();
  // Listed first: the writes below must not change which files are visited.
  for (const std::string& name : ListFiles(folder)) {
    const std::string path = JoinPath(folder, name);
    std::string cp_type;
    if (xml().facts().RootAttribute(path, "CP_TYPE", &cp_type) != PGSP_OK || cp_type != "H1") {
      continue;
    }
    (void)WriteSubdeviceParameter(xml(), path, "PNIO", "L4DRIVER", "q9opnio64x.dll", "Parameter",
                                  0);
  }
  log_.Write("<< AddSubdevicePNIO");
}

}  // namespace q9
