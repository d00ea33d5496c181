// The operations with the library.

#include <cstdio>
#include <cstdlib>
#include <string>

#include "backend.h"
#include "entry.h"
#include "entry_db.h"
#include "rows.h"
#include "sharing_db.h"
#include "sharinglogin.h"

using VEXO::sharing::db::EntryDB;
using VEXO::sharing::db::SharingDB;
using VEXO::sharing::record::Entry;

namespace bench {
namespace {

void Require(bool done, const char* operation) {
  if (done) return;
  std::fprintf(stderr, "%s failed: %s\n", operation,
               SharingDB::Instance().GetLastError().c_str());
  std::exit(1);
}

class Library : public Backend {
 public:
  void Check(const Visit& visit) override {
    _tag_sharing_login_params params = {};
    params.hash = visit.hash.c_str();
    params.session_id = visit.session_id.c_str();
    Require(VEXO::VexoSharingIsAuthorized(&params) == SHARING_CHECK_SUCCESS, "check");
  }

  void LogIn(const Visit& visit) override {
    _tag_sharing_login_params params = {};
    params.hash = visit.hash.c_str();
    std::string session_id;
    Require(VEXO::VexoSharingLogin(session_id, &params, true) == SHARING_LOGIN_SUCCESS,
            "login");
  }

  void Create() override {
    EntryDB entries(SharingDB::Instance());
    Entry entry;
    entry.set_project_name(kProject);
    entry.set_owner_uid(kOwner);
    Json::Value app;
    app["path"] = kPath;
    app["album"] = kAlbum;
    entry.set_app(app);
    Require(entries.CreateWithHash(entry), "create");
  }

  void Get(const Visit& visit) override {
    EntryDB entries(SharingDB::Instance());
    Entry entry;
    Require(entries.GetByHash(visit.hash, entry), "get");
  }

  void Purge() override {
    EntryDB entries(SharingDB::Instance());
    Require(entries.PurgeExpired(1.0F), "purge");
  }
};

}  // namespace

std::unique_ptr<Backend> OpenBackend(bool /*writers*/) {
  setenv("REMOTE_ADDR", kAddress, 1);
  Require(SharingDB::Instance().IsGood(), "open");
  return std::make_unique<Library>();
}

}  // namespace bench
