#include "system_account.h"

#include <unistd.h>

namespace tools {

bool IsRootOrSystemAccount() { return geteuid() == 0 || geteuid() == kSystemUid; }

}  // namespace tools
