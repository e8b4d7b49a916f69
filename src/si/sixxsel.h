// Select sets: the abstract set, the frame that forwards to one implementation, and the four
// implementations (poll, select with a direct array, select with an index, epoll).
#ifndef SI_SIXXSEL_H
#define SI_SIXXSEL_H

#include <cstdint>
#include <cstdio>

#include "zul_fi.h"
#include "zul_si.h"
#include "zul_sisel.h"

// The abstract set. Results are SI_ codes.
struct SISEL {
  virtual SI_RC init(uint32_t maxSockets) noexcept = 0;
  virtual SI_RC set(SI_SOCK *sock, uint8_t events, void *data, uint8_t replace) noexcept = 0;
  virtual SI_RC clear(SI_SOCK *sock, uint8_t events) noexcept = 0;
  virtual SI_RC clearSet() noexcept = 0;
  virtual SI_RC remove(SI_SOCK *sock, uint8_t optimize) noexcept = 0;
  virtual SI_RC removeAll() noexcept = 0;
  virtual SI_RC select(int32_t timeout, int *selected) noexcept = 0;
  virtual SI_RC startLoop() noexcept = 0;
  virtual SI_RC next(uint8_t *read, uint8_t *readPri, uint8_t *write, SI_SOCK **sock,
                     void **data) noexcept = 0;
  virtual SI_RC getMode(SI_SOCK *sock, uint8_t *events) noexcept = 0;
  virtual SI_RC getStat(SI_SOCK *sock, uint8_t *status) noexcept = 0;
  virtual uint32_t getMaxSockNo() noexcept = 0;
  virtual bool isMember(SI_SOCK *sock) noexcept = 0;
  virtual SI_RC getData(SI_SOCK *sock, void **data) noexcept = 0;
  virtual SI_RC setData(SI_SOCK *sock, void *data) noexcept = 0;
  virtual SI_RC dump(FILE *file) noexcept = 0;
  virtual ~SISEL();
};

// The base of the implementations: positions and the call-backs.
struct SISEL_SPEC : SISEL {
  // Told of what happens to the set, by position, so that a user can keep a parallel table of
  // its own (the network layer's handle sets do).
  struct CB_FUNCS {
    virtual void create(uint32_t capacity) noexcept = 0;
    virtual void add(uint32_t position) noexcept = 0;
    virtual void move(uint32_t from, uint32_t to) noexcept = 0;
    virtual void remove(uint32_t position) noexcept = 0;
    virtual void reset() noexcept = 0;
    virtual void select(uint32_t position) noexcept = 0;
    virtual void dumpEntry(FILE *file, uint32_t position) noexcept = 0;
    virtual ~CB_FUNCS() = default;
  };

  // The socket number at a position, or all ones when the position isn't in use.
  virtual uint32_t getSocketNo(uint32_t position) noexcept = 0;
  virtual SI_RC getSocketPos(SI_SOCK *sock, uint32_t *position) noexcept = 0;
  virtual SI_RC getStatEx(SI_SOCK *sock, uint8_t *status, SI_SOCK **sockOut,
                          void **data) noexcept = 0;

  // A null pointer means no call-backs.
  void regCBFunc(CB_FUNCS *cb) noexcept { cb_ = cb; }

 protected:
  CB_FUNCS *cb_ = nullptr;
};

// The frame that owns one implementation and forwards every call to it.
struct SISEL_IMPL final : SISEL {
  static constexpr int POLL = 0;
  static constexpr int SELECT = 1;
  static constexpr int F_CONN = 2;

  // A frame with the implementation of *type (null: poll), or null with the failure traced.
  static SISEL_IMPL *createSet(const int *type) noexcept;
  // Creates the implementation: SI_EINVAL for an unknown type, SI_EMEMORY when it can't be made.
  SI_RC addSpecImpl(const int *type) noexcept;
  SISEL_SPEC *specialised() const noexcept { return specialised_; }

  SI_RC init(uint32_t maxSockets) noexcept override;
  SI_RC set(SI_SOCK *sock, uint8_t events, void *data, uint8_t replace) noexcept override;
  SI_RC clear(SI_SOCK *sock, uint8_t events) noexcept override;
  SI_RC clearSet() noexcept override;
  SI_RC remove(SI_SOCK *sock, uint8_t optimize) noexcept override;
  SI_RC removeAll() noexcept override;
  SI_RC select(int32_t timeout, int *selected) noexcept override;
  SI_RC startLoop() noexcept override;
  SI_RC next(uint8_t *read, uint8_t *readPri, uint8_t *write, SI_SOCK **sock,
             void **data) noexcept override;
  SI_RC getMode(SI_SOCK *sock, uint8_t *events) noexcept override;
  SI_RC getStat(SI_SOCK *sock, uint8_t *status) noexcept override;
  uint32_t getMaxSockNo() noexcept override;
  bool isMember(SI_SOCK *sock) noexcept override;
  SI_RC getData(SI_SOCK *sock, void **data) noexcept override;
  SI_RC setData(SI_SOCK *sock, void *data) noexcept override;
  SI_RC dump(FILE *file) noexcept override;
  ~SISEL_IMPL() override;

 private:
  SISEL_SPEC *specialised_ = nullptr;
};

// ---- Poll: a dense poll array with holes, membership in a fast index ----
struct SISEL_POLL final : SISEL_SPEC {
  static constexpr uint32_t MAX_SOCKETS = 32768;
  static constexpr double OPTIMIZE_FRAG_VAL = 2.0;
  static constexpr uint32_t KEY_BIN_LEN = 4;  // the socket number
  static constexpr uint32_t KEY_STR_LEN = 2;  // in 16-bit units

  struct FD_EL {
    SI_SOCK *sock;
    void *data;
    FD_EL *nextFree;
  };

  SISEL_POLL() noexcept = default;
  ~SISEL_POLL() override;

  SI_RC init(uint32_t maxSockets) noexcept override;
  SI_RC set(SI_SOCK *sock, uint8_t events, void *data, uint8_t replace) noexcept override;
  SI_RC clear(SI_SOCK *sock, uint8_t events) noexcept override;
  SI_RC clearSet() noexcept override;
  SI_RC remove(SI_SOCK *sock, uint8_t optimize) noexcept override;
  SI_RC removeAll() noexcept override;
  SI_RC select(int32_t timeout, int *selected) noexcept override;
  SI_RC startLoop() noexcept override;
  SI_RC next(uint8_t *read, uint8_t *readPri, uint8_t *write, SI_SOCK **sock,
             void **data) noexcept override;
  SI_RC getMode(SI_SOCK *sock, uint8_t *events) noexcept override;
  SI_RC getStat(SI_SOCK *sock, uint8_t *status) noexcept override;
  uint32_t getMaxSockNo() noexcept override { return capacity_; }
  bool isMember(SI_SOCK *sock) noexcept override;
  SI_RC getData(SI_SOCK *sock, void **data) noexcept override;
  SI_RC setData(SI_SOCK *sock, void *data) noexcept override;
  SI_RC dump(FILE *file) noexcept override;
  uint32_t getSocketNo(uint32_t position) noexcept override;
  SI_RC getSocketPos(SI_SOCK *sock, uint32_t *position) noexcept override;
  SI_RC getStatEx(SI_SOCK *sock, uint8_t *status, SI_SOCK **sockOut,
                  void **data) noexcept override;

  uint32_t count() const noexcept { return count_; }
  uint32_t used() const noexcept { return used_; }

 private:
  // The position of a member, or -1.
  int64_t find(const SI_SOCK *sock) noexcept;
  SI_RC add(SI_SOCK *sock, void *data, uint32_t *position) noexcept;
  SI_RC optimizeSet() noexcept;
  void freeAll() noexcept;

  uint32_t count_ = 0;
  uint32_t used_ = 0;
  uint32_t capacity_ = MAX_SOCKETS;
  SI_POLLFD *fds_ = nullptr;
  uint32_t iterator_ = MAX_SOCKETS;
  FD_EL *elements_ = nullptr;
  FD_EL *freeList_ = nullptr;
  void *fiMemory_ = nullptr;
  FI_HDL fiHandle_ = nullptr;
};

// ---- Select: three bit sets of 32768 bits; the two classes differ in how a socket number
// finds its element ----
struct SiselBitSets : SISEL_SPEC {
  static constexpr uint32_t LIST_NULL_VAL = 65535;

  struct ELEMENT {
    SI_SOCK *sock;
    void *data;
    int32_t sockNo;
    uint32_t prev;  // members list, by position; LIST_NULL_VAL at the ends
    uint32_t next;
  };

  ~SiselBitSets() override;

  SI_RC set(SI_SOCK *sock, uint8_t events, void *data, uint8_t replace) noexcept override;
  SI_RC clear(SI_SOCK *sock, uint8_t events) noexcept override;
  SI_RC clearSet() noexcept override;
  SI_RC remove(SI_SOCK *sock, uint8_t optimize) noexcept override;
  SI_RC removeAll() noexcept override;
  SI_RC select(int32_t timeout, int *selected) noexcept override;
  SI_RC startLoop() noexcept override;
  SI_RC next(uint8_t *read, uint8_t *readPri, uint8_t *write, SI_SOCK **sock,
             void **data) noexcept override;
  SI_RC getMode(SI_SOCK *sock, uint8_t *events) noexcept override;
  SI_RC getStat(SI_SOCK *sock, uint8_t *status) noexcept override;
  uint32_t getMaxSockNo() noexcept override { return capacity_; }
  bool isMember(SI_SOCK *sock) noexcept override;
  SI_RC getData(SI_SOCK *sock, void **data) noexcept override;
  SI_RC setData(SI_SOCK *sock, void *data) noexcept override;
  SI_RC dump(FILE *file) noexcept override;
  uint32_t getSocketNo(uint32_t position) noexcept override;
  SI_RC getSocketPos(SI_SOCK *sock, uint32_t *position) noexcept override;
  SI_RC getStatEx(SI_SOCK *sock, uint8_t *status, SI_SOCK **sockOut,
                  void **data) noexcept override;

 protected:
  explicit SiselBitSets(const char *name) noexcept : name_(name) {}
  // The position of a member's element, or -1.
  virtual int64_t findPos(int sockNo) noexcept = 0;
  // A new element for sockNo: its position, or -1 with *rc set.
  virtual int64_t allocPos(int sockNo, SI_RC *rc) noexcept = 0;
  virtual void freePos(uint32_t position) noexcept = 0;
  virtual void freeAllPos() noexcept = 0;
  // Common part of init: bit sets cleared, list empty.
  void resetState() noexcept;
  uint8_t statusOf(int sockNo) const noexcept;

  const char *name_;
  ELEMENT *elements_ = nullptr;
  uint32_t capacity_ = 0;  // member limit
  uint32_t count_ = 0;
  uint32_t used_ = 0;  // one past the highest member's socket number
  uint32_t head_ = LIST_NULL_VAL;
  uint32_t iterator_ = LIST_NULL_VAL;
  bool closedSockets_ = false;
  SI_FDSET read_{}, write_{}, readPri_{};
  SI_FDSET readSel_{}, writeSel_{}, readPriSel_{};
};

// Element position is the socket number: a direct array of MAX_SOCKETS elements.
struct SISEL_SELECT final : SiselBitSets {
  static constexpr uint32_t MAX_SOCKETS = 32768;  // SI_FD_SETSIZE
  SISEL_SELECT() noexcept : SiselBitSets("SISEL_SELECT") {}
  ~SISEL_SELECT() override;
  SI_RC init(uint32_t maxSockets) noexcept override;

 protected:
  int64_t findPos(int sockNo) noexcept override;
  int64_t allocPos(int sockNo, SI_RC *rc) noexcept override;
  void freePos(uint32_t position) noexcept override;
  void freeAllPos() noexcept override;
};

// Elements allocated by need, found through the fast index.
struct SISEL_SEL_NT final : SiselBitSets {
  static constexpr uint32_t MAX_SOCKETS = 32768;  // SI_FD_SETSIZE
  SISEL_SEL_NT() noexcept : SiselBitSets("SISEL_SEL_NT") {}
  ~SISEL_SEL_NT() override;
  SI_RC init(uint32_t maxSockets) noexcept override;

 protected:
  int64_t findPos(int sockNo) noexcept override;
  int64_t allocPos(int sockNo, SI_RC *rc) noexcept override;
  void freePos(uint32_t position) noexcept override;
  void freeAllPos() noexcept override;

 private:
  void release() noexcept;
  uint32_t allocated_ = 0;  // positions handed out so far; one past the last
  uint32_t freeHead_ = LIST_NULL_VAL;
  void *fiMemory_ = nullptr;
  FI_HDL fiHandle_ = nullptr;
};

// ---- Epoll ----
struct SISEL_EPOLL final : SISEL_SPEC {
  static constexpr uint32_t MAX_SOCKETS = 32768;

  struct ELEMENT {
    SI_SOCK *sock;
    void *data;
    int32_t sockNo;
    uint32_t events;   // EPOLLIN, EPOLLPRI, EPOLLOUT
    uint32_t revents;  // of the last wait
    ELEMENT *next;     // selected list; free list for a free element
  };

  SISEL_EPOLL() noexcept = default;
  ~SISEL_EPOLL() override;

  SI_RC init(uint32_t maxSockets) noexcept override;
  SI_RC set(SI_SOCK *sock, uint8_t events, void *data, uint8_t replace) noexcept override;
  SI_RC clear(SI_SOCK *sock, uint8_t events) noexcept override;
  SI_RC clearSet() noexcept override;
  SI_RC remove(SI_SOCK *sock, uint8_t optimize) noexcept override;
  SI_RC removeAll() noexcept override;
  SI_RC select(int32_t timeout, int *selected) noexcept override;
  SI_RC startLoop() noexcept override;
  SI_RC next(uint8_t *read, uint8_t *readPri, uint8_t *write, SI_SOCK **sock,
             void **data) noexcept override;
  SI_RC getMode(SI_SOCK *sock, uint8_t *events) noexcept override;
  SI_RC getStat(SI_SOCK *sock, uint8_t *status) noexcept override;
  uint32_t getMaxSockNo() noexcept override { return capacity_; }
  bool isMember(SI_SOCK *sock) noexcept override;
  SI_RC getData(SI_SOCK *sock, void **data) noexcept override;
  SI_RC setData(SI_SOCK *sock, void *data) noexcept override;
  SI_RC dump(FILE *file) noexcept override;
  uint32_t getSocketNo(uint32_t position) noexcept override;
  SI_RC getSocketPos(SI_SOCK *sock, uint32_t *position) noexcept override;
  SI_RC getStatEx(SI_SOCK *sock, uint8_t *status, SI_SOCK **sockOut,
                  void **data) noexcept override;

 private:
  ELEMENT *find(const SI_SOCK *sock) noexcept;
  SI_RC modifyEpollFD(ELEMENT *el, SI_SOCK *sock, int op, const char *caller) noexcept;
  void unlinkSelected(ELEMENT *el) noexcept;
  void release() noexcept;

  int epfd_ = -1;
  uint32_t count_ = 0;
  uint32_t used_ = 0;
  uint32_t capacity_ = 0;
  ELEMENT *elements_ = nullptr;
  ELEMENT *freeList_ = nullptr;
  ELEMENT *selected_ = nullptr;  // head of the selected list
  ELEMENT *iterator_ = nullptr;
  void *results_ = nullptr;  // capacity epoll events
  void *fiMemory_ = nullptr;
  FI_HDL fiHandle_ = nullptr;
};

namespace si {

// Letters of a poll event mask for trace lines and dumps.
inline char Flag(bool on, char c) noexcept { return on ? c : '-'; }
// The SISEL_ status bits of poll revents.
uint8_t StatusOfRevents(unsigned revents) noexcept;

}  // namespace si

#endif  // SI_SIXXSEL_H
