#include "internal/popen.h"

#include <vexo/core.h>

#include "utils/log.h"

namespace VEXO::sharing {

namespace {

const char kSource[] = "internal/popen";

}  // namespace

Popen::Popen(const char* path, const char* const argv[])
    : file(VLIBCPopenv(path, "r", argv)) {
  if (file == nullptr) {
    LogError("%s:%d (%u) VLIBCPopenv failed.\n", kSource, __LINE__, Pid());
  }
}

Popen::~Popen() {
  if (file != nullptr) {
    VLIBCPclose(file);
  }
}

}  // namespace VEXO::sharing
