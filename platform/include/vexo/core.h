#pragma once

#include <stdio.h>
#include <sys/stat.h>
#include <sys/types.h>

/// @file
/// File helpers and pipes of the platform.  Failures leave their reason in `errno`.

#ifdef __cplusplus
extern "C" {
#endif

/// 1 when the path exists, 0 otherwise.
int VLIBCFileExist(const char* path);

/// Creates an empty file if it is missing, never through a dangling symbolic link.  0, or
/// -1.
int VLIBCFileTouch(const char* path);

/// Status of a file; `follow` 1 follows symbolic links.  0, or -1.
int VLIBCFileStat(const char* path, int follow, struct stat* out);

/// Changes the mode of `fd`, or of `path` when `fd` is -1.  0, or -1.
int VEXOFSAclChmod(const char* path, int fd, mode_t mode);

/// Starts `program` (a full path: no shell, no search) with `program` as its first
/// argument and then the given `const char*` arguments, ended by a null pointer.  Mode
/// "r" reads its standard output.  Null on failure, also when the program cannot be
/// executed.  The child runs with the ids in force and inherits no descriptor but 0, 1
/// and 2.
///
/// A move by /bin/mv (arguments: a file of root's, and a folder with "/" at its end) is
/// made private first: the file's mode becomes 0600, and what has its name in the folder
/// is renamed and not overwritten.
FILE* VLIBCPopen(const char* program, const char* mode, ...);

/// The same with a whole argument vector, whose first element is the program's name.
FILE* VLIBCPopenv(const char* program, const char* mode, const char* const argv[]);

/// Closes the pipe, waits for the program and returns its wait status as pclose(3) does.
int VLIBCPclose(FILE* stream);

#ifdef __cplusplus
}
#endif
