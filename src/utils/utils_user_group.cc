#include <vexo/account.h>

#include <memory>

#include "utils.h"
#include "utils/log.h"
#include "utils/user_record.h"

namespace VEXO::sharing {

namespace {

const char kSource[] = "utils_user_group";

constexpr size_t kLoginNameSize = 493;

struct FreeGroup {
  void operator()(VEXOGROUP* group) const { VEXOGroupFree(group); }
};
struct FreeHash {
  void operator()(VLIBHash* table) const { VLIBHashFree(table); }
};

/// Whether a text can be the name of an account.  The lookup would cut off a text at a
/// NUL.
bool CanBeName(const std::string& name) { return name.find('\0') == std::string::npos; }

}  // namespace

std::string GetRealUsername(const char* name) {
  if (name == nullptr) return "";
  char buffer[kLoginNameSize] = {};
  if (VEXOUserLoginNameConvert(name, buffer, sizeof(buffer), 0) >= 1) return buffer;
  return name;
}

bool UserGet(const char* name, VEXOUSER*& user) {
  const std::string real_name = GetRealUsername(name);
  VEXOUSER* found = nullptr;
  // Only -1 means "no such user" here; any other result counts as success.
  if (VEXOUserGet(real_name.c_str(), &found) == -1) {
    LogError("%s:%d No such user [%s]", kSource, __LINE__, real_name.c_str());
    return false;
  }
  user = found;
  return true;
}

bool UserGroupsGet(VEXOUSER* user, std::set<unsigned int>& gids) {
  if (user == nullptr) return false;
  const std::unique_ptr<VLIBHash, FreeHash> groups(
      VLIBGroupInfoHashGet(user->name, 1, 0));
  if (!groups) return false;
  for (size_t i = 0; i < groups->size; ++i) {
    gid_t gid = 0;
    if (groups->keys[i] != nullptr && VEXOGroupGetGID(groups->keys[i], &gid) == 0) {
      gids.insert(gid);
    }
  }
  return true;
}

bool UserToUID(const std::string& name, unsigned int& uid) {
  if (!CanBeName(name)) return false;
  VEXOUSER* found = nullptr;
  const int result = VEXOUserGet(GetRealUsername(name.c_str()).c_str(), &found);
  const UserRecord user(found);
  if (result != 0 || !user) return false;
  uid = user->uid;
  return true;
}

bool UIDToUser(const unsigned int& uid, std::string& name) {
  VEXOUSER* found = nullptr;
  const int result = VEXOUserGetByUID(uid, &found);
  const UserRecord user(found);
  if (result != 0 || !user) return false;
  name = user->name;
  return true;
}

bool GroupToGID(const std::string& name, unsigned int& gid) {
  gid_t found = 0;
  if (!CanBeName(name) || VEXOGroupGetGID(name.c_str(), &found) != 0) return false;
  gid = found;
  return true;
}

bool GIDToGroup(const unsigned int& gid, std::string& name) {
  VEXOGROUP* found = nullptr;
  const int result = VEXOGroupGetByGID(gid, &found);
  const std::unique_ptr<VEXOGROUP, FreeGroup> group(found);
  if (result != 0 || !group) return false;
  name = group->name;
  return true;
}

}  // namespace VEXO::sharing
