-- Version 1: the three tables, and the application id that marks the file.
--
-- One transaction, safe to run twice and by several processes at once.  AUTOINCREMENT: a
-- row id is never used again, so that a token which outlives its link or its session can
-- never open another one.
BEGIN IMMEDIATE;

PRAGMA application_id = 1447385171;  -- "VEXS"

CREATE TABLE IF NOT EXISTS entry (
  id           INTEGER PRIMARY KEY AUTOINCREMENT,
  hash         TEXT    NOT NULL UNIQUE,
  project_name TEXT    NOT NULL,
  enabled      INTEGER NOT NULL,
  owner_uid    INTEGER NOT NULL,
  start_at     INTEGER NOT NULL,
  expire_at    INTEGER NOT NULL,
  expire_times INTEGER NOT NULL,
  use_count    INTEGER NOT NULL,
  auto_gc      INTEGER NOT NULL,
  data         TEXT    NOT NULL
);

CREATE TABLE IF NOT EXISTS session (
  id         INTEGER PRIMARY KEY AUTOINCREMENT,
  session_id TEXT    NOT NULL UNIQUE,
  uid        INTEGER NOT NULL,
  ip         TEXT    NOT NULL,
  timeout    INTEGER NOT NULL
);

CREATE TABLE IF NOT EXISTS token (
  id         INTEGER PRIMARY KEY AUTOINCREMENT,
  entry_id   INTEGER NOT NULL,
  session_id INTEGER NOT NULL,
  timeout    INTEGER NOT NULL
);

PRAGMA user_version = 1;

COMMIT;
