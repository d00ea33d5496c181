#pragma once

#include <cstddef>
#include <string>

/// Random numbers and texts fit for secrets: drawn from the kernel's generator, without
/// modulo bias, from any thread, and across fork.
namespace VEXO::RANDOM {

/// The 62 ASCII letters and digits.
extern const char* const POOL_ALPHA_NUMERIC;
/// Those and `-` and `_`.
extern const char* const POOL_URL_FRIENDLY;

class VEXORandomBase {
 public:
  VEXORandomBase();
  virtual ~VEXORandomBase();

  /// A number from `low` to `high`, both included, each as likely as any other.  `low`,
  /// with `errno` set, when the kernel's generator fails or `low` is above `high`.
  int random(int low, int high);
};

class VEXORandom : public VEXORandomBase {
 public:
  VEXORandom();
  ~VEXORandom() override;

  /// `length` characters drawn from `pool` into `out`.  On failure `out` is empty.
  bool getString(const char* pool, std::size_t length, std::string& out);
};

}  // namespace VEXO::RANDOM
