#pragma once

#include <stddef.h>
#include <sys/types.h>

/// @file
/// Users and groups of the system, through its name service.

struct VEXOUSER {
  char* name;
  uid_t uid;
};

struct VEXOGROUP {
  char* name;
  gid_t gid;
};

/// A set of texts; a null key is an empty slot.
struct VLIBHash {
  size_t size;
  char** keys;
};

#ifdef __cplusplus
extern "C" {
#endif

/// Looks a user up by name.  0, or -1 when there is no such user.  The caller releases
/// the record with VEXOUserFree.
int VEXOUserGet(const char* name, struct VEXOUSER** user);

/// Looks a user up by id.  0 on success.
int VEXOUserGetByUID(uid_t uid, struct VEXOUSER** user);

/// Writes the canonical login name into `buffer` of `size` bytes.  At least 1 when it was
/// written.
int VEXOUserLoginNameConvert(const char* name, char* buffer, size_t size, int reserved);

/// Releases a record; null is allowed.
void VEXOUserFree(struct VEXOUSER* user);

/// Id of a group.  0 on success.
int VEXOGroupGetGID(const char* name, gid_t* gid);

/// Looks a group up by id.  0 on success.  The caller releases the record with
/// VEXOGroupFree.
int VEXOGroupGetByGID(gid_t gid, struct VEXOGROUP** group);

/// Releases a record; null is allowed.
void VEXOGroupFree(struct VEXOGROUP* group);

/// Names of the user's groups, primary and supplementary, or null.  The caller releases
/// the table with VLIBHashFree.  The two numbers are reserved.
struct VLIBHash* VLIBGroupInfoHashGet(const char* user, int reserved1, int reserved2);

/// Releases a table; null is allowed.
void VLIBHashFree(struct VLIBHash* table);

#ifdef __cplusplus
}
#endif
