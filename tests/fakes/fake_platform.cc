#include "fake_platform.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cstdint>
#include <cstdio>
#include <cstdlib>

#include "current_platform.h"

namespace fakes {
namespace {

Platform* g_platform = nullptr;

std::string FunctionOf(const std::string& call) { return call.substr(0, call.find('(')); }

}  // namespace

Platform* PlatformOrNull() { return g_platform; }

Platform& CurrentPlatform() {
  if (g_platform == nullptr) {
    std::fputs("The platform was called outside the life of a fakes::Platform.\n",
               stderr);
    std::abort();
  }
  return *g_platform;
}

Platform::Platform() {
  if (g_platform != nullptr) {
    std::fputs("There is already a fakes::Platform.\n", stderr);
    std::abort();
  }
  ResetDatabases();
  for (const std::string& path : ConnectedDatabases()) files[path] = File{1, 1, 0660};
  g_platform = this;
}

Platform::~Platform() {
  for (const auto& [what, kind] : handed_out_) {
    ADD_FAILURE() << "Never given back to the platform: " << kind << " at " << what;
  }
  g_platform = nullptr;
}

std::vector<std::string> Platform::calls(
    std::initializer_list<std::string> functions) const {
  std::vector<std::string> chosen;
  for (const std::string& call : calls_) {
    if (std::find(functions.begin(), functions.end(), FunctionOf(call)) !=
        functions.end()) {
      chosen.push_back(call);
    }
  }
  return chosen;
}

void Platform::ForgetCalls() {
  calls_.clear();
  statements_.clear();
}

void Platform::FailCall(int n) {
  calls_until_failure_ = n;
  injected_ = false;
}

void Platform::AnswerStatement(const std::string& part,
                               const std::vector<std::string>& columns,
                               const Rows& rows) {
  answers_[part] = {columns, rows};
}

bool Platform::Refuse(const std::string& call) {
  Record(call);
  if (calls_until_failure_ > 0 && --calls_until_failure_ == 0) {
    injected_ = true;
    return true;
  }
  const auto failing = failing_.find(FunctionOf(call));
  if (failing == failing_.end()) return false;
  if (!failing->second) failing_.erase(failing);
  return true;
}

bool Platform::RefuseStatement(const std::string& sql) {
  statements_.push_back(sql);
  if (before_statement) before_statement(sql);
  if (Refuse(CallText("VEXODBExecute", sql))) return true;
  return std::any_of(
      failing_statements_.begin(), failing_statements_.end(),
      [&sql](const std::string& part) { return sql.find(part) != std::string::npos; });
}

const std::pair<std::vector<std::string>, Rows>* Platform::ScriptedAnswer(
    const std::string& sql) const {
  for (const auto& [part, answer] : answers_) {
    if (sql.find(part) != std::string::npos) return &answer;
  }
  return nullptr;
}

void Platform::TakeBack(const void* what, const char* kind) {
  const auto held = handed_out_.find(what);
  if (held == handed_out_.end() || held->second != kind) {
    ADD_FAILURE() << "Given back to the platform, but not handed out by it: " << kind
                  << " at " << what;
    return;
  }
  handed_out_.erase(held);
}

std::string Platform::UniqueString(const std::string& pool, std::size_t length) {
  std::string text;
  std::uint64_t state = ++strings_made_;
  for (std::size_t i = 0; i < length; ++i) {
    state = state * 6364136223846793005U + 1442695040888963407U;
    text += pool[(state >> 33) % pool.size()];
  }
  return text;
}

}  // namespace fakes
