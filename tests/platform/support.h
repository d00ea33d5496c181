#pragma once

#include <sys/types.h>

#include <functional>
#include <string>
#include <vector>

/// Sets an environment variable (null removes it) until the end of the scope.
class ScopedVariable {
 public:
  ScopedVariable(const char* name, const char* value);
  ScopedVariable(const ScopedVariable&) = delete;
  ScopedVariable& operator=(const ScopedVariable&) = delete;
  ~ScopedVariable();

 private:
  std::string name_;
  std::string before_;
  bool was_set_;
};

/// Starts a child process that ends well when no expectation failed in `body`.
pid_t StartTest(const std::function<void()>& body);
/// Starts one, waits for it, and expects that it ends well.
void InChild(const std::function<void()>& body);

/// Starts `count` of them, numbered from 0, which run at the same time, waits for them,
/// and expects that each ends well.
void InChildren(int count, const std::function<void(int number)>& body);

/// Gives up root for good: all three ids become `id`, and the supplementary groups those
/// given.  To be called in a child.
void BecomeForGood(uid_t id, const std::vector<gid_t>& groups);
