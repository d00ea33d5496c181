#pragma once

#include <memory>
#include <string>

#include "web/files/body.h"
#include "web/files/shared_tree.h"

namespace files_test {

/// The account of the test program itself.
web::Owner Self();

/// Opens a share of this account.  Ends the program when it cannot be opened.
std::unique_ptr<web::SharedTree> Tree(const std::string& path, bool hidden = false);

/// Opens what is at a path of the tree.  Ends the program when it cannot be opened.
web::Node NodeAt(const web::SharedTree& tree, const std::string& path);

/// All that the body sends.  `sent`, unless null, receives whether it was all.
std::string BytesOf(web::Body& body, bool* sent = nullptr);

}  // namespace files_test
