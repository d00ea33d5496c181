// Creates a sharing link and prints its hash.
//
//   share PROJECT OWNER PROTECTION [USES [SECONDS]]
//
// PROTECTION is none, password (read from the first line of standard input) or
// users=NAME,NAME...  USES is the use limit, and SECONDS the time after which the link
// expires; 0 means no limit, which is the default.

#include <vexosharing/entry_db.h>
#include <vexosharing/sharing_db.h>
#include <vexosharing/utils.h>

#include <charconv>
#include <cstring>
#include <ctime>
#include <iostream>
#include <string>
#include <vector>

using VEXO::sharing::record::Entry;

namespace {

bool ReadNumber(const char* text, int& number) {
  const char* end = text + std::strlen(text);
  const auto [stop, error] = std::from_chars(text, end, number);
  return error == std::errc() && stop == end && number >= 0;
}

bool Protect(Entry& link, const std::string& protection) {
  const std::string users = "users=";
  if (protection == "password") {
    std::string password;
    if (!std::getline(std::cin, password) || password.empty()) return false;
    link.set_protect_type(Entry::PROTECT_PASSWORD);
    link.set_protect_password(password, true, Entry::ENCRYPT_ALGO_DEFAULT);
    return true;
  }
  if (protection.compare(0, users.size(), users) == 0) {
    std::vector<std::string> names;
    VEXO::sharing::StringExplode(names, protection.substr(users.size()), ",");
    link.set_protect_type(Entry::PROTECT_USER);
    link.set_protect_users(names);
    return !names.empty();
  }
  return protection == "none";
}

}  // namespace

int main(int argc, char** argv) {
  Entry link;
  int uses = 0;
  int seconds = 0;
  if (argc < 4 || argc > 6 || !Protect(link, argv[3]) ||
      (argc > 4 && !ReadNumber(argv[4], uses)) ||
      (argc > 5 && !ReadNumber(argv[5], seconds))) {
    std::cerr << "usage: share PROJECT OWNER none|password|users=NAME,... "
                 "[USES [SECONDS]]\n";
    return 2;
  }
  link.set_project_name(argv[1]);
  if (!link.set_owner_user(argv[2])) {
    std::cerr << "share: no such user: " << argv[2] << "\n";
    return 1;
  }
  link.set_expire_times(uses);
  if (seconds > 0) link.set_expire_at(std::time(nullptr) + seconds);
  link.set_app(Json::Value(Json::objectValue));  // the application's own data

  VEXO::sharing::db::EntryDB links(VEXO::sharing::db::SharingDB::Instance());
  if (!links.CreateWithHash(link)) {
    std::cerr << "share: the link could not be stored\n";
    return 1;
  }
  std::cout << link.get_hash() << "\n";
  return 0;
}
