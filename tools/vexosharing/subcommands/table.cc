#include "subcommands/table.h"

#include "terminal/terminal.h"

namespace command {

namespace {

const std::string kValuesHelp =
    "WHEN is now, never, a local date such as 2026-12-31 (at 00:00:00) or\n"
    "\"2026-12-31 18:00\", or a time span from now: 90s, 15m, 12h, 7d, 4w.\n"
    "JSON is an object, @FILE to read it from a file, or @- to read it from standard\n"
    "input.  Use @FILE or @- for secrets: other users can see the command line.";

}  // namespace

const std::vector<Subcommand>& Subcommands() {
  static const std::vector<Subcommand> subcommands = {
      {"create", R"(Create a link and print its hash and URL.
--project and --owner are required.
)" + kValuesHelp,
       "vexosharing create --project photos --owner alice --expire 7d \\\n"
       "      --app @album.json --generate-password",
       AddCreate},
      {"share", R"(Create a link to a file or directory.
The web front end of this machine serves it.  The link belongs to the owner of
PATH, who must be able to read it.  If that is root, --owner is required.  The
link expires after 30 days unless --expire is given.  With --drop, visitors send
files to the directory.
)" + kValuesHelp,
       "vexosharing share /srv/photos/summer --generate-password", AddShare},
      {"list", R"(List links.
Links are sorted by creation time unless --order is given.  STATE is usable,
not_started, expired, used_up (use limit reached) or disabled.  --search looks
for the text in titles, in the members "path" and "note" of --app and in
the member "note" of --private-data; it ignores the case of ASCII letters.
LIST is a comma-separated list of columns: hash, title, project, owner, state,
starts, expires, uses, protection.  Unreadable rows are reported.)",
       "vexosharing list --owner alice --state expired", AddList},
      {"show", R"(Show the details of a link, without secrets.
For a link to a file or directory, they include the time of the last visit and
the number of downloads in the access log.)",
       "vexosharing show xK3fQ9aZb", AddShow},
      {"log", R"(Print the visits of a link.
The web front end logs the visits of links to files and directories.  The oldest
is printed first.  WHEN is a local date such as 2026-12-31 (at 00:00:00) or
"2026-12-31 18:00", or a time span up to now: 90s, 15m, 12h, 7d, 4w.  Damaged
lines are skipped and counted.)",
       "vexosharing log xK3fQ9aZb --since 7d", AddLog},
      {"edit", R"(Change the settings of links.
Links are named by HASH, or selected by the --where options.  A link keeps
its hash.  If the change affects who may use the link, its tokens are revoked.
A link is protected either by a password or by users and groups: setting one
removes the other.  --user replaces the list of users, --group the list of
groups; "" clears the list.
)" + kValuesHelp,
       "vexosharing edit xK3fQ9aZb --expire 4w --uses 0", AddEdit},
      {"delete", R"(Delete links and their tokens.
Links are named by HASH or selected by filters, as in list.)",
       "vexosharing delete xK3fQ9aZb 8hWmT2pLc", AddDelete},
      {"revoke", R"(Delete the tokens of links.
Visitors of these links must log in again.  Links are named by HASH or
selected by filters, as in list.)",
       "vexosharing revoke xK3fQ9aZb", AddRevoke},
      {"rotate", R"(Give a link a new hash.
The settings stay.  The old URL stops working and the tokens are revoked.)",
       "vexosharing rotate xK3fQ9aZb", AddRotate},
      {"transfer", "Change the owner of all links of a user.",
       "vexosharing transfer --from bob --to alice", AddTransfer},
      {"purge", R"(Delete expired links, sessions and tokens.
Links whose use limit is reached are deleted too.  Without options, the links
of all owners are purged except those created with --keep.  With --owner or
--project, only links and their tokens are deleted.)",
       "vexosharing purge --owner alice --project photos", AddPurge},
      {"visit", R"(Simulate a visitor of a link.
For tests and scripts.  Prints the result code and its meaning; login also
prints the session id on the second line.  check and logout read the session
id from the environment variable SHARING_SID or from the next line of standard
input.  visit always uses the system's database.)",
       "vexosharing visit xK3fQ9aZb login --password-stdin <secret-file\n"
       "  SHARING_SID=session-id vexosharing visit xK3fQ9aZb check",
       AddVisit},
      {"check", R"(Check the whole database and suggest repairs.
The exit code is 0 if no problem was found, 1 otherwise.  Links that never
expire are listed but are not a problem.)",
       "vexosharing check", AddCheck},
      {"backup", R"(Copy the database while it is in use.
The copy is verified and is readable by its owner only.  FILE is created
atomically.  The copy holds the same secrets as the database.)",
       "vexosharing backup /var/backups/sharing.db", AddBackup},
      {"restore", R"(Replace the links with those of a backup.
The backup is checked first.  The previous database is kept in the same
directory.  All sessions end: visitors must log in again.  Programs that use
the database continue with the restored links.  If the database is damaged,
stop them first.)",
       "vexosharing restore /var/backups/sharing.db", AddRestore},
      {"export", R"(Write links as lines of JSON, for import.
Stored passwords and private data are omitted unless --with-secrets is given.
FILE is created atomically and is readable by its owner only.  Sessions and
tokens are not exported.)",
       "vexosharing export links.jsonl", AddExport},
      {"import", R"(Read links from a file written by export.
Links keep their hashes; a link whose hash exists already is skipped.  Owners,
users and groups are matched by name.  A line with an unknown owner is
rejected; an owner without a name is matched by number.  A link whose stored
password is not in the file is imported disabled, with a random password.  The
first invalid line stops the import; the lines before it are kept.)",
       "vexosharing import --keep-going links.jsonl", AddImport},
      {"block", "List or clear addresses with failed logins.", "vexosharing block list",
       AddBlock},
      {"stats", R"(Count links, logins, sessions and tokens.
Logins are counted for existing links only.)",
       "vexosharing stats", AddStats},
      {"help", "Show the help of a subcommand.", "vexosharing help create", AddHelp},
  };
  return subcommands;
}

void AddSubcommand(CLI::App& parent, const Subcommand& subcommand, Action& action) {
  CLI::App& command = *parent.add_subcommand(subcommand.name, subcommand.description);
  command.footer(std::string("Example:\n  ") + subcommand.example);
  const Action run = subcommand.add(command);
  if (run) command.callback([&action, run] { action = run; });
}

Action AddHelp(CLI::App& command) {
  const auto names = std::make_shared<std::vector<std::string>>();
  command.add_option("SUBCOMMAND", *names, "subcommand (default: all of them)");
  // While the command line is parsed, as --help: neither root nor a database is needed.
  command.callback([names, &command] {
    const CLI::App* shown = command.get_parent();
    std::string path = shown->get_name();
    for (const std::string& name : *names) {
      const auto found = shown->get_subcommands(
          [&name](const CLI::App* app) { return app->get_name() == name; });
      if (found.empty()) throw CLI::ValidationError("unknown subcommand: " + name);
      shown = found.front();
      path += " " + name;
    }
    std::cout << shown->get_formatter()->make_help(shown, path,
                                                   CLI::AppFormatMode::Normal);
    throw CLI::Success();
  });
  return nullptr;
}

std::function<bool(long done, long total)> ShowProgress(const std::string& what) {
  const auto progress = std::make_shared<Progress>(what);
  return [progress](long done, long total) {
    progress->Show(done, total);
    return !Interrupted();
  };
}

}  // namespace command
