#pragma once

#include <map>
#include <string>
#include <vector>

namespace storm {

/// Faults found by the test, counted by kind.
class Faults {
 public:
  void Add(const std::string& kind, const std::string& detail);
  bool none() const { return kinds_.empty(); }
  /// Prints the number of faults of each kind and the first ones in full.
  void Print() const;

 private:
  std::map<std::string, long> kinds_;
  std::vector<std::string> first_;
};

}  // namespace storm
