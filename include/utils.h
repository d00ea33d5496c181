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

/// @file
/// Functions for passwords, texts, accounts, and the appliance's tools.  Unless stated
/// otherwise, true means success, a failure leaves the outputs unchanged, and any thread
/// may call a function.

namespace VEXO::sharing {

/// Computes SHA-1 of the password followed by the salt.
///
/// @param password  the password; may be empty
/// @param salt      the salt; may be empty
/// @param[out] out  40 lower-case hexadecimal digits
/// @return false when there is no memory
SHARING_EXPORT bool Sha1WithSaltHashPassword(const std::string& password,
                                             const std::string& salt, std::string& out);

/// Computes MD5 of the password.
///
/// @param password  the password
/// @param[out] out  32 lower-case hexadecimal digits
/// @return false for an empty password, or when MD5 is not available
SHARING_EXPORT bool MD5HashPassword(const std::string& password, std::string& out);

/// Draws a random number.
///
/// @param probability  how often the result is true, in whole hundredths: 0.05 for one
///                     call in twenty; 1 or more for always; less than 0.01 for never
SHARING_EXPORT bool IsProbabilityHit(float probability);

/// Splits a text at each occurrence of a delimiter.
///
/// @param[out] out   the pieces that are not empty
/// @param text       the text; may be an element of `out`
/// @param delimiter  one or more characters, which separate as a whole.  An empty
///                   delimiter separates nothing.
/// @return false for a null delimiter
SHARING_EXPORT bool StringExplode(std::vector<std::string>& out, const std::string& text,
                                  const char* delimiter);

/// The system's canonical form of a login name.
///
/// @param name  the login name; may be null
/// @return the canonical name; `name` itself when there is none; empty for null
SHARING_EXPORT std::string GetRealUsername(const char* name);

/// Looks up a user by name.
///
/// @param name       the name, in any form that GetRealUsername accepts
/// @param[out] user  the user; the caller releases it with VEXOUserFree
/// @return false, logged, when there is no such user.  A lookup that failed in another
///         way returns true, and `user` may then be null.
SHARING_EXPORT bool UserGet(const char* name, VEXOUSER*& user);

/// Reads the groups of a user.
///
/// @param user          the user
/// @param[in,out] gids  the group ids are added; groups that are not found are left out
/// @return false when the list cannot be read, or for a null user
SHARING_EXPORT bool UserGroupsGet(VEXOUSER* user, std::set<unsigned int>& gids);

/// Looks up a user id by name.
///
/// @return false when the user is not found or the lookup failed
SHARING_EXPORT bool UserToUID(const std::string& name, unsigned int& uid);

/// Looks up a user name by id.
///
/// @return false when the user is not found or the lookup failed
SHARING_EXPORT bool UIDToUser(const unsigned int& uid, std::string& name);

/// Looks up a group id by name.
///
/// @return false when the group is not found or the lookup failed
SHARING_EXPORT bool GroupToGID(const std::string& name, unsigned int& gid);

/// Looks up a group name by id.
///
/// @return false when the group is not found or the lookup failed
SHARING_EXPORT bool GIDToGroup(const unsigned int& gid, std::string& name);

/// How a link's URL reaches the appliance, as reported by vexosharingurl.
enum _tag_SHARING_URL_TYPE : int {
  /// Not known.
  SHARING_URL_TYPE_UNKNOWN = 0,
  /// An address on the local network.
  SHARING_URL_TYPE_LOCAL = 1,
  /// An address that the administrator configured.
  SHARING_URL_TYPE_CONFIGURED = 2,
  /// An address of a relay.
  SHARING_URL_TYPE_RELAYED = 3,
};

/// Runs /usr/vexo/bin/vexosharingurl to get the public URL of a link.  The first five
/// parameters are the arguments of the tool, in this order; vexosharingurl(1) describes
/// them.
///
/// @param first      first argument: the link's hash
/// @param number     second argument
/// @param flag       third argument, as "1" or "0"
/// @param fourth     fourth argument
/// @param fifth      fifth argument
/// @param[out] url   the URL; at most 4095 bytes are read
/// @param[out] type  kind of the URL
/// @return false, logged, when the tool cannot be run or prints fewer than two lines.
///         When only the second line is missing, `url` is set.
SHARING_EXPORT bool GetSharingURL(const std::string& first, int number, bool flag,
                                  const std::string& fourth, const std::string& fifth,
                                  std::string& url, _tag_SHARING_URL_TYPE& type);

/// As above, with an empty fourth argument.
SHARING_EXPORT bool GetSharingURL(const std::string& first, int number, bool flag,
                                  const std::string& fifth, std::string& url,
                                  _tag_SHARING_URL_TYPE& type);

/// Calls a method of the appliance's web API through /usr/vexo/bin/vexowebapi.  While the
/// response is parsed, the process has the classic C++ locale.
///
/// @param[out] out  the response
/// @param api       name of the API
/// @param version   version of the API
/// @param method    name of the method
/// @param params    an object of values that can be converted to text, or null.  They are
///                  arguments of a process, which every user of the machine can read, so
///                  they must not contain a secret.
/// @return false, logged, when a parameter has no text form, the tool cannot be run, or
///         what it prints is not JSON.  The exit status of the tool does not matter.
SHARING_EXPORT bool SendWebapi(Json::Value& out, const std::string& api, int version,
                               const std::string& method, const Json::Value& params);

}  // namespace VEXO::sharing
