#pragma once

#include <cstddef>
#include <optional>
#include <string>

#include "web/files/shared_tree.h"

namespace web {

/// A text that explains a folder.
struct Readme {
  std::string name;
  std::string text;  ///< Markdown, as DisplayText returns it
};

inline constexpr size_t kLargestReadme = 256 << 10;

/// Reads README.md of a folder of the tree, or readme.md if there is no such file.
/// Nothing when neither is a file that exists for visitors and can be read, and for a
/// file larger than kLargestReadme.
std::optional<Readme> ReadReadme(const SharedTree& tree, const Node& folder);

}  // namespace web
