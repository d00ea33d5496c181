#pragma once

#include <set>
#include <string>
#include <vector>

#include "keys.h"
#include "value_text.h"

namespace Json {
class Value;
}
struct VEXOUSER;

// Free functions of the library.  Where nothing else is said, true means success, a
// failure leaves the outputs as they were, and any thread may call.

namespace VEXO::sharing {

/// SHA-1 of the password followed by the salt, as 40 lower-case hex digits.  An empty
/// password is hashed like any other.
SHARING_EXPORT bool Sha1WithSaltHashPassword(const std::string& password,
                                             const std::string& salt, std::string& out);

/// MD5 of the password alone, as 32 lower-case hex digits.  False for an empty password.
SHARING_EXPORT bool MD5HashPassword(const std::string& password, std::string& out);

/// True in `probability` of the calls, cut to whole hundredths: 0.05 hits about one call
/// in twenty, 0.009 never, 1 and more always, 0 and less never.
SHARING_EXPORT bool IsProbabilityHit(float probability);

/// Splits `text` at every occurrence of the whole `delimiter`; empty pieces are left out.
/// An empty delimiter separates nothing.  False for a null delimiter.
SHARING_EXPORT bool StringExplode(std::vector<std::string>& out, const std::string& text,
                                  const char* delimiter);

/// The system's canonical login name for `name`; `name` itself when it has none, and
/// empty for null.
SHARING_EXPORT std::string GetRealUsername(const char* name);

/// Looks a user up by name.  The caller frees `user` with the platform's VEXOUserFree.
/// False, logged, when there is no such user.
SHARING_EXPORT bool UserGet(const char* name, VEXOUSER*& user);

/// Adds the ids of the user's groups to `gids`.  Groups that do not resolve are skipped.
/// False when the list cannot be had, or for a null user.
SHARING_EXPORT bool UserGroupsGet(VEXOUSER* user, std::set<unsigned int>& gids);

/// User id of a name.
SHARING_EXPORT bool UserToUID(const std::string& name, unsigned int& uid);

/// User name of an id.
SHARING_EXPORT bool UIDToUser(const unsigned int& uid, std::string& name);

/// Group id of a name.
SHARING_EXPORT bool GroupToGID(const std::string& name, unsigned int& gid);

/// Group name of an id.
SHARING_EXPORT bool GIDToGroup(const unsigned int& gid, std::string& name);

/// How a link's URL reaches the appliance, as vexosharingurl tells it.
enum _tag_SHARING_URL_TYPE : int {
  SHARING_URL_TYPE_UNKNOWN = 0,
  /// An address on the local network.
  SHARING_URL_TYPE_LOCAL = 1,
  /// An address that the administrator configured.
  SHARING_URL_TYPE_CONFIGURED = 2,
  /// An address of a relay.
  SHARING_URL_TYPE_RELAYED = 3,
};

/// Asks /usr/vexo/bin/vexosharingurl for the public URL of a link.  The five inputs are
/// its arguments, in this order, and their meaning is the tool's.  False, logged, when
/// the tool cannot be run or prints fewer than two lines; after the first line `url` is
/// already set. A line longer than 4095 bytes is cut.
SHARING_EXPORT bool GetSharingURL(const std::string& first, int number, bool flag,
                                  const std::string& fourth, const std::string& fifth,
                                  std::string& url, _tag_SHARING_URL_TYPE& type);

/// The same with an empty fourth argument.
SHARING_EXPORT bool GetSharingURL(const std::string& first, int number, bool flag,
                                  const std::string& fifth, std::string& url,
                                  _tag_SHARING_URL_TYPE& type);

/// Runs a method of the appliance's web API through /usr/vexo/bin/vexowebapi and parses
/// the JSON that it prints into `out`.  `params` is an object of values that have a text
/// form (or null, for none); anything else is refused.  The arguments of a process can be
/// read by every user of the machine: pass no secret.  False, logged, when the tool
/// cannot be run or prints no JSON; the tool's exit status is not looked at.  A program
/// whose global C++ locale is not the classic one has that set for the moment of the
/// parsing: no other thread may depend on it.
SHARING_EXPORT bool SendWebapi(Json::Value& out, const std::string& api, int version,
                               const std::string& method, const Json::Value& params);

}  // namespace VEXO::sharing
