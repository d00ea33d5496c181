#include "fake_system.h"

#include <sys/random.h>
#include <sys/syscall.h>
#include <unistd.h>

#include <cerrno>

namespace {

FakeSystem* current = nullptr;

bool Call(const std::string& call) {
  current->calls.push_back(call);
  if (call != current->refused) return true;
  errno = EPERM;
  return false;
}

}  // namespace

FakeSystem::FakeSystem() { current = this; }
FakeSystem::~FakeSystem() { current = nullptr; }

extern "C" {

uid_t geteuid() noexcept { return current == nullptr ? 0 : current->uid; }
gid_t getegid() noexcept { return current == nullptr ? 0 : current->gid; }

int seteuid(uid_t uid) noexcept {
  if (!Call("seteuid " + std::to_string(uid))) return -1;
  current->uid = uid;
  return 0;
}

int setegid(gid_t gid) noexcept {
  if (!Call("setegid " + std::to_string(gid))) return -1;
  current->gid = gid;
  return 0;
}

ssize_t getrandom(void* buffer, size_t size, unsigned int flags) {
  if (current != nullptr && current->random) return current->random(buffer, size);
  return syscall(SYS_getrandom, buffer, size, flags);
}

}  // extern "C"
