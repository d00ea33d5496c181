#include "calls.h"

#include <dlfcn.h>
#include <sys/types.h>
#include <unistd.h>

#include <cstdio>
#include <cstdlib>

namespace {

bench::Calls counted;

template <class Function>
Function* Original(Function* /*replacement*/, const char* name) {
  return reinterpret_cast<Function*>(dlsym(RTLD_NEXT, name));
}

__attribute__((destructor)) void Print() {
  if (std::getenv("BENCH_PRINT_SYNCS") != nullptr) {
    std::fprintf(stderr, "syncs %ld\n", counted.syncs);
  }
}

}  // namespace

namespace bench {

Calls CountedCalls() { return counted; }

}  // namespace bench

extern "C" {

int fsync(int fd) {
  static auto* const original = Original(fsync, "fsync");
  ++counted.syncs;
  return original(fd);
}

int fdatasync(int fd) {
  static auto* const original = Original(fdatasync, "fdatasync");
  ++counted.syncs;
  return original(fd);
}

int setresuid(uid_t real, uid_t effective, uid_t saved) noexcept {
  static auto* const original = Original(setresuid, "setresuid");
  ++counted.switches;
  return original(real, effective, saved);
}

int setresgid(gid_t real, gid_t effective, gid_t saved) noexcept {
  static auto* const original = Original(setresgid, "setresgid");
  ++counted.switches;
  return original(real, effective, saved);
}
}
