#include "account.h"

#include <charconv>

#include "outcome.h"
#include "utils.h"

namespace command {

namespace {

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

}  // namespace

bool FindOwner(const std::string& text, unsigned int& uid) {
  if (UserToUID(text, uid) || ParseUid(text, uid)) return true;
  Tell("there is no user \"" + text + "\"; somebody who is gone is named by his number");
  return false;
}

bool FindExistingOwner(const std::string& text, unsigned int& uid) {
  std::string name;
  if (UserToUID(text, uid) || (ParseUid(text, uid) && UIDToUser(uid, name))) return true;
  Tell("there is no user \"" + text + "\"");
  return false;
}

std::string OwnerText(unsigned int uid) {
  std::string name;
  return UIDToUser(uid, name) ? name : std::to_string(uid) + " (gone)";
}

}  // namespace command
