#include "terminal/progress.h"

#include <iostream>

namespace command {

void Progress::Show(long done) {
  if (Clock::now() >= next_) ShowNow(done);
}

void Progress::ShowNow(long done) {
  if (!terminal_) return;
  next_ = Clock::now() + kPause;
  shown_ = true;
  std::cerr << "\r" << what_ << ": " << done;
  if (total_ > 0) std::cerr << " of " << total_;
  std::cerr << "\033[K" << std::flush;
}

void Progress::Wipe() {
  if (shown_) std::cerr << "\r\033[K" << std::flush;
  shown_ = false;
}

}  // namespace command
