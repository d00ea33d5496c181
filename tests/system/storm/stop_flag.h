#pragma once

#include <sys/mman.h>

#include <atomic>
#include <cstdio>
#include <cstdlib>
#include <new>

namespace storm {

/// A flag in shared memory that tells forked processes to stop.
class StopFlag {
 public:
  StopFlag() {
    void* const memory = mmap(nullptr, sizeof(std::atomic<bool>), PROT_READ | PROT_WRITE,
                              MAP_SHARED | MAP_ANONYMOUS, -1, 0);
    if (memory == MAP_FAILED) {
      perror("mmap");
      abort();
    }
    stop_ = new (memory) std::atomic<bool>(false);
  }
  ~StopFlag() { munmap(stop_, sizeof *stop_); }
  StopFlag(const StopFlag&) = delete;
  StopFlag& operator=(const StopFlag&) = delete;

  void Set() { stop_->store(true); }
  bool IsSet() const { return stop_->load(); }

 private:
  std::atomic<bool>* stop_;
};

}  // namespace storm
