// Internals of the Linux settings check, apart from the system calls so that tests and the fuzz
// target can drive them.
#ifndef KRN_UXPORT_LIN_SETTINGS_H
#define KRN_UXPORT_LIN_SETTINGS_H

#include <cstdint>
#include <cstdio>
#include <string>

namespace uxport {

// The lowest soft limit of open files that passes the check.
inline constexpr unsigned long kOpenFilesBound = 8192;

// Answers the output of the kernel settings command for name, empty when it fails.
using KernelReader = std::string (*)(const char *name);
std::string ReadKernelValue(const char *name);

// Reads a whole unsigned decimal, surrounding white space allowed; false for anything else.
bool ParseUnsigned(const std::string &text, unsigned long *value);

// The limit report and the kernel values, written to out.
void CheckMemorySettings(FILE *out, KernelReader reader);

// The default of one memory parameter for the given physical memory, into value; false for an
// unknown name.
bool MMDefault(const char *name, long calculated_mb, char *value, size_t size);

// A CPU mask of 1024 bits.
struct CpuMask {
  uint64_t bits[16];
};

// Sets the bit of each CPU of list (numbers separated by commas) below ncpu; reports each entry
// that is no such number on err (when not null) and skips it. Answers the number of bits set.
int ParseCpuList(const char *list, int ncpu, CpuMask *mask, FILE *err);

// Reads a priority text: a word in any case or a whole number; false for anything else.
bool ParsePriority(const char *text, int *value);

}  // namespace uxport

#endif  // KRN_UXPORT_LIN_SETTINGS_H
