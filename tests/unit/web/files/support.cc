#include "support.h"

#include <unistd.h>

#include <cstdlib>

namespace files_test {

web::Owner Self() {
  web::Owner owner;
  owner.user = geteuid();
  owner.group = getegid();
  owner.groups.resize(getgroups(0, nullptr));
  if (getgroups(static_cast<int>(owner.groups.size()), owner.groups.data()) == -1) {
    abort();
  }
  return owner;
}

std::unique_ptr<web::SharedTree> Tree(const std::string& path, bool hidden) {
  std::unique_ptr<web::SharedTree> tree;
  if (web::SharedTree::Open({path, hidden}, Self(), &tree) != web::OpenResult::kOpened) {
    abort();
  }
  return tree;
}

web::Node NodeAt(const web::SharedTree& tree, const std::string& path) {
  web::Node node;
  if (tree.OpenNode(path, &node) != web::OpenResult::kOpened) abort();
  return node;
}

std::string BytesOf(web::Body& body, bool* sent) {
  std::string bytes;
  const bool all = body.Send([&bytes](std::string_view piece) {
    bytes += piece;
    return true;
  });
  if (sent != nullptr) *sent = all;
  return bytes;
}

}  // namespace files_test
