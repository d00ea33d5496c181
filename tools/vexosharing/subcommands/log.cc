#include "admin/access_log.h"
#include "cli/date.h"
#include "cli/pages.h"
#include "subcommands/table.h"

namespace command {

namespace {

struct Options {
  std::string hash;
  bool json = false;
  long since = 0;
  PageOptions pages;
};

/// Calls `print` for each visit to print, and returns the number of all that match.
template <class Print>
long ForEachVisit(const Options& options, admin::AccessLogReader& log, Print print) {
  long matching = 0;
  admin::RecordedVisit visit;
  while (std::cout && !Interrupted() && log.Next(options.hash, visit)) {
    if (visit.time < options.since) continue;
    if (options.pages.Has(matching)) print(visit);
    ++matching;
  }
  return matching;
}

long PrintTable(const Options& options, admin::AccessLogReader& log) {
  Table table({{"TIME"},
               {"EVENT"},
               {"STATUS"},
               {"CODE"},
               {"BYTES"},
               {"ADDRESS"},
               {"PATH", true}});
  return ForEachVisit(options, log, [&table](const admin::RecordedVisit& visit) {
    table.Add({DateText(visit.time), visit.event, std::to_string(visit.status),
               visit.code ? std::to_string(*visit.code) : "-",
               std::to_string(visit.bytes), visit.address.empty() ? "-" : visit.address,
               visit.path});
  });
}

long PrintArray(const Options& options, admin::AccessLogReader& log) {
  std::cout << "{\"items\":[";
  JsonArrayWriter array;
  const long matching =
      ForEachVisit(options, log, [&array](const admin::RecordedVisit& visit) {
        array.Add(RecordedVisitJson(visit));
      });
  // An incomplete list is not closed, so that it is not valid JSON.
  if (log.error() || Interrupted()) return matching;
  array.End();
  std::cout << ",\"total\":" << matching << ",\"malformed\":" << log.malformed() << "}\n";
  return matching;
}

ExitCode Log(const Options& options) {
  admin::AccessLogReader log;
  if (const Error error = log.Open()) return Fail(error);
  const long matching =
      options.json ? PrintArray(options, log) : PrintTable(options, log);
  if (log.malformed() > 0) {
    ReportWarning("skipped " + Counted(log.malformed(), "damaged line"));
  }
  if (log.error()) return Fail(log.error());
  if (Interrupted()) return Fail(kInterrupted, "interrupted: the list is incomplete");
  if (options.json) return kSuccess;
  if (options.pages.page != 0) {
    ReportPage(options.pages, matching, "visit");
  } else if (matching == 0) {
    ReportError("no matching visits");
  }
  return kSuccess;
}

}  // namespace

Action AddLog(CLI::App& command) {
  const auto options = std::make_shared<Options>();
  AddHash(command, options->hash);
  AddValue(command, "--since", options->since, "WHEN", PastDate(),
           "print only visits since WHEN");
  AddPages(command, options->pages, "visits");
  AddJson(command, options->json);
  return [options] { return Log(*options); };
}

}  // namespace command
