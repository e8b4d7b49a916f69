// Internals of the buffered layer shared by its files: the per-handle record, its states and the
// steps that sending, receiving and the in-band protocol call on each other.
//
// Everything in an NI_XHDL belongs to the one thread that uses the handle. Buffers are shared
// between threads by NiBufDup: their reference counts are guarded by the reference lock, the
// heap total by the heap lock; neither is held while calling anything else.
#ifndef NI_NIBUF_H
#define NI_NIBUF_H

#include <cstdint>

#include "ni/nixxi.h"

// The filter extension of a handle: a table a host system may hang off mpExtOps. No user exists
// inside the library; the calls stand where a filter acts.
struct NI_XHDL_EXT_OPS {
  // A received message; NIEOPCODE: it was consumed, read on.
  int (*filterIn)(NITAB *pHdl, struct NI_XHDL *pXhdl, NIBUF **ppBuffer) noexcept;
  // The bytes to send for pBuffer into *ppData/*pLen; *pUsed 1 when the buffer is used up.
  int (*filterOut)(NITAB *pHdl, struct NI_XHDL *pXhdl, NIBUF *pBuffer, const ZUL_RAW **ppData,
                   int *pLen, int *pUsed) noexcept;
  void (*close)(NITAB *pHdl, struct NI_XHDL *pXhdl) noexcept;
};

struct NI_XHDL {
  uint8_t mStatus;      // NI_XS_*
  uint8_t mTalkMode;    // NI_MESG_IO, NI_RAW_IO, NI_ROUT_IO
  uint16_t mHandshake;  // while above 0 only protocol messages move, in message mode
  NI_ALLOC_FUNC mpAllocFunc;
  void *mpExtData;
  const NI_XHDL_EXT_OPS *mpExtOps;
  uint32_t mMaxMsgLen;
  uint8_t mQueueMoved;
  // The out-queue: one chain from the oldest (older == null) to mpOutQueue, the newest. The
  // ready part, from mpReady up to mpNextUser, went to NiIWrite already and leaves in this order;
  // the user part, from mpNextUser on, waits untried.
  NIBUF *mpOutQueue;
  NIBUF *mpNextUser;
  NIBUF *mpReady;
  uint32_t mUserQueueLen;
  uint32_t mMaxQueue;
  uint32_t mWarnQueue;
  NIBUF *mpInBuf;    // message being received
  NIBUF *mpRecvBuf;  // complete message, saved error info (status ERR) or the ping marker
  uint8_t mHdlPassPossible;
  NITAB *mpSendHdl;        // handle being passed
  ZUL_RAW *mpPassHdlData;  // the 6 announce bytes received
  NITAB *mpAcceptedHdl;    // handle received, not yet collected
  void *mpSet;
  uint8_t mSelMode, mSockMode, mSelStat;
  uint8_t mWritable;
};

namespace ni::buf {

enum : uint8_t { kOff = 0, kConnWait = 1, kOk = 2, kErr = 3, kAccepting = 4, kSending = 5 };
extern const char *const kStatusName[6];

inline constexpr const char16_t *kMod = u"nibuf.cpp";
inline constexpr uint8_t kNiVersion = 40;
inline constexpr int kCtlHdr = 20;  // bytes before the error info
inline constexpr int kCtlMin = 24;  // the shortest control message

// The marker that stands in mpRecvBuf for a ping answered or a handle received; never read.
NIBUF *PingMarker() noexcept;
inline bool IsMarker(const NIBUF *b) noexcept { return b == PingMarker(); }

// The extension of a handle, null when it has none.
inline NI_XHDL *Xhdl(NITAB *p) noexcept { return p->mpXhdl; }

// Heap accounting of the layer (bytes of storage in use); the limit of NIP_BUF_MAX_HEAP.
uint64_t HeapInUse() noexcept;
bool HeapLimitReached() noexcept;

// Status change with its trace.
void SetStatus(NITAB *pHdl, NI_XHDL *x, uint8_t status, const char *fn) noexcept;
// The select state follows the buffer state (nothing to do outside a select set).
int SelUpdate(NITAB *pHdl, NI_XHDL *x) noexcept;

// The steps of the layer, named as their traces name them.
int CheckError(NITAB *pHdl, NI_XHDL *x) noexcept;
void SetError(NITAB *pHdl, NI_XHDL *x, int rc) noexcept;
int SetHS(NITAB *pHdl, NI_XHDL *x, bool on) noexcept;
int PrivWrite(NITAB *pHdl, NI_XHDL *x, NIBUF **ppBuffer, const ZUL_RAW *pData, int len,
              int timeout) noexcept;
int SendReadyQueue(NITAB *pHdl, NI_XHDL *x, int timeout) noexcept;
int EmptyOutQueue(NITAB *pHdl, NI_XHDL *x, int timeout) noexcept;
int In(NITAB *pHdl, NI_XHDL *x, int timeout) noexcept;
int TryToRead(NITAB *pHdl, NI_XHDL *x, int timeout) noexcept;
int FinishHandshake(NITAB *pHdl, NI_XHDL *x, int timeout) noexcept;
int AcceptSentHdl(NITAB *pHdl, NI_XHDL *x, int timeout) noexcept;
// Sends a control message: opcode messages carry the current error info (set first), error
// reports the one standing (NIEINTERN when none). pXhdl null: a plain handle.
int SendMsg(NITAB *pHdl, NI_XHDL *x, int timeout, int opcode, const ZUL_RAW *pData,
            int dataLen) noexcept;
int SendErr(NITAB *pHdl, NI_XHDL *x, int timeout, int rc) noexcept;
// The operations table of buffered handles.
extern const NI_XHDL_OPS kOps;
// The opcode hook of NiBufISetExtFunc, null when unset.
NIBUF_OPCODE_FUNC OpcodeHook() noexcept;

}  // namespace ni::buf

// Internal names as the traces give them.
// Works out what a member of a select set reports and what it needs from its socket; isNew adds
// the socket (with pData), isRemove takes it out. ZUL_O_K outside a set.
int NiBufISelUpdate(NITAB *pHdl, NI_XHDL *pXhdl, void *pData, int isNew, int isRemove) noexcept;
void NiBufISelRemove(NITAB *pHdl, NI_XHDL *pXhdl) noexcept;
void NiBufIClose(NITAB *pHdl, NI_XHDL *pXhdl) noexcept;
int NiBufISetHS(NITAB *pHdl, NI_XHDL *pXhdl, int on) noexcept;
int NiBufISendMsg(NITAB *pHdl, NI_XHDL *pXhdl, int timeout, int opcode, const ZUL_RAW *pData,
                  int dataLen) noexcept;
int NiBufISendErr(NITAB *pHdl, NI_XHDL *pXhdl, int timeout, int rc) noexcept;
// Queue lengths and texts for dumps.
int NiBufIGetOutQueueLen(NITAB *pHdl) noexcept;
const NI_XHDL *NiBufIGetExt(const NITAB *pHdl) noexcept;

#endif  // NI_NIBUF_H
