#pragma once

#include <sys/types.h>

#include <functional>
#include <map>
#include <string>
#include <vector>

/// The C library's functions that the tests of base/ replace.
struct FakeSystem {
  FakeSystem();
  FakeSystem(const FakeSystem&) = delete;
  FakeSystem& operator=(const FakeSystem&) = delete;
  ~FakeSystem();

  uid_t uid = 0;
  gid_t gid = 0;
  /// Calls of seteuid, setegid and chown, such as "seteuid 1" and "chown 1:1".
  std::vector<std::string> calls;
  /// The call that fails with EPERM.
  std::string refused;
  /// The shadow file, and whether the process may read it.
  struct ShadowEntry {
    std::string password;
    long expires = -1;  ///< days since the epoch
  };
  std::map<std::string, ShadowEntry> shadow;
  bool may_read_shadow = true;
  /// Stands in for getrandom(2); empty means the kernel's.
  std::function<ssize_t(void* buffer, size_t size)> random;
};
