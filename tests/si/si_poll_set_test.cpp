// The poll set's own rules: positions, holes and compaction, the call-back sequence; the C entry
// points and the frame that picks an implementation.
#include <sys/socket.h>
#include <unistd.h>

#include <memory>
#include <string>
#include <vector>

#include "si/sixxsel.h"
#include "si_test_util.h"
#include "zul_sisel.h"

namespace sipoll_test {

// Ten member records with made-up numbers: the poll set never calls the system until select.
struct Members {
  SI_SOCK s[10];
  Members() {
    for (int i = 0; i < 10; ++i) s[i] = SI_SOCK{100 + i, 1, 1, 0};
  }
};

std::vector<uint32_t> Numbers(SISEL_POLL &set) {
  std::vector<uint32_t> out;
  for (uint32_t p = 0; p < set.used(); ++p) out.push_back(set.getSocketNo(p));
  return out;
}

// Ten members at positions 0 to 9; removing nine from 0 upward with optimise compacts once used
// exceeds twice the count, moving the highest members into the lowest holes.
TEST(SiSelPoll, RemovalHolesAndCompaction) {
  SISEL_POLL set;
  ASSERT_EQ(set.init(10), SI_OK);
  Members m;
  for (auto &s : m.s) ASSERT_EQ(set.set(&s, SISEL_READ, nullptr, 0), SI_OK);
  for (uint32_t p = 0; p < 10; ++p) EXPECT_EQ(set.getSocketNo(p), 100 + p);
  EXPECT_EQ(set.getSocketNo(10), 0xFFFFFFFFu);
  const struct {
    uint32_t count, used;
  } kAfter[] = {{9, 10}, {8, 10}, {7, 10}, {6, 10}, {5, 10}, {4, 4}, {3, 3}, {2, 2}, {1, 1}};
  for (int i = 0; i < 9; ++i) {
    ASSERT_EQ(set.remove(&m.s[i], 1), SI_OK);
    EXPECT_EQ(set.count(), kAfter[i].count) << i;
    EXPECT_EQ(set.used(), kAfter[i].used) << i;
    if (i == 5) {
      EXPECT_EQ(Numbers(set), (std::vector<uint32_t>{109, 108, 107, 106}));
    }
  }
  EXPECT_EQ(Numbers(set), (std::vector<uint32_t>{109}));
  uint32_t pos = 7;
  ASSERT_EQ(set.getSocketPos(&m.s[9], &pos), SI_OK);
  EXPECT_EQ(pos, 0u);
}

// Without optimise a hole stays and is the next new member's position; removing the last
// position gives up that one only, even with a hole before it.
TEST(SiSelPoll, FreeListAndLastPosition) {
  SISEL_POLL set;
  ASSERT_EQ(set.init(10), SI_OK);
  Members m;
  for (int i = 0; i < 4; ++i) ASSERT_EQ(set.set(&m.s[i], SISEL_READ, nullptr, 0), SI_OK);
  ASSERT_EQ(set.remove(&m.s[2], 0), SI_OK);
  EXPECT_EQ(Numbers(set), (std::vector<uint32_t>{100, 101, 0xFFFFFFFFu, 103}));
  ASSERT_EQ(set.remove(&m.s[3], 0), SI_OK);
  EXPECT_EQ(set.used(), 3u);
  ASSERT_EQ(set.set(&m.s[5], SISEL_WRITE, nullptr, 0), SI_OK);
  EXPECT_EQ(Numbers(set), (std::vector<uint32_t>{100, 101, 105}));
  ASSERT_EQ(set.set(&m.s[6], SISEL_WRITE, nullptr, 0), SI_OK);
  EXPECT_EQ(Numbers(set), (std::vector<uint32_t>{100, 101, 105, 106}));
}

struct Recorder : SISEL_SPEC::CB_FUNCS {
  std::vector<std::string> calls;
  void Add(std::string s) { calls.push_back(std::move(s)); }
  void create(uint32_t c) noexcept override { Add("create " + std::to_string(c)); }
  void add(uint32_t p) noexcept override { Add("add " + std::to_string(p)); }
  void move(uint32_t f, uint32_t t) noexcept override {
    Add("move " + std::to_string(f) + " " + std::to_string(t));
  }
  void remove(uint32_t p) noexcept override { Add("remove " + std::to_string(p)); }
  void reset() noexcept override { Add("reset"); }
  void select(uint32_t p) noexcept override { Add("select " + std::to_string(p)); }
  void dumpEntry(FILE *, uint32_t p) noexcept override { Add("dump " + std::to_string(p)); }
};

TEST(SiSelPoll, CallBackSequence) {
  SISEL_POLL set;
  Recorder rec;
  set.regCBFunc(&rec);
  ASSERT_EQ(set.init(3), SI_OK);
  si_test::Pair a, b, c;
  for (SI_SOCK *s : {&a.a, &b.a, &c.a}) ASSERT_EQ(set.set(s, SISEL_READ, nullptr, 0), SI_OK);
  EXPECT_EQ(set.set(&a.a, SISEL_WRITE, nullptr, 0), SI_OK);  // a member: no add
  ASSERT_EQ(set.remove(&b.a, 1), SI_OK);                     // count 2, used 3: a hole
  ASSERT_EQ(set.remove(&a.a, 1), SI_OK);                     // count 1, used 3 > 2: c moves to 0
  ASSERT_EQ(write(c.b.socket, "x", 1), 1);
  int selected = 0;
  ASSERT_EQ(set.select(1000, &selected), SI_OK);
  SI_SOCK *sock = nullptr;
  ASSERT_EQ(set.next(nullptr, nullptr, nullptr, &sock, nullptr), SI_OK);
  EXPECT_EQ(sock, nullptr) << "no flag asked for: passed over";
  ASSERT_EQ(set.startLoop(), SI_OK);
  uint8_t read = 0;
  ASSERT_EQ(set.next(&read, nullptr, nullptr, &sock, nullptr), SI_OK);
  EXPECT_EQ(sock, &c.a);
  FILE *null = fopen("/dev/null", "w");
  set.dump(null);
  fclose(null);
  set.removeAll();
  set.regCBFunc(nullptr);
  set.set(&a.a, SISEL_READ, nullptr, 0);
  EXPECT_EQ(rec.calls,
            (std::vector<std::string>{"create 3", "add 0", "add 1", "add 2", "remove 1", "remove 0",
                                      "move 2 0", "select 0", "select 0", "dump 0", "reset"}));
}

// The C face: a new set waits in poll; everything refuses a null set.
TEST(SiSelPoll, CEntryPointsAndImplementationTypes) {
  SISEL *set = nullptr;
  EXPECT_EQ(SiSelNewSet(&set, 32769), SI_EINVAL);
  EXPECT_EQ(set, nullptr);
  ASSERT_EQ(SiSelNewSet(&set, 0), SI_OK);
  EXPECT_NE(dynamic_cast<SISEL_POLL *>(static_cast<SISEL_IMPL *>(set)->specialised()), nullptr);
  EXPECT_EQ(SiSelGetMaxSockNo(set), 2u);
  si_test::Pair p;
  ASSERT_EQ(SiSelSet(set, &p.a, SISEL_READ, nullptr), SI_OK);
  ASSERT_EQ(SiSelSetAbs(set, &p.a, SISEL_WRITE, &p), SI_OK);
  uint8_t mode = 0, status = 0, read = 0, write = 0;
  EXPECT_TRUE(SiSelMode(set, &p.a, &mode) == SI_OK && mode == SISEL_WRITE);
  int selected = 0;
  EXPECT_TRUE(SiSelSelect(set, 1000, &selected) == SI_OK && selected == 1);
  EXPECT_TRUE(SiSelStat(set, &p.a, &status) == SI_OK && status == SISEL_WRITE);
  SI_SOCK *sock = nullptr;
  void *data = &sock;
  ASSERT_EQ(SiSelNext(set, &read, nullptr, &write, &sock, &data), SI_OK);
  EXPECT_EQ(sock, &p.a);
  EXPECT_EQ(data, nullptr) << "the data of the first set stays";
  EXPECT_TRUE(write == 1 && read == 0);
  EXPECT_EQ(SiSelIsMember(set, &p.a), 1);
  EXPECT_EQ(SiSelSetData(set, &p.a, &p), SI_OK);
  EXPECT_TRUE(SiSelGetData(set, &p.a, &data) == SI_OK && data == &p);
  EXPECT_EQ(SiSelClear(set, &p.a, SISEL_WRITE), SI_OK);
  EXPECT_EQ(SiSelClearSet(set), SI_OK);
  EXPECT_EQ(SiSelStartLoop(set), SI_OK);
  EXPECT_EQ(SiSelRemove(set, &p.a), SI_OK);
  EXPECT_EQ(SiSelRemoveAll(set), SI_OK);
  ASSERT_EQ(SiSelDestroySet(&set), SI_OK);
  EXPECT_EQ(set, nullptr);
  EXPECT_EQ(SiSelDestroySet(&set), SI_EINVAL);
  EXPECT_EQ(SiSelSet(nullptr, &p.a, SISEL_READ, nullptr), SI_EINVAL);
  EXPECT_EQ(SiSelSelect(nullptr, 0, &selected), SI_EINVAL);
  EXPECT_EQ(SiSelIsMember(nullptr, &p.a), 0);

  const struct {
    int type;
    bool poll, made;
  } kTypes[] = {{SISEL_IMPL::POLL, true, true},
                {SISEL_IMPL::F_CONN, true, true},
                {SISEL_IMPL::SELECT, false, true},
                {3, false, false}};
  for (const auto &t : kTypes) {
    std::unique_ptr<SISEL_IMPL> frame(SISEL_IMPL::createSet(&t.type));
    ASSERT_EQ(frame != nullptr, t.made) << t.type;
    if (!frame) continue;
    EXPECT_EQ(dynamic_cast<SISEL_POLL *>(frame->specialised()) != nullptr, t.poll);
    EXPECT_EQ(dynamic_cast<SISEL_SELECT *>(frame->specialised()) != nullptr, !t.poll);
  }
}

}  // namespace sipoll_test
