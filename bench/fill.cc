// bench_fill FILE LINKS: creates a database with the rows of rows.h.

#include <cstdlib>
#include <ctime>
#include <fstream>
#include <iostream>
#include <iterator>
#include <string>

#include "rows.h"
#include "sqlite.h"

using bench::Execute;
using bench::Statement;

namespace {

void CreateSchema(sqlite3* connection) {
  for (const char* const version : {"1", "2"}) {
    std::ifstream file("/usr/vexo/share/vexosharing/db_schema/" + std::string(version) +
                       ".sql");
    const std::string sql((std::istreambuf_iterator<char>(file)), {});
    Execute(connection, sql.c_str());
  }
}

void InsertLinks(sqlite3* connection, int links) {
  Statement insert(connection,
                   "INSERT INTO entry VALUES (?1, ?2, ?3, 1, ?4, 0, 0, 0, 0, 1, ?5)");
  const std::string open = bench::LinkData("");
  for (int id = 1; id <= links; ++id) {
    const std::string hash = bench::LinkHash(id);
    unsigned int owner = bench::kOwner;
    std::string data = open;
    if (bench::HasUnknownIds(id)) {
      owner = 70000 + static_cast<unsigned int>(id) % 5000;
      data = bench::LinkData(std::to_string(owner) + "," + std::to_string(owner + 10000));
    }
    insert.Bind(id, hash, bench::kProject, owner, data).Run();
  }
}

void InsertSessions(sqlite3* connection, int links) {
  Statement session(connection,
                    "INSERT INTO session VALUES (?1, ?2, 4294967295, ?3, ?4)");
  Statement token(connection, "INSERT INTO token VALUES (?1, ?2, ?1, ?3)");
  // Not the deadline that a check sets: it has to change them.
  const long deadline = time(nullptr) + bench::kLifetime / 2;
  for (int id = 1; id <= bench::kSessions; ++id) {
    const std::string session_id = bench::SessionId(id);
    session.Bind(id, session_id, bench::kAddress, deadline).Run();
    token.Bind(id, bench::VisitedLink(links, id), deadline).Run();
  }
}

}  // namespace

int main(int argc, char** argv) {
  const int links = argc == 3 ? std::atoi(argv[2]) : 0;
  if (links < 10) {
    std::cerr << "usage: bench_fill FILE LINKS (at least 10)\n";
    return 2;
  }
  const bench::Connection opened = bench::Open(argv[1], true);
  sqlite3* const connection = opened.get();
  // A copy of the file is complete without its log, and starts as one that is in use.
  Execute(connection, "PRAGMA synchronous = OFF; PRAGMA cache_size = -100000;");
  CreateSchema(connection);
  Execute(connection, "BEGIN");
  InsertLinks(connection, links);
  InsertSessions(connection, links);
  Execute(connection, "COMMIT; PRAGMA journal_mode = WAL;");
}
