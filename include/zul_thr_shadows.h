/* The C library calls that tlm.so replaces for the whole process.
 *
 * tlm.so exports these names, with the C library's own declarations and contracts, so that every
 * caller that binds to them gets thread-safe behaviour without a change at its call site: the
 * static results are kept per thread (each thread's rand sequence starts from seed 1), and a
 * pointer answered to one thread is not overwritten by another thread's call. Their declarations
 * are those of the system headers, so they are not repeated here with ZUL_API; instead
 * ZUL_THR_SHADOWS lists each name once as ZUL_SHADOW(name), and the export checks read this
 * list besides the ZUL_API declarations. */
#ifndef ZUL_THR_SHADOWS_H
#define ZUL_THR_SHADOWS_H

/* Expands ZUL_SHADOW(name) for each replaced call. */
#define ZUL_THR_SHADOWS(ZUL_SHADOW) \
  ZUL_SHADOW(asctime)               \
  ZUL_SHADOW(ctime)                 \
  ZUL_SHADOW(gmtime)                \
  ZUL_SHADOW(localtime)             \
  ZUL_SHADOW(strtok)                \
  ZUL_SHADOW(rand)                  \
  ZUL_SHADOW(ttyname)               \
  ZUL_SHADOW(readdir64)             \
  ZUL_SHADOW(getgrgid)              \
  ZUL_SHADOW(getgrnam)              \
  ZUL_SHADOW(gethostbyaddr)         \
  ZUL_SHADOW(gethostbyname)         \
  ZUL_SHADOW(gethostent)            \
  ZUL_SHADOW(getlogin)              \
  ZUL_SHADOW(getpwent)              \
  ZUL_SHADOW(getpwnam)              \
  ZUL_SHADOW(getpwuid)              \
  ZUL_SHADOW(getservbyname)         \
  ZUL_SHADOW(getservbyport)         \
  ZUL_SHADOW(getservent)            \
  ZUL_SHADOW(getspent)

#endif /* ZUL_THR_SHADOWS_H */
