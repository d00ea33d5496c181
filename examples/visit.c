/* Takes a visitor through a sharing link, as a CGI program does: the visitor's address
 * stands in REMOTE_ADDR.
 *
 *   visit login HASH [--user NAME]    prints the session id in the second line
 *   visit check HASH
 *   visit logout HASH
 *
 * The password is the first line of standard input, and the session id of an earlier
 * login stands in SHARING_SID: arguments are seen by every user of the machine. */

#define _DEFAULT_SOURCE /* explicit_bzero */
#include <stdio.h>
#include <stdlib.h>
#include <string.h>
#include <vexosharing/sharinglogin.h>

static const char* LoginMeaning(int code) {
  switch (code) {
    case 1:
      return "admitted";
    case -2:
      return "user or password refused";
    case -3:
      return "no such link, or not usable now";
    case -4:
      return "general failure";
    case -8:
      return "address blocked";
    case -9:
      return "wrong password";
    case -10:
      return "user not admitted to this link";
    case -11:
      return "uses exhausted";
    default:
      return "unknown";
  }
}

static const char* CheckMeaning(int code) {
  switch (code) {
    case 1:
      return "authorised";
    case -1:
      return "expired";
    case -2:
      return "user no longer admitted";
    case -4:
      return "general failure";
    case -5:
      return "no such session";
    case -6:
      return "link no longer usable";
    case -7:
      return "not logged in to this link";
    case -8:
      return "not the address of the login";
    default:
      return "unknown";
  }
}

static int Login(struct _tag_sharing_login_params* params, const char* user) {
  char secret[256];
  char session[64] = ""; /* zeroed: the library writes no terminator of its own */
  int code;

  if (fgets(secret, sizeof secret, stdin) != NULL) {
    secret[strcspn(secret, "\n")] = '\0';
    params->password = secret;
  }
  if (user != NULL) {
    params->username = user;
    params->user_password = params->password;
  }
  code = VexoSharingLogin(session, sizeof session, params, 0);
  explicit_bzero(secret, sizeof secret);

  printf("%d %s\n", code, LoginMeaning(code));
  if (code == 1) printf("%s\n", session);
  return code;
}

static int Check(const struct _tag_sharing_login_params* params) {
  const int code = VexoSharingIsAuthorized(params);
  printf("%d %s\n", code, CheckMeaning(code));
  return code;
}

static int Logout(const struct _tag_sharing_login_params* params) {
  const int done = VexoSharingLogout(params->hash, params->session_id);
  printf("%d %s\n", done, done ? "logged out" : "not logged in to this link");
  return done;
}

int main(int argc, char** argv) {
  struct _tag_sharing_login_params params = {0};
  const char* task = argc > 2 ? argv[1] : "";

  params.hash = argc > 2 ? argv[2] : NULL;
  params.session_id = getenv("SHARING_SID");
  if (strcmp(task, "login") == 0 && argc == 3) return Login(&params, NULL) != 1;
  if (strcmp(task, "login") == 0 && argc == 5 && strcmp(argv[3], "--user") == 0) {
    return Login(&params, argv[4]) != 1;
  }
  if (strcmp(task, "check") == 0 && argc == 3) return Check(&params) != 1;
  if (strcmp(task, "logout") == 0 && argc == 3 && params.session_id != NULL) {
    return Logout(&params) != 1;
  }
  fprintf(stderr, "usage: visit login HASH [--user NAME] | check HASH | logout HASH\n");
  return 2;
}
