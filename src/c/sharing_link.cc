#include "sharing_link.h"

#include <ctime>
#include <exception>
#include <memory>
#include <string>

#include "c/link_state.h"
#include "entry.h"
#include "entry_db.h"
#include "sharing_db.h"
#include "utils/json_text.h"

using VEXO::sharing::JsonText;
using VEXO::sharing::SZK_HASH;
using VEXO::sharing::db::EntryDB;
using VEXO::sharing::db::SharingDB;
using VEXO::sharing::record::Entry;

struct VexoSharingLink {
  Entry entry;
  std::string title;
  std::string project;
  std::string app;
};

namespace {

static_assert(SHARING_LINK_PROTECT_NONE == int{Entry::PROTECT_NONE} &&
              SHARING_LINK_PROTECT_PASSWORD == int{Entry::PROTECT_PASSWORD} &&
              SHARING_LINK_PROTECT_USER == int{Entry::PROTECT_USER});

int Read(const char* hash, Entry& entry) {
  SharingDB& db = SharingDB::Instance();
  if (!db.IsGood()) return SHARING_LINK_FAILED;
  const EntryDB links(db);
  if (links.GetByHash(hash, entry)) return SHARING_LINK_FOUND;
  if (entry.get_id() != 0) return SHARING_LINK_UNREADABLE;
  // The lookup fails for an absent link and for a failed statement; Count only for the
  // latter.
  links.GetCondition().Where(SZK_HASH, hash);
  int count = 0;
  return links.Count(count) && count == 0 ? SHARING_LINK_ABSENT : SHARING_LINK_FAILED;
}

}  // namespace

int VexoSharingLinkOpen(const char* hash, VexoSharingLink** link) {
  if (link == nullptr) return SHARING_LINK_BAD_PARAMETER;
  *link = nullptr;
  if (hash == nullptr) return SHARING_LINK_BAD_PARAMETER;
  try {
    auto opened = std::make_unique<VexoSharingLink>();
    const int result = Read(hash, opened->entry);
    if (result != SHARING_LINK_FOUND) return result;
    opened->title = opened->entry.get_protect_title();
    opened->project = opened->entry.get_project_name();
    opened->app = JsonText(opened->entry.get_app());
    *link = opened.release();
    return SHARING_LINK_FOUND;
  } catch (const std::exception&) {
    return SHARING_LINK_FAILED;  // no memory
  }
}

const char* VexoSharingLinkGetTitle(const VexoSharingLink* link) {
  return link != nullptr ? link->title.c_str() : nullptr;
}

const char* VexoSharingLinkGetProject(const VexoSharingLink* link) {
  return link != nullptr ? link->project.c_str() : nullptr;
}

const char* VexoSharingLinkGetApp(const VexoSharingLink* link) {
  return link != nullptr ? link->app.c_str() : nullptr;
}

int VexoSharingLinkGetProtection(const VexoSharingLink* link) {
  return link != nullptr ? link->entry.get_protect_type() : -1;
}

int VexoSharingLinkGetState(const VexoSharingLink* link) {
  return link != nullptr ? StateOfLink(link->entry, time(nullptr)) : -1;
}

void VexoSharingLinkFree(VexoSharingLink* link) { delete link; }
