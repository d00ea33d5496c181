#include <grp.h>
#include <pwd.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>
#include <utf8cpp/utf8.h>

#include <cerrno>
#include <cstdint>
#include <cstring>
#include <ctime>
#include <filesystem>
#include <memory>
#include <optional>
#include <string>
#include <system_error>

#include "base/never_shared.h"
#include "subcommands/create.h"
#include "subcommands/table.h"

namespace command {

namespace {

const char kPathMember[] = "path";
constexpr long kLifetime = 30L * 24 * 3600;  // seconds

struct Options : CreateOptions {
  std::string path;
  bool announce = false;
  bool drop = false;
  std::optional<std::uint64_t> max_bytes;
  std::optional<int> max_files;
};

/// Whether the account, that of this process unless it is root's, has this access to the
/// file or the directory.
bool CanAccess(const passwd& account, const std::string& path, int access_mode) {
  if (geteuid() != 0) return access(path.c_str(), access_mode) == 0;
  const pid_t child = fork();
  if (child == 0) {
    const bool can = initgroups(account.pw_name, account.pw_gid) == 0 &&
                     setgid(account.pw_gid) == 0 && setuid(account.pw_uid) == 0 &&
                     access(path.c_str(), access_mode) == 0;
    _exit(can ? 0 : 1);
  }
  int status = -1;
  while (child != -1 && waitpid(child, &status, 0) == -1 && errno == EINTR) continue;
  return status == 0;
}

/// Why the path cannot be shared; empty when it can.
std::string WhyNotShared(const std::string& path, mode_t mode) {
  if (!S_ISREG(mode) && !S_ISDIR(mode)) {
    return "neither a file nor a directory";
  }
  const std::string folder = VEXO::base::FolderNeverShared(path);
  if (!folder.empty()) return folder + " cannot be shared";
  return utf8::is_valid(path) ? "" : "the name is not valid UTF-8";
}

ExitCode Refuse(const Options& options, const std::string& reason) {
  return Fail(kRefused, options.path + ": " + reason);
}

/// The application data of the link.
Json::Value AppOf(const Options& options, const std::string& path) {
  Json::Value app = options.link.settings.app.value_or(Json::Value(Json::objectValue));
  app[kPathMember] = path;
  if (options.announce) app["announce"] = true;
  if (options.drop) app["drop"] = true;
  if (options.max_bytes) app["max_bytes"] = Json::UInt64(*options.max_bytes);
  if (options.max_files) app["max_files"] = *options.max_files;
  return app;
}

ExitCode Share(Options& options) {
  if (const ExitCode failure = ReadInputs(options.link)) return failure;
  admin::LinkSettings& settings = options.link.settings;
  if (settings.app && settings.app->isMember(kPathMember)) {
    return Fail(kUsageError, "--app must not contain \"path\": PATH sets it");
  }
  std::error_code reason;
  const std::string path = std::filesystem::canonical(options.path, reason);
  if (reason) return Refuse(options, reason.message());
  struct stat status = {};
  if (stat(path.c_str(), &status) == -1) return Refuse(options, strerror(errno));
  const std::string why_not = WhyNotShared(path, status.st_mode);
  if (!why_not.empty()) return Refuse(options, why_not);
  if (options.drop && !S_ISDIR(status.st_mode)) {
    return Refuse(options, "not a directory, so files cannot be sent to it");
  }
  if (!settings.owner && status.st_uid == 0) {
    return Refuse(options, "belongs to root; name the owner with --owner");
  }
  if (!settings.owner) {
    const passwd* const owner = getpwuid(status.st_uid);
    settings.owner = owner ? owner->pw_name : std::to_string(status.st_uid);
  }
  std::optional<unsigned int> uid;
  const Error error = admin::FindOwner(*settings.owner, true, uid);
  if (error) return Fail(error);
  const passwd* const account = getpwuid(*uid);
  if (geteuid() != 0 && geteuid() != *uid) {
    return Refuse(options, "only root can share it for " + *settings.owner);
  }
  const int access_mode = S_ISDIR(status.st_mode) ? R_OK | X_OK : R_OK;
  if (account == nullptr || !CanAccess(*account, path, access_mode)) {
    return Refuse(options, *settings.owner + " cannot read it");
  }
  if (options.drop && !CanAccess(*account, path, W_OK | X_OK)) {
    return Refuse(options, *settings.owner + " cannot write to it");
  }

  settings.project = kFilesProject;
  settings.app = AppOf(options, path);
  if (!settings.expire_at) settings.expire_at = time(nullptr) + kLifetime;
  if (!settings.match_ip) settings.match_ip = false;
  return StoreNewLink(options);
}

}  // namespace

Action AddShare(CLI::App& command) {
  const auto options = std::make_shared<Options>();
  command.add_option("PATH", options->path, "file or directory")->required();
  AddCreateOptions(command, *options);
  command.remove_option(command.get_option("--project"));
  command.remove_option(command.get_option("--no-match-ip"));
  CLI::Option* const drop = command.add_flag(
      "--drop", options->drop,
      "let visitors send files to the directory, without showing its contents");
  AddValue(
      command, "--max-bytes", options->max_bytes, "SIZE", Size(),
      "with --drop: maximum total size of files in the directory; suffixes k, M, G, T")
      ->needs(drop);
  AddValue(command, "--max-files", options->max_files, "N", WholeNumber(1),
           "with --drop: maximum number of files in the directory")
      ->needs(drop);
  AddSwitch(command, "--match-ip", options->link.settings.match_ip, true,
            "visitors must keep their IP address");
  command.add_flag("--announce", options->announce, "tell visitors when the link starts");
  return [options] { return Share(*options); };
}

}  // namespace command
