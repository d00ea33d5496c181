// Serves files and folders to the visitors of sharing links, as a CGI program or as a
// FastCGI server.

#include <fcgiapp.h>
#include <syslog.h>
#include <unistd.h>

#include <cstdlib>
#include <iostream>
#include <optional>
#include <string>

#include "base/standard_streams.h"
#include "handler.h"
#include "language.h"
#include "server/cgi.h"
#include "server/fastcgi.h"
#include "server/stop.h"
#include "server/workers.h"
#include "settings.h"
#include "site.h"
#include "variables.h"

namespace {

const char kSettings[] = "/usr/vexo/etc/web.conf";
const char kTranslations[] = "/usr/vexo/share/vexosharing/web/locale";

const char kUsage[] =
    "usage: sharing.cgi [--help | --version]\n"
    "\n"
    "Serves the files and folders of sharing links.  A web server runs the program as a\n"
    "CGI program, or as a FastCGI server with a listening socket as standard input.\n";

int AnswerPerson(const std::string& option) {
  if (option != "--help" && option != "--version") {
    std::cerr << kUsage;
    return 2;
  }
  std::cout << (option == "--help" ? kUsage : "sharing.cgi " PROJECT_VERSION "\n")
            << std::flush;
  return std::cout ? EXIT_SUCCESS : EXIT_FAILURE;
}

int ServeRequests() {
  const web::Variables request(environ);
  const bool one_request = FCGX_IsCGI() != 0;
  // The platform reads the environment.  It must see only what VisitRequest contains.
  web::ClearEnvironment();
  const web::Settings settings = web::ReadSettings(kSettings);
  const std::optional<web::Site> site = web::Site::Read();
  if (!site) return EXIT_FAILURE;
  web::LoadTranslations(kTranslations);
  const web::Handler handler(*site, settings);
  if (one_request) {
    web::BlockStopSignals(false);
    return web::ServeCgi(handler, request) ? EXIT_SUCCESS : EXIT_FAILURE;
  }
  web::RunWorkers(settings.workers, [&handler, &settings] {
    return web::ServeFastCgi(handler, settings.downloads);
  });
  return EXIT_SUCCESS;
}

}  // namespace

int main(int argc, char** argv) {
  VEXO::base::OccupyStandardStreams();
  openlog("sharing.cgi", LOG_PID, LOG_DAEMON);
  // FCGX_IsCGI installs a handler for SIGTERM, which would only end each worker.
  web::BlockStopSignals(true);
  // Only the command line of a person has options: a server may pass the words of a query
  // as arguments (RFC 3875, 4.4).
  if (getenv("REQUEST_METHOD") == nullptr && FCGX_IsCGI() != 0) {
    return AnswerPerson(argc == 2 ? argv[1] : "");
  }
  return ServeRequests();
}
