/* Prints what a sharing link is for and whether visitors can log in to it.
 *
 *   read_link HASH
 *
 * Exits with 0 for a usable link, 1 for a link that cannot be used now, 2 for wrong
 * arguments, 3 when there is no such link, and 4 when it cannot be read. */

#include <stdio.h>
#include <vexosharing/sharing_link.h>

static const char* const kProtections[] = {"none", "password", "user"};
static const char* const kStates[] = {"usable", "not started", "expired",
                                      "use limit reached", "disabled"};

int main(int argc, char** argv) {
  struct VexoSharingLink* link = NULL;
  int state;

  if (argc != 2) {
    fprintf(stderr, "usage: read_link HASH\n");
    return 2;
  }
  switch (VexoSharingLinkOpen(argv[1], &link)) {
    case SHARING_LINK_FOUND:
      break;
    case SHARING_LINK_ABSENT:
      fprintf(stderr, "read_link: no such link: %s\n", argv[1]);
      return 3;
    case SHARING_LINK_UNREADABLE:
      fprintf(stderr, "read_link: unreadable link: %s\n", argv[1]);
      return 4;
    default:
      fprintf(stderr, "read_link: the database cannot be read\n");
      return 4;
  }
  state = VexoSharingLinkGetState(link);
  printf("project: %s\n", VexoSharingLinkGetProject(link));
  printf("title: %s\n", VexoSharingLinkGetTitle(link));
  printf("protection: %s\n", kProtections[VexoSharingLinkGetProtection(link)]);
  printf("app: %s\n", VexoSharingLinkGetApp(link));
  printf("state: %s\n", kStates[state]);
  VexoSharingLinkFree(link);
  return state != SHARING_LINK_USABLE;
}
