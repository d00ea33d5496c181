#include <vexo/account.h>

int main(void) {
  struct VEXOUSER* user = NULL;
  const int found = VEXOUserGet("alice", &user);
  VEXOUserFree(user);
  return found;
}
