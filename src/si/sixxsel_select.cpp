// The select sets: three bit sets of 32768 bits (read, write, and read-priority passed as the
// except set), copied per call up to one past the highest member. SISEL_SELECT finds a member's
// element at its socket number; SISEL_SEL_NT allocates elements by need and finds them through a
// fast index.
#define DPTRC_MODULE u"sixxsel"

#include <unistd.h>

#include <cstdlib>
#include <cstring>

#include "si/sixx.h"
#include "si/sixxsel.h"
#include "zul_dptrace.h"

namespace {

constexpr uint32_t kIndexId = 1;
constexpr uint32_t kSetBits = 32768;

void CopyBits(SI_FDSET &to, const SI_FDSET &from, uint32_t bits) {
  std::memcpy(to.bits, from.bits, (bits + 63) / 64 * sizeof(uint64_t));
}

}  // namespace

SiselBitSets::~SiselBitSets() = default;

void SiselBitSets::resetState() noexcept {
  SI_FD_ZERO(&read_);
  SI_FD_ZERO(&write_);
  SI_FD_ZERO(&readPri_);
  SI_FD_ZERO(&readSel_);
  SI_FD_ZERO(&writeSel_);
  SI_FD_ZERO(&readPriSel_);
  count_ = 0;
  used_ = 0;
  head_ = LIST_NULL_VAL;
  iterator_ = LIST_NULL_VAL;
  closedSockets_ = false;
}

bool SiselBitSets::isMember(SI_SOCK *sock) noexcept {
  return sock != nullptr && sock->socket >= 0 && findPos(sock->socket) >= 0;
}

SI_RC SiselBitSets::set(SI_SOCK *sock, uint8_t events, void *data, uint8_t replace) noexcept {
  if (sock == nullptr || elements_ == nullptr) return SI_EINVAL;
  int no = sock->socket;
  if (no < 0) {
    DPTRC_A7(1, tf, "%s: sock %d negative\n", name_, no);
    return SI_EINVAL;
  }
  if (static_cast<uint32_t>(no) >= kSetBits) {
    DPTRC_A7(1, tf, "%s: sock %d too big (max=%u)\n", name_, no, kSetBits - 1);
    return SI_EINVAL;
  }
  int64_t pos = findPos(no);
  if (pos < 0) {
    if (count_ >= capacity_) {
      DPTRC_A7(1, tf, "%s: maximum of sockets reached (%u)\n", name_, capacity_);
      return SI_EINVAL;
    }
    SI_RC rc = SI_OK;
    pos = allocPos(no, &rc);
    if (pos < 0) return rc;
    ELEMENT &el = elements_[pos];
    el = ELEMENT{sock, data, no, LIST_NULL_VAL, head_};
    if (head_ != LIST_NULL_VAL) elements_[head_].prev = static_cast<uint32_t>(pos);
    head_ = static_cast<uint32_t>(pos);
    ++count_;
    if (static_cast<uint32_t>(no) >= used_) used_ = static_cast<uint32_t>(no) + 1;
    DPTRC_A7(3, tf, "%s: sock %d added to set pos %u\n", name_, no, static_cast<unsigned>(pos));
    if (cb_ != nullptr) cb_->add(static_cast<uint32_t>(pos));
  }
  if (replace == 1) {
    SI_FD_CLR(no, &read_);
    SI_FD_CLR(no, &write_);
    SI_FD_CLR(no, &readPri_);
  }
  if (events & SISEL_READ) SI_FD_SET(no, &read_);
  if (events & SISEL_WRITE) SI_FD_SET(no, &write_);
  if (events & SISEL_READ_PRI) SI_FD_SET(no, &readPri_);
  DPTRC_A7(3, tf, "%s: set events of sock %d to: %c%c%c\n", name_, no,
           si::Flag(SI_FD_ISSET(no, &read_), 'r'), si::Flag(SI_FD_ISSET(no, &readPri_), 'p'),
           si::Flag(SI_FD_ISSET(no, &write_), 'w'));
  return SI_OK;
}

SI_RC SiselBitSets::clear(SI_SOCK *sock, uint8_t events) noexcept {
  if (!isMember(sock)) {
    DPTRC_A7(2, tf, "%s: sock %d not member of set\n", name_, sock == nullptr ? -1 : sock->socket);
    return SI_EINVAL;
  }
  if (events & SISEL_READ) SI_FD_CLR(sock->socket, &read_);
  if (events & SISEL_WRITE) SI_FD_CLR(sock->socket, &write_);
  if (events & SISEL_READ_PRI) SI_FD_CLR(sock->socket, &readPri_);
  return SI_OK;
}

SI_RC SiselBitSets::clearSet() noexcept {
  SI_FD_ZERO(&read_);
  SI_FD_ZERO(&write_);
  SI_FD_ZERO(&readPri_);
  DPTRC_A7(3, tf, "%s: cleared set\n", name_);
  return SI_OK;
}

SI_RC SiselBitSets::remove(SI_SOCK *sock, uint8_t /*optimize*/) noexcept {
  int64_t pos = sock == nullptr || sock->socket < 0 ? -1 : findPos(sock->socket);
  if (pos < 0) {
    DPTRC_A7(2, tf, "%s: sock %d not member of set\n", name_, sock == nullptr ? -1 : sock->socket);
    return SI_EINVAL;
  }
  ELEMENT &el = elements_[pos];
  int no = el.sockNo;
  SI_FD_CLR(no, &read_);
  SI_FD_CLR(no, &write_);
  SI_FD_CLR(no, &readPri_);
  SI_FD_CLR(no, &readSel_);
  SI_FD_CLR(no, &writeSel_);
  SI_FD_CLR(no, &readPriSel_);
  if (iterator_ == static_cast<uint32_t>(pos)) iterator_ = el.next;
  if (el.prev != LIST_NULL_VAL) elements_[el.prev].next = el.next;
  else head_ = el.next;
  if (el.next != LIST_NULL_VAL) elements_[el.next].prev = el.prev;
  --count_;
  if (cb_ != nullptr) cb_->remove(static_cast<uint32_t>(pos));
  freePos(static_cast<uint32_t>(pos));
  if (static_cast<uint32_t>(no) + 1 == used_) {
    used_ = 0;
    for (uint32_t p = head_; p != LIST_NULL_VAL; p = elements_[p].next)
      if (static_cast<uint32_t>(elements_[p].sockNo) + 1 > used_) used_ = elements_[p].sockNo + 1;
  }
  DPTRC_A7(3, tf, "%s: removed sock %d (pos=%u)\n", name_, no, static_cast<unsigned>(pos));
  return SI_OK;
}

SI_RC SiselBitSets::removeAll() noexcept {
  if (elements_ == nullptr) return SI_EINVAL;
  if (cb_ != nullptr) cb_->reset();
  freeAllPos();
  resetState();
  DPTRC_A7(3, tf, "%s: removed all sockets\n", name_);
  return SI_OK;
}

SI_RC SiselBitSets::select(int32_t timeout, int *selected) noexcept {
  if (selected != nullptr) *selected = 0;
  if (elements_ == nullptr) return SI_EINVAL;
  iterator_ = head_;
  closedSockets_ = false;
  DPTRC_A7(3, tf, "%s: start select (timeout=%d)\n", name_, timeout);
  int n = 0;
  int error = 0;
  SI_RC rc;
  do {
    CopyBits(readSel_, read_, used_);
    CopyBits(writeSel_, write_, used_);
    CopyBits(readPriSel_, readPri_, used_);
    rc = SiSelect(static_cast<int>(used_), &readSel_, &writeSel_, &readPriSel_, timeout, &n,
                  &error);
  } while (rc == SI_EINTR);
  if (rc == SI_EINVAL_SOCK) {
    // The system tells not which member was closed: the sets are left as they were given, and
    // next peeks at each read-selected member to find it.
    DPTRC_A7(2, tf, "%s: few sockets already closed\n", name_);
    closedSockets_ = true;
    if (n == 0) {
      DPTRC_A7(2, tf, "%s: set selFDs to 1 (no timeout)\n", name_);
      n = 1;
    }
  } else if (rc == SI_EINVAL) {
    DPTRC_A7(1, tf, "%s: SiSelect returned SI_EINVAL; sleep for %d ms\n", name_, timeout);
    if (timeout > 0) usleep(static_cast<useconds_t>(timeout) * 1000);
    SI_FD_ZERO(&readSel_);
    SI_FD_ZERO(&writeSel_);
    SI_FD_ZERO(&readPriSel_);
    n = 0;
  } else if (rc != SI_OK) {
    DPTRC_ERR_A7(tf, "%s: SiSelect failed (%d-%s)\n", name_, rc, si::RcName8(rc));
    return SI_EINTERN;
  }
  if (cb_ == nullptr)
    DPTRC_A7(2, tf, "%s: of %u sockets %u selected\n", name_, count_, static_cast<unsigned>(n));
  if (selected != nullptr) *selected = n;
  return SI_OK;
}

SI_RC SiselBitSets::startLoop() noexcept {
  iterator_ = head_;
  DPTRC_A7(3, tf, "%s: iterator reseted\n", name_);
  return SI_OK;
}

SI_RC SiselBitSets::next(uint8_t *read, uint8_t *readPri, uint8_t *write, SI_SOCK **sock,
                         void **data) noexcept {
  if (sock != nullptr) *sock = nullptr;
  if (data != nullptr) *data = nullptr;
  while (iterator_ != LIST_NULL_VAL) {
    uint32_t pos = iterator_;
    const ELEMENT &el = elements_[pos];
    iterator_ = el.next;
    int no = el.sockNo;
    bool r = SI_FD_ISSET(no, &readSel_) != 0;
    bool w = SI_FD_ISSET(no, &writeSel_) != 0;
    bool p = SI_FD_ISSET(no, &readPriSel_) != 0;
    if (!r && !w && !p) continue;
    if (closedSockets_ && r) {
      int peek = SiPeek(el.sock, SI_PEEK_RD, 0);
      if (peek == SI_EINVAL_SOCK) {
        if (sock != nullptr) *sock = el.sock;
        if (data != nullptr) *data = el.data;
        if (cb_ != nullptr) cb_->select(pos);
        DPTRC_A7(1, tf, "%s: sock %d already closed\n", name_, no);
        return SI_EINVAL_SOCK;
      }
      // The sets weren't filled by the system: only what the peek found is ready.
      r = peek != SI_ETIMEOUT;
      w = p = false;
    }
    bool hit = false;
    if (read != nullptr) hit |= (*read = r);
    if (readPri != nullptr) hit |= (*readPri = p);
    if (write != nullptr) hit |= (*write = w);
    DPTRC_A7(3, tf, "%s: sock %d selected (pos=%u; revt=%c%c%c)\n", name_, no, pos,
             si::Flag(r, 'r'), si::Flag(p, 'p'), si::Flag(w, 'w'));
    if (!hit) continue;
    if (sock != nullptr) *sock = el.sock;
    if (data != nullptr) *data = el.data;
    if (cb_ != nullptr) cb_->select(pos);
    return SI_OK;
  }
  if (cb_ == nullptr) DPTRC_A7(3, tf, "%s: no more selected sockets\n", name_);
  return SI_OK;
}

uint8_t SiselBitSets::statusOf(int no) const noexcept {
  return static_cast<uint8_t>((SI_FD_ISSET(no, &readSel_) ? SISEL_READ : 0) |
                              (SI_FD_ISSET(no, &writeSel_) ? SISEL_WRITE : 0) |
                              (SI_FD_ISSET(no, &readPriSel_) ? SISEL_READ_PRI : 0));
}

SI_RC SiselBitSets::getMode(SI_SOCK *sock, uint8_t *events) noexcept {
  if (!isMember(sock) || events == nullptr) return SI_EINVAL;
  int no = sock->socket;
  *events = static_cast<uint8_t>((SI_FD_ISSET(no, &read_) ? SISEL_READ : 0) |
                                 (SI_FD_ISSET(no, &write_) ? SISEL_WRITE : 0) |
                                 (SI_FD_ISSET(no, &readPri_) ? SISEL_READ_PRI : 0));
  return SI_OK;
}

SI_RC SiselBitSets::getStat(SI_SOCK *sock, uint8_t *status) noexcept {
  return getStatEx(sock, status, nullptr, nullptr);
}

SI_RC SiselBitSets::getStatEx(SI_SOCK *sock, uint8_t *status, SI_SOCK **sockOut,
                              void **data) noexcept {
  int64_t pos = sock == nullptr || sock->socket < 0 ? -1 : findPos(sock->socket);
  if (pos < 0 || status == nullptr) return SI_EINVAL;
  *status = statusOf(sock->socket);
  if (sockOut != nullptr) *sockOut = elements_[pos].sock;
  if (data != nullptr) *data = elements_[pos].data;
  return SI_OK;
}

SI_RC SiselBitSets::getData(SI_SOCK *sock, void **data) noexcept {
  int64_t pos = sock == nullptr || sock->socket < 0 ? -1 : findPos(sock->socket);
  if (pos < 0 || data == nullptr) return SI_EINVAL;
  *data = elements_[pos].data;
  return SI_OK;
}

SI_RC SiselBitSets::setData(SI_SOCK *sock, void *data) noexcept {
  int64_t pos = sock == nullptr || sock->socket < 0 ? -1 : findPos(sock->socket);
  if (pos < 0) return SI_EINVAL;
  elements_[pos].data = data;
  return SI_OK;
}

uint32_t SiselBitSets::getSocketNo(uint32_t position) noexcept {
  for (uint32_t p = head_; p != LIST_NULL_VAL; p = elements_[p].next)
    if (p == position) return static_cast<uint32_t>(elements_[p].sockNo);
  return 0xFFFFFFFFu;
}

SI_RC SiselBitSets::getSocketPos(SI_SOCK *sock, uint32_t *position) noexcept {
  int64_t pos = sock == nullptr || sock->socket < 0 ? -1 : findPos(sock->socket);
  if (pos < 0 || position == nullptr) return SI_EINVAL;
  *position = static_cast<uint32_t>(pos);
  return SI_OK;
}

SI_RC SiselBitSets::dump(FILE *file) noexcept {
  if (file == nullptr) return SI_EINVAL;
  std::fprintf(file, "%s set %p\n",
               std::strcmp(name_, "SISEL_SELECT") == 0 ? "SISELECT" : "SISELNT",
               static_cast<void *>(this));
  std::fprintf(file,
               "sockets in set: %d\nhighest pos +1: %d\nmax entries   : %d\nevent pos     : %d\n",
               static_cast<int>(count_), static_cast<int>(used_), static_cast<int>(capacity_),
               iterator_ == LIST_NULL_VAL ? -1 : static_cast<int>(iterator_));
  std::fprintf(file, "socket list   :\n");
  std::fprintf(file, "  pos  pSocket  pData    prv nxt | socket   events   revents    \n");
  for (uint32_t p = head_; p != LIST_NULL_VAL; p = elements_[p].next) {
    const ELEMENT &el = elements_[p];
    uint8_t ev = 0;
    getMode(el.sock, &ev);
    uint8_t st = statusOf(el.sockNo);
    std::fprintf(file, "%5d: %08x %08x %3d %3d | sock %-3d %2d (%c%c%c) %2d (%c%c%c)",
                 static_cast<int>(p), static_cast<unsigned>(reinterpret_cast<uintptr_t>(el.sock)),
                 static_cast<unsigned>(reinterpret_cast<uintptr_t>(el.data)),
                 el.prev == LIST_NULL_VAL ? -1 : static_cast<int>(el.prev),
                 el.next == LIST_NULL_VAL ? -1 : static_cast<int>(el.next), el.sockNo, ev,
                 si::Flag(ev & SISEL_READ, 'r'), si::Flag(ev & SISEL_READ_PRI, 'p'),
                 si::Flag(ev & SISEL_WRITE, 'w'), st, si::Flag(st & SISEL_READ, 'r'),
                 si::Flag(st & SISEL_READ_PRI, 'p'), si::Flag(st & SISEL_WRITE, 'w'));
    if (cb_ != nullptr) cb_->dumpEntry(file, p);
    std::fprintf(file, "\n");
  }
  return SI_OK;
}

// ---- SISEL_SELECT ----

SISEL_SELECT::~SISEL_SELECT() { std::free(elements_); }

SI_RC SISEL_SELECT::init(uint32_t maxSockets) noexcept {
  if (maxSockets > MAX_SOCKETS) {
    DPTRC_A7(1, tf, "%s: parameter too big (%u>%u)\n", name_, maxSockets, MAX_SOCKETS);
    return SI_EINVAL;
  }
  std::free(elements_);
  // Positions are socket numbers, so the array always covers all of them; maxSockets only
  // limits the members.
  elements_ = static_cast<ELEMENT *>(std::calloc(MAX_SOCKETS, sizeof(ELEMENT)));
  if (elements_ == nullptr) {
    DPTRC_ERR_A7(tf, "%s: failed to allocate ELEMENT[%u]\n", name_, MAX_SOCKETS);
    return SI_EMEMORY;
  }
  capacity_ = maxSockets < 2 ? 2 : maxSockets;
  resetState();
  if (cb_ != nullptr) cb_->create(capacity_);
  return SI_OK;
}

int64_t SISEL_SELECT::findPos(int sockNo) noexcept {
  if (elements_ == nullptr || sockNo < 0 || static_cast<uint32_t>(sockNo) >= MAX_SOCKETS)
    return -1;
  return elements_[sockNo].sock != nullptr ? sockNo : -1;
}

int64_t SISEL_SELECT::allocPos(int sockNo, SI_RC * /*rc*/) noexcept { return sockNo; }

void SISEL_SELECT::freePos(uint32_t position) noexcept { elements_[position].sock = nullptr; }

void SISEL_SELECT::freeAllPos() noexcept {
  for (uint32_t p = head_; p != LIST_NULL_VAL; p = elements_[p].next) elements_[p].sock = nullptr;
}

// ---- SISEL_SEL_NT ----

SISEL_SEL_NT::~SISEL_SEL_NT() { release(); }

void SISEL_SEL_NT::release() noexcept {
  if (fiMemory_ != nullptr) FiDestroy(fiMemory_);
  std::free(fiMemory_);
  std::free(elements_);
  fiMemory_ = nullptr;
  fiHandle_ = nullptr;
  elements_ = nullptr;
}

SI_RC SISEL_SEL_NT::init(uint32_t maxSockets) noexcept {
  if (maxSockets > MAX_SOCKETS) {
    DPTRC_A7(1, tf, "%s: parameter too big (%u>%u)\n", name_, maxSockets, MAX_SOCKETS);
    return SI_EINVAL;
  }
  release();
  capacity_ = maxSockets < 2 ? 2 : maxSockets;
  elements_ = static_cast<ELEMENT *>(std::calloc(capacity_, sizeof(ELEMENT)));
  if (elements_ == nullptr) {
    DPTRC_ERR_A7(tf, "%s: failed to allocate ELEMENT[%u]\n", name_, capacity_);
    return SI_EMEMORY;
  }
  size_t fiSize = FiGetAdmSize(1, capacity_, 2, FI_FLAG_FULL_INNER);
  fiMemory_ = fiSize == 0 ? nullptr : std::calloc(1, fiSize);
  if (fiMemory_ == nullptr) {
    DPTRC_ERR_A7(tf, "%s: failed to allocate ZUL_RAW[%u]\n", name_, static_cast<unsigned>(fiSize));
    return SI_EMEMORY;
  }
  if (int rc = FiInit(fiMemory_, u"SISEL", FI_FLAG_FULL_INNER, 1, capacity_, 2, u' ', u' ',
                      nullptr);
      rc != FI_OK) {
    DPTRC_ERR_A7(tf, "%s: FiInit failed (rc=%d)\n", name_, rc);
    return SI_EINTERN;
  }
  if (int rc = FiOpenIndex(fiMemory_, kIndexId, FI_OPEN_BLOCK_SLOT, elements_, 2, &fiHandle_);
      rc != FI_OK) {
    DPTRC_ERR_A7(tf, "%s: FiOpenIndex failed (rc=%d)\n", name_, rc);
    return SI_EINTERN;
  }
  allocated_ = 0;
  freeHead_ = LIST_NULL_VAL;
  resetState();
  if (cb_ != nullptr) cb_->create(capacity_);
  return SI_OK;
}

int64_t SISEL_SEL_NT::findPos(int sockNo) noexcept {
  if (fiHandle_ == nullptr) return -1;
  FI_NODE *node = nullptr;
  if (FiFindExact(fiHandle_, reinterpret_cast<const ZUL_UTF16 *>(&sockNo), &node) != FI_OK)
    return -1;
  return static_cast<ELEMENT *>(FI_NODE_RECORD(elements_, node)) - elements_;
}

int64_t SISEL_SEL_NT::allocPos(int sockNo, SI_RC *rc) noexcept {
  uint32_t pos;
  if (freeHead_ != LIST_NULL_VAL) {
    pos = freeHead_;
    freeHead_ = elements_[pos].next;
  } else {
    pos = allocated_++;
  }
  elements_[pos].sockNo = sockNo;
  if (int fi = FiInsert(fiHandle_, reinterpret_cast<const ZUL_UTF16 *>(&elements_[pos].sockNo),
                        &elements_[pos], nullptr);
      fi != FI_OK) {
    DPTRC_ERR_A7(tf, "%s: FiInsert failed (rc=%d)\n", name_, fi);
    elements_[pos].next = freeHead_;
    freeHead_ = pos;
    *rc = SI_EINTERN;
    return -1;
  }
  return pos;
}

void SISEL_SEL_NT::freePos(uint32_t position) noexcept {
  FI_NODE *node = nullptr;
  if (FiFindExact(fiHandle_, reinterpret_cast<const ZUL_UTF16 *>(&elements_[position].sockNo),
                  &node) == FI_OK)
    FiRemove(fiHandle_, node);
  elements_[position].sock = nullptr;
  elements_[position].next = freeHead_;
  freeHead_ = position;
}

void SISEL_SEL_NT::freeAllPos() noexcept {
  FiCloseIndex(fiHandle_);
  fiHandle_ = nullptr;
  if (int rc = FiOpenIndex(fiMemory_, kIndexId, FI_OPEN_BLOCK_SLOT, elements_, 2, &fiHandle_);
      rc != FI_OK)
    DPTRC_ERR_A7(tf, "%s: FiOpenIndex failed (rc=%d)\n", name_, rc);
  allocated_ = 0;
  freeHead_ = LIST_NULL_VAL;
}
