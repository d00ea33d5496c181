#pragma once

#include <stddef.h>

/// @file
/// SQL interface of the platform.  SQL travels as text; every value of a result is text.
///
/// Across all processes, one connection at a time writes to a database or runs a
/// checkpoint.  It holds a lock on the file "<database>-lock" (fcntl(2), F_OFD_SETLK)
/// from before its first write to the end of the statement or transaction.  A missing
/// lock file is created with the owner and mode of the database; that of root's own
/// databases belongs to the system account (uid 1, gid 1).  Readers of a database with a
/// write-ahead log never take the lock.  Databases that a statement attaches are not
/// covered.
///
/// A call waits up to ten seconds for the locks of other connections and then fails with
/// "database is locked".  A signal whose handler was installed without SA_RESTART ends
/// the wait; the call then fails with "interrupted".  The calls of one operation follow
/// each other closely, and wait ten seconds as a whole: a call within a second of a wait
/// that took a second or more has the rest of its time, and one within a second of a wait
/// that failed fails at once.  Calls after that wait for a quarter of a second, until the
/// connection has obtained a lock again.  A checkpoint never waits: it reports busy, as
/// SQLite does.  "PRAGMA wal_checkpoint" reports that too when there is nothing to copy.

struct sqlite3;
struct VEXODB;
struct DBResult_tag;

#ifdef __cplusplus
extern "C" {
#endif

/// Opens the SQLite file `database`, which must exist: connecting never creates it.
/// `host`, `user` and `password` are empty for SQLite.  Null on failure, also when the
/// file can be read but not written.  One thread at a time may use the connection.  The
/// caller releases it with VEXODBClose.
struct VEXODB* VEXODBConnect(const char* host, const char* user, const char* password,
                             const char* database);

/// Runs every statement of `sql` in order and stops at the first failure.  0 or more on
/// success: `*result` is then the rows of the last statement that returned columns (an
/// empty result when none did), released with VEXODBFreeResult.  -1 on failure: `*result`
/// is null and a transaction that this text opened is rolled back; one that an earlier
/// call opened is left alone.
int VEXODBExecute(struct VEXODB* db, const char* sql, struct DBResult_tag** result);

/// Stores the number of the next row, from 0, in `*row` and returns 0; -1 when the rows
/// are exhausted or `result` is null.
int VEXODBFetchRow(struct DBResult_tag* result, unsigned int* row);

/// Text of a column, owned by the result; null when there is no such column or row.  SQL
/// NULL is the empty text.  Column names compare exactly.
const char* VEXODBFetchField(struct DBResult_tag* result, unsigned int row,
                             const char* column);

/// Doubles every single quote of the `length` bytes at `text` into `buffer` of `size`
/// bytes (kind 0, SQLite), with a terminating 0 where it fits.  The escaped length, or -1
/// when the escaped text itself needs more than `size` bytes.
int VEXODBEscapeStringEX2(int kind, char* buffer, size_t size, const char* text,
                          size_t length);

/// Text of the connection's last failure, owned by the connection; never null.
const char* VEXODBErrorGet(struct VEXODB* db);

/// Releases a result; null is allowed.
void VEXODBFreeResult(struct DBResult_tag* result);

/// Closes a connection; null is allowed.
void VEXODBClose(struct VEXODB* db);

/// The SQLite connection inside, owned by `db`; null for null.  For questions about its
/// state: statements go through VEXODBExecute.
struct sqlite3* VEXODBSqliteHandle(struct VEXODB* db);

#ifdef __cplusplus
}
#endif
