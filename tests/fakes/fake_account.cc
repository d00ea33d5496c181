#include <cstdlib>
#include <cstring>

#include "current_platform.h"
#include "vexo/account.h"

using fakes::CallText;
using fakes::CurrentPlatform;
using fakes::Platform;

namespace {

// The scripted answer for `key`, otherwise `usual`.
template <class Key>
int Answer(const std::map<Key, int>& results, const Key& key, int usual) {
  const auto scripted = results.find(key);
  return scripted == results.end() ? usual : scripted->second;
}

template <class Record>
Record* MakeRecord(const std::string& name, unsigned int id, const char* kind) {
  auto* const record = new Record{strdup(name.c_str()), id};
  CurrentPlatform().HandOut(record, kind);
  return record;
}

template <class Record>
void FreeRecord(Record* record, const char* kind) {
  if (record == nullptr) return;
  CurrentPlatform().TakeBack(record, kind);
  free(record->name);
  delete record;
}

}  // namespace

extern "C" {

int VEXOUserGet(const char* name, VEXOUSER** user) {
  Platform& platform = CurrentPlatform();
  if (platform.Refuse(CallText("VEXOUserGet", name))) return -1;
  const auto found = platform.users.find(name);
  const bool known = found != platform.users.end();
  if (known) *user = MakeRecord<VEXOUSER>(name, found->second.uid, "user");
  return Answer(platform.user_results, std::string(name), known ? 0 : -1);
}

int VEXOUserGetByUID(uid_t uid, VEXOUSER** user) {
  Platform& platform = CurrentPlatform();
  if (platform.Refuse(CallText("VEXOUserGetByUID", uid))) return -1;
  bool known = false;
  for (const auto& [name, found] : platform.users) {
    if (known || found.uid != uid) continue;
    *user = MakeRecord<VEXOUSER>(name, uid, "user");
    known = true;
  }
  return Answer(platform.uid_results, uid, known ? 0 : -1);
}

int VEXOUserLoginNameConvert(const char* name, char* buffer, size_t size, int reserved) {
  Platform& platform = CurrentPlatform();
  if (platform.Refuse(CallText("VEXOUserLoginNameConvert", name, size, reserved)))
    return 0;
  const auto found = platform.login_names.find(name);
  std::string converted;
  if (found != platform.login_names.end()) {
    converted = found->second;
  } else if (platform.users.count(name) > 0) {
    converted = name;
  }
  if (converted.empty() || converted.size() >= size) return 0;
  std::memset(buffer, 0, size);  // so that a sanitizer finds a size beyond the buffer
  converted.copy(buffer, size);
  return static_cast<int>(converted.size());
}

void VEXOUserFree(VEXOUSER* user) {
  CurrentPlatform().Record(CallText("VEXOUserFree", user ? user->name : nullptr));
  FreeRecord(user, "user");
}

int VEXOGroupGetGID(const char* name, gid_t* gid) {
  Platform& platform = CurrentPlatform();
  if (platform.Refuse(CallText("VEXOGroupGetGID", name))) return -1;
  const auto found = platform.groups.find(name);
  if (found == platform.groups.end()) return -1;
  *gid = found->second;
  return 0;
}

int VEXOGroupGetByGID(gid_t gid, VEXOGROUP** group) {
  Platform& platform = CurrentPlatform();
  if (platform.Refuse(CallText("VEXOGroupGetByGID", gid))) return -1;
  bool known = false;
  for (const auto& [name, found] : platform.groups) {
    if (known || found != gid) continue;
    *group = MakeRecord<VEXOGROUP>(name, gid, "group");
    known = true;
  }
  return Answer(platform.gid_results, gid, known ? 0 : -1);
}

void VEXOGroupFree(VEXOGROUP* group) {
  CurrentPlatform().Record(CallText("VEXOGroupFree", group ? group->name : nullptr));
  FreeRecord(group, "group");
}

VLIBHash* VLIBGroupInfoHashGet(const char* user, int reserved1, int reserved2) {
  Platform& platform = CurrentPlatform();
  if (platform.Refuse(CallText("VLIBGroupInfoHashGet", user, reserved1, reserved2))) {
    return nullptr;
  }
  const auto found = platform.users.find(user);
  if (found == platform.users.end()) return nullptr;
  // An empty slot before every group and one at the end, as a hash table has them.
  const std::vector<std::string>& groups = found->second.groups;
  auto* const table = new VLIBHash{2 * groups.size() + 1, nullptr};
  table->keys = new char* [table->size] {};
  for (std::size_t i = 0; i < groups.size(); ++i) {
    table->keys[2 * i + 1] = strdup(groups[i].c_str());
  }
  platform.HandOut(table, "group table");
  return table;
}

void VLIBHashFree(VLIBHash* table) {
  Platform& platform = CurrentPlatform();
  platform.Record(CallText("VLIBHashFree", table ? "table" : nullptr));
  if (table == nullptr) return;
  platform.TakeBack(table, "group table");
  for (std::size_t i = 0; i < table->size; ++i) free(table->keys[i]);
  delete[] table->keys;
  delete table;
}

}  // extern "C"
