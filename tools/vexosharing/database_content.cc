#include "database_content.h"

#include <fcntl.h>
#include <sqlite3.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <cstdlib>
#include <cstring>
#include <fstream>

#include "sqlite_connection.h"
#include "system_account.h"

namespace command {

namespace {

using tools::kSystemGid;
using tools::kSystemUid;

// How every database file begins (https://www.sqlite.org/fileformat2.html, 1.3.1).
const char kMagic[] = "SQLite format 3";

/// While it lives, root acts as the system account.
class AsSystemAccount {
 public:
  AsSystemAccount() : changed_(geteuid() == 0) {
    if (changed_ && (setegid(kSystemGid) == -1 || seteuid(kSystemUid) == -1)) abort();
  }
  ~AsSystemAccount() {
    if (changed_ && (seteuid(0) == -1 || setegid(group_) == -1)) abort();
  }
  AsSystemAccount(const AsSystemAccount&) = delete;
  AsSystemAccount& operator=(const AsSystemAccount&) = delete;

 private:
  gid_t group_ = getegid();
  bool changed_;
};

struct Schema {
  int links = 0;    // tables of ours
  int objects = 0;  // tables, indexes and whatever else there is
  int version = 0;
};

int Note(void* schema, int /*columns*/, char** values, char** /*names*/) {
  auto& out = *static_cast<Schema*>(schema);
  out.links = atoi(values[0]);
  out.objects = atoi(values[1]);
  out.version = atoi(values[2]);
  return 0;
}

bool ReadSchema(const std::string& name, int flags, Schema& schema) {
  int code = SQLITE_OK;
  const Connection connection = Connect(name, flags, code);
  return connection != nullptr &&
         sqlite3_exec(connection.get(),
                      "SELECT (SELECT COUNT(*) FROM sqlite_master WHERE type = 'table' "
                      "AND name IN ('entry', 'session', 'token')), "
                      "(SELECT COUNT(*) FROM sqlite_master), user_version "
                      "FROM pragma_user_version",
                      Note, &schema, nullptr) == SQLITE_OK;
}

/// The path as a URI that lets a connection read the file alone, without what lies beside
/// it (https://www.sqlite.org/uri.html).
std::string ImmutableUri(const std::string& path) {
  std::string uri = "file:";
  for (const char character : path) {
    switch (character) {
      case '%':
        uri += "%25";
        break;
      case '?':
        uri += "%3f";
        break;
      case '#':
        uri += "%23";
        break;
      default:
        uri += character;
    }
  }
  return uri + "?immutable=1";
}

DatabaseContent ContentOf(const Schema& schema) {
  if (schema.objects == 0) return DatabaseContent::kNothing;
  const bool ours = schema.links == 3 || (schema.links > 0 && schema.version > 0);
  return ours ? DatabaseContent::kLinks : DatabaseContent::kForeign;
}

}  // namespace

DatabaseContent ContentOf(const std::string& path) {
  struct stat status = {};
  if (stat(path.c_str(), &status) == -1) {
    return errno == ENOENT ? DatabaseContent::kNothing : DatabaseContent::kUnreadable;
  }
  if (!S_ISREG(status.st_mode)) return DatabaseContent::kUnreadable;
  if (status.st_size == 0) return DatabaseContent::kNothing;
  char magic[sizeof kMagic] = "";
  std::ifstream(path, std::ios::binary).read(magic, sizeof magic);
  if (memcmp(magic, kMagic, sizeof magic) != 0) return DatabaseContent::kNone;
  Schema schema;
  {
    const AsSystemAccount scope;
    // A connection that may not write would leave the files beside the database behind.
    if (faccessat(AT_FDCWD, path.c_str(), R_OK | W_OK, AT_EACCESS) == 0) {
      return ReadSchema(path, SQLITE_OPEN_READWRITE, schema)
                 ? ContentOf(schema)
                 : DatabaseContent::kUnreadable;
    }
  }
  // Whatever it is, the library cannot open it.  The log beside it is not looked at, so
  // that only what is found in the file itself counts.
  if (!ReadSchema(ImmutableUri(path), SQLITE_OPEN_READONLY | SQLITE_OPEN_URI, schema)) {
    return DatabaseContent::kUnreadable;
  }
  return ContentOf(schema) == DatabaseContent::kForeign ? DatabaseContent::kForeign
                                                        : DatabaseContent::kUnreadable;
}

}  // namespace command
