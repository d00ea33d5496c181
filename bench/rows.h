#pragma once

/// @file
/// The rows of the databases that the benchmarks use.  They depend on the number of links
/// only, so that programs that share a database need not tell each other what is in it.

#include <algorithm>
#include <cstdint>
#include <string>

namespace bench {

inline constexpr char kFolder[] = "/usr/vexo/etc/private/session/sharing";
/// The database of the library.
inline constexpr char kDatabase[] = "/usr/vexo/etc/private/session/sharing/sharing.db";
/// The database of the program that is compared with it.
inline constexpr char kLimitDatabase[] = "/usr/vexo/etc/private/session/sharing/limit.db";

inline constexpr char kAddress[] = "192.0.2.7";
inline constexpr long kLifetime = 86400;  // of sessions and tokens, in seconds

// What a new link has; the rest are defaults of the library.
inline constexpr char kProject[] = "gallery";
inline constexpr unsigned int kOwner = 5001;
inline constexpr char kPath[] = "/volume1/photo/summer";
inline constexpr int kAlbum = 17;

inline constexpr char kHashPool[] =
    "0123456789ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz";
inline constexpr char kSessionPool[] =
    "0123456789ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz-_";
inline constexpr int kHashLength = 9;
inline constexpr int kSessionLength = 32;

/// A number that depends on `seed` and looks random (splitmix64).
inline std::uint64_t Scatter(std::uint64_t seed) {
  std::uint64_t z = seed * 0x9e3779b97f4a7c15;
  z = (z ^ (z >> 30)) * 0xbf58476d1ce4e5b9;
  z = (z ^ (z >> 27)) * 0x94d049bb133111eb;
  return z ^ (z >> 31);
}

/// The hash of the link with this id.
inline std::string LinkHash(int id) {
  std::uint64_t number = Scatter(static_cast<std::uint64_t>(id));
  std::string hash;
  for (int i = 0; i < kHashLength; ++i) {
    hash += kHashPool[number % (sizeof(kHashPool) - 1)];
    number /= sizeof(kHashPool) - 1;
  }
  return hash;
}

/// The session id of the session with this row id.
inline std::string SessionId(int id) {
  std::string session_id;
  for (int i = 0; i < kSessionLength; ++i) {
    const std::uint64_t seed =
        static_cast<std::uint64_t>(id) * kSessionLength + static_cast<unsigned>(i);
    session_id += kSessionPool[Scatter(~seed) % (sizeof(kSessionPool) - 1)];
  }
  return session_id;
}

/// Every tenth link names accounts that no longer exist.
inline bool HasUnknownIds(int link) { return link % 10 == 0; }

/// The sessions of a database.  Each has a token for one link.  There are enough of them
/// that none is checked twice in a second: the second check would find nothing to change.
inline constexpr int kSessions = 20000;

/// Links that are visited, if there are so many.  They are spread evenly.
inline constexpr int kVisitedLinks = 1000;

/// The link that the session visits.  Consecutive sessions visit different links.
inline int VisitedLink(int links, int session) {
  const int visited = std::min(links, kVisitedLinks);
  const auto link =
      static_cast<int>(1 + std::int64_t{session % visited} * links / visited);
  return HasUnknownIds(link) ? link - 1 : link;
}

/// A visitor who is logged in to a link.
struct Visit {
  std::string hash;
  std::string session_id;
};

/// The visit with this number, from 0; after the last one follows the first one again.
inline Visit GetVisit(int links, long n) {
  const auto session = static_cast<int>(1 + n % kSessions);
  return {LinkHash(VisitedLink(links, session)), SessionId(session)};
}

/// The column `data` of a new link that names these user ids, as the library writes it.
inline std::string LinkData(const std::string& uids) {
  return R"({"app":{"album":)" + std::to_string(kAlbum) + R"(,"path":")" + kPath +
         R"("},"enable_match_ip":true,"private_data":{},"protect_extra_groups":[],)"
         R"("protect_extra_users":[],"protect_gids":[],"protect_password":"",)"
         R"("protect_password_algo":"default","protect_password_salt":"",)"
         R"("protect_title":"","protect_type":")" +
         (uids.empty() ? "none" : "user") + R"(","protect_uids":[)" + uids +
         R"(],"redirect_type":"none","redirect_uri":""})";
}

}  // namespace bench
