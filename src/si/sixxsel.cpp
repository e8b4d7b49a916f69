// Select sets: the event constants, the frame that forwards to one implementation, and the C
// entry points.
#define DPTRC_MODULE u"sixxsel"

#include "si/sixxsel.h"

#include <poll.h>

#include <new>

#include "zul_dptrace.h"

// Constant-initialised: no code runs at load time.
ZUL_API const uint8_t SISEL_READ = 1;
ZUL_API const uint8_t SISEL_WRITE = 2;
ZUL_API const uint8_t SISEL_READ_PRI = 8;
ZUL_API const uint8_t SISEL_INVAL_SOCK = 0x40;
ZUL_API const uint8_t SISEL_SOCK_ERROR = 0x80;

SISEL::~SISEL() = default;

namespace si {

uint8_t StatusOfRevents(unsigned revents) noexcept {
  uint8_t status = 0;
  if (revents & POLLIN) status |= 1;
  if (revents & POLLPRI) status |= 8;
  if (revents & POLLOUT) status |= 2;
  if (revents & POLLNVAL) status |= 0x40;
  if (revents & (POLLHUP | POLLERR)) status |= 0x80;
  return status;
}

}  // namespace si

SISEL_IMPL *SISEL_IMPL::createSet(const int *type) noexcept {
  auto *frame = new (std::nothrow) SISEL_IMPL;
  if (frame == nullptr || frame->addSpecImpl(type) != SI_OK) {
    DPTRC_ERR_A7(tf, "%s: failed to create select class\n", "SiSelCreateSet");
    delete frame;
    return nullptr;
  }
  return frame;
}

SI_RC SISEL_IMPL::addSpecImpl(const int *type) noexcept {
  SISEL_SPEC *made = nullptr;
  if (type == nullptr || *type == POLL || *type == F_CONN) {
    made = new (std::nothrow) SISEL_POLL;
  } else if (*type == SELECT) {
    made = new (std::nothrow) SISEL_SELECT;
  } else {
    DPTRC_ERR_A7(tf, "%s: invalid implementation type %d\n", "SISEL_IMPL::addSpecImpl", *type);
    return SI_EINVAL;
  }
  if (made == nullptr) {
    DPTRC_ERR_A7(tf, "%s: failed to create specialized class\n", "SISEL_IMPL::addSpecImpl");
    return SI_EMEMORY;
  }
  delete specialised_;
  specialised_ = made;
  return SI_OK;
}

SISEL_IMPL::~SISEL_IMPL() { delete specialised_; }

SI_RC SISEL_IMPL::init(uint32_t maxSockets) noexcept { return specialised_->init(maxSockets); }
SI_RC SISEL_IMPL::set(SI_SOCK *sock, uint8_t events, void *data, uint8_t replace) noexcept {
  return specialised_->set(sock, events, data, replace);
}
SI_RC SISEL_IMPL::clear(SI_SOCK *sock, uint8_t events) noexcept {
  return specialised_->clear(sock, events);
}
SI_RC SISEL_IMPL::clearSet() noexcept { return specialised_->clearSet(); }
SI_RC SISEL_IMPL::remove(SI_SOCK *sock, uint8_t optimize) noexcept {
  return specialised_->remove(sock, optimize);
}
SI_RC SISEL_IMPL::removeAll() noexcept { return specialised_->removeAll(); }
SI_RC SISEL_IMPL::select(int32_t timeout, int *selected) noexcept {
  return specialised_->select(timeout, selected);
}
SI_RC SISEL_IMPL::startLoop() noexcept { return specialised_->startLoop(); }
SI_RC SISEL_IMPL::next(uint8_t *read, uint8_t *readPri, uint8_t *write, SI_SOCK **sock,
                       void **data) noexcept {
  return specialised_->next(read, readPri, write, sock, data);
}
SI_RC SISEL_IMPL::getMode(SI_SOCK *sock, uint8_t *events) noexcept {
  return specialised_->getMode(sock, events);
}
SI_RC SISEL_IMPL::getStat(SI_SOCK *sock, uint8_t *status) noexcept {
  return specialised_->getStat(sock, status);
}
uint32_t SISEL_IMPL::getMaxSockNo() noexcept { return specialised_->getMaxSockNo(); }
bool SISEL_IMPL::isMember(SI_SOCK *sock) noexcept { return specialised_->isMember(sock); }
SI_RC SISEL_IMPL::getData(SI_SOCK *sock, void **data) noexcept {
  return specialised_->getData(sock, data);
}
SI_RC SISEL_IMPL::setData(SI_SOCK *sock, void *data) noexcept {
  return specialised_->setData(sock, data);
}
SI_RC SISEL_IMPL::dump(FILE *file) noexcept { return specialised_->dump(file); }

// The C entry points: each forwards to the set's operation; a null set is SI_EINVAL.
extern "C" {

int SiSelNewSet(SISEL **set, uint32_t maxSockets) noexcept {
  if (set == nullptr) return SI_EINVAL;
  *set = nullptr;
  SISEL_IMPL *frame = SISEL_IMPL::createSet(nullptr);
  if (frame == nullptr) return SI_EMEMORY;
  if (int rc = frame->init(maxSockets); rc != SI_OK) {
    delete frame;
    return rc;
  }
  *set = frame;
  return SI_OK;
}

int SiSelDestroySet(SISEL **set) noexcept {
  if (set == nullptr || *set == nullptr) return SI_EINVAL;
  delete *set;
  *set = nullptr;
  return SI_OK;
}

#define SISEL_FORWARD(call) return set == nullptr ? SI_EINVAL : set->call

int SiSelSet(SISEL *set, SI_SOCK *sock, uint8_t events, void *data) noexcept {
  SISEL_FORWARD(set(sock, events, data, 0));
}
int SiSelSetAbs(SISEL *set, SI_SOCK *sock, uint8_t events, void *data) noexcept {
  SISEL_FORWARD(set(sock, events, data, 1));
}
int SiSelClear(SISEL *set, SI_SOCK *sock, uint8_t events) noexcept {
  SISEL_FORWARD(clear(sock, events));
}
int SiSelClearSet(SISEL *set) noexcept { SISEL_FORWARD(clearSet()); }
int SiSelRemove(SISEL *set, SI_SOCK *sock) noexcept { SISEL_FORWARD(remove(sock, 1)); }
int SiSelRemoveAll(SISEL *set) noexcept { SISEL_FORWARD(removeAll()); }
int SiSelSelect(SISEL *set, int timeout, int *selected) noexcept {
  SISEL_FORWARD(select(timeout, selected));
}
int SiSelStartLoop(SISEL *set) noexcept { SISEL_FORWARD(startLoop()); }
int SiSelNext(SISEL *set, uint8_t *read, uint8_t *readPri, uint8_t *write, SI_SOCK **sock,
              void **data) noexcept {
  SISEL_FORWARD(next(read, readPri, write, sock, data));
}
int SiSelMode(SISEL *set, SI_SOCK *sock, uint8_t *events) noexcept {
  SISEL_FORWARD(getMode(sock, events));
}
int SiSelStat(SISEL *set, SI_SOCK *sock, uint8_t *status) noexcept {
  SISEL_FORWARD(getStat(sock, status));
}
uint32_t SiSelGetMaxSockNo(SISEL *set) noexcept {
  return set == nullptr ? 0 : set->getMaxSockNo();
}
int SiSelIsMember(SISEL *set, SI_SOCK *sock) noexcept {
  return set != nullptr && set->isMember(sock) ? 1 : 0;
}
int SiSelGetData(SISEL *set, SI_SOCK *sock, void **data) noexcept {
  SISEL_FORWARD(getData(sock, data));
}
int SiSelSetData(SISEL *set, SI_SOCK *sock, void *data) noexcept {
  SISEL_FORWARD(setData(sock, data));
}
int SiSelDump(SISEL *set, FILE *file) noexcept { SISEL_FORWARD(dump(file)); }

#undef SISEL_FORWARD

}  // extern "C"
