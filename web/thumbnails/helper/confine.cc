#include "web/thumbnails/helper/confine.h"

#include <grp.h>
#include <seccomp.h>
#include <sys/mman.h>
#include <sys/resource.h>
#include <unistd.h>

#include <climits>
#include <memory>

namespace thumbnail {
namespace {

constexpr rlim_t kMemory = 256 << 20;
constexpr rlim_t kSeconds = 5;  // of the processor
constexpr uid_t kNobody = 65534;

bool Limit(__rlimit_resource resource, rlim_t value) {
  // The hard limit of time is one second higher, so that the process ends by SIGXCPU, not
  // by SIGKILL as when memory is short.
  const rlimit limit = {value, value + static_cast<rlim_t>(resource == RLIMIT_CPU)};
  return setrlimit(resource, &limit) == 0;
}

/// The caller is the system account, unless the front end runs as root.
bool LeaveRoot() {
  if (geteuid() != 0) return true;
  return setgroups(0, nullptr) == 0 && setresgid(kNobody, kNobody, kNobody) == 0 &&
         setresuid(kNobody, kNobody, kNobody) == 0;
}

bool AllowOnlyComputing() {
  // There is only one thread.  To end the whole process, the library would need a system
  // call that the filter of a service may lack.
  const std::unique_ptr<void, void (*)(scmp_filter_ctx)> filter(
      seccomp_init(SCMP_ACT_KILL_THREAD), seccomp_release);
  if (filter == nullptr) return false;
  const auto allow = [&filter](int call, auto... conditions) {
    return seccomp_rule_add(filter.get(), SCMP_ACT_ALLOW, call, sizeof...(conditions),
                            conditions...) == 0;
  };
  // Memory is neither that of a file nor can it be executed.
  return allow(SCMP_SYS(read), SCMP_A0(SCMP_CMP_EQ, STDIN_FILENO, 0)) &&
         allow(SCMP_SYS(write), SCMP_A0(SCMP_CMP_EQ, STDOUT_FILENO, 0)) &&
         allow(SCMP_SYS(mmap), SCMP_A2(SCMP_CMP_MASKED_EQ, PROT_EXEC, 0),
               SCMP_A3(SCMP_CMP_MASKED_EQ, MAP_ANONYMOUS, MAP_ANONYMOUS)) &&
         allow(SCMP_SYS(munmap)) && allow(SCMP_SYS(mremap)) && allow(SCMP_SYS(brk)) &&
         allow(SCMP_SYS(madvise)) && allow(SCMP_SYS(exit)) &&
         allow(SCMP_SYS(exit_group)) &&
         seccomp_load(filter.get()) == 0;  // no_new_privs as well
}

}  // namespace

bool Confine() {
  return close_range(STDERR_FILENO, UINT_MAX, 0) == 0 && LeaveRoot() &&
         Limit(RLIMIT_AS, kMemory) && Limit(RLIMIT_CPU, kSeconds) &&
         Limit(RLIMIT_NOFILE, 0) && Limit(RLIMIT_FSIZE, 0) && Limit(RLIMIT_NPROC, 0) &&
         Limit(RLIMIT_CORE, 0) && AllowOnlyComputing();
}

}  // namespace thumbnail
