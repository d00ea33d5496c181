#pragma once

#include <sys/types.h>

#include <functional>
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
  /// Calls of seteuid and setegid, such as "seteuid 1".
  std::vector<std::string> calls;
  /// The call that fails with EPERM.
  std::string refused;
  /// Stands in for getrandom(2); empty means the kernel's.
  std::function<ssize_t(void* buffer, size_t size)> random;
};
