// The poll set: a dense array given to poll as it is, holes included, with the members found
// through a fast index keyed by socket number, so that set, clear and remove don't scan.
#define DPTRC_MODULE u"sixxsel"

#include <poll.h>

#include <cstdlib>
#include <cstring>

#include "si/sixx.h"
#include "si/sixxsel.h"
#include "zul_dptrace.h"

namespace {

constexpr int kEagainLimit = 5000;
constexpr uint32_t kIndexId = 1;

const ZUL_UTF16 *KeyOf(const int32_t *sockNo) {
  return reinterpret_cast<const ZUL_UTF16 *>(sockNo);
}

}  // namespace

SISEL_POLL::~SISEL_POLL() { freeAll(); }

void SISEL_POLL::freeAll() noexcept {
  if (fiMemory_ != nullptr) FiDestroy(fiMemory_);
  std::free(fiMemory_);
  std::free(elements_);
  std::free(fds_);
  fiMemory_ = nullptr;
  fiHandle_ = nullptr;
  elements_ = nullptr;
  fds_ = nullptr;
}

SI_RC SISEL_POLL::init(uint32_t maxSockets) noexcept {
  static const char *const kName = "SISEL_POLL::init";
  if (maxSockets > MAX_SOCKETS) {
    DPTRC_A7(1, tf, "%s: parameter too big (%u>%u)\n", kName, maxSockets, MAX_SOCKETS);
    return SI_EINVAL;
  }
  freeAll();
  count_ = 0;
  used_ = 0;
  iterator_ = MAX_SOCKETS;
  capacity_ = maxSockets < 2 ? 2 : maxSockets;
  fds_ = static_cast<SI_POLLFD *>(std::calloc(capacity_, sizeof(SI_POLLFD)));
  if (fds_ == nullptr) {
    DPTRC_ERR_A7(tf, "%s: failed to allocate SI_POLL_FD[%u]\n", kName, capacity_);
    return SI_EMEMORY;
  }
  elements_ = static_cast<FD_EL *>(std::calloc(capacity_, sizeof(FD_EL)));
  if (elements_ == nullptr) {
    DPTRC_ERR_A7(tf, "%s: failed to allocate FD_EL[%u]\n", kName, capacity_);
    return SI_EMEMORY;
  }
  size_t fiSize = FiGetAdmSize(1, capacity_, 2, FI_FLAG_FULL_INNER);
  DPTRC_A7(3, tf, "%s: allocate %u bytes for FI (%u)\n", kName, static_cast<unsigned>(fiSize),
           capacity_);
  fiMemory_ = fiSize == 0 ? nullptr : std::calloc(1, fiSize);
  if (fiMemory_ == nullptr) {
    DPTRC_ERR_A7(tf, "%s: failed to allocate ZUL_RAW[%u]\n", kName, static_cast<unsigned>(fiSize));
    return SI_EMEMORY;
  }
  if (int rc = FiInit(fiMemory_, u"SISEL", FI_FLAG_FULL_INNER, 1, capacity_, 2, u' ', u' ',
                      nullptr);
      rc != FI_OK) {
    DPTRC_ERR_A7(tf, "%s: FiInit failed (rc=%d)\n", kName, rc);
    return SI_EINTERN;
  }
  // The handle lives in the block, so sets don't share the process-wide handle table.
  if (int rc = FiOpenIndex(fiMemory_, kIndexId, FI_OPEN_BLOCK_SLOT, fds_, KEY_STR_LEN, &fiHandle_);
      rc != FI_OK) {
    DPTRC_ERR_A7(tf, "%s: FiOpenIndex failed (rc=%d)\n", kName, rc);
    return SI_EINTERN;
  }
  freeList_ = nullptr;
  if (cb_ != nullptr) cb_->create(capacity_);
  return SI_OK;
}

int64_t SISEL_POLL::find(const SI_SOCK *sock) noexcept {
  if (sock == nullptr || sock->socket < 0 || fiHandle_ == nullptr) return -1;
  FI_NODE *node = nullptr;
  if (FiFindExact(fiHandle_, KeyOf(&sock->socket), &node) != FI_OK) return -1;
  return static_cast<SI_POLLFD *>(FI_NODE_RECORD(fds_, node)) - fds_;
}

SI_RC SISEL_POLL::add(SI_SOCK *sock, void *data, uint32_t *position) noexcept {
  static const char *const kName = "SISEL_POLL::set";
  if (count_ >= capacity_) {
    DPTRC_A7(1, tf, "%s: maximum of sockets reached (%u)\n", kName, capacity_);
    return SI_EINVAL;
  }
  uint32_t pos;
  if (freeList_ != nullptr) {
    pos = static_cast<uint32_t>(freeList_ - elements_);
    freeList_ = freeList_->nextFree;
  } else {
    if (count_ != used_) {
      DPTRC_ERR_A7(tf, "%s: internal status error (%u<>%u)\n", kName, count_, used_);
      return SI_EINTERN;
    }
    pos = used_++;
  }
  ++count_;
  fds_[pos] = SI_POLLFD{sock->socket, 0, 0};
  if (int rc = FiInsert(fiHandle_, KeyOf(&fds_[pos].fd), &fds_[pos], nullptr); rc != FI_OK) {
    DPTRC_ERR_A7(tf, "%s: FiInsert failed (rc=%d)\n", kName, rc);
    return SI_EINTERN;
  }
  elements_[pos] = FD_EL{sock, data, nullptr};
  *position = pos;
  return SI_OK;
}

SI_RC SISEL_POLL::set(SI_SOCK *sock, uint8_t events, void *data, uint8_t replace) noexcept {
  static const char *const kName = "SISEL_POLL::set";
  if (sock == nullptr || fiHandle_ == nullptr) return SI_EINVAL;
  if (sock->socket < 0) {
    DPTRC_A7(1, tf, "%s: sock %d negative\n", kName, sock->socket);
    return SI_EINVAL;
  }
  int64_t found = find(sock);
  uint32_t pos;
  if (found < 0) {
    if (SI_RC rc = add(sock, data, &pos); rc != SI_OK) return rc;
    DPTRC_A7(3, tf, "%s: sock %d added to set pos %u\n", kName, sock->socket, pos);
    if (cb_ != nullptr) cb_->add(pos);
  } else {
    pos = static_cast<uint32_t>(found);
  }
  SI_POLLFD &fd = fds_[pos];
  if (replace == 1) fd.events = 0;
  if (events & SISEL_READ) fd.events |= POLLIN;
  if (events & SISEL_READ_PRI) fd.events |= POLLPRI;
  if (events & SISEL_WRITE) fd.events |= POLLOUT;
  DPTRC_A7(3, tf, "%s: set events of sock %d to: %c%c%c\n", kName, sock->socket,
           si::Flag(fd.events & POLLIN, 'r'), si::Flag(fd.events & POLLPRI, 'p'),
           si::Flag(fd.events & POLLOUT, 'w'));
  return SI_OK;
}

SI_RC SISEL_POLL::clear(SI_SOCK *sock, uint8_t events) noexcept {
  int64_t pos = find(sock);
  if (pos < 0) {
    DPTRC_A7(2, tf, "%s: sock %d not member of set\n", "SISEL_POLL::clear",
             sock == nullptr ? -1 : sock->socket);
    return SI_EINVAL;
  }
  if (events & SISEL_READ) fds_[pos].events &= ~POLLIN;
  if (events & SISEL_READ_PRI) fds_[pos].events &= ~POLLPRI;
  if (events & SISEL_WRITE) fds_[pos].events &= ~POLLOUT;
  return SI_OK;
}

SI_RC SISEL_POLL::clearSet() noexcept {
  for (uint32_t i = 0; i < used_; ++i) fds_[i].events = 0;
  DPTRC_A7(3, tf, "%s: cleared set\n", "SISEL_POLL::clearSet");
  return SI_OK;
}

SI_RC SISEL_POLL::remove(SI_SOCK *sock, uint8_t optimize) noexcept {
  static const char *const kName = "SISEL_POLL::remove";
  FI_NODE *node = nullptr;
  if (sock == nullptr || sock->socket < 0 || fiHandle_ == nullptr ||
      FiFindExact(fiHandle_, KeyOf(&sock->socket), &node) != FI_OK) {
    DPTRC_A7(2, tf, "%s: sock %d not member of set\n", kName, sock == nullptr ? -1 : sock->socket);
    return SI_EINVAL;
  }
  auto pos = static_cast<uint32_t>(static_cast<SI_POLLFD *>(FI_NODE_RECORD(fds_, node)) - fds_);
  if (int rc = FiRemove(fiHandle_, node); rc != FI_OK) {
    DPTRC_ERR_A7(tf, "%s: FiRemove failed (rc=%d)\n", kName, rc);
    return SI_EINTERN;
  }
  --count_;
  if (cb_ != nullptr) cb_->remove(pos);
  if (pos + 1 == used_) {
    // Only this position is given up, even when the one before it is a hole.
    used_ = pos;
    DPTRC_A7(3, tf, "%s: removed last sock %d (pos=%u)\n", kName, sock->socket, pos);
    return SI_OK;
  }
  fds_[pos].fd = -1;  // poll skips a negative descriptor
  fds_[pos].events = 0;
  fds_[pos].revents = 0;
  elements_[pos].sock = nullptr;
  DPTRC_A7(3, tf, "%s: removed sock %d (pos=%u)\n", kName, sock->socket, pos);
  if (optimize == 1 && used_ > static_cast<uint32_t>(count_ * OPTIMIZE_FRAG_VAL))
    return optimizeSet();
  elements_[pos].nextFree = freeList_;
  freeList_ = &elements_[pos];
  return SI_OK;
}

SI_RC SISEL_POLL::optimizeSet() noexcept {
  static const char *const kName = "SISEL_POLL::optimizeSet";
  DPTRC_A7(2, tf, "%s: optimizing select set (%u<<%u)\n", kName, count_, used_);
  iterator_ = MAX_SOCKETS;
  uint32_t i = 0;
  uint32_t j = used_ == 0 ? 0 : used_ - 1;
  while (i < j) {
    if (elements_[i].sock != nullptr) {
      ++i;
      continue;
    }
    while (j > i && elements_[j].sock == nullptr) --j;
    if (j == i) break;
    if (cb_ != nullptr) cb_->move(j, i);
    FI_NODE *node = nullptr;
    if (int rc = FiFindExact(fiHandle_, KeyOf(&fds_[j].fd), &node); rc != FI_OK) {
      DPTRC_ERR_A7(tf, "%s: FiFindExact failed (rc=%d)\n", kName, rc);
      return SI_EINTERN;
    }
    if (int rc = FiRemove(fiHandle_, node); rc != FI_OK) {
      DPTRC_ERR_A7(tf, "%s: FiRemove failed (rc=%d)\n", kName, rc);
      return SI_EINTERN;
    }
    elements_[i] = elements_[j];
    fds_[i] = fds_[j];
    elements_[j].sock = nullptr;
    fds_[j].fd = -1;
    if (int rc = FiInsert(fiHandle_, KeyOf(&fds_[i].fd), &fds_[i], nullptr); rc != FI_OK) {
      DPTRC_ERR_A7(tf, "%s: FiInsert failed (rc=%d)\n", kName, rc);
      return SI_EINTERN;
    }
    DPTRC_A7(3, tf, "%s: moving entry %u to %u\n", kName, j, i);
    ++i;
    --j;
  }
  if (i != count_ && i + 1 != count_)
    DPTRC_ERR_A7(tf, "%s: internal status error (%u-%u-%u)\n", kName, i, j, count_);
  used_ = count_;
  freeList_ = nullptr;
  return SI_OK;
}

SI_RC SISEL_POLL::removeAll() noexcept {
  if (fiHandle_ == nullptr) return SI_EINVAL;
  if (cb_ != nullptr) cb_->reset();
  count_ = 0;
  used_ = 0;
  iterator_ = MAX_SOCKETS;
  FiCloseIndex(fiHandle_);
  fiHandle_ = nullptr;
  if (int rc = FiOpenIndex(fiMemory_, kIndexId, FI_OPEN_BLOCK_SLOT, fds_, KEY_STR_LEN, &fiHandle_);
      rc != FI_OK) {
    DPTRC_ERR_A7(tf, "%s: FiOpenIndex failed (rc=%d)\n", "SISEL_POLL::removeAll", rc);
    fiHandle_ = nullptr;
    return SI_EINTERN;
  }
  freeList_ = nullptr;
  DPTRC_A7(3, tf, "%s: removed all sockets\n", "SISEL_POLL::removeAll");
  return SI_OK;
}

SI_RC SISEL_POLL::select(int32_t timeout, int *selected) noexcept {
  static const char *const kName = "SISEL_POLL::select";
  if (selected != nullptr) *selected = 0;
  if (fds_ == nullptr) return SI_EINVAL;
  iterator_ = 0;
  DPTRC_A7(3, tf, "%s: start select (timeout=%d)\n", kName, timeout);
  int n = 0;
  int error = 0;
  int loops = 0;
  SI_RC rc;
  for (;;) {
    rc = SiPoll(fds_, used_, timeout, &n, &error);
    if (rc == SI_EINTR) continue;
    if (rc == SI_ETIMEOUT && loops < kEagainLimit) {
      ++loops;
      continue;
    }
    break;
  }
  if (loops != 0)
    DPTRC_ERR_A7(tf, "%s: poll looped %d times, caused by EAGAIN (limit=%d)\n", kName, loops,
                 kEagainLimit);
  if (rc != SI_OK) {
    DPTRC_ERR_A7(tf, "%s: SiPoll failed (%d-%s)\n", kName, rc, si::RcName8(rc));
    return SI_EINTERN;
  }
  if (cb_ == nullptr)
    DPTRC_A7(2, tf, "%s: of %u sockets %u selected\n", kName, count_, static_cast<unsigned>(n));
  if (selected != nullptr) *selected = n;
  return SI_OK;
}

SI_RC SISEL_POLL::startLoop() noexcept {
  iterator_ = 0;
  DPTRC_A7(3, tf, "%s: iterator reseted\n", "SISEL_POLL::startLoop");
  return SI_OK;
}

SI_RC SISEL_POLL::next(uint8_t *read, uint8_t *readPri, uint8_t *write, SI_SOCK **sock,
                       void **data) noexcept {
  static const char *const kName = "SISEL_POLL::next";
  if (sock != nullptr) *sock = nullptr;
  if (data != nullptr) *data = nullptr;
  for (; iterator_ < used_; ++iterator_) {
    uint32_t pos = iterator_;
    short revents = fds_[pos].revents;
    if (revents == 0 || elements_[pos].sock == nullptr) continue;
    if (sock != nullptr) *sock = elements_[pos].sock;
    if (data != nullptr) *data = elements_[pos].data;
    ++iterator_;
    if (cb_ != nullptr) cb_->select(pos);
    if (revents & POLLNVAL) {
      DPTRC_A7(1, tf, "%s: sock %d already closed\n", kName, fds_[pos].fd);
      return SI_EINVAL_SOCK;
    }
    if (revents & POLLHUP) {
      DPTRC_A7(2, tf, "%s: a hang up occurred in sock %d\n", kName, fds_[pos].fd);
      return SI_EINVAL;
    }
    if (revents & POLLERR) {
      DPTRC_A7(2, tf, "%s: an error occurred in sock %d\n", kName, fds_[pos].fd);
      return SI_EINTERN;
    }
    bool hit = false;
    if (read != nullptr) hit |= (*read = (revents & POLLIN) != 0);
    if (readPri != nullptr) hit |= (*readPri = (revents & POLLPRI) != 0);
    if (write != nullptr) hit |= (*write = (revents & POLLOUT) != 0);
    DPTRC_A7(3, tf, "%s: sock %d selected (pos=%u; revt=%c%c%c)\n", kName, fds_[pos].fd, pos,
             si::Flag(revents & POLLIN, 'r'), si::Flag(revents & POLLPRI, 'p'),
             si::Flag(revents & POLLOUT, 'w'));
    if (hit) return SI_OK;
    --iterator_;  // the loop's step moves on
    if (sock != nullptr) *sock = nullptr;
    if (data != nullptr) *data = nullptr;
  }
  iterator_ = MAX_SOCKETS;
  if (cb_ == nullptr)
    DPTRC_A7(3, tf, "%s: no more selected sockets (pos=%u)\n", kName, used_);
  return SI_OK;
}

SI_RC SISEL_POLL::getMode(SI_SOCK *sock, uint8_t *events) noexcept {
  int64_t pos = find(sock);
  if (pos < 0 || events == nullptr) return SI_EINVAL;
  short ev = fds_[pos].events;
  *events = static_cast<uint8_t>(((ev & POLLIN) ? SISEL_READ : 0) |
                                 ((ev & POLLPRI) ? SISEL_READ_PRI : 0) |
                                 ((ev & POLLOUT) ? SISEL_WRITE : 0));
  return SI_OK;
}

SI_RC SISEL_POLL::getStat(SI_SOCK *sock, uint8_t *status) noexcept {
  return getStatEx(sock, status, nullptr, nullptr);
}

SI_RC SISEL_POLL::getStatEx(SI_SOCK *sock, uint8_t *status, SI_SOCK **sockOut,
                            void **data) noexcept {
  int64_t pos = find(sock);
  if (pos < 0 || status == nullptr) return SI_EINVAL;
  *status = si::StatusOfRevents(static_cast<uint16_t>(fds_[pos].revents));
  if (sockOut != nullptr) *sockOut = elements_[pos].sock;
  if (data != nullptr) *data = elements_[pos].data;
  return SI_OK;
}

bool SISEL_POLL::isMember(SI_SOCK *sock) noexcept { return find(sock) >= 0; }

SI_RC SISEL_POLL::getData(SI_SOCK *sock, void **data) noexcept {
  int64_t pos = find(sock);
  if (pos < 0 || data == nullptr) return SI_EINVAL;
  *data = elements_[pos].data;
  return SI_OK;
}

SI_RC SISEL_POLL::setData(SI_SOCK *sock, void *data) noexcept {
  int64_t pos = find(sock);
  if (pos < 0) return SI_EINVAL;
  elements_[pos].data = data;
  return SI_OK;
}

uint32_t SISEL_POLL::getSocketNo(uint32_t position) noexcept {
  return position < used_ ? static_cast<uint32_t>(fds_[position].fd) : 0xFFFFFFFFu;
}

SI_RC SISEL_POLL::getSocketPos(SI_SOCK *sock, uint32_t *position) noexcept {
  int64_t pos = find(sock);
  if (pos < 0 || position == nullptr) return SI_EINVAL;
  *position = static_cast<uint32_t>(pos);
  return SI_OK;
}

SI_RC SISEL_POLL::dump(FILE *file) noexcept {
  if (file == nullptr) return SI_EINVAL;
  std::fprintf(file, "SIPOLL set %p\n", static_cast<void *>(this));
  std::fprintf(file,
               "sockets in set: %d\nhighest pos +1: %d\nmax entries   : %d\nevent pos     : %d\n",
               static_cast<int>(count_), static_cast<int>(used_), static_cast<int>(capacity_),
               static_cast<int>(iterator_));
  std::fprintf(file, "socket list   :\n");
  std::fprintf(file, "  pos  pSocket  pData    nxt FI  | socket   events   revents    \n");
  for (uint32_t i = 0; i < used_; ++i) {
    const FD_EL &el = elements_[i];
    const SI_POLLFD &fd = fds_[i];
    int nxt = el.nextFree == nullptr ? -1 : static_cast<int>(el.nextFree - elements_);
    int fi = -1;
    FI_NODE *node = nullptr;
    if (fd.fd >= 0 && FiFindExact(fiHandle_, KeyOf(&fd.fd), &node) == FI_OK)
      fi = static_cast<int>(static_cast<SI_POLLFD *>(FI_NODE_RECORD(fds_, node)) - fds_);
    std::fprintf(file, "%5d: %08x %08x %3d %3d | sock %-3d %2d (%c%c%c) %2d (%c%c%c%c%c%c)",
                 static_cast<int>(i), static_cast<unsigned>(reinterpret_cast<uintptr_t>(el.sock)),
                 static_cast<unsigned>(reinterpret_cast<uintptr_t>(el.data)), nxt, fi, fd.fd,
                 fd.events, si::Flag(fd.events & POLLIN, 'r'), si::Flag(fd.events & POLLPRI, 'p'),
                 si::Flag(fd.events & POLLOUT, 'w'), fd.revents, si::Flag(fd.revents & POLLIN, 'r'),
                 si::Flag(fd.revents & POLLPRI, 'p'), si::Flag(fd.revents & POLLOUT, 'w'),
                 si::Flag(fd.revents & POLLERR, 'e'), si::Flag(fd.revents & POLLHUP, 'h'),
                 si::Flag(fd.revents & POLLNVAL, 'n'));
    if (cb_ != nullptr) cb_->dumpEntry(file, i);
    std::fprintf(file, "\n");
  }
  std::fprintf(file, "free list     : ");
  if (freeList_ == nullptr) std::fprintf(file, "empty\n");
  for (const FD_EL *el = freeList_; el != nullptr; el = el->nextFree)
    std::fprintf(file, ">%d%s", static_cast<int>(el - elements_), el->nextFree ? "" : "\n");
  return SI_OK;
}
