#include <ctime>

#include "subcommands/table.h"

namespace command {

namespace {

struct Options : CommonOptions {
  std::string hash;
};

void Print(const Options& options, const admin::StoredLink& stored) {
  admin::LinkUrls urls;
  if (options.json) {
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
  if (Error error = access.Open(options.database, Access::kWrite)) return Fail(error);
  admin::StoredLink stored;
  const Error error =
      admin::LinkAdmin(access.database(), Interrupted).Rotate(options.hash, stored);
  if (error) return Fail(error);
  Print(options, stored);
  if (FlushOutput()) return kSuccess;
  // The old hash does not work any more, so the new one must be known.
  return Fail(kRefused, "cannot write to standard output: the new hash is " +
                            stored.link.get_hash());
}

}  // namespace

Action AddRotate(CLI::App& command) {
  const auto options = std::make_shared<Options>();
  AddHash(command, options->hash);
  AddCommon(command, *options);
  return [options] { return Rotate(*options); };
}

}  // namespace command
