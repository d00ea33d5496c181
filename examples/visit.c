/* Logs in a visitor to a sharing link, as a CGI program does.  The visitor's address is
 * the environment variable REMOTE_ADDR.
 *
 *   visit login HASH [--user NAME]    prints the session id on the second line
 *   visit check HASH
 *   visit logout HASH
 *
 * The password is the first line of standard input, and the session id of an earlier
 * login is the environment variable SHARING_SID: every user of the machine can see the
 * arguments of a process. */

/* explicit_bzero.  The C library prescribes the name. */
#define _DEFAULT_SOURCE /* NOLINT(bugprone-reserved-identifier) */
#include <stdio.h>
#include <stdlib.h>
#include <string.h>
#include <vexosharing/sharinglogin.h>

static int Login(struct _tag_sharing_login_params* params, const char* user) {
  char secret[256];
  char session[64] = ""; /* zeros: the library does not terminate the session id */
  int code;

  if (fgets(secret, sizeof(secret), stdin) != NULL) {
    secret[strcspn(secret, "\n")] = '\0';
    params->password = secret;
  }
  if (user != NULL) {
    params->username = user;
    params->user_password = params->password;
  }
  code = VexoSharingLogin(session, sizeof(session), params, 0);
  explicit_bzero(secret, sizeof(secret));

  printf("%d %s\n", code, VexoSharingLoginMeaning(code));
  if (code == SHARING_LOGIN_SUCCESS) printf("%s\n", session);
  return code;
}

static int Check(const struct _tag_sharing_login_params* params) {
  const int code = VexoSharingIsAuthorized(params);
  printf("%d %s\n", code, VexoSharingCheckMeaning(code));
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
  if (strcmp(task, "login") == 0 && argc == 3)
    return Login(&params, NULL) != SHARING_LOGIN_SUCCESS;
  if (strcmp(task, "login") == 0 && argc == 5 && strcmp(argv[3], "--user") == 0) {
    return Login(&params, argv[4]) != SHARING_LOGIN_SUCCESS;
  }
  if (strcmp(task, "check") == 0 && argc == 3)
    return Check(&params) != SHARING_CHECK_SUCCESS;
  if (strcmp(task, "logout") == 0 && argc == 3 && params.session_id != NULL) {
    return Logout(&params) != 1;
  }
  fprintf(stderr, "usage: visit login HASH [--user NAME] | check HASH | logout HASH\n");
  return 2;
}
