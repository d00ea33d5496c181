#include "support.h"

#include <grp.h>
#include <gtest/gtest.h>
#include <unistd.h>

#include <cstdlib>

#include "child_process.h"

ScopedVariable::ScopedVariable(const char* name, const char* value) : name_(name) {
  const char* const before = getenv(name);
  was_set_ = before != nullptr;
  if (was_set_) before_ = before;
  if (value == nullptr) {
    unsetenv(name);
  } else {
    setenv(name, value, 1);
  }
}

ScopedVariable::~ScopedVariable() {
  if (was_set_) {
    setenv(name_.c_str(), before_.c_str(), 1);
  } else {
    unsetenv(name_.c_str());
  }
}

pid_t StartTest(const std::function<void()>& body) {
  return fakes::StartChild([&body] {
    body();
    return !testing::Test::HasFailure();
  });
}

void InChild(const std::function<void()>& body) {
  EXPECT_TRUE(fakes::EndsWell(StartTest(body))) << "the child failed";
}

void InChildren(int count, const std::function<void(int number)>& body) {
  std::vector<pid_t> children;
  children.reserve(count);
  for (int i = 0; i < count; ++i) children.push_back(StartTest([&body, i] { body(i); }));
  for (const pid_t child : children) {
    EXPECT_TRUE(fakes::EndsWell(child)) << "a child failed";
  }
}

void BecomeForGood(uid_t id, const std::vector<gid_t>& groups) {
  ASSERT_EQ(setgroups(groups.size(), groups.data()), 0);
  ASSERT_EQ(setresgid(id, id, id), 0);
  ASSERT_EQ(setresuid(id, id, id), 0);
}
