#pragma once

namespace VEXO::platform {

/// Prepares a move by /bin/mv with the arguments `argv` (mv, source, "folder/") of a file
/// that belongs to root: nobody else may read the moved file, and nothing in the folder
/// is overwritten.  It sets the mode of the source to 0600 and gives what has its name in
/// the folder another name, with a line in the log.  Other moves are left alone.  False,
/// logged and with the reason in errno, when the move must not take place.
bool PreparePrivateMove(const char* const argv[]);

}  // namespace VEXO::platform
