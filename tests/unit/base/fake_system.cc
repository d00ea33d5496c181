#include "fake_system.h"

#include <fcntl.h>
#include <shadow.h>
#include <sys/random.h>
#include <sys/syscall.h>
#include <unistd.h>

#include <cerrno>
#include <cstdlib>

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

int chown(const char* path, uid_t uid, gid_t gid) noexcept {
  if (current == nullptr) return fchownat(AT_FDCWD, path, uid, gid, 0);
  return Call("chown " + std::to_string(uid) + ":" + std::to_string(gid)) ? 0 : -1;
}

int faccessat(int /*folder*/, const char* /*path*/, int /*mode*/,
              int /*flags*/) noexcept {
  if (current->may_read_shadow) return 0;
  errno = EACCES;
  return -1;
}

int getspnam_r(const char* name, spwd* record, char* buffer, size_t size, spwd** result) {
  *result = nullptr;
  const auto found = current->shadow.find(name);
  if (found == current->shadow.end()) return 0;
  const std::string& password = found->second.password;
  if (password.size() >= size) abort();
  *record = {};
  record->sp_pwdp = buffer;
  buffer[password.copy(buffer, size)] = '\0';
  record->sp_expire = found->second.expires;
  *result = record;
  return 0;
}

ssize_t getrandom(void* buffer, size_t size, unsigned int flags) {
  if (current != nullptr && current->random) return current->random(buffer, size);
  return syscall(SYS_getrandom, buffer, size, flags);
}

}  // extern "C"
