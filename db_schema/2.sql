-- Version 2: the indexes of the lookups and purges, and triggers that delete the tokens of
-- a deleted link or session.
--
-- One transaction, safe to run twice and by several processes at once.
BEGIN IMMEDIATE;

CREATE INDEX IF NOT EXISTS entry_owner ON entry (owner_uid, project_name);
CREATE INDEX IF NOT EXISTS entry_expiry ON entry (auto_gc, expire_at)
  WHERE expire_at != 0;
CREATE INDEX IF NOT EXISTS entry_used_up ON entry (auto_gc)
  WHERE expire_times != 0 AND use_count >= expire_times;

CREATE INDEX IF NOT EXISTS session_deadline ON session (timeout);

-- Newest first: a live token is found before an expired one beside it.
CREATE INDEX IF NOT EXISTS token_session_entry ON token (session_id, entry_id, id DESC);
CREATE INDEX IF NOT EXISTS token_entry ON token (entry_id);
CREATE INDEX IF NOT EXISTS token_deadline ON token (timeout);

-- Triggers, not foreign keys: a token may be stored before its link.
CREATE TRIGGER IF NOT EXISTS entry_deleted AFTER DELETE ON entry
BEGIN
  DELETE FROM token WHERE entry_id = OLD.id;
END;
CREATE TRIGGER IF NOT EXISTS session_deleted AFTER DELETE ON session
BEGIN
  DELETE FROM token WHERE session_id = OLD.id;
END;

PRAGMA user_version = 2;

COMMIT;
