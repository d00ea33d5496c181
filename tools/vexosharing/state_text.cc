#include "state_text.h"

#include <algorithm>

#include "moment.h"

namespace command {

std::string StateWords(LinkState state) {
  std::string words = tools::StateName(state);
  std::replace(words.begin(), words.end(), '_', ' ');
  return words;
}

Style StateStyle(LinkState state) {
  switch (state) {
    case LinkState::kUsable:
      return Style::kGood;
    case LinkState::kNotStarted:
      return Style::kWarning;
    default:
      return Style::kBad;
  }
}

std::string StateText(const Entry& link, long now) {
  const LinkState state = tools::StateOf(link, now);
  switch (state) {
    case LinkState::kNotStarted:
      return "not before " + MomentText(link.get_start_at());
    case LinkState::kExpired:
      return "expired " + MomentText(link.get_expire_at());
    case LinkState::kUsedUp:
      return "used up: " + std::to_string(link.get_use_count()) + " of " +
             std::to_string(link.get_expire_times()) + " uses";
    case LinkState::kUsable:
      return "usable now";
    default:
      return StateWords(state);
  }
}

}  // namespace command
