#include "faults.h"

#include <cstdio>

namespace storm {

namespace {

constexpr std::size_t kShown = 20;
constexpr long kShownOfAKind = 3;

}  // namespace

void Faults::Add(const std::string& kind, const std::string& detail) {
  const long count = ++kinds_[kind];
  if (count <= kShownOfAKind && first_.size() < kShown) {
    first_.push_back(detail.empty() ? kind : kind + ": " + detail);
  }
}

void Faults::Print() const {
  if (none()) {
    printf("no fault\n");
    return;
  }
  printf("faults by kind:\n");
  for (const auto& [kind, count] : kinds_) printf("%9ld  %s\n", count, kind.c_str());
  printf("the first ones:\n");
  for (const std::string& fault : first_) printf("  %s\n", fault.c_str());
}

}  // namespace storm
