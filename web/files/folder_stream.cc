#include "web/files/folder_stream.h"

#include <fcntl.h>

namespace web {

using VEXO::base::UniqueFd;

UniqueFd ReopenFolder(int folder) {
  return UniqueFd(openat(folder, ".", O_RDONLY | O_DIRECTORY | O_CLOEXEC));
}

FolderStream OpenFolderStream(int folder) {
  UniqueFd fd = ReopenFolder(folder);
  FolderStream stream(fd ? fdopendir(fd.get()) : nullptr, closedir);
  if (stream) fd.Release();
  return stream;
}

}  // namespace web
