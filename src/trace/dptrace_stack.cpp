// Stack dumps: one line per frame, "<file>(<symbol>+0x<offset>)[0x<address>]", with the names
// read from the program's own symbol table, else from the dynamic linker. The frames are written
// with writev on the trace file's descriptor, unlocked and as 8-bit text.
#include <dlfcn.h>
#include <elf.h>
#include <execinfo.h>
#include <fcntl.h>
#include <link.h>
#include <sys/uio.h>
#include <unistd.h>

#include <cstdio>
#include <cstring>
#include <string>
#include <vector>

#include "trace/ctrc_state.h"
#include "zul_dptrace.h"
#include "zul_u16conv.h"

namespace {

constexpr int kMaxFrames = 1024;
constexpr size_t kMaxName = 1023;

// The function symbols of the program's own file.
class ProgramSymbols {
 public:
  ProgramSymbols() {
    char path[64];
    std::snprintf(path, sizeof path, "/proc/%d/exe", static_cast<int>(getpid()));
    fd_ = open(path, O_RDONLY | O_CLOEXEC);
    if (fd_ >= 0) Load();
  }
  ~ProgramSymbols() {
    if (fd_ >= 0) close(fd_);
  }
  ProgramSymbols(const ProgramSymbols &) = delete;
  ProgramSymbols &operator=(const ProgramSymbols &) = delete;

  // The name of the function whose range holds addr (the one with the highest start wins), and
  // its start address; false when there is none.
  bool Find(uintptr_t addr, std::string *name, uintptr_t *start) const {
    if (addr < base_) return false;
    uintptr_t value = addr - base_;
    const Symbol *best = nullptr;
    for (const Symbol &s : symbols_)
      if (s.value <= value && value < s.value + s.size &&
          (best == nullptr || s.value > best->value))
        best = &s;
    if (best == nullptr) return false;
    *name = ReadName(best->name_offset);
    *start = best->value + base_;
    return !name->empty();
  }

 private:
  struct Symbol {
    uintptr_t value;
    uintptr_t size;
    off_t name_offset;  // in the file
  };

  bool Read(off_t offset, void *out, size_t size) const {
    return pread(fd_, out, size, offset) == static_cast<ssize_t>(size);
  }

  void Load() {
    Elf64_Ehdr header;
    if (!Read(0, &header, sizeof header) || std::memcmp(header.e_ident, ELFMAG, SELFMAG) != 0 ||
        header.e_shentsize != sizeof(Elf64_Shdr))
      return;
    std::vector<Elf64_Shdr> sections(header.e_shnum);
    if (sections.empty() || !Read(static_cast<off_t>(header.e_shoff), sections.data(),
                                  sections.size() * sizeof(Elf64_Shdr)))
      return;
    for (const Elf64_Shdr &s : sections)
      if (s.sh_type == SHT_SYMTAB && s.sh_link < sections.size()) LoadTable(s, sections[s.sh_link]);
    base_ = ProgramBase();
  }

  void LoadTable(const Elf64_Shdr &table, const Elf64_Shdr &strings) {
    if (table.sh_entsize != sizeof(Elf64_Sym)) return;
    std::vector<Elf64_Sym> syms(table.sh_size / sizeof(Elf64_Sym));
    if (!Read(static_cast<off_t>(table.sh_offset), syms.data(), syms.size() * sizeof(Elf64_Sym)))
      return;
    for (const Elf64_Sym &sym : syms)
      if (ELF64_ST_TYPE(sym.st_info) == STT_FUNC && sym.st_value != 0)
        symbols_.push_back(
            {sym.st_value, sym.st_size, static_cast<off_t>(strings.sh_offset + sym.st_name)});
  }

  std::string ReadName(off_t offset) const {
    std::string name;
    char c;
    while (name.size() < kMaxName && Read(offset + static_cast<off_t>(name.size()), &c, 1) &&
           c != 0)
      name.push_back(c);
    return name;
  }

  // The load address of the program itself: the first object the dynamic linker reports.
  static uintptr_t ProgramBase() {
    uintptr_t base = 0;
    dl_iterate_phdr(
        [](struct dl_phdr_info *info, size_t, void *data) {
          *static_cast<uintptr_t *>(data) = info->dlpi_addr;
          return 1;
        },
        &base);
    return base;
  }

  int fd_ = -1;
  uintptr_t base_ = 0;
  std::vector<Symbol> symbols_;
};

// Writes one frame line in one writev, or through output_func while one is set.
void WriteFrame(int fd, const char *file, const char *symbol, uintptr_t start, uintptr_t addr) {
  char offset_text[40] = "";
  char address_text[40];
  const char *open_text = "";
  const char *sign = "";
  if (symbol != nullptr) {
    open_text = "(";
    sign = addr >= start ? "+0x" : "-0x";
    std::snprintf(offset_text, sizeof offset_text, "%lx)",
                  static_cast<unsigned long>(addr >= start ? addr - start : start - addr));
  }
  std::snprintf(address_text, sizeof address_text, "[0x%lx]\n", static_cast<unsigned long>(addr));
  const char *parts[] = {file != nullptr ? file : "",
                         open_text,
                         symbol != nullptr ? symbol : "",
                         sign,
                         offset_text,
                         address_text};
  struct iovec iov[6];
  for (int i = 0; i < 6; ++i) iov[i] = {const_cast<char *>(parts[i]), std::strlen(parts[i])};
  if (output_func == nullptr) {
    ssize_t written = writev(fd, iov, 6);  // a failed frame line is lost, like any trace line
    (void)written;
    return;
  }
  std::string line;
  for (const char *part : parts) line += part;
  std::u16string wide(line.size(), u' ');
  A7nToUcn(wide.data(), line.data(), line.size());
  output_func(wide.data(), wide.size(), output_info);
}

// The index of the first frame behind the dumper. That is 1, unless an interceptor of backtrace
// (as sanitizers install) put frames of its own before the dumper's.
int FirstCaller(const ProgramSymbols &program, void *const *frames, int count) {
  const auto dumper = reinterpret_cast<uintptr_t>(&CTrcStack2);
  for (int i = 0; i < count && i < 4; ++i) {
    std::string name;
    uintptr_t start = 0;
    Dl_info info;
    if (program.Find(reinterpret_cast<uintptr_t>(frames[i]), &name, &start) && start == dumper)
      return i + 1;
    if (dladdr(frames[i], &info) != 0 && reinterpret_cast<uintptr_t>(info.dli_saddr) == dumper)
      return i + 1;
  }
  return 1;
}

void Rule(CTRC_HDL hdl, const char16_t *text) {
  ctrc::Lock lock;
  DpTrcNoTi(hdl, u"%s", text);
}

}  // namespace

void CTrcStack2(CTRC_HDL hdl) noexcept {
  try {
    Rule(hdl, u"------------------ C-STACK ----------------------\n");
    void *frames[kMaxFrames];
    int count = backtrace(frames, kMaxFrames);
    FILE *stream;
    {
      ctrc::Lock lock;
      stream = ctrc::Resolve(hdl).stream;
    }
    int fd = output_func == nullptr ? fileno(stream) : -1;
    ProgramSymbols program;
    std::string name;
    for (int i = FirstCaller(program, frames, count); i < count; ++i) {
      auto addr = reinterpret_cast<uintptr_t>(frames[i]);
      uintptr_t start = 0;
      if (program.Find(addr, &name, &start)) {
        WriteFrame(fd, nullptr, name.c_str(), start, addr);
        continue;
      }
      Dl_info info;
      if (dladdr(frames[i], &info) != 0) {
        WriteFrame(fd, info.dli_fname, info.dli_sname, reinterpret_cast<uintptr_t>(info.dli_saddr),
                   addr);
      } else {
        WriteFrame(fd, nullptr, nullptr, 0, addr);
      }
    }
    Rule(hdl, u"-------------------------------------------------\n");
  } catch (...) {
    // Out of memory while reading the symbols: the dump stays incomplete.
  }
}

void CTrcStack(CTRC_HDL hdl) noexcept { CTrcStack2(hdl); }
