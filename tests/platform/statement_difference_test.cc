// Runs random statements through the provider and through plain SQLite, each on a
// database of its own, and compares everything that a caller can see.

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <sqlite3.h>

#include <algorithm>
#include <memory>
#include <random>
#include <string>
#include <vector>

#include "database_support.h"
#include "temp_dir.h"
#include "vexo/db.h"

namespace {

constexpr int kStatements = 30000;    // of each seed
constexpr unsigned kSeedOfUtf16 = 4;  // whose database has texts in another encoding
constexpr int kBetweenFreshSchemas = 400;
constexpr int kBetweenConnections[] = {20, 500};  // of the seeds in turn
constexpr int kBetweenComparisons = 50;

using Plain = std::unique_ptr<sqlite3, decltype(&sqlite3_close)>;
using Texts = std::vector<std::string>;

std::string Replaced(std::string text, const std::string& from, const std::string& to) {
  for (size_t at = 0; (at = text.find(from, at)) != std::string::npos; at += to.size()) {
    text.replace(at, from.size(), to);
  }
  return text;
}

const char kAttach[] =
    "ATTACH ':memory:' AS attached; CREATE TABLE attached.token(id INTEGER PRIMARY KEY, "
    "entry_id, session_id, timeout, more); INSERT INTO attached.token VALUES(2,2,3,4,5)";

/// What a caller sees of a text that has been run.
struct Outcome {
  bool good = false;
  std::string error;
  Texts columns;
  std::vector<Texts> rows;
};

/// The contract of VEXODBExecute, without anything that makes it fast.
class PlainDatabase {
 public:
  explicit PlainDatabase(const std::string& path) : connection_(nullptr, sqlite3_close) {
    sqlite3* opened = nullptr;
    EXPECT_EQ(sqlite3_open(path.c_str(), &opened), SQLITE_OK);
    connection_.reset(opened);
    EXPECT_TRUE(Run("PRAGMA synchronous = OFF").good);
  }

  sqlite3* get() const { return connection_.get(); }
  bool InTransaction() const { return sqlite3_get_autocommit(get()) == 0; }

  Outcome Run(const std::string& text) const {
    Outcome outcome;
    bool inherited = InTransaction();
    outcome.good = RunAll(text.c_str(), &inherited, &outcome);
    if (outcome.good) return outcome;
    outcome.error = sqlite3_errmsg(get());
    if (!inherited && InTransaction()) {
      sqlite3_exec(get(), "ROLLBACK", nullptr, nullptr, nullptr);
    }
    return outcome;
  }

 private:
  bool RunAll(const char* sql, bool* inherited, Outcome* outcome) const {
    while (*sql != '\0') {
      sqlite3_stmt* statement = nullptr;
      int code = sqlite3_prepare_v2(get(), sql, -1, &statement, &sql);
      if (code != SQLITE_OK) return false;
      if (statement == nullptr) continue;
      // The columns are known after the first step, which may compile it again.
      code = sqlite3_step(statement);
      const int width = sqlite3_column_count(statement);
      Texts columns;
      for (int i = 0; i < width; ++i) {
        columns.emplace_back(sqlite3_column_name(statement, i));
      }
      std::vector<Texts> rows;
      for (; code == SQLITE_ROW; code = sqlite3_step(statement)) {
        rows.emplace_back();
        for (int i = 0; i < width; ++i) {
          const auto* const value =
              reinterpret_cast<const char*>(sqlite3_column_text(statement, i));
          rows.back().emplace_back(value == nullptr ? "" : value);
        }
      }
      if (sqlite3_finalize(statement) != SQLITE_OK) return false;
      if (width > 0) {
        outcome->columns = columns;
        outcome->rows = rows;
      }
      if (!InTransaction()) *inherited = false;
    }
    return true;
  }

  Plain connection_;
};

/// Every row of every table with the types of its values, and the schema.
std::string Contents(const PlainDatabase& database) {
  std::string contents;
  const Outcome tables =
      database.Run("SELECT type, name, sql FROM sqlite_master ORDER BY type, name");
  for (const Texts& table : tables.rows) {
    contents += table[1] + ": " + table[2] + "\n";
    if (table[0] != "table") continue;
    std::string types = "SELECT '' ";
    for (const Texts& column :
         database.Run("SELECT name FROM pragma_table_info('" + table[1] + "')").rows) {
      types += "|| ',' || quote(\"" + column[0] + "\")";
    }
    for (const Texts& row : database.Run(types + " FROM " + table[1]).rows) {
      contents += row[0] + "\n";
    }
  }
  return contents;
}

/// Writes the statements.
class Author {
 public:
  explicit Author(unsigned seed) : random_(seed) {}

  bool OneIn(int n) { return Below(n) == 0; }
  int Below(int n) { return static_cast<int>(random_() % n); }

  std::string Text() {
    static const Texts kOther = {
        "SELECT changes() AS c, total_changes() AS t, last_insert_rowid() AS l",
        "SELECT * FROM entry ORDER BY ?",
        "SELECT * FROM entry ORDER BY 1 LIMIT ?",
        "SELECT hash, ? FROM entry GROUP BY ?",
        "SELECT ? FROM entry",
        "SELECT * FROM entry WHERE hash LIKE ?",
        "SELECT * FROM entry WHERE `hash` = ?",
        "SELECT COUNT(*) AS c FROM token WHERE `entry_id` = ?",
        "UPDATE entry SET owner_uid = ? WHERE hash = ?",
        "INSERT INTO token VALUES (NULL,?,?,?),(NULL,?,?,?)",
        "REPLACE INTO session VALUES (2,?,?,?,?)",
        "PRAGMA wal_checkpoint;",
        "PRAGMA user_version",
        "PRAGMA foreign_keys = ON",
        "PRAGMA foreign_keys = OFF",
        "PRAGMA recursive_triggers = OFF",
        "EXPLAIN QUERY PLAN SELECT * FROM entry WHERE hash = ?",
        "SAVEPOINT s",
        "RELEASE s",
        "ROLLBACK TO s",
        kAttach,
        "DETACH attached",
        "CREATE TEMP TABLE token(id INTEGER PRIMARY KEY, entry_id, session_id, timeout)",
        "DROP TABLE temp.token",
        "CREATE TEMP TRIGGER watch AFTER UPDATE OF session_id ON main.session BEGIN "
        "INSERT INTO seen VALUES(OLD.id); END",
        "DROP TRIGGER temp.watch",
        "DROP TABLE token",
        "VACUUM",
        "",
        ";",
    };
    std::string text = WithLiterals(OneIn(8) ? Of(kOther) : Of(kKnown));
    if (text == kAttach) return text;  // another name would create a file
    if (OneIn(8)) Change(&text);
    if (OneIn(16)) {
      text += Of({"; ", ";", " ; -- x\n", "\n"}) + WithLiterals(Of(kKnown));
    }
    return text;
  }

  /// A text for another connection.
  std::string SchemaChange() {
    static const Texts kChanges = {
        "CREATE INDEX IF NOT EXISTS extra ON token(timeout, entry_id)",
        "DROP INDEX IF EXISTS extra",
        "CREATE INDEX IF NOT EXISTS used ON entry(use_count) WHERE auto_gc = 1",
        "ALTER TABLE token ADD COLUMN more DEFAULT 'm'",
        "ALTER TABLE session RENAME COLUMN ip TO address",
        "ALTER TABLE session RENAME COLUMN address TO ip",
        "ALTER TABLE entry DROP COLUMN start_at",
        "ANALYZE",
        "CREATE TRIGGER IF NOT EXISTS watch_hash AFTER UPDATE OF hash ON entry BEGIN "
        "INSERT INTO seen VALUES(NEW.hash); END",
        "CREATE TRIGGER IF NOT EXISTS refuse BEFORE UPDATE OF session_id ON session "
        "WHEN NEW.uid = 7 BEGIN SELECT RAISE(ABORT, 'refused'); END",
        "CREATE TRIGGER IF NOT EXISTS ignore_some BEFORE UPDATE OF entry_id ON token "
        "WHEN NEW.timeout = 5 BEGIN SELECT RAISE(IGNORE); END",
        "CREATE TRIGGER IF NOT EXISTS follow AFTER DELETE ON session BEGIN "
        "DELETE FROM token WHERE session_id = OLD.id; END",
        "DROP TABLE IF EXISTS token; CREATE TABLE token(id, entry_id, session_id, "
        "timeout); INSERT INTO token VALUES(1,2,3,4),(1,2,3,5),(2,'2','3',6)",
        "DROP TABLE IF EXISTS token; CREATE TABLE token(id INTEGER PRIMARY KEY, "
        "entry_id TEXT COLLATE NOCASE, session_id REAL, timeout NUMERIC); "
        "INSERT INTO token VALUES(1,'Ab',3,4),(2,'aB',3.5,'x')",
        "DROP TABLE IF EXISTS token; CREATE TABLE token(id INTEGER PRIMARY KEY, "
        "entry_id INTEGER CHECK(entry_id != 3), session_id INTEGER, timeout INTEGER); "
        "PRAGMA ignore_check_constraints = ON; INSERT INTO token VALUES(1,3,3,4); "
        "PRAGMA ignore_check_constraints = OFF",
        "DROP TABLE IF EXISTS token; CREATE TABLE token(id INTEGER PRIMARY KEY, "
        "entry_id INTEGER REFERENCES entry(id), session_id INTEGER, timeout INTEGER); "
        "INSERT INTO token VALUES(1,99,3,4),(2,1,1,5)",
        "DROP TABLE IF EXISTS token; CREATE TABLE token(id INTEGER PRIMARY KEY, "
        "entry_id, session_id, timeout) WITHOUT ROWID; INSERT INTO token VALUES(1,2,3,4)",
        "DROP TABLE IF EXISTS token; CREATE VIEW IF NOT EXISTS token AS "
        "SELECT id, id AS entry_id, id AS session_id, timeout FROM session",
        "DROP VIEW IF EXISTS token",
        "DROP TABLE IF EXISTS session; CREATE TABLE session(id INTEGER PRIMARY KEY, "
        "session_id TEXT COLLATE NOCASE UNIQUE, uid INTEGER, ip TEXT, timeout INTEGER, "
        "sum AS (uid + timeout) STORED); "
        "INSERT INTO session VALUES(1,'Ab',1,'x',4),(2,'c',2,'y',5)",
        "DROP TABLE IF EXISTS session; CREATE TABLE session(id INTEGER PRIMARY KEY, "
        "session_id TEXT UNIQUE, uid INTEGER, ip TEXT, timeout INTEGER) STRICT",
        "DROP TABLE IF EXISTS session; CREATE TABLE session(id INTEGER PRIMARY KEY, "
        "session_id TEXT UNIQUE, uid INTEGER, ip TEXT, timeout INTEGER NOT NULL "
        "ON CONFLICT IGNORE); INSERT INTO session VALUES(1,x'6162',1,NULL,4)",
        "DROP TABLE IF EXISTS token; CREATE TABLE token(id INTEGER PRIMARY KEY "
        "AUTOINCREMENT, entry_id TEXT COLLATE NOCASE, session_id, timeout NUMERIC "
        "COLLATE RTRIM); INSERT INTO token VALUES(1,'Ab',3.0,4),(2,'a',3,'x ')",
        "DROP TABLE IF EXISTS token; CREATE TABLE token(id INTEGER PRIMARY KEY "
        "AUTOINCREMENT, entry_id REAL, session_id BLOB, timeout NUMERIC); "
        "INSERT INTO token VALUES(1,2.0,3.0,4),(2,2,3,'x ')",
        "CREATE TABLE IF NOT EXISTS child(v REFERENCES session(session_id))",
        "CREATE TABLE IF NOT EXISTS child(v REFERENCES session(ip))",
        "DROP TABLE IF EXISTS child",
        "DELETE FROM sqlite_sequence",
        "UPDATE token SET timeout = 5",
        "UPDATE session SET uid = 7 WHERE id = 1",
    };
    return Of(kChanges);
  }

  static Texts FreshSchema() {
    return {
        "DROP VIEW IF EXISTS token; DROP TABLE IF EXISTS token",
        "DROP TABLE IF EXISTS token; DROP TABLE IF EXISTS session; "
        "DROP TABLE IF EXISTS entry; DROP TABLE IF EXISTS seen; "
        "DROP TABLE IF EXISTS child",
        "CREATE TABLE seen(v); "
        "CREATE TABLE entry(id INTEGER PRIMARY KEY AUTOINCREMENT, hash TEXT NOT NULL "
        "UNIQUE, project_name TEXT NOT NULL, enabled INTEGER NOT NULL, owner_uid INTEGER "
        "NOT NULL, start_at INTEGER NOT NULL, expire_at INTEGER NOT NULL, expire_times "
        "INTEGER NOT NULL, use_count INTEGER NOT NULL, auto_gc INTEGER NOT NULL, data "
        "TEXT NOT NULL); "
        "CREATE TABLE session(id INTEGER PRIMARY KEY AUTOINCREMENT, session_id TEXT NOT "
        "NULL UNIQUE, uid INTEGER NOT NULL, ip TEXT NOT NULL, timeout INTEGER NOT NULL); "
        "CREATE TABLE token(id INTEGER PRIMARY KEY AUTOINCREMENT, entry_id INTEGER NOT "
        "NULL, session_id INTEGER NOT NULL, timeout INTEGER NOT NULL); "
        "CREATE INDEX entry_owner ON entry(owner_uid, project_name); "
        "CREATE INDEX entry_expiry ON entry(auto_gc, expire_at) WHERE expire_at != 0; "
        "CREATE INDEX entry_used_up ON entry(auto_gc) WHERE expire_times != 0 AND "
        "use_count >= expire_times; "
        "CREATE INDEX session_deadline ON session(timeout); "
        "CREATE INDEX token_session_entry ON token(session_id, entry_id, id DESC); "
        "CREATE INDEX token_entry ON token(entry_id); "
        "CREATE TRIGGER entry_deleted AFTER DELETE ON entry BEGIN DELETE FROM token "
        "WHERE entry_id = OLD.id; END; "
        "INSERT INTO entry VALUES(1,'ab','a',1,5,0,0,0,0,1,'{}'); "
        "INSERT INTO session VALUES(1,'ab',1,'x',4); "
        "INSERT INTO token VALUES(1,3,3,4),(2,2,3,4)",
    };
  }

 private:
  std::string Of(const Texts& texts) { return texts[random_() % texts.size()]; }

  std::string Literal() {
    static const Texts kStrings = {
        "",
        "a",
        "ab",
        "Ab",
        "1",
        "2",
        "3",
        "4",
        "5",
        "7",
        "99",
        "007",
        "-0",
        "1.0",
        "1e3",
        " 5",
        "5 ",
        "0x10",
        "-5",
        "+5",
        "NULL",
        "it's",
        "'",
        "''",
        "'''",
        "a'b",
        "'a",
        "a'",
        "?",
        "?1",
        "--",
        "/*",
        "\"",
        "`",
        "\xff\xfe",
        "\xc3(",
        "\xe4\xb8\xad",
        "9223372036854775807",
        "9223372036854775808",
        "9007199254740993",
        "a';DROP TABLE token;--",
        "x' OR '1'='1",
        "\n",
        ";",
        "1.5e300",
        std::string(3000, 'q'),
        std::string(70, '\''),
    };
    static const Texts kNumbers = {
        "0",
        "1",
        "2",
        "3",
        "4",
        "5",
        "7",
        "-1",
        "-5",
        "99",
        "007",
        "-0",
        "12345678901234567",
        "999999999999999999",
        "-999999999999999999",
        "1000000000000000000",
        "9223372036854775807",
        "9223372036854775808",
        "-9223372036854775808",
        "99999999999999999999999",
    };
    static const Texts kUnusual = {
        "NULL",
        "x''",
        "x'6162'",
        "X'00'",
        "x'6'",
        "1.5",
        "1.",
        ".5",
        "1e2",
        "0x10",
        "0xg",
        "+5",
        "- 5",
        "--5\n5",
        "(5)",
        "1+1",
        "'a'||'b'",
        "'a' 'b'",
        "'a'''",
        "'a",
        "''",
        "'",
        "''''",
        "'''",
        "\"ab\"",
        "`ab`",
        "[ab]",
        "id",
        "hash",
        "session_id",
        "?",
        "?1",
        ":a",
        "@a",
        "$a",
        "current_date IS NULL",
        "abs(-5)",
        "5/**/",
        "/**/5",
        "5--\n",
        "1_000",
        "5a",
        "'a'/*'*/",
        "'a'--'\n",
        "",
        " 5",
        " 'a'",
        "TRUE",
        "5 OR 1",
        "5;SELECT 2",
        "'5'COLLATE NOCASE",
        "'\xc3\xa4'",
        "CAST('5' AS TEXT)",
        "(SELECT 5)",
        "-'5'",
        "5 AND 1",
    };
    const int kind = Below(16);
    if (kind == 0) return Of(kUnusual);
    if (kind < 6) return Of(kNumbers);
    // Mostly values that are there.
    const std::string text = OneIn(2) ? Of(kStrings) : kStrings[1 + Below(10)];
    return "'" + Replaced(text, "'", "''") + "'";
  }

  std::string WithLiterals(const std::string& known) {
    std::string text;
    for (const char c : known) {
      if (c == '?') {
        text += Literal();
      } else {
        text += c;
      }
    }
    return text;
  }

  void Change(std::string* text) {
    if (text->empty()) return;
    static const Texts kParts = {" ", "\t", "'",  "''", "/* x */", "-- x\n",
                                 ";", "\"", "?",  "0",  "a",       "(",
                                 ")", ",",  "/*", "--", "NULL",    "\xc2\xa0"};
    const size_t at = Below(static_cast<int>(text->size()));
    switch (Below(6)) {
      case 0:
        text->insert(at, Of(kParts));
        break;
      case 1:
        text->erase(at, 1 + Below(3));
        break;
      case 2:
        (*text)[at] = static_cast<char>(1 + Below(255));
        break;
      case 3:
        (*text)[at] = static_cast<char>((*text)[at] ^ 0x20);  // the other case
        if ((*text)[at] == '\0') (*text)[at] = ' ';
        break;
      case 4:
        text->resize(at);
        break;
      default:
        *text += Of(kParts);
    }
  }

  static const Texts kKnown;

  std::mt19937 random_;
};

const Texts Author::kKnown = {
    "BEGIN IMMEDIATE",
    "BEGIN TRANSACTION",
    "COMMIT",
    "COMMIT",
    "ROLLBACK",
    "DELETE FROM entry WHERE id=?",
    "DELETE FROM session WHERE id=?",
    "DELETE FROM session WHERE session_id = ?",
    "DELETE FROM token WHERE id=?",
    "DELETE FROM token WHERE entry_id = ?",
    "INSERT INTO entry VALUES (NULL,?,?,?,?,?,?,?,?,?,?)",
    "INSERT INTO entry VALUES (NULL,?,?,?,?,?,?,?,?,?,?)",
    "INSERT INTO session VALUES (NULL,?,?,?,?)",
    "INSERT INTO session VALUES (NULL,?,?,?,?)",
    "INSERT INTO token VALUES (NULL,?,?,?)",
    "INSERT INTO token VALUES (NULL,?,?,?)",
    "SELECT * FROM entry WHERE hash = ?",
    "SELECT * FROM entry WHERE id = ?",
    "SELECT * FROM session WHERE id = ?",
    "SELECT * FROM session WHERE session_id = ?",
    "SELECT * FROM token WHERE id = ?",
    "SELECT * FROM token WHERE session_id = ? AND entry_id = ?",
    "UPDATE entry SET auto_gc=?,data=?,enabled=?,expire_at=?,expire_times=?,hash=?,"
    "owner_uid=?,project_name=?,start_at=?,use_count=? WHERE id=?",
    "UPDATE entry SET "
    "auto_gc='1',data=?,enabled=?,expire_at='0',expire_times=?,hash='ab',"
    "owner_uid='5',project_name='a',start_at=?,use_count=? WHERE id=1",
    "UPDATE session SET ip=?,session_id=?,timeout=?,uid=? WHERE id=?",
    "UPDATE session SET ip=?,session_id='ab',timeout=?,uid=? WHERE id=?",
    "UPDATE token SET entry_id=?,session_id=?,timeout=? WHERE id=?",
    "UPDATE session SET ip='x',session_id='ab',timeout=?,uid='1' WHERE id=1",
    "UPDATE token SET entry_id='2',session_id='3',timeout=? WHERE id=?",
    "UPDATE token SET entry_id='ab',session_id=3,timeout=? WHERE id=1",
    "UPDATE token SET entry_id='Ab',session_id='3',timeout=? WHERE id=1",
    "UPDATE token SET entry_id='Ab',session_id=3,timeout='5' WHERE id=1",
    "UPDATE token SET entry_id='3',session_id='3',timeout=? WHERE id=1",
    "UPDATE token SET entry_id='99',session_id='3',timeout='5' WHERE id=1",
};

class StatementDifference : public testing::TestWithParam<unsigned> {
 protected:
  /// Runs `text` on both sides.
  void Run(const std::string& text) {
    Outcome outcome = plain_->Run(text);
    DBResult_tag* result = nullptr;
    const bool good = VEXODBExecute(ours_.get(), text.c_str(), &result) != -1;
    const Rows rows(result, VEXODBFreeResult);
    if (good && !outcome.good) {
      // SQLite may refuse to compile a text because of a schema that another connection
      // has changed since.  A kept statement sees the change.
      ASSERT_TRUE(plain_->Run("SELECT * FROM sqlite_master").good);
      outcome = plain_->Run(text);
    }
    ASSERT_EQ(good, outcome.good)
        << VEXODBErrorGet(ours_.get()) << " / " << outcome.error;
    if (good) {
      CompareRows(rows, outcome);
    } else {
      ASSERT_EQ(rows, nullptr);
      ASSERT_EQ(VEXODBErrorGet(ours_.get()), outcome.error);
    }
    sqlite3* const handle = VEXODBSqliteHandle(ours_.get());
    ASSERT_EQ(sqlite3_last_insert_rowid(handle),
              sqlite3_last_insert_rowid(plain_->get()));
    ASSERT_EQ(sqlite3_changes(handle), sqlite3_changes(plain_->get()));
    ASSERT_EQ(sqlite3_total_changes(handle), sqlite3_total_changes(plain_->get()));
    ASSERT_EQ(InTransaction(ours_), plain_->InTransaction());
  }

  static void CompareRows(const Rows& rows, const Outcome& outcome) {
    // The length of the log is not the same: the provider writes less.
    if (!outcome.columns.empty() && outcome.columns[0] == "busy") return;
    unsigned int row = 0;
    for (size_t i = 0; i < outcome.rows.size(); ++i) {
      ASSERT_EQ(VEXODBFetchRow(rows.get(), &row), 0);
      ASSERT_EQ(row, i);
      for (size_t c = 0; c < outcome.columns.size(); ++c) {
        const std::string& column = outcome.columns[c];
        const bool is_first = std::find(outcome.columns.begin(), outcome.columns.end(),
                                        column) == outcome.columns.begin() + c;
        const char* const value = VEXODBFetchField(rows.get(), row, column.c_str());
        ASSERT_NE(value, nullptr) << column;
        ASSERT_TRUE(!is_first || value == outcome.rows[i][c]) << column << ": " << value;
      }
    }
    ASSERT_EQ(VEXODBFetchRow(rows.get(), &row), -1);
  }

  /// Opens new connections: what has kept a statement from being used ends with the old
  /// ones.
  void Reconnect() {
    ours_ = Connect(our_path_);
    plain_ = std::make_unique<PlainDatabase>(plain_path_);
    if (GetParam() == kSeedOfUtf16) Run("PRAGMA encoding = 'UTF-16le'");
    Run("PRAGMA journal_mode = WAL; PRAGMA synchronous = OFF");
  }

  /// Runs `text` on other connections to both databases.
  void RunBeside(const std::string& text) {
    const PlainDatabase beside_ours(our_path_);
    const PlainDatabase beside_plain(plain_path_);
    const Outcome ours = beside_ours.Run(text);
    const Outcome theirs = beside_plain.Run(text);
    ASSERT_EQ(ours.error, theirs.error);
  }

  void CompareContents() {
    const std::string ours = Contents(PlainDatabase(our_path_));
    ASSERT_EQ(ours, Contents(PlainDatabase(plain_path_)));
    ASSERT_THAT(ours, testing::HasSubstr("CREATE TABLE"));
  }

  const fakes::TempDir dir_;
  const std::string our_path_ = dir_.Write("ours.db", "");
  const std::string plain_path_ = dir_.Write("plain.db", "");
  Database ours_{nullptr, VEXODBClose};
  std::unique_ptr<PlainDatabase> plain_;
};

}  // namespace

TEST_P(StatementDifference, RandomStatements_DoTheSameAsPlainSqlite) {
  Author author(GetParam());
  Texts history;
  const auto run = [&](const std::string& text) {
    history.push_back(text);
    if (history.size() > 12) history.erase(history.begin());
    Run(text);
  };
  Reconnect();
  for (int i = 0; i < kStatements && !HasFatalFailure(); ++i) {
    if (!plain_->InTransaction()) {
      if (author.OneIn(kBetweenConnections[GetParam() % 2])) Reconnect();
      if (i % kBetweenFreshSchemas < 3) {
        history.emplace_back("ANOTHER CONNECTION: fresh schema");
        Reconnect();
        for (const std::string& text : Author::FreshSchema()) RunBeside(text);
      } else if (author.OneIn(60)) {
        const std::string change = author.SchemaChange();
        history.push_back("ANOTHER CONNECTION: " + change);
        RunBeside(change);
      }
    }
    run(author.Text());
    if (i % kBetweenComparisons == 0 && !plain_->InTransaction()) CompareContents();
  }
  if (HasFatalFailure()) {
    for (const std::string& text : history) ADD_FAILURE() << text;
    return;
  }
  while (plain_->InTransaction()) run("ROLLBACK");
  CompareContents();
  // With some of the schemas rows break a rule, which the check reports.
  EXPECT_EQ(PlainDatabase(our_path_).Run("PRAGMA integrity_check").rows,
            plain_->Run("PRAGMA integrity_check").rows);
}

INSTANTIATE_TEST_SUITE_P(Seeds, StatementDifference, testing::Range(1U, 5U));
