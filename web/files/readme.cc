#include "web/files/readme.h"

#include <string_view>

#include "web/files/body.h"

namespace web {

std::optional<Readme> ReadReadme(const SharedTree& tree, const Node& folder) {
  for (const char* const name : {"README.md", "readme.md"}) {
    Node file;
    if (tree.OpenNode(JoinPath(folder.path, name), &file) != OpenResult::kOpened ||
        file.info.kind != NodeKind::kFile) {
      continue;
    }
    TextPreview preview;
    if (!ReadTextPreview(file.fd.get(), kLargestReadme, &preview) || !preview.complete) {
      return std::nullopt;
    }
    constexpr std::string_view kByteOrderMark = "\xEF\xBB\xBF";
    const bool marked =
        preview.text.compare(0, kByteOrderMark.size(), kByteOrderMark) == 0;
    return Readme{name, preview.text.substr(marked ? kByteOrderMark.size() : 0)};
  }
  return std::nullopt;
}

}  // namespace web
