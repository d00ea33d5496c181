/* A C program that asks what to answer to a visitor. */

#include <stdio.h>
#include <vexosharing/sharing_visit.h>

int main(int argc, char** argv) {
  struct VexoSharingVisitRequest request = {0};
  struct VexoSharingVisitAnswer* answer;

  request.project = "demo";
  request.hash = argc > 1 ? argv[1] : NULL;
  request.method = "GET";
  request.remote_address = "192.0.2.1";
  answer = VexoSharingVisit(&request);
  printf("%d %d %s\n", VexoSharingVisitGetOutcome(answer),
         VexoSharingVisitGetProtection(answer), VexoSharingVisitGetCookie(answer));
  VexoSharingVisitFree(answer);
  return 0;
}
