#pragma once

#include <stddef.h>

/// @file
/// SQL interface of the platform.  SQL travels as text; every value of a result is text.
///
/// One connection at a time, of all processes, writes to a database or runs a checkpoint:
/// it holds a lock on the file "<database>-lock" (fcntl(2), F_OFD_SETLK) from before its
/// first write to the end of the statement or transaction.  The file is created when it
/// is missing, for the system account (uid 1, gid 1, mode 0660) where root or that account
/// writes.  Readers never take the lock.
///
/// A call waits for the locks of other connections for ten seconds at most, and then fails
/// with "database is locked"; a signal whose handler was installed without SA_RESTART ends
/// the wait with "interrupted".  After such a wait the connection does not wait again until
/// it has obtained a lock: for one second its writes fail at once, and after that each
/// looks at the lock once.  A checkpoint never waits: it reports busy, as SQLite does.

struct sqlite3;
struct VEXODB;
struct DBResult_tag;

#ifdef __cplusplus
extern "C" {
#endif

/// Opens the SQLite file `database`, which must exist: connecting never creates it.
/// `host`, `user` and `password` are empty for SQLite.  Null on failure, also when the
/// file can be read but not written.  The caller releases the connection with
/// VEXODBClose.
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

/// The SQLite connection inside, owned by `db`; null for null.
struct sqlite3* VEXODBSqliteHandle(struct VEXODB* db);

#ifdef __cplusplus
}
#endif
