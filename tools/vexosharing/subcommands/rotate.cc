#include <ctime>
#include <memory>
#include <string>

#include "admin/database_access.h"
#include "admin/link_json.h"
#include "cli/interrupt.h"
#include "cli/link_text.h"
#include "cli/options.h"
#include "cli/report.h"
#include "subcommands/table.h"
#include "terminal/json.h"
#include "terminal/table.h"
#include "terminal/text.h"

namespace command {

namespace {

struct Options {
  CommonOptions common;
  std::string hash;
};

void Print(const Options& options, const admin::StoredLink& stored) {
  admin::LinkUrls urls;
  if (options.common.json) {
    Json::Value out = LinkDetailsJson(stored.link, urls, time(nullptr));
    out["old_hash"] = options.hash;
    out["revoked"] = Json::Int64{stored.revoked};
    PrintJson(out);
    return;
  }
  DetailList list;
  list.Add("Hash", stored.link.get_hash());
  const std::string url = UrlText(stored.link, urls);
  if (!url.empty()) list.Add("URL", url);
  list.Add("Revoked", Counted(stored.revoked, "token"));
}

ExitCode Rotate(const Options& options) {
  admin::DatabaseAccess access;
  admin::Error error = access.Open(options.common.database, admin::Access::kWrite);
  if (error) return Fail(error);
  admin::LinkAdmin links(access.database(), Interrupted);
  admin::StoredLink stored;
  error = links.Rotate(options.hash, stored);
  if (error) return Fail(error);
  Print(options, stored);
  if (FlushOutput()) return kSuccess;
  // The old hash does not work any more, so the new one must be known.
  return Fail(kRefused, "cannot write to standard output: the new hash is " +
                            stored.link.get_hash());
}

}  // namespace

void AddRotate(CLI::App& command, Action& action) {
  const auto options = std::make_shared<Options>();
  AddHash(command, options->hash);
  AddCommon(command, options->common);
  SetAction(command, action, options, Rotate);
}

}  // namespace command
