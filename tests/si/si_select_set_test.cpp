// The select sets on real socketpairs: the behaviour all four implementations share, a model test
// of random set, clear and remove against a std::map, and bad input.
#include <sys/socket.h>
#include <unistd.h>

#include <chrono>
#include <map>
#include <memory>
#include <random>
#include <set>
#include <type_traits>
#include <vector>

#include "si/sixxsel.h"
#include "si_test_util.h"

namespace sisel_test {

using si_test::Pair;

// n socketpairs: member side a, peer side b.
struct Pairs {
  std::vector<std::unique_ptr<Pair>> p;
  explicit Pairs(size_t n) {
    for (size_t i = 0; i < n; ++i) p.push_back(std::make_unique<Pair>());
  }
  SI_SOCK *a(size_t i) { return &p[i]->a; }
  void Poke(size_t i) { ASSERT_EQ(write(p[i]->b.socket, "x", 1), 1); }
};

void *Tag(uintptr_t v) { return reinterpret_cast<void *>(v); }

// What a set hands out after one select: socket, data and code of each next up to the end.
struct Fired {
  SI_SOCK *sock;
  void *data;
  int rc;
  uint8_t read, write;
};
std::vector<Fired> Drain(SISEL &set) {
  std::vector<Fired> out;
  for (int guard = 0; guard < 1000; ++guard) {
    Fired f{nullptr, nullptr, 0, 0, 0};
    f.rc = set.next(&f.read, nullptr, &f.write, &f.sock, &f.data);
    if (f.sock == nullptr) {
      EXPECT_EQ(f.rc, SI_OK);
      return out;
    }
    out.push_back(f);
  }
  ADD_FAILURE() << "next never ended";
  return out;
}

template <class T>
class SiSelCommon : public ::testing::Test {
 protected:
  T set;
  static constexpr bool kEpoll = std::is_same_v<T, SISEL_EPOLL>;
  static constexpr bool kSelect = std::is_base_of_v<SiselBitSets, T>;
};
using SetTypes = ::testing::Types<SISEL_POLL, SISEL_SELECT, SISEL_SEL_NT, SISEL_EPOLL>;
TYPED_TEST_SUITE(SiSelCommon, SetTypes);

TYPED_TEST(SiSelCommon, CapacityMembershipDataAndBadInput) {
  EXPECT_EQ(this->set.init(32769), SI_EINVAL);
  ASSERT_EQ(this->set.init(1), SI_OK);
  EXPECT_EQ(this->set.getMaxSockNo(), 2u);
  Pairs s(3);
  SI_SOCK negative{-5, 1, 1, 0};
  EXPECT_EQ(this->set.set(&negative, SISEL_READ, nullptr, 0), SI_EINVAL);
  EXPECT_EQ(this->set.set(nullptr, SISEL_READ, nullptr, 0), SI_EINVAL);
  ASSERT_EQ(this->set.set(s.a(0), SISEL_READ, Tag(1), 0), SI_OK);
  ASSERT_EQ(this->set.set(s.a(1), SISEL_WRITE, Tag(2), 0), SI_OK);
  EXPECT_EQ(this->set.set(s.a(2), SISEL_READ, nullptr, 0), SI_EINVAL) << "full";
  // Events and data of set, clear and remove are the model test's; here setData and the calls
  // that only read, which answer 1 for non-members.
  void *data = nullptr;
  uint8_t mode = 0;
  EXPECT_EQ(this->set.setData(s.a(0), Tag(7)), SI_OK);
  EXPECT_EQ(this->set.getData(s.a(0), &data), SI_OK);
  EXPECT_EQ(data, Tag(7));
  EXPECT_EQ(this->set.getData(s.a(2), &data), SI_EINVAL);
  EXPECT_EQ(this->set.setData(s.a(2), nullptr), SI_EINVAL);
  EXPECT_EQ(this->set.getMode(s.a(2), &mode), SI_EINVAL);
  EXPECT_EQ(this->set.remove(s.a(0), 1), SI_OK);
  EXPECT_EQ(this->set.set(s.a(2), SISEL_READ, nullptr, 0), SI_OK) << "room again";
  EXPECT_EQ(this->set.removeAll(), SI_OK);
  EXPECT_FALSE(this->set.isMember(s.a(1)));
  FILE *null = fopen("/dev/null", "w");
  EXPECT_EQ(this->set.dump(null), SI_OK);
  fclose(null);
}

// Only the events asked for are handed out (the data and flags of ready members are the model
// test's); after the last one, null again.
TYPED_TEST(SiSelCommon, AWriteReadyMemberIsPassedOverWhenOnlyReadIsAsked) {
  ASSERT_EQ(this->set.init(4), SI_OK);
  Pairs s(2);
  ASSERT_EQ(this->set.set(s.a(0), SISEL_READ, nullptr, 0), SI_OK);
  ASSERT_EQ(this->set.set(s.a(1), SISEL_WRITE, nullptr, 0), SI_OK);
  s.Poke(0);
  int selected = 0;
  ASSERT_EQ(this->set.select(1000, &selected), SI_OK);
  uint8_t read = 0, status = 0;
  SI_SOCK *sock = nullptr;
  ASSERT_EQ(this->set.next(&read, nullptr, nullptr, &sock, nullptr), SI_OK);
  EXPECT_EQ(sock, s.a(0));
  EXPECT_TRUE(this->set.getStat(s.a(0), &status) == SI_OK && status == SISEL_READ);
  for (int i = 0; i < 2; ++i) {
    EXPECT_EQ(this->set.next(&read, nullptr, nullptr, &sock, nullptr), SI_OK);
    EXPECT_EQ(sock, nullptr);
  }
}

TYPED_TEST(SiSelCommon, EmptySetWaitsForTheTimeOut) {
  ASSERT_EQ(this->set.init(4), SI_OK);
  int selected = -1;
  auto t0 = std::chrono::steady_clock::now();
  ASSERT_EQ(this->set.select(60, &selected), SI_OK);
  EXPECT_GE(std::chrono::steady_clock::now() - t0, std::chrono::milliseconds(50));
  EXPECT_EQ(selected, 0);
  SI_SOCK *sock = nullptr;
  EXPECT_EQ(this->set.next(nullptr, nullptr, nullptr, &sock, nullptr), SI_OK);
  EXPECT_EQ(sock, nullptr);
}

// A closed peer: a hang-up (1) where the system reports one, plain readability for select.
// A member closed while in the set: 2 with the member, except for epoll, whose kernel set drops
// a closed descriptor by itself.
TYPED_TEST(SiSelCommon, PeerClosedAndMemberClosed) {
  ASSERT_EQ(this->set.init(8), SI_OK);
  Pairs s(3);
  for (size_t i = 0; i < 3; ++i) ASSERT_EQ(this->set.set(s.a(i), SISEL_READ, nullptr, 0), SI_OK);
  SiClose(&s.p[0]->b);
  int selected = 0;
  ASSERT_EQ(this->set.select(1000, &selected), SI_OK);
  std::vector<Fired> got = Drain(this->set);
  ASSERT_EQ(got.size(), 1u);
  EXPECT_EQ(got[0].sock, s.a(0));
  EXPECT_EQ(got[0].rc, this->kSelect ? SI_OK : SI_EINVAL);
  ASSERT_EQ(this->set.remove(s.a(0), 1), SI_OK);

  ASSERT_EQ(close(s.a(1)->socket), 0);  // the record keeps its number
  ASSERT_EQ(this->set.select(this->kEpoll ? 50 : 1000, &selected), SI_OK);
  got = Drain(this->set);
  if (this->kEpoll) {
    EXPECT_TRUE(got.empty());
  } else {
    ASSERT_EQ(got.size(), 1u);
    EXPECT_EQ(got[0].sock, s.a(1));
    EXPECT_EQ(got[0].rc, SI_EINVAL_SOCK);
  }
  EXPECT_EQ(this->set.remove(s.a(1), 1), SI_OK);
  s.a(1)->socket = -1;
  // The survivor still works.
  s.Poke(2);
  ASSERT_EQ(this->set.select(1000, &selected), SI_OK);
  got = Drain(this->set);
  ASSERT_EQ(got.size(), 1u);
  EXPECT_EQ(got[0].sock, s.a(2));
}

// Random set, clear and remove over 200 sockets against a map of what should be there; then
// every member waiting for read is poked, and exactly those come out of one select.
TYPED_TEST(SiSelCommon, ModelOfRandomOperations) {
  constexpr size_t kSockets = 200;
  ASSERT_EQ(this->set.init(kSockets), SI_OK);
  Pairs s(kSockets);
  struct Member {
    uint8_t events;
    void *data;
  };
  std::map<SI_SOCK *, Member> model;
  std::mt19937 rng(14);
  for (int step = 0; step < 4000; ++step) {
    SI_SOCK *sock = s.a(rng() % kSockets);
    auto it = model.find(sock);
    uint8_t events = static_cast<uint8_t>(rng() % 16) & (SISEL_READ | SISEL_WRITE | SISEL_READ_PRI);
    switch (rng() % 4) {
      case 0:
      case 1: {
        uint8_t replace = rng() % 2;
        void *data = Tag(step + 1);
        ASSERT_EQ(this->set.set(sock, events, data, replace), SI_OK);
        if (it == model.end())
          model[sock] = {events, data};
        else
          it->second.events = replace ? events : (it->second.events | events);
        break;
      }
      case 2:
        ASSERT_EQ(this->set.clear(sock, events), it == model.end() ? SI_EINVAL : SI_OK);
        if (it != model.end()) it->second.events &= ~events;
        break;
      default:
        ASSERT_EQ(this->set.remove(sock, rng() % 2), it == model.end() ? SI_EINVAL : SI_OK);
        if (it != model.end()) model.erase(it);
    }
    ASSERT_EQ(this->set.isMember(sock), model.count(sock) == 1) << "step " << step;
  }
  std::set<SI_SOCK *> readers;
  for (size_t i = 0; i < kSockets; ++i) {
    SI_SOCK *sock = s.a(i);
    auto it = model.find(sock);
    ASSERT_EQ(this->set.isMember(sock), it != model.end());
    if (it == model.end()) continue;
    uint8_t mode = 0;
    void *data = nullptr;
    uint32_t pos = 0;
    ASSERT_EQ(this->set.getMode(sock, &mode), SI_OK);
    ASSERT_EQ(this->set.getData(sock, &data), SI_OK);
    ASSERT_EQ(this->set.getSocketPos(sock, &pos), SI_OK);
    EXPECT_EQ(mode, it->second.events);
    EXPECT_EQ(data, it->second.data);
    EXPECT_EQ(this->set.getSocketNo(pos), static_cast<uint32_t>(sock->socket));
    if (mode & SISEL_READ) {
      readers.insert(sock);
      s.Poke(i);
    }
    if (mode & SISEL_WRITE) this->set.clear(sock, SISEL_WRITE);
  }
  int selected = 0;
  ASSERT_EQ(this->set.select(1000, &selected), SI_OK);
  std::set<SI_SOCK *> fired;
  for (const Fired &f : Drain(this->set)) {
    fired.insert(f.sock);
    EXPECT_TRUE(f.rc == SI_OK && f.read == 1);
    EXPECT_EQ(f.data, model[f.sock].data);
  }
  EXPECT_EQ(fired, readers);
  EXPECT_EQ(selected, static_cast<int>(readers.size()));
  ASSERT_EQ(this->set.startLoop(), SI_OK);  // replays the same wait
  EXPECT_EQ(Drain(this->set).size(), readers.size());
}

// Positions of the select set are socket numbers: 32768 and above are refused.
TEST(SiSelSelect, SocketNumbersFrom32768AreRefused) {
  for (auto make : {+[]() -> SISEL_SPEC * { return new SISEL_SELECT; },
                    +[]() -> SISEL_SPEC * { return new SISEL_SEL_NT; }}) {
    std::unique_ptr<SISEL_SPEC> set(make());
    ASSERT_EQ(set->init(4), SI_OK);
    SI_SOCK big{32768, 1, 1, 0}, top{32767, 1, 1, 0};
    EXPECT_EQ(set->set(&big, SISEL_READ, nullptr, 0), SI_EINVAL);
    EXPECT_EQ(set->set(&top, SISEL_READ, nullptr, 0), SI_OK);
  }
}

// The kernel drops a closed descriptor from an epoll set; when its number comes back, setting it
// finds the stale member, removes it and adds the socket anew, with the new data.
TEST(SiSelEpoll, ClosedNumberReusedIsAddedAnew) {
  SISEL_EPOLL set;
  ASSERT_EQ(set.init(4), SI_OK);
  Pairs s(1);
  SI_SOCK *old = s.a(0);
  ASSERT_EQ(set.set(old, SISEL_READ, Tag(1), 0), SI_OK);
  int number = old->socket;
  ASSERT_EQ(close(number), 0);
  old->socket = -1;
  Pair fresh;
  ASSERT_EQ(dup2(fresh.a.socket, number), number);
  SI_SOCK again{number, 1, 1, 0};
  ASSERT_TRUE(set.isMember(&again)) << "the stale member";
  ASSERT_EQ(set.set(&again, SISEL_READ, Tag(2), 0), SI_OK);
  void *data = nullptr;
  ASSERT_EQ(set.getData(&again, &data), SI_OK);
  EXPECT_EQ(data, Tag(2));
  ASSERT_EQ(write(fresh.b.socket, "x", 1), 1);
  int selected = 0;
  ASSERT_EQ(set.select(1000, &selected), SI_OK);
  std::vector<Fired> got = Drain(set);
  ASSERT_EQ(got.size(), 1u);
  EXPECT_EQ(got[0].sock, &again);
  EXPECT_EQ(got[0].data, Tag(2));
  EXPECT_EQ(set.remove(&again, 1), SI_OK);
  close(number);
}

}  // namespace sisel_test
