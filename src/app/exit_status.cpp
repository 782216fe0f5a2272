#include "app/exit_status.h"

namespace q9 {

int ExitStatus(ResultCode result) {
  if (result != PGSP_OK && (result & 0xFF) == 0) return 255;
  return result & 0xFF;
}

}  // namespace q9
