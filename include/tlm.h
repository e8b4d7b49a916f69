/* The application's interface of the instrumentation library: the TLM_ functions.
 *
 * Text arguments and results are 16-bit (ZUL_UTF16). A text result is copied into a buffer that the
 * caller supplies, with its capacity in units: the answer is the text's length, and an answer of
 * at least the capacity means that nothing was copied and tells the capacity needed, terminator
 * included. No function reports an error or lets an exception out. */
#ifndef TLM_H
#define TLM_H

#include "zul_base.h"

/* Copies the configured value of the parameter name into value, which holds size units, and
 * answers its length. A null or empty name answers 0; so does a name that has no value, when size
 * is at least 1. When size is not greater than the value's length, nothing is copied and the
 * answer is the length plus one. May be called before the library is started: it then answers
 * from an empty configuration. */
ZUL_API int TLM_getSingleParameterValue(const ZUL_UTF16 *name, ZUL_UTF16 *value,
                                        int size) ZUL_NOTHROW;

/* ---- Resources and metric sending ----
 * Each call does nothing unless the library is started and its global switch is on (the
 * instrument level threshold isn't 0). A null name does nothing either. The reports go to the
 * record of that name in the metric section that is active at the time, which is created when
 * new and is then carried from interval to interval for as long as the process runs. */

/* Sets the resource to value. perInterval 0: the value carries over into the next intervals;
 * non-zero: it starts again at 0 in each interval. */
ZUL_API void TLM_initializeResource(const ZUL_UTF16 *name, int64_t value,
                                    int32_t perInterval) ZUL_NOTHROW;
/* Adds delta to the resource's current value, raising its high watermark. */
ZUL_API void TLM_increaseResource(const ZUL_UTF16 *name, int64_t delta) ZUL_NOTHROW;
/* Subtracts delta from the resource's current value, lowering its low watermark. */
ZUL_API void TLM_decreaseResource(const ZUL_UTF16 *name, int64_t delta) ZUL_NOTHROW;
/* Reports a value with the watermarks and the number of updates that the application measured
 * itself; perInterval as for TLM_initializeResource. */
ZUL_API void TLM_reportResource(const ZUL_UTF16 *name, int64_t value, int64_t high, int64_t low,
                                uint32_t count, int32_t perInterval) ZUL_NOTHROW;
/* Sets a named extra value (KPI) of the resource; it is sent with a resource that keeps its value,
 * to agents of type 2. */
ZUL_API void TLM_reportResourceKPI(const ZUL_UTF16 *name, const ZUL_UTF16 *kpiName,
                                   int64_t value) ZUL_NOTHROW;

/* A function that reports resources; it runs on the library's sending thread just before the
 * metrics are sent, and must not register or deregister call-backs. */
typedef void (*TLM_RESOURCE_CALLBACK)(void);
/* Registers function under id, to be called every interval seconds. An interval longer than the
 * data sending interval is kept in phase: the calls come when the seconds since the epoch modulo
 * interval pass startSecond modulo interval. An id already registered keeps its first function;
 * a null function is ignored. */
ZUL_API void TLM_registerResourceCallBack(uint32_t id, TLM_RESOURCE_CALLBACK function,
                                          uint32_t interval, uint32_t startSecond) ZUL_NOTHROW;
ZUL_API void TLM_deregisterResourceCallBack(uint32_t id) ZUL_NOTHROW;
/* Sends the traces and metrics collected so far, now, on the calling thread; nothing when the
 * data sending interval is 0 or a sending run is already under way. */
ZUL_API void TLM_outputMetricData(void) ZUL_NOTHROW;

#endif /* TLM_H */
