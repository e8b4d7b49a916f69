// The epoll set: members registered with the kernel one by one, each carrying its element as user
// data; a wait hands back only the members that fired, linked into the selected list.
#define DPTRC_MODULE u"sixxsel"

#include <sys/epoll.h>
#include <unistd.h>

#include <cerrno>
#include <cstdlib>
#include <cstring>

#include "si/sixx.h"
#include "si/sixxsel.h"
#include "zul_dptrace.h"

static_assert(sizeof(epoll_event) == 12, "a result is 12 bytes");

namespace {

constexpr int kEagainLimit = 5000;
constexpr uint32_t kIndexId = 1;
constexpr uint32_t kEvents = EPOLLIN | EPOLLPRI | EPOLLOUT;

// The end of the selected list: a linked element never has a null next, so that "linked" can be
// told from "free of the list". A static element, so the pointer is a constant.
SISEL_EPOLL::ELEMENT gListEnd{};
constexpr SISEL_EPOLL::ELEMENT *kListEnd = &gListEnd;

const ZUL_UTF16 *KeyOf(const int32_t *sockNo) {
  return reinterpret_cast<const ZUL_UTF16 *>(sockNo);
}

}  // namespace

SISEL_EPOLL::~SISEL_EPOLL() { release(); }

void SISEL_EPOLL::release() noexcept {
  if (epfd_ >= 0) close(epfd_);
  if (fiMemory_ != nullptr) FiDestroy(fiMemory_);
  std::free(fiMemory_);
  std::free(elements_);
  std::free(results_);
  epfd_ = -1;
  fiMemory_ = nullptr;
  fiHandle_ = nullptr;
  elements_ = nullptr;
  results_ = nullptr;
}

SI_RC SISEL_EPOLL::init(uint32_t maxSockets) noexcept {
  static const char *const kName = "SISEL_EPOLL::init";
  if (maxSockets > MAX_SOCKETS) {
    DPTRC_A7(1, tf, "%s: parameter too big (%u>%u)\n", kName, maxSockets, MAX_SOCKETS);
    return SI_EINVAL;
  }
  release();
  count_ = 0;
  used_ = 0;
  freeList_ = nullptr;
  selected_ = kListEnd;
  iterator_ = kListEnd;
  capacity_ = maxSockets < 2 ? 2 : maxSockets;
  elements_ = static_cast<ELEMENT *>(std::calloc(capacity_, sizeof(ELEMENT)));
  results_ = std::calloc(capacity_, sizeof(epoll_event));
  if (elements_ == nullptr || results_ == nullptr) {
    DPTRC_ERR_A7(tf, "%s: failed to allocate ELEMENT[%u]\n", kName, capacity_);
    return SI_EMEMORY;
  }
  size_t fiSize = FiGetAdmSize(1, capacity_, 2, FI_FLAG_FULL_INNER);
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
  if (int rc = FiOpenIndex(fiMemory_, kIndexId, FI_OPEN_BLOCK_SLOT, elements_, 2, &fiHandle_);
      rc != FI_OK) {
    DPTRC_ERR_A7(tf, "%s: FiOpenIndex failed (rc=%d)\n", kName, rc);
    return SI_EINTERN;
  }
  epfd_ = epoll_create(static_cast<int>(capacity_));
  if (epfd_ < 0) {
    int err = errno;
    DPTRC_ERR_A7(tf, "%s: epoll_create failed (%d-%s)\n", kName, err, std::strerror(err));
    return err == EMFILE || err == ENFILE ? SI_EMFILE : SI_ESYSCALL;
  }
  if (cb_ != nullptr) cb_->create(capacity_);
  return SI_OK;
}

SISEL_EPOLL::ELEMENT *SISEL_EPOLL::find(const SI_SOCK *sock) noexcept {
  if (sock == nullptr || sock->socket < 0 || fiHandle_ == nullptr) return nullptr;
  FI_NODE *node = nullptr;
  if (FiFindExact(fiHandle_, KeyOf(&sock->socket), &node) != FI_OK) return nullptr;
  return static_cast<ELEMENT *>(FI_NODE_RECORD(elements_, node));
}

SI_RC SISEL_EPOLL::modifyEpollFD(ELEMENT *el, SI_SOCK *sock, int op, const char *caller) noexcept {
  epoll_event ev{};
  ev.events = el->events;
  ev.data.ptr = el;
  if (epoll_ctl(epfd_, op, el->sockNo, &ev) == 0) return SI_OK;
  int err = errno;
  if (op == EPOLL_CTL_DEL && err == EBADF) {
    DPTRC_A7(2, tf, "%s: sock %d was already closed\n", caller, el->sockNo);
    return SI_OK;
  }
  if (op == EPOLL_CTL_DEL && err == ENOENT) {
    DPTRC_A7(2, tf, "%s: sock %d was already closed and valid again\n", caller, el->sockNo);
    return SI_OK;
  }
  if (op == EPOLL_CTL_MOD && err == ENOENT) {
    // The descriptor was closed, which took it out of the kernel's set, and its number is in
    // use again: the caller removes the member and adds it anew.
    DPTRC_A7(2, tf, "%s: sock %d was already closed but still in this set; remove now\n", caller,
             el->sockNo);
    if (ct_level >= 3) dump(stderr);
    return SI_EINVAL;
  }
  if (sock != nullptr) sock->lastError = static_cast<uint32_t>(err);
  DPTRC_ERR_A7(tf, "%s: epoll_ctl failed for sock %d\n", caller, el->sockNo);
  return SI_EINTERN;
}

SI_RC SISEL_EPOLL::set(SI_SOCK *sock, uint8_t events, void *data, uint8_t replace) noexcept {
  static const char *const kName = "SISEL_EPOLL::set";
  if (sock == nullptr || fiHandle_ == nullptr) return SI_EINVAL;
  if (sock->socket < 0) {
    DPTRC_A7(1, tf, "%s: sock %d negative\n", kName, sock->socket);
    return SI_EINVAL;
  }
  ELEMENT *el = find(sock);
  int op = EPOLL_CTL_MOD;
  if (el == nullptr) {
    if (count_ >= capacity_) {
      DPTRC_A7(1, tf, "%s: maximum of sockets reached (%u)\n", kName, capacity_);
      return SI_EINVAL;
    }
    if (freeList_ != nullptr) {
      el = freeList_;
      freeList_ = el->next;
    } else {
      el = &elements_[used_++];
    }
    *el = ELEMENT{sock, data, sock->socket, 0, 0, nullptr};
    if (int rc = FiInsert(fiHandle_, KeyOf(&el->sockNo), el, nullptr); rc != FI_OK) {
      DPTRC_ERR_A7(tf, "%s: FiInsert failed (rc=%d)\n", kName, rc);
      el->sock = nullptr;
      el->next = freeList_;
      freeList_ = el;
      return SI_EINTERN;
    }
    ++count_;
    op = EPOLL_CTL_ADD;
    auto pos = static_cast<uint32_t>(el - elements_);
    DPTRC_A7(3, tf, "%s: sock %d added to set pos %u\n", kName, sock->socket, pos);
    if (cb_ != nullptr) cb_->add(pos);
  }
  if (replace == 1) el->events = 0;
  if (events & SISEL_READ) el->events |= EPOLLIN;
  if (events & SISEL_READ_PRI) el->events |= EPOLLPRI;
  if (events & SISEL_WRITE) el->events |= EPOLLOUT;
  SI_RC rc = modifyEpollFD(el, sock, op, kName);
  if (rc == SI_EINVAL) {
    // Closed and reused while a member: registered anew, with this call's data.
    remove(sock, 0);
    return set(sock, events, data, replace);
  }
  if (rc != SI_OK) {
    if (op == EPOLL_CTL_ADD) remove(sock, 0);
    return rc;
  }
  DPTRC_A7(3, tf, "%s: set events of sock %d to: %c%c%c\n", kName, sock->socket,
           si::Flag(el->events & EPOLLIN, 'r'), si::Flag(el->events & EPOLLPRI, 'p'),
           si::Flag(el->events & EPOLLOUT, 'w'));
  return SI_OK;
}

SI_RC SISEL_EPOLL::clear(SI_SOCK *sock, uint8_t events) noexcept {
  ELEMENT *el = find(sock);
  if (el == nullptr) {
    DPTRC_A7(2, tf, "%s: sock %d not member of set\n", "SISEL_EPOLL::clear",
             sock == nullptr ? -1 : sock->socket);
    return SI_EINVAL;
  }
  if (events & SISEL_READ) el->events &= ~static_cast<uint32_t>(EPOLLIN);
  if (events & SISEL_READ_PRI) el->events &= ~static_cast<uint32_t>(EPOLLPRI);
  if (events & SISEL_WRITE) el->events &= ~static_cast<uint32_t>(EPOLLOUT);
  return modifyEpollFD(el, sock, EPOLL_CTL_MOD, "SISEL_EPOLL::clear");
}

SI_RC SISEL_EPOLL::clearSet() noexcept {
  for (uint32_t i = 0; i < used_; ++i) {
    ELEMENT &el = elements_[i];
    if (el.sock == nullptr) continue;
    el.events = 0;
    modifyEpollFD(&el, el.sock, EPOLL_CTL_MOD, "SISEL_EPOLL::clearSet");
  }
  DPTRC_A7(3, tf, "%s: cleared set\n", "SISEL_EPOLL::clearSet");
  return SI_OK;
}

void SISEL_EPOLL::unlinkSelected(ELEMENT *el) noexcept {
  if (el->next == nullptr) return;
  if (iterator_ == el) iterator_ = el->next;
  if (selected_ == el) {
    selected_ = el->next;
  } else {
    for (ELEMENT *p = selected_; p != kListEnd; p = p->next)
      if (p->next == el) {
        p->next = el->next;
        break;
      }
  }
  el->next = nullptr;
}

SI_RC SISEL_EPOLL::remove(SI_SOCK *sock, uint8_t /*optimize*/) noexcept {
  static const char *const kName = "SISEL_EPOLL::remove";
  ELEMENT *el = find(sock);
  if (el == nullptr) {
    DPTRC_A7(2, tf, "%s: sock %d not member of set\n", kName, sock == nullptr ? -1 : sock->socket);
    return SI_EINVAL;
  }
  FI_NODE *node = nullptr;
  FiFindExact(fiHandle_, KeyOf(&el->sockNo), &node);
  if (int rc = FiRemove(fiHandle_, node); rc != FI_OK) {
    DPTRC_ERR_A7(tf, "%s: FiRemove failed (rc=%d)\n", kName, rc);
    return SI_EINTERN;
  }
  modifyEpollFD(el, sock, EPOLL_CTL_DEL, kName);
  unlinkSelected(el);
  --count_;
  auto pos = static_cast<uint32_t>(el - elements_);
  if (cb_ != nullptr) cb_->remove(pos);
  el->sock = nullptr;
  el->revents = 0;
  if (pos + 1 == used_) {
    used_ = pos;
    DPTRC_A7(3, tf, "%s: removed last sock %d (pos=%u)\n", kName, el->sockNo, pos);
  } else {
    el->next = freeList_;
    freeList_ = el;
    DPTRC_A7(3, tf, "%s: removed sock %d (pos=%u)\n", kName, el->sockNo, pos);
  }
  return SI_OK;
}

SI_RC SISEL_EPOLL::removeAll() noexcept {
  if (fiHandle_ == nullptr) return SI_EINVAL;
  if (cb_ != nullptr) cb_->reset();
  for (uint32_t i = 0; i < used_; ++i)
    if (elements_[i].sock != nullptr) epoll_ctl(epfd_, EPOLL_CTL_DEL, elements_[i].sockNo, nullptr);
  std::memset(elements_, 0, sizeof(ELEMENT) * capacity_);
  count_ = 0;
  used_ = 0;
  freeList_ = nullptr;
  selected_ = kListEnd;
  iterator_ = kListEnd;
  FiCloseIndex(fiHandle_);
  fiHandle_ = nullptr;
  if (int rc = FiOpenIndex(fiMemory_, kIndexId, FI_OPEN_BLOCK_SLOT, elements_, 2, &fiHandle_);
      rc != FI_OK) {
    DPTRC_ERR_A7(tf, "%s: FiOpenIndex failed (rc=%d)\n", "SISEL_EPOLL::removeAll", rc);
    fiHandle_ = nullptr;
    return SI_EINTERN;
  }
  DPTRC_A7(3, tf, "%s: removed all sockets\n", "SISEL_EPOLL::removeAll");
  return SI_OK;
}

SI_RC SISEL_EPOLL::select(int32_t timeout, int *selected) noexcept {
  static const char *const kName = "SISEL_EPOLL::select";
  if (selected != nullptr) *selected = 0;
  if (epfd_ < 0) return SI_EINVAL;
  // The last call's list is taken apart first.
  while (selected_ != kListEnd) {
    ELEMENT *el = selected_;
    selected_ = el->next;
    el->next = nullptr;
    el->revents = 0;
  }
  iterator_ = kListEnd;
  DPTRC_A7(3, tf, "%s: start select (timeout=%d)\n", kName, timeout);
  auto *results = static_cast<epoll_event *>(results_);
  int n;
  int loops = 0;
  int err = 0;
  for (;;) {
    n = epoll_wait(epfd_, results, static_cast<int>(capacity_), timeout < 0 ? -1 : timeout);
    if (n >= 0) break;
    err = errno;
    if (err == EINTR) continue;
    if (err == EAGAIN && loops < kEagainLimit) {
      ++loops;
      continue;
    }
    break;
  }
  if (loops != 0)
    DPTRC_ERR_A7(tf, "%s: poll looped %d times, caused by EAGAIN (limit=%d)\n", kName, loops,
                 kEagainLimit);
  if (n < 0) {
    DPTRC_ERR_A7(tf, "%s: SiEPoll failed (%d-%s)\n", kName, err, std::strerror(err));
    return SI_EINTERN;
  }
  if (static_cast<uint32_t>(n) > count_) {
    DPTRC_ERR_A7(tf, "%s: unexpected value retured (%d>%d)\n", kName, n, static_cast<int>(count_));
    return SI_EINTERN;
  }
  // Linked at the head, walked from the end, so the list keeps the kernel's order.
  for (int i = n - 1; i >= 0; --i) {
    auto *el = static_cast<ELEMENT *>(results[i].data.ptr);
    if (el == nullptr || el->sock == nullptr) {
      DPTRC_WARN_A7(tf, "%s: invalid slot selected\n", kName);
      continue;
    }
    if (el->next != nullptr) {
      DPTRC_WARN_A7(tf, "%s: invalid state of selected slot\n", kName);
      continue;
    }
    el->revents = results[i].events;
    el->next = selected_;
    selected_ = el;
  }
  iterator_ = selected_;
  if (cb_ == nullptr)
    DPTRC_A7(2, tf, "%s: of %u sockets %u selected\n", kName, count_, static_cast<unsigned>(n));
  if (selected != nullptr) *selected = n;
  return SI_OK;
}

SI_RC SISEL_EPOLL::startLoop() noexcept {
  iterator_ = selected_;
  DPTRC_A7(3, tf, "%s: iterator reseted\n", "SISEL_EPOLL::startLoop");
  return SI_OK;
}

SI_RC SISEL_EPOLL::next(uint8_t *read, uint8_t *readPri, uint8_t *write, SI_SOCK **sock,
                        void **data) noexcept {
  static const char *const kName = "SISEL_EPOLL::next";
  if (sock != nullptr) *sock = nullptr;
  if (data != nullptr) *data = nullptr;
  while (iterator_ != kListEnd && iterator_ != nullptr) {
    ELEMENT *el = iterator_;
    iterator_ = el->next;
    uint32_t rev = el->revents;
    if (rev == 0) {
      DPTRC_WARN_A7(tf, "%s: sock %d without event selected\n", kName, el->sockNo);
      continue;
    }
    if (sock != nullptr) *sock = el->sock;
    if (data != nullptr) *data = el->data;
    if (cb_ != nullptr) cb_->select(static_cast<uint32_t>(el - elements_));
    if (rev & EPOLLHUP) {
      DPTRC_A7(2, tf, "%s: a hang up occurred in sock %d\n", kName, el->sockNo);
      return SI_EINVAL;
    }
    if (rev & EPOLLERR) {
      DPTRC_A7(2, tf, "%s: an error occurred in sock %d\n", kName, el->sockNo);
      return SI_EINTERN;
    }
    bool hit = false;
    if (read != nullptr) hit |= (*read = (rev & EPOLLIN) != 0);
    if (readPri != nullptr) hit |= (*readPri = (rev & EPOLLPRI) != 0);
    if (write != nullptr) hit |= (*write = (rev & EPOLLOUT) != 0);
    DPTRC_A7(3, tf, "%s: sock %d selected (pos=%u; revt=%c%c%c)\n", kName, el->sockNo,
             static_cast<unsigned>(el - elements_), si::Flag(rev & EPOLLIN, 'r'),
             si::Flag(rev & EPOLLPRI, 'p'), si::Flag(rev & EPOLLOUT, 'w'));
    if (hit) return SI_OK;
    if (sock != nullptr) *sock = nullptr;
    if (data != nullptr) *data = nullptr;
  }
  if (cb_ == nullptr) DPTRC_A7(3, tf, "%s: no more selected sockets\n", kName);
  return SI_OK;
}

SI_RC SISEL_EPOLL::getMode(SI_SOCK *sock, uint8_t *events) noexcept {
  ELEMENT *el = find(sock);
  if (el == nullptr || events == nullptr) return SI_EINVAL;
  *events = si::StatusOfRevents(el->events & kEvents);
  return SI_OK;
}

SI_RC SISEL_EPOLL::getStat(SI_SOCK *sock, uint8_t *status) noexcept {
  return getStatEx(sock, status, nullptr, nullptr);
}

SI_RC SISEL_EPOLL::getStatEx(SI_SOCK *sock, uint8_t *status, SI_SOCK **sockOut,
                             void **data) noexcept {
  ELEMENT *el = find(sock);
  if (el == nullptr || status == nullptr) return SI_EINVAL;
  // EPOLLIN, EPOLLPRI, EPOLLOUT, EPOLLERR and EPOLLHUP have poll's values.
  *status = si::StatusOfRevents(el->revents & (kEvents | EPOLLERR | EPOLLHUP));
  if (sockOut != nullptr) *sockOut = el->sock;
  if (data != nullptr) *data = el->data;
  return SI_OK;
}

bool SISEL_EPOLL::isMember(SI_SOCK *sock) noexcept { return find(sock) != nullptr; }

SI_RC SISEL_EPOLL::getData(SI_SOCK *sock, void **data) noexcept {
  ELEMENT *el = find(sock);
  if (el == nullptr || data == nullptr) return SI_EINVAL;
  *data = el->data;
  return SI_OK;
}

SI_RC SISEL_EPOLL::setData(SI_SOCK *sock, void *data) noexcept {
  ELEMENT *el = find(sock);
  if (el == nullptr) return SI_EINVAL;
  el->data = data;
  return SI_OK;
}

uint32_t SISEL_EPOLL::getSocketNo(uint32_t position) noexcept {
  if (position >= used_ || elements_[position].sock == nullptr) return 0xFFFFFFFFu;
  return static_cast<uint32_t>(elements_[position].sockNo);
}

SI_RC SISEL_EPOLL::getSocketPos(SI_SOCK *sock, uint32_t *position) noexcept {
  ELEMENT *el = find(sock);
  if (el == nullptr || position == nullptr) return SI_EINVAL;
  *position = static_cast<uint32_t>(el - elements_);
  return SI_OK;
}

SI_RC SISEL_EPOLL::dump(FILE *file) noexcept {
  if (file == nullptr) return SI_EINVAL;
  std::fprintf(file, "SIEPOLL set %p\n", static_cast<void *>(this));
  std::fprintf(file,
               "sockets in set: %d\nhighest pos +1: %d\nmax entries   : %d\nepoll fd      : %d\n",
               static_cast<int>(count_), static_cast<int>(used_), static_cast<int>(capacity_),
               epfd_);
  std::fprintf(file, "socket list   :\n");
  std::fprintf(file, "  pos  pSocket  pData    sel | socket   events   revents    \n");
  for (uint32_t i = 0; i < used_; ++i) {
    const ELEMENT &el = elements_[i];
    if (el.sock == nullptr) continue;
    unsigned ev = el.events, rev = el.revents;
    std::fprintf(file, "%5d: %08x %08x %3d | sock %-3d %2u (%c%c%c) %2u (%c%c%c%c%c)",
                 static_cast<int>(i), static_cast<unsigned>(reinterpret_cast<uintptr_t>(el.sock)),
                 static_cast<unsigned>(reinterpret_cast<uintptr_t>(el.data)),
                 el.next != nullptr ? 1 : 0, el.sockNo, ev, si::Flag(ev & EPOLLIN, 'r'),
                 si::Flag(ev & EPOLLPRI, 'p'), si::Flag(ev & EPOLLOUT, 'w'), rev,
                 si::Flag(rev & EPOLLIN, 'r'), si::Flag(rev & EPOLLPRI, 'p'),
                 si::Flag(rev & EPOLLOUT, 'w'), si::Flag(rev & EPOLLERR, 'e'),
                 si::Flag(rev & EPOLLHUP, 'h'));
    if (cb_ != nullptr) cb_->dumpEntry(file, i);
    std::fprintf(file, "\n");
  }
  std::fprintf(file, "free list     : ");
  if (freeList_ == nullptr) std::fprintf(file, "empty\n");
  for (const ELEMENT *el = freeList_; el != nullptr; el = el->next)
    std::fprintf(file, ">%d%s", static_cast<int>(el - elements_), el->next ? "" : "\n");
  return SI_OK;
}
