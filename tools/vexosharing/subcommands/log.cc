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
long ForEachVisit(const Options& options, admin::AccessLog& record, Print print) {
  long matching = 0;
  admin::RecordedVisit visit;
  while (std::cout && !Interrupted() && record.Next(options.hash, visit)) {
    if (visit.time < options.since) continue;
    if (options.pages.Has(matching)) print(visit);
    ++matching;
  }
  return matching;
}

long PrintTable(const Options& options, admin::AccessLog& record) {
  Table table({{"TIME"},
               {"EVENT"},
               {"STATUS"},
               {"CODE"},
               {"BYTES"},
               {"ADDRESS"},
               {"PATH", true}});
  return ForEachVisit(options, record, [&table](const admin::RecordedVisit& visit) {
    table.Add({DateText(visit.time), visit.event, std::to_string(visit.status),
               visit.code ? std::to_string(*visit.code) : "-",
               std::to_string(visit.bytes), visit.address.empty() ? "-" : visit.address,
               visit.path});
  });
}

long PrintArray(const Options& options, admin::AccessLog& record) {
  std::cout << "{\"items\":[";
  JsonArrayWriter array;
  const long matching =
      ForEachVisit(options, record, [&array](const admin::RecordedVisit& visit) {
        array.Add(RecordedVisitJson(visit));
      });
  // An incomplete list is not closed, so that it is not valid JSON.
  if (record.error() || Interrupted()) return matching;
  array.End();
  std::cout << ",\"total\":" << matching << ",\"malformed\":" << record.malformed()
            << "}\n";
  return matching;
}

ExitCode Log(const Options& options) {
  admin::AccessLog record;
  if (const Error error = record.Open()) return Fail(error);
  const long matching =
      options.json ? PrintArray(options, record) : PrintTable(options, record);
  if (record.malformed() > 0) {
    ReportWarning("skipped " + Counted(record.malformed(), "damaged line"));
  }
  if (record.error()) return Fail(record.error());
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
