// cold_check LINKS N: a web program that checks one request, with visit N of a database
// with this number of links, and ends.

#include <cstdio>
#include <cstdlib>

#include "rows.h"
#include "sharinglogin.h"

int main(int argc, char** argv) {
  if (argc != 3) return 2;
  setenv("REMOTE_ADDR", bench::kAddress, 1);
  const bench::Visit visit = bench::GetVisit(std::atoi(argv[1]), std::atol(argv[2]));
  _tag_sharing_login_params params = {};
  params.hash = visit.hash.c_str();
  params.session_id = visit.session_id.c_str();
  const int result = VEXO::VexoSharingIsAuthorized(&params);
  std::printf("Status: %d\n", result == SHARING_CHECK_SUCCESS ? 200 : 403);
  return result == SHARING_CHECK_SUCCESS ? 0 : 1;
}
