// The raw waits that the select-set benchmarks run beside the library's sets.
#ifndef TLM_BENCH_RAW_WAIT_H
#define TLM_BENCH_RAW_WAIT_H

#include <poll.h>
#include <sys/epoll.h>

#include <vector>

namespace bench {

// Polls the array until a member is readable and answers the first readable descriptor, found
// by the same front-to-back scan a poll user makes.
inline int PollFirstReadable(std::vector<pollfd> &fds) {
  for (;;) {
    poll(fds.data(), fds.size(), -1);
    for (const pollfd &p : fds)
      if (p.revents & POLLIN) return p.fd;
  }
}

// Adds fd to the epoll set for reading, with the descriptor as its user data.
inline void EpollAddRead(int ep, int fd) {
  epoll_event ev{};
  ev.events = EPOLLIN;
  ev.data.fd = fd;
  epoll_ctl(ep, EPOLL_CTL_ADD, fd, &ev);
}

}  // namespace bench

#endif  // TLM_BENCH_RAW_WAIT_H
