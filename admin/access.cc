#include "admin/access.h"

#include <algorithm>

#include "utils.h"

namespace admin {

namespace {

using VEXO::sharing::GIDToGroup;
using VEXO::sharing::GroupToGID;
using VEXO::sharing::UID_ERR;
using VEXO::sharing::UIDToUser;
using VEXO::sharing::UserToUID;

template <class T>
bool SameInAnyOrder(std::vector<T> one, std::vector<T> other) {
  std::sort(one.begin(), one.end());
  std::sort(other.begin(), other.end());
  return one == other;
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

bool AccessChanged(const Entry& before, const Entry& after) {
  return before.get_enabled() != after.get_enabled() ||
         before.get_protect_type() != after.get_protect_type() ||
         before.get_protect_password() != after.get_protect_password() ||
         !SameInAnyOrder(before.get_protect_uids(), after.get_protect_uids()) ||
         !SameInAnyOrder(before.get_protect_users(), after.get_protect_users()) ||
         !SameInAnyOrder(before.get_protect_gids(), after.get_protect_gids()) ||
         !SameInAnyOrder(before.get_protect_groups(), after.get_protect_groups());
}

bool AdmitsNobody(const Entry& link) {
  // Ids of accounts that are gone have no name, and names not known yet have no id.
  return link.get_protect_type() == Entry::PROTECT_USER &&
         link.get_protect_uids().empty() && link.get_protect_users().empty() &&
         link.get_protect_gids().empty() && link.get_protect_groups().empty();
}

std::vector<std::string> UnresolvedUsers(const Entry& link) {
  return Unresolved(link.get_protect_users(), link.get_protect_uids(), UserToUID,
                    UIDToUser);
}

std::vector<std::string> UnresolvedGroups(const Entry& link) {
  return Unresolved(link.get_protect_groups(), link.get_protect_gids(), GroupToGID,
                    GIDToGroup);
}

}  // namespace admin
