#define DPTRC_MODULE u"tlmmtdatasendingsocketagent"

#include "tlm/tlmmtdatasendingsocketagent.h"

#include <memory>

#include "thr/thr_sigblock.h"
#include "tlm/tlmprofile/tlmparameterhelper.h"
#include "zul_dptrace.h"
#include "zul_ni.h"
#include "zul_u16conv.h"
#include "zul_u16printf.h"

namespace {

typedef TLMParameterHelper Param;

// niTraceMask bit 39: the network interface's error reporting, switched off while a destination
// is broken so that an outage is reported once, not at every interval.
constexpr uint64_t kNiErrorTraceBit = 0x8000000000ULL;

// Room of the agent texts (" in agent 3"), as in the messages' original buffers.
constexpr size_t kAgentTextUnits = 20;
// recvData reads at most this many units.
constexpr size_t kRecvUnits = 4095;

const ZUL_UTF16 *const kNames[] = {u"Main agent", u"2nd agent", u"3rd agent", u"4th agent",
                                   u"5th agent"};

struct AgentText {
  ZUL_UTF16 units[kAgentTextUnits];
};

AgentText agentText(const ZUL_UTF16 *format, size_t position) {
  AgentText text;
  snprintfU16(text.units, kAgentTextUnits, format, static_cast<int>(position + 1));
  return text;
}

}  // namespace

CMTDataSendingSocketAgent::CMTDataSendingSocketAgent() {
  addDestination(1, Param::GetAgentHost(), Param::GetAgentPort(), Param::GetAgentType());
  const zulstring hosts[] = {Param::GetAgentHost2(), Param::GetAgentHost3(),
                             Param::GetAgentHost4(), Param::GetAgentHost5()};
  const uint16_t ports[] = {Param::GetAgentPort2(), Param::GetAgentPort3(),
                            Param::GetAgentPort4(), Param::GetAgentPort5()};
  const uint16_t types[] = {Param::GetAgentType2(), Param::GetAgentType3(),
                            Param::GetAgentType4(), Param::GetAgentType5()};
  for (int k = 0; k < 4; ++k) {
    // Agents 2 to 5 without a host are left out altogether.
    if (!hosts[k].empty()) addDestination(k + 2, hosts[k], ports[k], types[k]);
  }
  sendTimeoutMs_ = Param::GetSocketSendTimeout();
  recvTimeoutMs_ = Param::GetSocketRecvTimeout();
}

CMTDataSendingSocketAgent::~CMTDataSendingSocketAgent() {
  for (size_t i = 0; i < handles_.size() && i < connectionFlags_.size(); ++i) {
    if (connectionFlags_[i] == kConnected) NiCloseHandle(handles_[i]);
  }
}

void CMTDataSendingSocketAgent::addDestination(int number, const zulstring &host, uint16_t port,
                                               uint16_t type) noexcept {
  try {
    NI_NODEADDR addr;
    if (NiHostToAddr(host.c_str(), &addr) == ZUL_O_K) {
      types_.push_back(type);
      hosts_.push_back(host);
      ports_.push_back(port);
      connectionFlags_.push_back(kNotConnected);
      states_.push_back(kIdle);
      handles_.push_back(0);
      return;
    }
    // A failed name adds a flag and a state only: see the class comment.
    connectionFlags_.push_back(kUnusableHost);
    states_.push_back(kIdle);
    DPTRC_ERR(tf, u"%s failed to be initilized due to incorrect host setting!\n",
              kNames[number - 1]);
  } catch (...) {
    // Out of memory while setting up: the destination is left out.
    DPTRC_ERR(tf, u"%s failed to be initilized due to incorrect host setting!\n",
              kNames[number - 1]);
  }
}

bool CMTDataSendingSocketAgent::connect(size_t i) noexcept {
  NI_NODEADDR addr;
  if (NiHostToAddr(hosts_[i].c_str(), &addr) != ZUL_O_K) return false;
  return NiRawHandleForAddr(&addr, ports_[i], static_cast<int>(sendTimeoutMs_), &handles_[i]) ==
         ZUL_O_K;
}

bool CMTDataSendingSocketAgent::checkStatus() noexcept {
  size_t count = hosts_.size();
  for (size_t i = 0; i < hosts_.size(); ++i) {
    if (connectionFlags_[i] != kNotConnected) continue;
    const AgentText agent = agentText(u" in agent %d", i);
    if (!connect(i)) {
      if (states_[i] == kIdle) {
        DPTRC_ERR(tf,
                  u"NI raw handle failed to be initilized at IDEL to CONNECTED, connection to "
                  u"agent destination failed to be established %s\n",
                  agent.units);
        NiDisableTrace(kNiErrorTraceBit);
      } else if (states_[i] == kStateConnected) {
        DPTRC_ERR(tf,
                  u"NI raw handle failed to be initilized due to the broken connection, "
                  u"connection to agent destination failed to be established %s\n",
                  agent.units);
        NiDisableTrace(kNiErrorTraceBit);
      }
      states_[i] = kBroken;
      NiCloseHandle(handles_[i]);
      --count;
      continue;
    }
    connectionFlags_[i] = kConnected;
    if (states_[i] == kIdle) {
      DPTRC(1, tf, u"NI raw handle gets initialized successfully for the first time%s\n",
            agent.units);
    } else if (states_[i] == kBroken) {
      DPTRC(1, tf,
            u"NI raw handle gets restored successfully from the previous broken connection%s\n",
            agent.units);
      NiEnableTrace(kNiErrorTraceBit);
    }
    states_[i] = kStateConnected;
    DPTRC(2, tf, u"NI raw handle gets initialized successfully %s\n", agent.units);
  }
  return count != 0;
}

void CMTDataSendingSocketAgent::sendData(zulstring text) noexcept {
  // Three bytes per unit is the most UTF-8 takes, plus the terminator.
  const size_t size = text.size() * 3 + 1;
  std::unique_ptr<ZUL_RAW[]> bytes(new (std::nothrow) ZUL_RAW[size]);
  if (!bytes) return;
  size_t length = 0;
  if (UcsToUtf8sFast(bytes.get(), size, &length, text.c_str()) != 0) {
    DPTRC_ERR(tf, u"UTF conversion error!\n");
    return;
  }
  // A forced flush writes on an application thread: a peer that has gone must cost a code there,
  // never the process.
  thr::ScopedSignalBlock signalsBlocked;
  for (size_t i = 0; i < hosts_.size(); ++i) {
    if (connectionFlags_[i] != kConnected) continue;
    const AgentText agent = agentText(u"in agent %d", i);
    int written = 0;
    const int rc = NiRawWrite(handles_[i], bytes.get(), static_cast<int>(length),
                              static_cast<int>(sendTimeoutMs_), &written);
    if (rc != ZUL_O_K) {
      NiCloseHandle(handles_[i]);
      connectionFlags_[i] = kNotConnected;
      ZUL_UTF16 code[kAgentTextUnits];
      snprintfU16(code, kAgentTextUnits, u"errorcode: %d", rc);
      DPTRC_ERR(tf, u"Failed to send metric data through the socket interface, %s%s\n", code,
                agent.units);
      continue;
    }
    DPTRC(3, tf, u"Send metric/trace data through the socket interface successfully %s\n",
          agent.units);
  }
}

zulstring CMTDataSendingSocketAgent::recvData() noexcept {
  if (connectionFlags_.empty() || connectionFlags_[0] != kConnected || handles_.empty()) {
    return zulstring();
  }
  ZUL_UTF16 units[kRecvUnits + 1] = {};
  const int room = static_cast<int>(kRecvUnits * sizeof(ZUL_UTF16));
  int got = 0;
  while (got < room) {
    int n = 0;
    if (NiRawRead(handles_[0], reinterpret_cast<uint8_t *>(units) + got, room - got,
                  static_cast<int>(recvTimeoutMs_), &n) != ZUL_O_K ||
        n <= 0) {
      break;
    }
    got += n;
  }
  try {
    return zulstring(units, static_cast<size_t>(got) / sizeof(ZUL_UTF16));
  } catch (...) {
    return zulstring();
  }
}
