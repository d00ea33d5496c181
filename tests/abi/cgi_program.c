/* A program that calls both libraries, as a link's front end does. */

#include <vexo/cgi.h>
#include <vexosharing/sharinglogin.h>

int main(void) {
  struct VexoCgiContext context = {0};
  const struct _tag_sharing_login_params nothing = {0};
  const int started = VexoCgiInit("", &context);
  VexoCgiFree(&context);
  return started != 1 ||
         VexoSharingIsAuthorized(&nothing) != SHARING_CHECK_GENERAL_FAILURE;
}
