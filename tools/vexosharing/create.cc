#include <ctime>
#include <memory>
#include <string>

#include "commands.h"
#include "database.h"
#include "entry_db.h"
#include "interrupt.h"
#include "json.h"
#include "link_json.h"
#include "link_options.h"
#include "links.h"
#include "options.h"
#include "output.h"
#include "qr_code.h"
#include "state_text.h"
#include "statements.h"
#include "table.h"

namespace command {

namespace {

struct Options {
  CommonOptions common;
  LinkOptions link;
  bool qr = false;
};

void Print(const Options& options, const Entry& link, const std::string& url,
           const Secret& password) {
  if (options.common.json) {
    Json::Value out = tools::LinkJson(link, time(nullptr));
    out["url"] = url.empty() ? Json::Value() : Json::Value(url);
    if (options.link.generate_password) out["generated_password"] = password.text();
    PrintJson(out);
    return;
  }
  {
    Sheet sheet;
    sheet.Add("Hash", link.get_hash());
    if (!url.empty()) sheet.Add("URL", url);
    if (options.link.generate_password) sheet.Add("Password", password.text());
  }
  if (options.qr && (url.empty() || !DrawQrCode(url))) {
    Tell(url.empty() ? "without a URL there is no QR code"
                     : "the URL is too long for a QR code");
  }
}

Outcome Create(const Options& options) {
  Secret password;
  Outcome outcome = ReadPassword(options.link, password);
  if (outcome != kDone) return outcome;
  Entry link;
  link.set_app(Json::Value(Json::objectValue));
  outcome = ApplyOptions(options.link, password, link);
  if (outcome != kDone) return outcome;

  const std::unique_ptr<SharingDB> db = OpenOrMakeDatabase(options.common.database);
  if (db == nullptr) return kNotUsable;
  EntryDB links(*db);
  tools::Transaction change(*db);  // or a locked file would be tried for each hash
  if (Interrupted()) return End(kInterrupted, "interrupted: no link was made");
  if (!change.good()) return DatabaseFailed(*db);
  if (!links.CreateWithHash(link) || !change.Commit()) return DatabaseFailed(*db);

  Print(options, link, LinkUrl(link.get_hash()), password);
  // A hash or a password that nobody got to see must not stay behind.
  if (!FlushOutput() && links.Delete(link)) Tell("the link was taken back");
  const long now = time(nullptr);
  if (tools::StateOf(link, now) == LinkState::kExpired) {
    Tell("nobody can use the link: " + StateText(link, now));
  }
  return kDone;
}

}  // namespace

void AddCreate(CLI::App& app, Work& work) {
  const auto options = std::make_shared<Options>();
  CLI::App& command =
      AddCommand(app, "create",
                 std::string("Makes a link, and prints its hash and its URL.\n"
                             "--project and --owner are needed.\n") +
                     kDatesHelp,
                 "vexosharing create --project photos --owner alice --expire 7d \\\n"
                 "      --app '{\"album\":\"Summer\"}' --generate-password");
  AddLinkOptions(command, options->link);
  command.get_option("--project")->required();
  command.get_option("--owner")->required();
  CLI::Option* const qr =
      command.add_flag("--qr", options->qr, "draw the URL as a QR code");
  AddCommon(command, options->common);
  qr->excludes(command.get_option("--json"));
  command.callback([options, &work] { work = [options] { return Create(*options); }; });
}

}  // namespace command
