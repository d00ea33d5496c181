#include "model.h"

#include <utility>

namespace storm {

void Model::Remove(Presence& presence, bool done) {
  if (presence != Presence::kNo) presence = done ? Presence::kNo : Presence::kMaybe;
}

bool Model::MayBePurged(const Link& link) {
  return link.auto_gc && link.limit > 0 && link.max_uses >= link.limit;
}

void Model::Replay(const std::string& path) {
  Own own;
  ReadJournal(path, [this, &own](const Step& step) { Apply(step, own); });
}

void Model::Apply(const Step& step, Own& own) {
  const Operation& operation = step.operation;
  const bool done = step.answer && step.answer->good();
  const Answer* const answer = done ? &*step.answer : nullptr;
  switch (operation.action) {
    case Action::kCreate:
      if (done) {
        Link& link = links_[answer->link];
        link.id = answer->id;
        link.owner = operation.owner;
        link.limit = operation.limit;
        link.auto_gc = operation.auto_gc;
        own.links.insert(answer->link);
      } else {
        ++unconfirmed_links_[operation.owner];
      }
      break;
    case Action::kLogIn:
      if (operation.expected == 1) LogIn(operation, answer, own);
      break;
    case Action::kLogOut: {
      std::map<std::string, Presence>& tokens = sessions_[operation.session].tokens;
      const auto token = tokens.find(operation.link);
      if (token != tokens.end()) Remove(token->second, done);
      break;
    }
    case Action::kUpdate:
    case Action::kEdit: {
      std::set<std::string>& titles = links_[operation.link].titles;
      if (done) titles.clear();
      titles.insert(operation.text);
      break;
    }
    case Action::kDelete:
      Remove(links_[operation.link].presence, done);
      RemoveTokens(operation.link, done, own);
      break;
    case Action::kRevoke:
      RemoveTokens(operation.link, done, own);
      break;
    case Action::kDeleteSession: {
      Session& session = sessions_[operation.session];
      Remove(session.presence, done);
      for (auto& [link, token] : session.tokens) Remove(token, done);
      break;
    }
    case Action::kPurgeOwned:
      Purge(done, own);
      break;
    case Action::kFail:
    case Action::kWrongPassword: {
      Range& failures = failures_[operation.text];
      ++failures.most;
      if (done) ++failures.least;
      break;
    }
    case Action::kOpen:
    case Action::kEndStores:
    case Action::kCheck:
    case Action::kCount:
    case Action::kPurgeExpired:  // Compare finds its links gone
    case Action::kCommand:
      break;
  }
}

void Model::LogIn(const Operation& operation, const Answer* answer, Own& own) {
  Link& link = links_[operation.link];
  ++link.max_uses;
  if (answer != nullptr) {
    ++link.min_uses;
    own.sessions.insert(answer->session);
    sessions_[answer->session].tokens[operation.link] = Presence::kYes;
  } else if (operation.session.empty()) {
    ++unconfirmed_sessions_;
  } else {
    Presence& token = sessions_[operation.session].tokens[operation.link];
    if (token == Presence::kNo) token = Presence::kMaybe;
  }
}

void Model::Purge(bool done, const Own& own) {
  for (const std::string& hash : own.links) {
    Link& link = links_[hash];
    if (link.limit == 0 || link.max_uses < link.limit) continue;
    const bool sure = done && link.min_uses >= link.limit;
    Remove(link.presence, sure);
    RemoveTokens(hash, sure, own);
  }
}

void Model::RemoveTokens(const std::string& link, bool done, const Own& own) {
  for (const std::string& id : own.sessions) {
    Session& session = sessions_[id];
    const auto token = session.tokens.find(link);
    if (token != session.tokens.end()) Remove(token->second, done);
  }
}

/// One comparison: the rows found again by what visitors carry.
class Model::Comparison {
 public:
  Comparison(const Model& model, const Tables& tables, Faults& faults)
      : model_(model), tables_(tables), faults_(faults) {}

  void Links();
  void Sessions();
  void Tokens();

 private:
  void OneLink(const Link& link, const LinkRow& row);
  void MissingTokens();
  Presence ExpectedToken(const std::string& session, const std::string& hash) const;

  const Model& model_;
  const Tables& tables_;
  Faults& faults_;
  std::set<std::string> links_;                           // hashes that are there
  std::map<int, std::string> sessions_;                   // ids that are there, by row id
  std::set<std::pair<std::string, std::string>> tokens_;  // session and link
};

void Model::Comparison::Links() {
  std::map<unsigned int, long> unknown;
  for (const LinkRow& row : tables_.links) {
    links_.insert(row.hash);
    const auto link = model_.links_.find(row.hash);
    if (link == model_.links_.end()) {
      ++unknown[row.owner];
    } else {
      OneLink(link->second, row);
    }
  }
  for (const auto& [owner, count] : unknown) {
    const auto untold = model_.unconfirmed_links_.find(owner);
    const long allowed = untold == model_.unconfirmed_links_.end() ? 0 : untold->second;
    for (long i = allowed; i < count; ++i) {
      faults_.Add("unknown link", "of owner " + std::to_string(owner));
    }
  }
  for (const auto& [hash, link] : model_.links_) {
    if (link.presence == Presence::kYes && !MayBePurged(link) &&
        links_.count(hash) == 0) {
      faults_.Add("created link is missing", hash);
    }
  }
}

void Model::Comparison::OneLink(const Link& link, const LinkRow& row) {
  const bool purged = link.auto_gc && link.limit > 0 && link.min_uses >= link.limit;
  if (link.presence == Presence::kNo || purged) {
    faults_.Add("deleted or purged link still exists", row.hash);
    return;
  }
  if (row.id != link.id || row.owner != link.owner) {
    faults_.Add("link has a wrong id or owner", row.hash);
  }
  if (row.uses < link.min_uses || row.uses > link.max_uses) {
    faults_.Add(link.owner == 0 ? "wrong use count of a shared link"
                                : "wrong use count of a worker's link",
                row.hash + " has " + std::to_string(row.uses) + " instead of " +
                    std::to_string(link.min_uses) + " to " +
                    std::to_string(link.max_uses));
  }
  if (link.titles.count(row.title) == 0) {
    faults_.Add(link.owner == 0 ? "title set by vexosharing edit is lost"
                                : "title set by a worker is lost",
                row.hash + " has \"" + row.title + "\" instead of \"" +
                    *link.titles.begin() + "\"");
  }
}

void Model::Comparison::Sessions() {
  std::set<std::string> found;
  long unknown = 0;
  for (const SessionRow& row : tables_.sessions) {
    sessions_[row.id] = row.session_id;
    found.insert(row.session_id);
    const auto session = model_.sessions_.find(row.session_id);
    if (session == model_.sessions_.end()) {
      ++unknown;
    } else if (session->second.presence == Presence::kNo) {
      faults_.Add("deleted session still exists", "row " + std::to_string(row.id));
    }
  }
  for (long i = model_.unconfirmed_sessions_; i < unknown; ++i) {
    faults_.Add("unknown session", "");
  }
  for (const auto& [id, session] : model_.sessions_) {
    if (session.presence == Presence::kYes && found.count(id) == 0) {
      faults_.Add("created session is missing", id);
    }
  }
}

Model::Presence Model::Comparison::ExpectedToken(const std::string& session,
                                                 const std::string& hash) const {
  const auto known = model_.sessions_.find(session);
  if (known == model_.sessions_.end()) return Presence::kMaybe;  // counted as a session
  const auto token = known->second.tokens.find(hash);
  return token == known->second.tokens.end() ? Presence::kNo : token->second;
}

void Model::Comparison::Tokens() {
  std::map<int, std::string> hashes;  // also of links that are gone
  for (const auto& [hash, link] : model_.links_) hashes[link.id] = hash;
  for (const TokenRow& row : tables_.tokens) {
    const std::string where = "of link " + std::to_string(row.link) + " and session " +
                              std::to_string(row.session);
    const auto session = sessions_.find(row.session);
    const auto hash = hashes.find(row.link);
    if (session == sessions_.end()) {
      faults_.Add("token without session", where);
      continue;
    }
    if (hash == hashes.end()) {
      faults_.Add("token of an unknown link", where);
      continue;
    }
    if (links_.count(hash->second) == 0) {
      // A purge may delete a link after its last use was counted and before the token of
      // that use is stored.
      const bool purged = MayBePurged(model_.links_.at(hash->second));
      if (!purged) faults_.Add("token of a missing link", where);
    } else if (ExpectedToken(session->second, hash->second) == Presence::kNo) {
      faults_.Add("deleted token still exists", where);
    }
    if (!tokens_.insert({session->second, hash->second}).second) {
      faults_.Add("duplicate token", where);
    }
  }
  MissingTokens();
}

void Model::Comparison::MissingTokens() {
  for (const auto& [id, session] : model_.sessions_) {
    for (const auto& [hash, token] : session.tokens) {
      if (token == Presence::kYes && tokens_.count({id, hash}) == 0 &&
          !MayBePurged(model_.links_.at(hash))) {
        faults_.Add("created token is missing", "of link " + hash);
      }
    }
  }
}

void Model::Compare(const Tables& tables, Faults& faults) const {
  Comparison comparison(*this, tables, faults);
  comparison.Links();
  comparison.Sessions();
  comparison.Tokens();
}

void Model::CompareFailures(const std::map<std::string, long>& found,
                            Faults& faults) const {
  for (const auto& [address, wanted] : failures_) {
    const auto entry = found.find(address);
    const long count = entry == found.end() ? 0 : entry->second;
    if (count < wanted.least || count > wanted.most) {
      faults.Add("wrong count of failed logins",
                 address + " has " + std::to_string(count) + " instead of " +
                     std::to_string(wanted.least) + " to " + std::to_string(wanted.most));
    }
  }
  for (const auto& [address, count] : found) {
    if (failures_.count(address) == 0) {
      faults.Add("failed logins of an unknown address", address);
    }
  }
}

}  // namespace storm
