#include "subcommands/create.h"

#include "subcommands/table.h"
#include "terminal/terminal.h"

namespace command {

namespace {

void Print(const CreateOptions& options, const Entry& link) {
  admin::LinkUrls urls;
  const std::string url = UrlText(link, urls);
  if (options.json) {
    PrintJson(StoredLinkJson(link, options.link.generated(), urls));
    return;
  }
  {
    DetailList list;
    list.Add("Hash", link.get_hash());
    if (!url.empty()) list.Add("URL", url);
    if (options.link.generate_password)
      list.Add("Password", options.link.password.text());
  }
  if (options.qr && (url.empty() || !DrawQrCode(url))) {
    ReportWarning(url.empty() ? "no QR code: the URL is unknown"
                              : "no QR code: the URL is too long");
  }
}

}  // namespace

void AddCreateOptions(CLI::App& command, CreateOptions& options) {
  AddLinkOptions(command, options.link);
  CLI::Option* const qr =
      command.add_flag("--qr", options.qr, "print the URL as a QR code");
  AddCommon(command, options);
  qr->excludes("--json");
}

ExitCode StoreNewLink(const CreateOptions& options) {
  Entry link;
  admin::DatabaseAccess access;
  Error error = NewLink(options.link.settings, link);
  if (!error) error = access.Open(options.database, Access::kCreate);
  if (error) return Fail(error);
  admin::LinkAdmin links(access.database(), Interrupted);
  error = links.Create(link);
  if (error) return Fail(error);
  Print(options, link);
  // A link whose hash or password nobody has seen must not remain.
  if (!FlushOutput()) {
    return Fail(kRefused, "cannot write to standard output: " + links.UndoCreate(link));
  }
  WarnAboutLink(options.link.settings, link);
  return kSuccess;
}

Action AddCreate(CLI::App& command) {
  const auto options = std::make_shared<CreateOptions>();
  AddCreateOptions(command, *options);
  command.get_option("--project")->required();
  command.get_option("--owner")->required();
  return [options] {
    const ExitCode exit_code = ReadInputs(options->link);
    return exit_code == kSuccess ? StoreNewLink(*options) : exit_code;
  };
}

}  // namespace command
