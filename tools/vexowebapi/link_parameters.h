#pragma once

#include <string>
#include <vector>

#include "entry.h"
#include "parameters.h"
#include "password.h"

namespace webapi {

/// Who is admitted to a link.  When it changes, visitors who are in must ask again.
struct Admission {
  bool enabled = false;
  int protect_type = 0;
  std::vector<unsigned int> uids;
  std::vector<unsigned int> gids;
  std::vector<std::string> users;
  std::vector<std::string> groups;
};

Admission AdmissionOf(const VEXO::sharing::record::Entry& link);
bool operator!=(const Admission& left, const Admission& right);

/// Sets in `link` what the parameters name and leaves the rest.  A password that was
/// asked for is drawn, set and put into `password`.  What is wrong shows as the
/// parameters' failure, and the link is then not to be stored.
void ApplyParameters(Parameters& parameters, VEXO::sharing::record::Entry& link,
                     Password& password);

}  // namespace webapi
