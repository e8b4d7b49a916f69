// Creation: a passport from command-line options, printed as its hexadecimal text.
#include <getopt.h>

#include <cstdlib>
#include <cstring>
#include <iostream>
#include <string>

#include "passport_tool.h"
#include "zul_epp.h"
#include "zul_pfuuid.h"

namespace passport_tool {
namespace {

constexpr char kHelp[] =
    "usage: tlm-passport create [OPTIONS]\n"
    "  -v, --version N          passport version 1, 2 or 3 (default 3)\n"
    "  -f, --flag N             trace flag, 0 to 65535 (default 15)\n"
    "  -g, --guid HEX           32 hexadecimal digits: the transaction id (version 2 and up)\n"
    "                           and the root context id (version 3); default a new GUID\n"
    "  -c, --component NAME     component name (up to 32 characters)\n"
    "  -s, --service N          service number\n"
    "  -u, --user ID            user id (up to 32)\n"
    "  -a, --action TEXT        action (up to 40)\n"
    "  -t, --action-type N      action type\n"
    "  -p, --previous NAME      previous component name (up to 32)\n"
    "  -x, --transaction ID     transaction id text instead of the GUID (up to 32)\n"
    "  -l, --client TEXT        client (up to 3; version 3)\n"
    "  -n, --connection HEX     connection id, 32 hexadecimal digits (default a new GUID)\n"
    "  -k, --counter N          connection counter (version 3)\n"
    "  -i, --item P:A:K:T:V     item in variable part P (0 to 2) for application A, key K, of\n"
    "                           type T (int, string, bytes, uuid) with value V (bytes and\n"
    "                           uuid in hexadecimal); version 3, may be repeated\n"
    "  -P, --print              also print the passport's tagged form\n";

struct Options {
  int version = 3;
  long flag = 15;
  std::string guid, transaction, connection;
  std::string component, user, action, previous, client;
  long service = 0, action_type = 0, counter = 0;
  std::vector<std::string> items;
  bool print = false;
};

int Fail(const std::string &what) {
  std::cerr << "tlm-passport: " << what << '\n';
  return kExitBadPassport;
}

bool ParseNumber(const char *text, long max, long *out) {
  char *end = nullptr;
  long value = std::strtol(text, &end, 0);
  if (end == text || *end != '\0' || value < 0 || value > max) return false;
  *out = value;
  return true;
}

bool ParseHex(const std::string &text, Bytes *bytes) {
  if (text.size() % 2 != 0) return false;
  bytes->clear();
  for (size_t i = 0; i < text.size(); i += 2) {
    char pair[3] = {text[i], text[i + 1], 0};
    char *end = nullptr;
    long value = std::strtol(pair, &end, 16);
    if (end != pair + 2) return false;
    bytes->push_back(static_cast<ZUL_RAW>(value));
  }
  return true;
}

// 16 bytes from 32 hexadecimal digits, or a new identifier when text is empty.
bool Identifier(const std::string &text, ZUL_RAW *id) {
  if (text.empty()) return pfcreate_zul_uuid_force(id), true;
  Bytes bytes;
  if (!ParseHex(text, &bytes) || bytes.size() != EPP_UUID_LEN) return false;
  std::memcpy(id, bytes.data(), EPP_UUID_LEN);
  return true;
}

std::string HexOf(const ZUL_RAW *bytes, size_t count) {
  static const char kDigits[] = "0123456789ABCDEF";
  std::string text;
  for (size_t i = 0; i < count; ++i) text += kDigits[bytes[i] >> 4], text += kDigits[bytes[i] & 15];
  return text;
}

// Sets one text field; answers false (with a message) when the library refuses it.
bool SetText(uint32_t (*setter)(void *, const ZUL_UTF16 *, uint32_t), void *h,
             const std::string &utf8, const char *name) {
  if (utf8.empty()) return true;
  Text text = FromUtf8(utf8);
  uint32_t rc = setter(h, text.c_str(), static_cast<uint32_t>(text.size()));
  if (rc != EPP_RC_OK) Fail(std::string(name) + " refused (code " + std::to_string(rc) + ")");
  return rc == EPP_RC_OK;
}

// "P:A:K:T:V"; the value is everything after the fourth colon.
bool AddItem(void *h, const std::string &item) {
  size_t colons[4];
  size_t at = 0;
  for (size_t &c : colons) {
    c = item.find(':', at);
    if (c == std::string::npos) return Fail("item \"" + item + "\" is not P:A:K:T:V"), false;
    at = c + 1;
  }
  long part = 0, app = 0, key = 0;
  if (!ParseNumber(item.substr(0, colons[0]).c_str(), 65535, &part) ||
      !ParseNumber(item.substr(colons[0] + 1, colons[1] - colons[0] - 1).c_str(), 65535, &app) ||
      !ParseNumber(item.substr(colons[1] + 1, colons[2] - colons[1] - 1).c_str(), 65535, &key))
    return Fail("item \"" + item + "\": part, application and key must be numbers"), false;
  std::string type = item.substr(colons[2] + 1, colons[3] - colons[2] - 1);
  std::string value = item.substr(colons[3] + 1);
  uint32_t rc;
  auto set = [&](uint8_t t, uint32_t length, const void *v) {
    return eppSetItem(h, uint16_t(part), uint16_t(app), uint16_t(key), t, length, v);
  };
  if (type == "int") {
    auto number = static_cast<int32_t>(std::strtol(value.c_str(), nullptr, 0));
    rc = set(EPP_ITEM_INT, 4, &number);
  } else if (type == "string") {
    Text text = FromUtf8(value);
    rc = set(EPP_ITEM_STRING, static_cast<uint32_t>(text.size()), text.c_str());
  } else if (type == "bytes" || type == "uuid") {
    Bytes bytes;
    if (!ParseHex(value, &bytes) || (type == "uuid" && bytes.size() != EPP_UUID_LEN))
      return Fail("item \"" + item + "\": value must be hexadecimal digits"), false;
    rc = set(type == "uuid" ? EPP_ITEM_UUID : EPP_ITEM_BYTES, static_cast<uint32_t>(bytes.size()),
             bytes.data());
  } else {
    return Fail("item \"" + item + "\": type must be int, string, bytes or uuid"), false;
  }
  if (rc != EPP_RC_OK) Fail("item \"" + item + "\" refused (code " + std::to_string(rc) + ")");
  return rc == EPP_RC_OK;
}

bool Fill(void *h, const Options &o) {
  ZUL_RAW root[EPP_UUID_LEN];
  ZUL_RAW connection[EPP_UUID_LEN];
  if (!Identifier(o.guid, root)) return Fail("--guid needs 32 hexadecimal digits"), false;
  if (!Identifier(o.connection, connection))
    return Fail("--connection needs 32 hexadecimal digits"), false;
  auto flag = static_cast<uint16_t>(o.flag);
  ZUL_RAW flag_bytes[2];
  std::memcpy(flag_bytes, &flag, sizeof flag_bytes);
  eppSetTraceFlag(h, flag_bytes);
  eppSetService(h, static_cast<uint16_t>(o.service));
  eppSetActionType(h, static_cast<uint16_t>(o.action_type));
  if (!SetText(eppSetComponentName, h, o.component, "component name") ||
      !SetText(eppSetUserId, h, o.user, "user id") ||
      !SetText(eppSetAction, h, o.action, "action") ||
      !SetText(eppSetPreComponentName, h, o.previous, "previous component name"))
    return false;
  if (o.version >= 2 &&
      !SetText(eppSetTransactionId, h,
               o.transaction.empty() ? HexOf(root, EPP_UUID_LEN) : o.transaction, "transaction id"))
    return false;
  if (o.version < 3) return true;
  eppSetRootContextId(h, root);
  eppSetConnectionId(h, connection);
  eppSetConnectionCounter(h, static_cast<uint32_t>(o.counter));
  if (!SetText(eppSetClient, h, o.client, "client")) return false;
  for (const std::string &item : o.items)
    if (!AddItem(h, item)) return false;
  return true;
}

// Parses the options; answers -1 when they are good, else the exit code.
int ParseOptions(int argc, char **argv, Options *o) {
  static const option kLong[] = {{"version", required_argument, nullptr, 'v'},
                                 {"flag", required_argument, nullptr, 'f'},
                                 {"guid", required_argument, nullptr, 'g'},
                                 {"component", required_argument, nullptr, 'c'},
                                 {"service", required_argument, nullptr, 's'},
                                 {"user", required_argument, nullptr, 'u'},
                                 {"action", required_argument, nullptr, 'a'},
                                 {"action-type", required_argument, nullptr, 't'},
                                 {"previous", required_argument, nullptr, 'p'},
                                 {"transaction", required_argument, nullptr, 'x'},
                                 {"client", required_argument, nullptr, 'l'},
                                 {"connection", required_argument, nullptr, 'n'},
                                 {"counter", required_argument, nullptr, 'k'},
                                 {"item", required_argument, nullptr, 'i'},
                                 {"print", no_argument, nullptr, 'P'},
                                 {"help", no_argument, nullptr, 'h'},
                                 {nullptr, 0, nullptr, 0}};
  long version = 3;
  bool numbers_ok = true;
  int c;
  while ((c = getopt_long(argc, argv, "v:f:g:c:s:u:a:t:p:x:l:n:k:i:Ph", kLong, nullptr)) != -1) {
    switch (c) {
      case 'v':
        numbers_ok &= ParseNumber(optarg, 3, &version) && version >= 1;
        break;
      case 'f':
        numbers_ok &= ParseNumber(optarg, 65535, &o->flag);
        break;
      case 'g':
        o->guid = optarg;
        break;
      case 'c':
        o->component = optarg;
        break;
      case 's':
        numbers_ok &= ParseNumber(optarg, 65535, &o->service);
        break;
      case 'u':
        o->user = optarg;
        break;
      case 'a':
        o->action = optarg;
        break;
      case 't':
        numbers_ok &= ParseNumber(optarg, 65535, &o->action_type);
        break;
      case 'p':
        o->previous = optarg;
        break;
      case 'x':
        o->transaction = optarg;
        break;
      case 'l':
        o->client = optarg;
        break;
      case 'n':
        o->connection = optarg;
        break;
      case 'k':
        numbers_ok &= ParseNumber(optarg, 0xFFFFFFFFL, &o->counter);
        break;
      case 'i':
        o->items.push_back(optarg);
        break;
      case 'P':
        o->print = true;
        break;
      case 'h':
        std::cout << kHelp;
        return kExitOk;
      default:
        std::cerr << kHelp;
        return kExitUsage;
    }
  }
  if (!numbers_ok || optind != argc) {
    std::cerr << "tlm-passport: a number is out of range, or an argument is left over\n" << kHelp;
    return kExitUsage;
  }
  o->version = static_cast<int>(version);
  return -1;
}

}  // namespace

int Create(int argc, char **argv) {
  Options options;
  if (int rc = ParseOptions(argc, argv, &options); rc >= 0) return rc;
  void *h = nullptr;
  if (eppInit(&h) != EPP_RC_OK) return Fail("no passport could be made");
  eppSetVersion(h, static_cast<uint8_t>(options.version));
  int rc = kExitBadPassport;
  uint32_t needed = 0;
  if (Fill(h, options) && eppNeededNetworkSize(h, &needed) == EPP_RC_OK) {
    Bytes bytes(needed);
    uint32_t used = 0;
    if (eppSerialize(h, bytes.data(), needed, &used) == EPP_RC_OK) {
      std::cout << HexOf(bytes.data(), used) << '\n';
      rc = kExitOk;
    }
  }
  if (rc == kExitOk && options.print) {
    Text printed(8192, 0);
    if (eppPrint(h, printed.data(), static_cast<uint32_t>(printed.size())) == EPP_RC_OK) {
      printed.resize(printed.find(ZUL_UTF16(0)));
      PrintLine(printed);
    }
  }
  eppDelete(h);
  return rc;
}

}  // namespace passport_tool
