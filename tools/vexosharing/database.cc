#include "database.h"

#include <string.h>
#include <sys/stat.h>

#include <cerrno>
#include <filesystem>
#include <utility>

#include "database_content.h"
#include "interrupt.h"
#include "system_account.h"

namespace command {

namespace {

using tools::kSystemGid;
using tools::kSystemUid;

bool SystemAccountMayWrite(const struct stat& status) {
  if (status.st_uid == kSystemUid) return (status.st_mode & S_IWUSR) != 0;
  return (status.st_mode & (status.st_gid == kSystemGid ? S_IWGRP : S_IWOTH)) != 0;
}

/// What went wrong in the database's own words, and what to do about the common ones.
std::string WithRemedy(const std::string& error) {
  const std::pair<const char*, const char*> remedies[] = {
      {"locked", "another program holds it, try again"},
      {"malformed", "vexosharing check says more"},
      {"not a database", "put a backup in its place, vexosharing(1) says how"},
      {"full", "make room on its disk"},
      {"disk I/O", "its disk is full or failing"}};
  for (const auto& [words, remedy] : remedies) {
    if (error.find(words) != std::string::npos) return error + ": " + remedy;
  }
  return error.empty() ? "the system log says why" : error;
}

/// Why a database cannot be used, and what to do about it.
std::string Reason(const SharingDB& db, const std::string& path,
                   DatabaseContent content) {
  struct stat status = {};
  if (stat(path.c_str(), &status) == -1) {
    if (errno != ENOENT) return std::string("it cannot be reached: ") + strerror(errno);
  } else {
    if (!S_ISREG(status.st_mode)) return "it is no file";
    if (content == DatabaseContent::kNone) return WithRemedy("file is not a database");
    if (status.st_uid != kSystemUid) {
      return "it must belong to the system account: chown 1:1 it";
    }
    if (!SystemAccountMayWrite(status)) return "user 1 must write it: chmod 660 it";
  }
  std::error_code error;
  const std::filesystem::path folder =
      std::filesystem::absolute(path, error).parent_path();
  if (stat(folder.c_str(), &status) == -1) return "there is no folder " + folder.string();
  if (!SystemAccountMayWrite(status)) return "its folder must let user 1 write";
  return WithRemedy(db.GetLastError());
}

std::unique_ptr<SharingDB> Open(const std::string& path, DatabaseContent content) {
  if (content == DatabaseContent::kForeign) {  // it would become one of links
    Tell(path + " is a database of something else");
    return nullptr;
  }
  auto db = std::make_unique<SharingDB>(path);
  if (db->IsGood()) return db;
  Tell("the database " + path + " cannot be used: " + Reason(*db, path, content));
  return nullptr;
}

}  // namespace

bool MayUseDatabase() {
  if (tools::IsRootOrSystemAccount()) return true;
  Tell("the database is not yours to read: run this as root");
  return false;
}

std::unique_ptr<SharingDB> OpenDatabase(const std::string& path) {
  const DatabaseContent content = ContentOf(path);
  if (content != DatabaseContent::kNothing) return Open(path, content);
  Tell("there is no database at " + path + ": vexosharing create makes one");
  return nullptr;
}

std::unique_ptr<SharingDB> OpenOrMakeDatabase(const std::string& path) {
  return Open(path, ContentOf(path));
}

Outcome DatabaseFailed(const BaseDB& db) {
  if (Interrupted() && db.GetLastError() == "interrupted") {
    return End(kInterrupted, "interrupted while waiting for the database lock");
  }
  return End(kNotUsable, "the database failed: " + WithRemedy(db.GetLastError()));
}

}  // namespace command
