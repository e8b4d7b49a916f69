// A thread blocked in SiRecv, interrupted by a signal whose handler was installed without
// SA_RESTART, answers SI_EINTR with EINTR kept.
#include <pthread.h>
#include <signal.h>
#include <sys/socket.h>
#include <unistd.h>

#include <atomic>
#include <chrono>
#include <thread>

#include "zul_si.h"

namespace {

void Nothing(int) {}

TEST(SiRecvMt, SignalInterruptsABlockedReceive) {
  struct sigaction action {}, old {};
  action.sa_handler = Nothing;
  sigemptyset(&action.sa_mask);
  ASSERT_EQ(sigaction(SIGUSR1, &action, &old), 0);
  int fds[2];
  ASSERT_EQ(socketpair(AF_UNIX, SOCK_STREAM, 0, fds), 0);
  SI_SOCK s{fds[0], 1, 1, 0};
  std::atomic<int> rc{-1};
  std::atomic<bool> started{false};
  std::thread reader([&] {
    char c;
    size_t n = 0;
    started = true;
    rc = SiRecv(&s, &c, 1, 0, &n);
  });
  // Signal until the receive returns; each try waits 20 ms, 250 tries at most.
  while (!started) std::this_thread::yield();
  for (int i = 0; i < 250 && rc.load() == -1; ++i) {
    std::this_thread::sleep_for(std::chrono::milliseconds(20));
    pthread_kill(reader.native_handle(), SIGUSR1);
  }
  if (rc.load() == -1) (void)!write(fds[1], "x", 1);  // release the reader before failing
  reader.join();
  EXPECT_EQ(rc.load(), SI_EINTR);
  EXPECT_EQ(s.lastError, static_cast<uint32_t>(EINTR));
  close(fds[0]);
  close(fds[1]);
  sigaction(SIGUSR1, &old, nullptr);
}

}  // namespace
