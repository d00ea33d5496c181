#include <gtest/gtest.h>

#include <cerrno>
#include <cstdarg>
#include <memory>

#include "current_platform.h"
#include "vexo/core.h"

using fakes::CallText;
using fakes::CurrentPlatform;
using fakes::Platform;

namespace {

// What each open pipe reads from; the stream does not copy it.
std::map<FILE*, std::unique_ptr<const fakes::Tool>>& Pipes() {
  static auto* const pipes = new std::map<FILE*, std::unique_ptr<const fakes::Tool>>;
  return *pipes;
}

FILE* Start(const char* function, const char* program, const char* mode,
            const std::vector<std::string>& arguments) {
  Platform& platform = CurrentPlatform();
  std::string list;
  for (const std::string& argument : arguments) {
    list += (list.empty() ? "[" : ", ") + argument;
  }
  if (platform.Refuse(CallText(function, program, mode, list + "]"))) {
    errno = EAGAIN;
    return nullptr;
  }
  platform.started.push_back({program, mode, arguments});
  const auto tool = platform.tools.find(program);
  if (tool == platform.tools.end()) {
    errno = ENOENT;
    return nullptr;
  }
  auto running = std::make_unique<const fakes::Tool>(tool->second);
  FILE* const stream =
      fmemopen(const_cast<char*>(running->output.data()), running->output.size(), "r");
  if (stream == nullptr) {
    ADD_FAILURE() << "fmemopen failed";
    return nullptr;
  }
  platform.HandOut(stream, "pipe");
  Pipes()[stream] = std::move(running);
  return stream;
}

}  // namespace

extern "C" {

int VLIBCFileExist(const char* path) {
  Platform& platform = CurrentPlatform();
  platform.Record(CallText("VLIBCFileExist", path));
  return platform.files.count(path) ? 1 : 0;
}

int VLIBCFileTouch(const char* path) {
  Platform& platform = CurrentPlatform();
  if (platform.Refuse(CallText("VLIBCFileTouch", path))) {
    errno = EACCES;
    return -1;
  }
  platform.files.insert({path, fakes::File{platform.ids.euid, platform.ids.egid, 0644}});
  return 0;
}

int VLIBCFileStat(const char* path, int follow, struct stat* out) {
  Platform& platform = CurrentPlatform();
  if (platform.Refuse(CallText("VLIBCFileStat", path, follow))) {
    errno = EACCES;
    return -1;
  }
  const auto file = platform.files.find(path);
  if (file == platform.files.end()) {
    errno = ENOENT;
    return -1;
  }
  *out = {};
  out->st_uid = file->second.uid;
  out->st_gid = file->second.gid;
  out->st_mode = S_IFREG | file->second.mode;
  return 0;
}

int VEXOFSAclChmod(const char* path, int fd, mode_t mode) {
  Platform& platform = CurrentPlatform();
  if (platform.Refuse(CallText("VEXOFSAclChmod", path, fd, mode))) {
    errno = EPERM;
    return -1;
  }
  const auto file = platform.files.find(path);
  if (file == platform.files.end()) {
    errno = ENOENT;
    return -1;
  }
  file->second.mode = mode;
  return 0;
}

FILE* VLIBCPopen(const char* program, const char* mode, ...) {
  std::vector<std::string> arguments = {program};
  va_list list;
  va_start(list, mode);
  while (const char* const argument = va_arg(list, const char*)) {
    arguments.push_back(argument);
  }
  va_end(list);
  return Start("VLIBCPopen", program, mode, arguments);
}

FILE* VLIBCPopenv(const char* program, const char* mode, const char* const argv[]) {
  std::vector<std::string> arguments;
  for (const char* const* argument = argv; *argument != nullptr; ++argument) {
    arguments.push_back(*argument);
  }
  return Start("VLIBCPopenv", program, mode, arguments);
}

int VLIBCPclose(FILE* stream) {
  Platform& platform = CurrentPlatform();
  platform.Record(CallText("VLIBCPclose", stream ? "pipe" : nullptr));
  platform.TakeBack(stream, "pipe");
  const auto pipe = Pipes().find(stream);
  if (pipe == Pipes().end()) return -1;
  const int status = pipe->second->status;
  fclose(stream);
  Pipes().erase(pipe);
  return status;
}

}  // extern "C"
