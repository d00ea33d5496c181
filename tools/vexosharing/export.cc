#include <iostream>
#include <memory>
#include <string>
#include <vector>

#include "account.h"
#include "commands.h"
#include "database.h"
#include "interrupt.h"
#include "json.h"
#include "link_json.h"
#include "links.h"
#include "new_file.h"
#include "options.h"
#include "progress.h"
#include "terminal.h"
#include "text.h"
#include "utils.h"

namespace command {

namespace {

struct Options {
  CommonOptions common;
  std::string file = "-";
  bool with_secrets = false;
  bool force = false;
};

/// The ids that no name stands for.
template <class ToName>
Json::Value Nameless(const std::vector<unsigned int>& ids, ToName to_name) {
  Json::Value array(Json::arrayValue);
  for (const unsigned int id : ids) {
    std::string name;
    if (!to_name(id, name)) array.append(id);
  }
  return array;
}

void AddSecrets(const Entry& link, Json::Value& line) {
  line[VEXO::sharing::SZK_PROTECT_PASSWORD] = link.get_protect_password();
  line[VEXO::sharing::SZK_PROTECT_PASSWORD_ALGO] =
      link.get_protect_password_algo() == Entry::ENCRYPT_ALGO_MD5
          ? VEXO::sharing::SZK_PROTECT_PASSWORD_ALGO_MD5
          : VEXO::sharing::SZK_PROTECT_PASSWORD_ALGO_DEFAULT;
  line[VEXO::sharing::SZK_PROTECT_PASSWORD_SALT] = link.get_protect_password_salt();
  line[VEXO::sharing::SZK_PRIVATE_DATA] = link.get_private_data();
}

std::string Line(const Entry& link, bool with_secrets) {
  Json::Value line = tools::LinkJson(link, 0);
  line.removeMember(VEXO::sharing::SZK_ID_);  // what holds in this database, and now
  line.removeMember("state");
  line[VEXO::sharing::SZK_PROTECT_UIDS] =
      Nameless(link.get_protect_uids(), VEXO::sharing::UIDToUser);
  line[VEXO::sharing::SZK_PROTECT_GIDS] =
      Nameless(link.get_protect_gids(), VEXO::sharing::GIDToGroup);
  if (with_secrets) AddSecrets(link, line);
  return JsonText(line) + "\n";
}

/// Writes every link that reads; false, told, when `file` (null: standard output) does
/// not take it.
bool WriteLinks(LinkReader& reader, bool with_secrets, NewFile* file) {
  Progress progress("exporting links", reader.total());
  Entry link;
  while (std::cout && reader.Next(link)) {
    const std::string line = Line(link, with_secrets);
    if (file == nullptr) {
      std::cout << line;
    } else if (!file->Append(line)) {
      return false;
    }
    if (file != nullptr || !IsOutputTerminal()) progress.Show(reader.done());
  }
  return true;
}

void Print(const Options& options, const LinkReader& reader) {
  const long written = reader.done() - static_cast<long>(reader.damaged().size());
  if (options.common.json) {
    Json::Value out(Json::objectValue);
    out["file"] = options.file;
    out["exported"] = Json::Value::Int64{written};
    out["damaged"] = DamagedJson(reader.damaged());
    PrintJson(out);
  } else {
    std::cout << "Exported " << Counted(written, "link") << " to "
              << Printable(options.file) << ".\n";
  }
}

Outcome Export(const Options& options) {
  const std::unique_ptr<SharingDB> db = OpenDatabase(options.common.database);
  if (db == nullptr) return kNotUsable;
  std::unique_ptr<NewFile> file;
  if (options.file != "-") {
    file = std::make_unique<NewFile>(options.file, options.force);
    if (!file->Make(options.common.database)) return kRefused;
  }
  LinkReader reader(*db, "", "id");
  if (!WriteLinks(reader, options.with_secrets, file.get())) return kRefused;
  if (!reader.good()) return DatabaseFailed(*db);
  if (Interrupted()) {
    return End(kInterrupted, "interrupted after " + std::to_string(reader.done()) +
                                 " of " + Counted(reader.total(), "link") +
                                 (file == nullptr ? "" : ": nothing was kept"));
  }
  if (file != nullptr) {
    if (!file->Publish()) return kRefused;
    Print(options, reader);
  }
  TellDamaged(reader.damaged());
  return reader.damaged().empty() ? kDone : kRefused;
}

}  // namespace

void AddExport(CLI::App& app, Work& work) {
  const auto options = std::make_shared<Options>();
  CLI::App& command = AddCommand(
      app, "export",
      "Writes links as lines of JSON, for import.\n"
      "Stored passwords and the applications' private data are left out unless\n"
      "--with-secrets is given.  A file appears whole or not at all, and is for its\n"
      "owner alone to read.  Sessions and tokens are not exported: backup keeps them.",
      "vexosharing export links.jsonl");
  command.add_option("FILE", options->file, "a new file; -, standard output, without it")
      ->transform(NotEmpty());
  command.add_flag("--with-secrets", options->with_secrets,
                   "stored passwords and private data too");
  command.add_flag("--force", options->force, "replace a file that is there");
  AddCommon(command, options->common);
  command.callback([options, &work] { work = [options] { return Export(*options); }; });
}

}  // namespace command
