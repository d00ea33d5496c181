#pragma once

#include <map>
#include <string>
#include <vector>

namespace storm {

/// Everything that was not as it should be, counted by kind.
class Faults {
 public:
  void Add(const std::string& kind, const std::string& detail);
  bool none() const { return kinds_.empty(); }
  /// How often each kind was found, and the first ones in full.
  void Print() const;

 private:
  std::map<std::string, long> kinds_;
  std::vector<std::string> first_;
};

}  // namespace storm
