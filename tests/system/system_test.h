#pragma once

#include <sys/types.h>

#include <functional>
#include <string>
#include <vector>

#include "entry.h"
#include "sql_value.h"

namespace system_test {

/// The fixed paths.  They are empty and private to the test.
extern const char* const kDatabase;
extern const char* const kDatabaseFolder;
extern const char* const kSchemaFolder;
extern const char* const kToolFolder;

/// Ids of a process; its three group ids are the same.
struct Account {
  uid_t real = 0;
  uid_t effective = 0;
  uid_t saved = 0;
  gid_t group = 0;
  std::vector<gid_t> groups;
};

Account Root();
/// The system account as a service uses it: all three ids, no other group.
Account System();
Account SystemWithShadow();
/// Neither root nor the system account: a user of the machine.
Account Neither();

/// What a child process returned: a text and its log lines.
struct Answer {
  std::string text;
  std::vector<std::string> log;
};

/// Runs `work` in a child process under `account`.  The child ends without running
/// destructors or the leak checker.
Answer InChild(const Account& account, const std::function<std::string()>& work);

using fakes::SqlValue;

std::string ReadFile(const std::string& path);
void WriteFile(const std::string& path, const std::string& text);
/// Permission bits and owner, as in "660 1:1"; "missing" for no such file.
std::string OwnerAndMode(const std::string& path);

/// A link without protection that can be stored under `hash`.
VEXO::sharing::record::Entry Link(const std::string& hash);

}  // namespace system_test
