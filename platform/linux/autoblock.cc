#include "vexo/autoblock.h"

#include <fcntl.h>
#include <sys/file.h>
#include <sys/stat.h>
#include <sys/statvfs.h>
#include <syslog.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <climits>
#include <cstdio>
#include <ctime>
#include <map>
#include <optional>
#include <string>

#include "address.h"
#include "base/atomic_file.h"
#include "base/percent.h"
#include "base/system_account.h"
#include "base/unique_fd.h"
#include "block_store.h"
#include "catch_bad_alloc.h"
#include "configuration.h"
#include "login_block.h"
#include "system_file.h"

namespace VEXO::platform {
namespace {

constexpr int kMaxAttempts = 3;
constexpr FileAccess kAccess = {base::kSystemUid, base::kSystemGid, 0660};

// A failed login needs less: its pages, their copies in the journal, and room to grow.
constexpr unsigned long kNeededBytes = 128UL * 1024;

/// Which file has the store's name: its number, 0 for none; nothing when that is unknown.
std::optional<ino_t> FindFile() {
  struct stat status = {};
  if (stat(BlockStore::Path(), &status) == 0) return status.st_ino;
  if (errno == ENOENT || errno == ENOTDIR) return 0;
  return std::nullopt;
}

/// Moves a damaged store aside, so that a new one can be created.  True also when another
/// process has done so.
bool MoveAside() {
  const char* const path = BlockStore::Path();
  const base::UniqueFd file(open(path, O_RDONLY | O_CLOEXEC));
  if (!file) return errno == ENOENT;
  // One process at a time; the others then find a new store under the name, or none.
  if (flock(file.get(), LOCK_EX) == -1) return false;
  if (BlockStore store; store.Open() && store.IsIntact()) return true;
  struct stat opened = {};
  struct stat named = {};
  if (fstat(file.get(), &opened) == -1) return false;
  if (stat(path, &named) == -1) return errno == ENOENT;
  if (opened.st_ino != named.st_ino) return true;

  const std::string target = std::string(path) + ".damaged-" +
                             std::to_string(time(nullptr)) + "-" +
                             std::to_string(getpid());
  const std::string journal = std::string(path) + "-journal";
  // The journal first: SQLite would apply it to the new store.
  if (rename(journal.c_str(), (target + "-journal").c_str()) == -1 && errno != ENOENT) {
    return false;
  }
  if (rename(path, target.c_str()) == -1) return errno == ENOENT;
  syslog(LOG_ERR, "%s: damaged, moved to %s; failed logins are counted from zero", path,
         target.c_str());
  return true;
}

bool CannotCreate() {
  syslog(LOG_ERR, "%s: cannot be created: %m", BlockStore::Path());
  return false;
}

std::string Folder() {
  const std::string path = BlockStore::Path();
  return path.substr(0, path.rfind('/'));
}

/// What to do when there is no store yet.
enum class Missing { kCreate, kTryToCreate, kSkip };

/// True when a missing store needs no work.
bool PrepareMissing(Missing missing) {
  switch (missing) {
    case Missing::kCreate:
      return (base::EnsureSystemFolder(Folder()) &&
              CreateFileWith(kAccess, BlockStore::Path())) ||
             CannotCreate();
    case Missing::kTryToCreate: {
      base::AtomicFile file(BlockStore::Path());
      return (file.Create() &&
              file.SetAccess(kAccess.owner, kAccess.group, kAccess.mode)) ||
             CannotCreate();
    }
    case Missing::kSkip:
      break;
  }
  return true;
}

/// Runs `work` on the store; once more on a new one when it turns out to be damaged, or
/// when another process moved it aside meanwhile.
template <class Work>
bool OnStore(Missing missing, Work work) {
  for (int attempt = 1;; ++attempt) {
    std::optional<ino_t> file = FindFile();
    if (file == ino_t{0}) {
      if (!PrepareMissing(missing)) return false;
      if (missing != Missing::kCreate) return true;
      file = FindFile();
    }
    bool damaged = false;
    {
      BlockStore store;
      if (store.Open() && work(store)) return true;
      damaged = store.damaged();
    }
    if (attempt == kMaxAttempts) return false;
    const bool replaced = damaged ? MoveAside() : FindFile() != file;
    if (!replaced) return false;
  }
}

std::optional<Address> ParseAddress(const char* text) {
  const std::optional<Address> address = Address::Parse(text == nullptr ? "" : text);
  if (!address) errno = EINVAL;
  return address;
}

/// Logs for auditors and for fail2ban, whose filter matches these lines.  They contain no
/// text that a visitor can choose, unless it is escaped.
void LogFailure(const Address& address, const std::string& service,
                const std::string& failures) {
  syslog(LOG_AUTHPRIV | LOG_NOTICE,
         "vexosharing: login failed: from=%s service=%s failures=%s",
         address.Text().c_str(), service.c_str(), failures.c_str());
}

void LogBlock(const Address& address, const std::string& service, long failures) {
  syslog(LOG_AUTHPRIV | LOG_WARNING,
         "vexosharing: address blocked: from=%s service=%s failures=%ld seconds=%ld",
         address.Text().c_str(), service.c_str(), failures,
         SystemConfiguration().block_duration_seconds);
}

void LogRefusal(const Address& address, const char* reason) {
  syslog(LOG_AUTHPRIV | LOG_WARNING, "vexosharing: login refused: from=%s reason=%s",
         address.Text().c_str(), reason);
}

int Count(const char* text, const char* service) {
  const std::optional<Address> address = ParseAddress(text);
  if (!address) return -1;
  const std::string name = service == nullptr ? "" : service;
  const std::string logged_name = base::PercentEncode(name);
  const std::string key = address->BlockingKey().Text();
  BlockStore::Counted counted;
  if (!OnStore(Missing::kCreate,
               [&](BlockStore& store) { return store.Count(key, name, &counted); })) {
    const int reason = errno;
    LogFailure(*address, logged_name, "unknown");
    errno = reason;
    return -1;
  }
  LogFailure(*address, logged_name, std::to_string(counted.failures));
  if (counted.blocked) LogBlock(*address, logged_name, counted.failures);
  return 0;
}

int Remove(const char* text, BlockStore::Forget what) {
  const std::optional<Address> address = ParseAddress(text);
  if (!address) return -1;
  const std::string key = address->BlockingKey().Text();
  const bool removed =
      OnStore(Missing::kSkip, [&](BlockStore& store) { return store.Remove(key, what); });
  return removed ? 0 : -1;
}

/// Whether the file system has room for a failed login.  Only a commit would find out
/// for certain.
bool HasRoom() {
  const char* const path = BlockStore::Path();
  struct statvfs status = {};
  // Without its folder every login would be refused.
  if (!base::EnsureSystemFolder(Folder()) || statvfs(Folder().c_str(), &status) == -1) {
    syslog(LOG_ERR, "%s: %m", path);
    return false;
  }
  // Root may use the reserve.  A file system without a size reports no blocks at all.
  const unsigned long free_blocks = geteuid() == 0 ? status.f_bfree : status.f_bavail;
  if (status.f_blocks == 0 || free_blocks >= kNeededBytes / status.f_frsize) return true;
  syslog(LOG_ERR, "%s: the file system is full", path);
  return false;
}

}  // namespace

bool RefusesLogin(const char* text) {
  const std::optional<Address> address = ParseAddress(text);
  if (!address) return false;
  const std::string key = address->BlockingKey().Text();
  bool blocked = false;
  const bool countable =
      HasRoom() && OnStore(Missing::kTryToCreate, [&](BlockStore& store) {
        return store.IsBlocked(key, &blocked);
      });
  if (blocked) {
    LogRefusal(*address, "blocked");
  } else if (!countable) {
    LogRefusal(*address, "failures-cannot-be-counted");
  }
  return blocked || !countable;
}

}  // namespace VEXO::platform

using VEXO::platform::BlockStore;
using VEXO::platform::CatchBadAlloc;
using VEXO::platform::Missing;

int AutoBlockFailLoginSet(const char* address, const char* service) {
  return CatchBadAlloc(-1, [=] { return VEXO::platform::Count(address, service); });
}

int VEXOAutoBlockFailLoginReset(const char* address) {
  return CatchBadAlloc(
      -1, [=] { return VEXO::platform::Remove(address, BlockStore::Forget::kFailures); });
}

int VEXOAutoBlockList(int (*each)(const VexoAutoBlockEntry* entry, void* context),
                      void* context) {
  std::map<std::string, BlockStore::Entry> entries;
  const bool listed = CatchBadAlloc(false, [&entries] {
    return VEXO::platform::OnStore(
        Missing::kSkip, [&](BlockStore& store) { return store.List(&entries); });
  });
  if (!listed) return -1;

  // The database is closed by now, so `each` may clear its address.
  for (const auto& [address, entry] : entries) {
    const int failures = static_cast<int>(std::min<long>(entry.failures, INT_MAX));
    const VexoAutoBlockEntry reported{address.c_str(), failures, entry.service.c_str(),
                                      entry.blocked_until};
    if (each(&reported, context) != 0) break;
  }
  return 0;
}

int VEXOAutoBlockClear(const char* address) {
  return CatchBadAlloc(-1, [=] {
    return VEXO::platform::Remove(address, BlockStore::Forget::kFailuresAndBlock);
  });
}
