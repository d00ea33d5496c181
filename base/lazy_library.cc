#include "base/lazy_library.h"

#include <dlfcn.h>
#include <syslog.h>

namespace VEXO::base {

// Global, as if it were linked: a PAM module may use libpam without naming it.
LazyLibrary::LazyLibrary(const char* name)
    : handle_(Check(dlopen(name, RTLD_NOW | RTLD_GLOBAL))) {}

void* LazyLibrary::Find(const char* function_name) {
  return good_ ? Check(dlsym(handle_, function_name)) : nullptr;
}

void* LazyLibrary::Check(void* found) {
  if (found == nullptr) {
    good_ = false;
    syslog(LOG_ERR, "cannot load a library: %s", dlerror());
  }
  return found;
}

}  // namespace VEXO::base
