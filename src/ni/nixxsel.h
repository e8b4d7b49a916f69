// Handle select sets: NI handles on top of a socket select set.
//
// A set knows that a listener has two sockets, and that a buffered handle may be ready with
// nothing on its socket (a complete message in its buffer) or that its socket may fire for
// something the library consumes itself (a ping, part of a message, a queue drained). Buffered
// handles keep their own report in NI_XHDL (mSelStat) and sit in the ready list while it isn't
// empty; plain handles and listeners are reported from their sockets' events.
//
// A set belongs to one thread; so do the buffered handles that are members of it.
#ifndef NI_NIXXSEL_H
#define NI_NIXXSEL_H

#include <cstdint>
#include <cstdio>

#include "ni/nixxi.h"
#include "si/sixxsel.h"
#include "zul_nisel.h"

struct NISEL {
  static constexpr uint8_t CONNECT = 4;  // a new connection on a listener, a handle passed

  virtual int init(uint32_t maxSockets) noexcept = 0;
  virtual int set(int hdl, uint8_t mode, void *pData, uint8_t overwrite) noexcept = 0;
  virtual int clear(int hdl, uint8_t mode) noexcept = 0;
  virtual int remove(int hdl, uint8_t mode) noexcept = 0;
  virtual int removeAll() noexcept = 0;
  // ZUL_O_K with *pCount handles ready, NIETIMEOUT for none, -1 when the socket set failed.
  virtual int select(int timeout, int *pCount) noexcept = 0;
  virtual int startLoop() noexcept = 0;
  // The next ready handle, -1 at the end; plain socket members are skipped.
  virtual int next(uint8_t *pRead, uint8_t *pWrite, uint8_t *pConnect, int *pHdl,
                   void **ppData) noexcept = 0;
  virtual int next2(uint8_t *pRead, uint8_t *pReadPri, uint8_t *pWrite, uint8_t *pConnect,
                    SI_SOCK **ppSock, int *pHdl, void **ppData) noexcept = 0;
  virtual int getMode(int hdl, uint8_t *pMode) noexcept = 0;
  virtual int getStat(int hdl, uint8_t *pStat) noexcept = 0;
  virtual uint32_t getMaxSockNo() noexcept = 0;
  virtual bool isMember(int hdl) noexcept = 0;
  virtual int getData(int hdl, void **ppData) noexcept = 0;
  virtual int setData(int hdl, void *pData) noexcept = 0;
  virtual int dump(FILE *stream) noexcept = 0;
  virtual int getError() noexcept = 0;
  virtual ~NISEL();
};

class NISEL_IMPL final : public NISEL {
 public:
  static constexpr uint16_t LIST_NULL_VAL = 65535;

  // A new set on the socket set type *pImpl (null: poll), or null with the error set.
  static NISEL_IMPL *createSet(const int *pImpl, int *pRc) noexcept;

  int init(uint32_t maxSockets) noexcept override;
  int set(int hdl, uint8_t mode, void *pData, uint8_t overwrite) noexcept override;
  int clear(int hdl, uint8_t mode) noexcept override;
  int remove(int hdl, uint8_t mode) noexcept override;
  int removeAll() noexcept override;
  int select(int timeout, int *pCount) noexcept override;
  int startLoop() noexcept override;
  int next(uint8_t *pRead, uint8_t *pWrite, uint8_t *pConnect, int *pHdl,
           void **ppData) noexcept override;
  int next2(uint8_t *pRead, uint8_t *pReadPri, uint8_t *pWrite, uint8_t *pConnect,
            SI_SOCK **ppSock, int *pHdl, void **ppData) noexcept override;
  int getMode(int hdl, uint8_t *pMode) noexcept override;
  int getStat(int hdl, uint8_t *pStat) noexcept override;
  uint32_t getMaxSockNo() noexcept override;
  bool isMember(int hdl) noexcept override;
  int getData(int hdl, void **ppData) noexcept override;
  int setData(int hdl, void *pData) noexcept override;
  int dump(FILE *stream) noexcept override;
  int getError() noexcept override { return mLastError; }
  ~NISEL_IMPL() override;

  // One pass of select: *pRecall 1 when the socket set fired but everything was consumed inside.
  int selectInt(int timeout, int *pCount, int *pRecall) noexcept;

  // For the buffered layer: pushes a member's socket interest (the socket is added when new),
  // moves it in or out of the ready list, and removes its socket. Failures go through setError.
  int bufSockMode(NITAB *pHdl, uint8_t sockMode, void *pData) noexcept;
  void bufReady(NITAB *pHdl, bool ready) noexcept;
  void bufRemove(NITAB *pHdl) noexcept;
  const char *name() const noexcept { return mName; }

 private:
  struct ENTRY {
    int32_t hdl;  // -1: a plain socket or a free slot
    uint16_t prev, next;
    uint8_t list;  // 0 none, 1 mSelList, 2 mReadyList
  };
  struct LIST {
    uint16_t head = LIST_NULL_VAL;
    uint32_t count = 0;
  };

  // Keeps the entries in step with the socket set's slots.
  class CB_FUNCS_IMPL final : public SISEL_SPEC::CB_FUNCS {
   public:
    explicit CB_FUNCS_IMPL(NISEL_IMPL *owner) noexcept : o_(owner) {}
    void create(uint32_t capacity) noexcept override { o_->createMsg(capacity); }
    void add(uint32_t pos) noexcept override { o_->addMsg(pos); }
    void move(uint32_t from, uint32_t to) noexcept override { o_->moveMsg(from, to); }
    void remove(uint32_t pos) noexcept override { o_->removeMsg(pos); }
    void reset() noexcept override { o_->resetMsg(); }
    void select(uint32_t pos) noexcept override { o_->mCurPos = pos; }
    void dumpEntry(FILE *f, uint32_t pos) noexcept override { o_->dumpEntryMsg(f, pos); }

   private:
    NISEL_IMPL *o_;
  };

  NISEL_IMPL() noexcept;
  void createMsg(uint32_t capacity) noexcept;
  void addMsg(uint32_t pos) noexcept;
  void moveMsg(uint32_t from, uint32_t to) noexcept;
  void removeMsg(uint32_t pos) noexcept;
  void resetMsg() noexcept;
  void dumpEntryMsg(FILE *f, int64_t pos) noexcept;

  void listInsert(LIST &l, uint8_t which, uint32_t pos) noexcept;
  void listRemove(LIST &l, uint32_t pos) noexcept;
  void incNext() noexcept;
  int setError(int siRc, int hdl, const char *fn) noexcept;
  int setSock(SI_SOCK *sock, int hdl, uint8_t events, void *pData, uint8_t replace,
              const char *fn) noexcept;
  int removeSock(SI_SOCK *sock) noexcept;
  int64_t posOf(SI_SOCK *sock) noexcept;
  // The socket set beneath, in its specialised form (poll or select) that keeps the positions.
  SISEL_SPEC *sockSet() const noexcept { return mSockSet->specialised(); }

  SISEL_IMPL *mSockSet = nullptr;
  CB_FUNCS_IMPL mCb{this};
  char mName[16] = {};
  ENTRY *mEntries = nullptr;
  uint32_t mEntryCount = 0;
  LIST mSelList, mReadyList;
  uint16_t mNextPos = LIST_NULL_VAL;
  uint8_t mInReadyList = 0;
  int32_t mCurHdl = -1;
  uint32_t mCurPos = 0;
  uint32_t mErrors = 0;
  uint32_t mRecallCount = 0;
  int mLastError = ZUL_O_K;
};

// The buffered layer's side (nibuf_sel.cpp).
int NiBufISelSet(NITAB *pHdl, NI_XHDL *pXhdl, NISEL_IMPL *pSet, uint8_t mode, void *pData,
                 uint8_t overwrite) noexcept;
int NiBufISelClear(NITAB *pHdl, NI_XHDL *pXhdl, NISEL_IMPL *pSet, uint8_t mode) noexcept;
void NiBufISelRemove(NITAB *pHdl, NI_XHDL *pXhdl) noexcept;
// Consumes a socket event of a member: completes a connect, drains the queue, reads.
void NiBufISelProcess(NITAB *pHdl, NI_XHDL *pXhdl, NISEL_IMPL *pSet, uint32_t pos, bool canRead,
                      bool canWrite) noexcept;
// A hang-up or error on a member's socket: whatever it means becomes the handle's stored error.
void NiBufISelError(NITAB *pHdl, NI_XHDL *pXhdl, NISEL_IMPL *pSet, uint32_t pos) noexcept;
uint8_t NiBufISelGetStat(const NI_XHDL *pXhdl) noexcept;

#endif  // NI_NIXXSEL_H
