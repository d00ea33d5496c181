#pragma once

#include <mutex>

namespace VEXO::base {

/// A shared library that is loaded when it is needed, and then stays loaded.  Linking a
/// large one would slow the start of every program, also of those that never use it.
class LazyLibrary {
 public:
  /// Loads the library.
  ///
  /// @param name  its file name with the version, as in "libpam.so.0"
  explicit LazyLibrary(const char* name);

  /// Sets `*function` to the function of that name.
  template <class Function>
  void Find(const char* function_name, Function** function) {
    *function = reinterpret_cast<Function*>(Find(function_name));
  }

  /// Whether the library was loaded and every function was found.  The first failure is
  /// logged.
  bool good() const { return good_; }

 private:
  void* Find(const char* function_name);
  void* Check(void* found);

  bool good_ = true;
  void* handle_;
};

/// The functions of a library, loaded at the first call.
///
/// @tparam Functions  a struct of pointers to functions, with the name of the library as
///                    `kLibrary`, and `void Find(LazyLibrary&)`, which sets the pointers
/// @return null when the library cannot be loaded or lacks a function, with a line in the
///         log; the next call tries again
template <class Functions>
const Functions* LoadFunctions() {
  static std::mutex mutex;
  static Functions functions;
  static bool good = false;
  const std::lock_guard<std::mutex> lock(mutex);
  if (!good) {
    LazyLibrary library(Functions::kLibrary);
    functions.Find(library);
    good = library.good();
  }
  return good ? &functions : nullptr;
}

}  // namespace VEXO::base
