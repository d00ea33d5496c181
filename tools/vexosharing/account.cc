#include "account.h"

#include <charconv>

#include "outcome.h"
#include "utils.h"

namespace command {

namespace {

using VEXO::sharing::GIDToGroup;
using VEXO::sharing::GroupToGID;
using VEXO::sharing::UID_ERR;
using VEXO::sharing::UIDToUser;
using VEXO::sharing::UserToUID;

bool ParseUid(const std::string& text, unsigned int& uid) {
  unsigned int number = 0;
  const char* const end = text.data() + text.size();
  const auto [stop, error] = std::from_chars(text.data(), end, number);
  if (error != std::errc() || stop != end || number == UID_ERR) return false;
  uid = number;
  return true;
}

template <class ToId, class ToName>
std::vector<std::string> Unresolved(const std::vector<std::string>& names,
                                    const std::vector<unsigned int>& ids, ToId to_id,
                                    ToName to_name) {
  std::vector<std::string> out;
  for (const std::string& name : names) {
    unsigned int id = UID_ERR;
    if (!to_id(name, id)) out.push_back(name);
  }
  for (const unsigned int id : ids) {
    std::string name;
    if (!to_name(id, name)) out.push_back(std::to_string(id));
  }
  return out;
}

}  // namespace

bool FindOwner(const std::string& text, unsigned int& uid) {
  if (UserToUID(text, uid) || ParseUid(text, uid)) return true;
  Tell("there is no user \"" + text + "\"; somebody who is gone is named by his number");
  return false;
}

bool FindLivingOwner(const std::string& text, unsigned int& uid) {
  std::string name;
  if (UserToUID(text, uid) || (ParseUid(text, uid) && UIDToUser(uid, name))) return true;
  Tell("there is no user \"" + text + "\"");
  return false;
}

std::string OwnerText(unsigned int uid) {
  std::string name;
  return UIDToUser(uid, name) ? name : std::to_string(uid) + " (gone)";
}

std::vector<std::string> UnresolvedUsers(const Entry& link) {
  return Unresolved(link.get_protect_users(), link.get_protect_uids(), UserToUID,
                    UIDToUser);
}

std::vector<std::string> UnresolvedGroups(const Entry& link) {
  return Unresolved(link.get_protect_groups(), link.get_protect_gids(), GroupToGID,
                    GIDToGroup);
}

}  // namespace command
