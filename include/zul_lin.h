/* Checks and tuning for a server process on Linux: resource limits and kernel memory settings,
 * memory parameter defaults, processor affinity, priority and per-process profiling output.
 *
 * Everything here only reports: messages go to standard error, and nothing is changed beyond what
 * a function names. */
#ifndef ZUL_LIN_H
#define ZUL_LIN_H

#include "zul_base.h"

/* Reports the hard and soft limits of virtual memory, core size, data segment size, stack size
 * and open files in this order, in MB or "UNLIMITED" (open files as a count), then the page size
 * and the kernel's shmmax and shmall in MB. Warns when the soft limit of virtual memory is not
 * unlimited, when the soft stack is below 4 MiB and when fewer than 8192 files may be open; the
 * warnings give values in bytes (files as a count). A kernel value that can't be read or parsed
 * leaves its line out. */
ZUL_API void LINCheckMemorySettings(void) ZUL_NOTHROW;

/* Answers the physical memory in MB. Warns when less than 20479 MB of swap are configured, and
 * reports the size of /dev/shm/. */
ZUL_API long LinGetPhysMemMB(void) ZUL_NOTHROW;

/* Answers the proposed default of a memory parameter as text, computed from the physical memory
 * (calculatedMB, reported first) with x = max(5, (25 * calculatedMB - 3200) / 128):
 *   em/max_size_MB      calculatedMB          em/initial_size_MB  calculatedMB / 4
 *   rdisp/ROLL_SHM      x * 80 + 1000 within 32768 to 0x20000
 *   rdisp/PG_SHM        x * 40 + 1000 within 32768 to 0x10000
 *   rdisp/ROLL_MAXFS    2 * rdisp/ROLL_SHM    rdisp/PG_MAXFS      2 * rdisp/PG_SHM
 *   ztta/roll_first 1, ztta/roll_area 6500000, ztta/roll_extension 4000000000,
 *   em/blocksize_KB 1024.
 * The result is reported as "name = value" and stays valid until the thread's next call. Any
 * other name (or null) is reported as unknown and answers null. */
ZUL_API const char *LinSetMMDefaults(const char *name) ZUL_NOTHROW;

/* Binds process pid (0: the caller) to the CPUs of cpu_list, numbers separated by commas. A null
 * list changes nothing and answers the number of CPUs online. Entries that are no number of a CPU
 * online are reported and skipped, empty entries ignored; the rest is applied. Only the first 64
 * CPUs can be named. Answers 0 when the affinity was set, -1 otherwise. */
ZUL_API int LINSetProcessAffinity(int pid, const char *cpu_list) ZUL_NOTHROW;

/* Sets the nice value of process pid (0: the caller): the words "Low" (5), "Normal" (0) and
 * "High" (-5) in any case, or a number. Answers 0 when getpriority confirms the value, -1
 * otherwise, with a report. */
ZUL_API int LINSetProcessPrio(int pid, const char *text) ZUL_NOTHROW;

/* When GMON_OUT_PREFIX is set, appends "_" and the program's name to it, so that each program
 * writes its own profile output. */
ZUL_API void Linux_initialize_gmon(void) ZUL_NOTHROW;

/* Answers 1 when the unwinder's _Unwind_GetIPInfo can be found, 0 otherwise. */
ZUL_API int Lin_libgcc_ok(void) ZUL_NOTHROW;

/* fork(2). */
ZUL_API int fork_Linux(void) ZUL_NOTHROW;

/* The memory manager trace of a host; this library has none, and it writes nothing. */
ZUL_API void LinZAMMTrace(void) ZUL_NOTHROW;

#endif /* ZUL_LIN_H */
