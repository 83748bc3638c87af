// A process that may open no more files and sockets, where that can be arranged (POSIX only).
#pragma once

#include <fcntl.h>
#include <sys/resource.h>
#include <unistd.h>

// Lets no descriptor be opened while it lives.
class NoDescriptorsLeft {
 public:
  NoDescriptorsLeft() {
    getrlimit(RLIMIT_NOFILE, &usual_);
    const int next = open("/dev/null", O_RDONLY | O_CLOEXEC);
    close(next);
    rlimit least = usual_;
    least.rlim_cur = static_cast<rlim_t>(next);
    setrlimit(RLIMIT_NOFILE, &least);
  }
  ~NoDescriptorsLeft() { setrlimit(RLIMIT_NOFILE, &usual_); }
  NoDescriptorsLeft(const NoDescriptorsLeft&) = delete;
  NoDescriptorsLeft& operator=(const NoDescriptorsLeft&) = delete;

 private:
  rlimit usual_{};
};
