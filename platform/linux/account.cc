#include "vexo/account.h"

#include <grp.h>
#include <pwd.h>

#include <cerrno>
#include <cstdlib>
#include <cstring>
#include <set>
#include <string>
#include <vector>

#include "catch_bad_alloc.h"

using VEXO::platform::CatchBadAlloc;

namespace {

constexpr size_t kFirstSize = 1024;
constexpr size_t kLargestSize = size_t{1} << 26;  // a group can have very many members

/// One record of the name service, with the memory that holds its texts.
template <class Record>
struct Entry {
  Record record;
  std::vector<char> texts;
};

/// Calls `lookup(&record, buffer, size, &found)` with a growing buffer.  False with the
/// reason in errno: ENOENT when there is no such entry.
template <class Record, class Lookup>
bool Find(Lookup lookup, Entry<Record>* entry) {
  for (size_t size = kFirstSize; size <= kLargestSize; size *= 2) {
    entry->texts.resize(size);
    Record* found = nullptr;
    const int reason = lookup(&entry->record, entry->texts.data(), size, &found);
    if (found != nullptr) return true;
    if (reason != ERANGE) {
      errno = reason == 0 ? ENOENT : reason;
      return false;
    }
  }
  errno = ERANGE;
  return false;
}

bool FindUser(const char* name, Entry<passwd>* entry) {
  if (name == nullptr || *name == '\0') {
    errno = EINVAL;
    return false;
  }
  return Find(
      [name](passwd* record, char* buffer, size_t size, passwd** found) {
        return getpwnam_r(name, record, buffer, size, found);
      },
      entry);
}

bool FindUser(uid_t uid, Entry<passwd>* entry) {
  return Find(
      [uid](passwd* record, char* buffer, size_t size, passwd** found) {
        return getpwuid_r(uid, record, buffer, size, found);
      },
      entry);
}

bool FindGroup(const char* name, Entry<group>* entry) {
  if (name == nullptr || *name == '\0') {
    errno = EINVAL;
    return false;
  }
  return Find(
      [name](group* record, char* buffer, size_t size, group** found) {
        return getgrnam_r(name, record, buffer, size, found);
      },
      entry);
}

bool FindGroup(gid_t gid, Entry<group>* entry) {
  return Find(
      [gid](group* record, char* buffer, size_t size, group** found) {
        return getgrgid_r(gid, record, buffer, size, found);
      },
      entry);
}

int CopyUser(const passwd& record, VEXOUSER** user) {
  auto* const copy = static_cast<VEXOUSER*>(malloc(sizeof(VEXOUSER)));
  if (copy == nullptr) return -1;
  copy->uid = record.pw_uid;
  copy->name = strdup(record.pw_name);
  if (copy->name == nullptr) {
    free(copy);
    return -1;
  }
  *user = copy;
  return 0;
}

/// Ids of the user's primary and supplementary groups; empty on failure.
std::vector<gid_t> GroupIds(const passwd& user) {
  std::vector<gid_t> gids(32);
  int count = static_cast<int>(gids.size());
  while (getgrouplist(user.pw_name, user.pw_gid, gids.data(), &count) == -1) {
    if (count <= static_cast<int>(gids.size()))
      return {};  // the list is not too small: it failed
    gids.resize(count);
  }
  gids.resize(count);
  return gids;
}

}  // namespace

int VEXOUserGet(const char* name, VEXOUSER** user) {
  return CatchBadAlloc(-1, [&] {
    Entry<passwd> entry;
    return FindUser(name, &entry) ? CopyUser(entry.record, user) : -1;
  });
}

int VEXOUserGetByUID(uid_t uid, VEXOUSER** user) {
  return CatchBadAlloc(-1, [&] {
    Entry<passwd> entry;
    return FindUser(uid, &entry) ? CopyUser(entry.record, user) : -1;
  });
}

int VEXOUserLoginNameConvert(const char* name, char* buffer, size_t size,
                             int /*reserved*/) {
  return CatchBadAlloc(-1, [&] {
    Entry<passwd> entry;
    if (!FindUser(name, &entry)) return -1;
    const size_t length = strlen(entry.record.pw_name);
    if (buffer == nullptr || length >= size) {
      errno = ERANGE;
      return -1;
    }
    memcpy(buffer, entry.record.pw_name, length + 1);
    return 1;
  });
}

void VEXOUserFree(VEXOUSER* user) {
  if (user == nullptr) return;
  free(user->name);
  free(user);
}

int VEXOGroupGetGID(const char* name, gid_t* gid) {
  return CatchBadAlloc(-1, [&] {
    Entry<group> entry;
    if (!FindGroup(name, &entry)) return -1;
    *gid = entry.record.gr_gid;
    return 0;
  });
}

int VEXOGroupGetByGID(gid_t gid, VEXOGROUP** group_out) {
  return CatchBadAlloc(-1, [&] {
    Entry<group> entry;
    if (!FindGroup(gid, &entry)) return -1;
    auto* const copy = static_cast<VEXOGROUP*>(malloc(sizeof(VEXOGROUP)));
    if (copy == nullptr) return -1;
    copy->gid = entry.record.gr_gid;
    copy->name = strdup(entry.record.gr_name);
    if (copy->name == nullptr) {
      free(copy);
      return -1;
    }
    *group_out = copy;
    return 0;
  });
}

void VEXOGroupFree(VEXOGROUP* group) {
  if (group == nullptr) return;
  free(group->name);
  free(group);
}

VLIBHash* VLIBGroupInfoHashGet(const char* user, int /*reserved1*/, int /*reserved2*/) {
  return CatchBadAlloc<VLIBHash*>(nullptr, [user]() -> VLIBHash* {
    Entry<passwd> account;
    if (!FindUser(user, &account)) return nullptr;
    const std::vector<gid_t> gids = GroupIds(account.record);
    if (gids.empty()) return nullptr;

    std::set<std::string> names;
    for (const gid_t gid : gids) {
      Entry<group> entry;
      if (FindGroup(gid, &entry)) names.insert(entry.record.gr_name);  // not all have one
    }

    auto* const table = static_cast<VLIBHash*>(malloc(sizeof(VLIBHash)));
    if (table == nullptr) return nullptr;
    table->size = names.size();
    table->keys = static_cast<char**>(calloc(names.size() + 1, sizeof(char*)));
    if (table->keys == nullptr) {
      free(table);
      return nullptr;
    }
    size_t slot = 0;
    for (const std::string& name : names) {
      table->keys[slot] = strdup(name.c_str());
      if (table->keys[slot] == nullptr) {  // an incomplete set would be wrong
        VLIBHashFree(table);
        return nullptr;
      }
      ++slot;
    }
    return table;
  });
}

void VLIBHashFree(VLIBHash* table) {
  if (table == nullptr) return;
  for (size_t i = 0; i < table->size; ++i) free(table->keys[i]);
  free(table->keys);
  free(table);
}
