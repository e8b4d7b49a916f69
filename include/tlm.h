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

/* ---- Start and stop ----
 * The library is started once per process, before the application's other threads call it, and
 * stopped after their last call. Every other TLM_ function does nothing (and answers 0) while the
 * library is stopped, and likewise while the instrument level threshold is 0 (the global switch).
 * The library's own trace file is <logdir>/<component>_tlm.trc, with each "|" of the component
 * name written as "_"; when logdir can't be written, the file goes to the working directory.
 * Null text arguments are read as empty text, everywhere. */

/* The nesting count of started uses: 0 while stopped. For inspection only. */
ZUL_API uint16_t s_process_usage;

/* Starts the library with the configuration file tlm.conf of the directory in the environment
 * variable TLM_CONFIG (or /usr/zul/tlm/config, or the working directory). component names the
 * application in metric names and in the trace file's name; pidOption -1 adds the process id to
 * metric names, any other value is added as it is. Answers 0, always. A call while started only
 * counts one more use (see TLM_ProcExitNestable) and changes nothing. */
ZUL_API int TLM_ProcInit(const ZUL_UTF16 *component, short pidOption) ZUL_NOTHROW;
/* The same with the configuration file tlm.conf of directory path. */
ZUL_API int TLM_ProcInitWithProfilePath(const ZUL_UTF16 *component, short pidOption,
                                        const ZUL_UTF16 *path) ZUL_NOTHROW;
/* The same with count pairs of parameter name and value instead of a file, over the defaults.
 * Pairs whose name or value is null or empty are skipped. More than 26 pairs: none is taken, and
 * not even the default texts apply (logdir and system_name are then empty); numbers keep their
 * built-in values. */
ZUL_API int TLM_ProcInitWithParam(const ZUL_UTF16 *component, short pidOption, uint32_t count,
                                  const ZUL_UTF16 *pairs[][2]) ZUL_NOTHROW;
/* Stops the library whatever the nesting: sends what was collected and frees everything. Must
 * follow the last call of every other thread; calls still under way are waited for. */
ZUL_API void TLM_ProcExit(void) ZUL_NOTHROW;
/* Takes one use off: the last one stops the library. Answers the count of uses left. Called while
 * stopped, the count wraps to 65535 and TLM_ProcExit then does nothing until the next start. */
ZUL_API uint16_t TLM_ProcExitNestable(void) ZUL_NOTHROW;
/* The size of one text unit in bytes: 2. */
ZUL_API int TLM_getCharSize(void) ZUL_NOTHROW;
/* Sets the prefix that metric names carry after the component. */
ZUL_API void TLM_setInstancePrefix(const ZUL_UTF16 *prefix) ZUL_NOTHROW;
/* Writes the active configuration to the library's trace. */
ZUL_API void TLM_checkActiveParameter(void) ZUL_NOTHROW;

/* ---- Transactions and components ----
 * Every call acts on the context of one session. The plain functions use the calling thread as the
 * session. The Ex functions take first a function that answers the session's identifier, for an
 * application that moves one session between threads; it must still use a session from one
 * thread at a time. An Ex function whose function pointer is null, or answers null or empty
 * text, does nothing (and answers 0).
 *
 * Levels are importance numbers: a component is timed when its level is below the instrument
 * level threshold (below the trace threshold in a traced transaction); lower is more important.
 * The end of the outermost component ends the transaction. */

/* Answers a session identifier: zero-terminated text that stays valid until the call returns. */
typedef const ZUL_UTF16 *(*TLM_SESSION_ID_FUNC)(void);

/* Begins a transaction with an incoming passport (may be null or empty): the passport decides
 * whether the transaction is traced and gives it its identity. A transaction still open in the
 * session is given up first. Needed after TLM_terminateTimingAll before the session times again. */
ZUL_API void TLM_initContext(const ZUL_UTF16 *passport) ZUL_NOTHROW;
ZUL_API void TLM_initContextEx(TLM_SESSION_ID_FUNC session, const ZUL_UTF16 *passport) ZUL_NOTHROW;
/* Starts timing component|operation and answers its record id, or 0 when it isn't timed (level
 * filtered, library stopped or switched off, session given up). Begins a transaction when the
 * session has none. */
ZUL_API uint32_t TLM_startTiming(const ZUL_UTF16 *component, const ZUL_UTF16 *operation,
                                 uint16_t level) ZUL_NOTHROW;
ZUL_API uint32_t TLM_startTimingEx(TLM_SESSION_ID_FUNC session, const ZUL_UTF16 *component,
                                   const ZUL_UTF16 *operation, uint16_t level) ZUL_NOTHROW;
/* Ends the record recordId. Records started inside it and still open end as interrupted. An id of
 * 0 does nothing; an id that lies between the ids of two open records gives up the transaction. */
ZUL_API void TLM_endTiming(uint32_t recordId) ZUL_NOTHROW;
ZUL_API void TLM_endTimingEx(TLM_SESSION_ID_FUNC session, uint32_t recordId) ZUL_NOTHROW;
/* As TLM_endTiming, counted as terminated rather than finished. */
ZUL_API void TLM_terminateTiming(uint32_t recordId) ZUL_NOTHROW;
ZUL_API void TLM_terminateTimingEx(TLM_SESSION_ID_FUNC session, uint32_t recordId) ZUL_NOTHROW;
/* Gives up every open record of the session's transaction; the session then times nothing until
 * TLM_initContext. */
ZUL_API void TLM_terminateTimingAll(void) ZUL_NOTHROW;
ZUL_API void TLM_terminateTimingAllEx(TLM_SESSION_ID_FUNC session) ZUL_NOTHROW;

/* Pairs attached to the record recordId for the transaction trace. They are kept only in a traced
 * transaction and only while recordId is the innermost open record. */
ZUL_API void TLM_appendInfo(uint32_t recordId, const ZUL_UTF16 *name,
                            const ZUL_UTF16 *value) ZUL_NOTHROW;
ZUL_API void TLM_appendInfoEx(TLM_SESSION_ID_FUNC session, uint32_t recordId, const ZUL_UTF16 *name,
                              const ZUL_UTF16 *value) ZUL_NOTHROW;
/* As TLM_appendInfo; a name attached before gets value added to its list, after a ",". */
ZUL_API void TLM_appendInfoToList(uint32_t recordId, const ZUL_UTF16 *name,
                                  const ZUL_UTF16 *value) ZUL_NOTHROW;
ZUL_API void TLM_appendInfoToListEx(TLM_SESSION_ID_FUNC session, uint32_t recordId,
                                    const ZUL_UTF16 *name, const ZUL_UTF16 *value) ZUL_NOTHROW;
/* The pair "Exception" = value. */
ZUL_API void TLM_appendExceptionInfo(uint32_t recordId, const ZUL_UTF16 *value) ZUL_NOTHROW;
ZUL_API void TLM_appendExceptionInfoEx(TLM_SESSION_ID_FUNC session, uint32_t recordId,
                                       const ZUL_UTF16 *value) ZUL_NOTHROW;
/* The pair "Return Value" = value. */
ZUL_API void TLM_appendReturnInfo(uint32_t recordId, const ZUL_UTF16 *value) ZUL_NOTHROW;
ZUL_API void TLM_appendReturnInfoEx(TLM_SESSION_ID_FUNC session, uint32_t recordId,
                                    const ZUL_UTF16 *value) ZUL_NOTHROW;
/* The pair "Method Call Parameter <parameter>" = value. */
ZUL_API void TLM_appendParameterInfo(uint32_t recordId, const ZUL_UTF16 *parameter,
                                     const ZUL_UTF16 *value) ZUL_NOTHROW;
ZUL_API void TLM_appendParameterInfoEx(TLM_SESSION_ID_FUNC session, uint32_t recordId,
                                       const ZUL_UTF16 *parameter,
                                       const ZUL_UTF16 *value) ZUL_NOTHROW;
/* The pair "outbound.ZUL-PASSPORT" = value; a non-zero list adds to its list as
 * TLM_appendInfoToList does. */
ZUL_API void TLM_appendPassportInfo(uint32_t recordId, const ZUL_UTF16 *value,
                                    int list) ZUL_NOTHROW;
ZUL_API void TLM_appendPassportInfoEx(TLM_SESSION_ID_FUNC session, uint32_t recordId,
                                      const ZUL_UTF16 *value, int list) ZUL_NOTHROW;
/* A pair of the whole transaction, kept (replacing an earlier value) whether or not it is
 * traced. */
ZUL_API void TLM_appendContextInfo(const ZUL_UTF16 *name, const ZUL_UTF16 *value) ZUL_NOTHROW;
ZUL_API void TLM_appendContextInfoEx(TLM_SESSION_ID_FUNC session, const ZUL_UTF16 *name,
                                     const ZUL_UTF16 *value) ZUL_NOTHROW;
/* The transaction's pair "User ID" = value. */
ZUL_API void TLM_appendUserID(const ZUL_UTF16 *value) ZUL_NOTHROW;
ZUL_API void TLM_appendUserIDEx(TLM_SESSION_ID_FUNC session, const ZUL_UTF16 *value) ZUL_NOTHROW;

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
/* Queues the string event name=value under subPath with the traces, then flushes the metrics. */
ZUL_API void TLM_setStringValue(const ZUL_UTF16 *subPath, const ZUL_UTF16 *name,
                                const ZUL_UTF16 *value) ZUL_NOTHROW;

/* ---- Passports, trace identity and thresholds ----
 * Text results follow the buffer rule above: out holds size units; the answer is the text's
 * length, or, when size isn't greater than the length, the length plus one with nothing written.
 * Every function answers 0 (or empty text) while the library is stopped; those that read the
 * session's transaction also while the global switch is off. */

/* The passport to send with a call to another process: hexadecimal text that the next process
 * hands to TLM_initContext to continue the transaction. Empty (0) when the session has no
 * transaction or its transaction isn't traced end to end. */
ZUL_API int TLM_getPassport(ZUL_UTF16 *out, int size) ZUL_NOTHROW;
ZUL_API int TLM_getPassportEx(TLM_SESSION_ID_FUNC session, ZUL_UTF16 *out, int size) ZUL_NOTHROW;
/* A field of the passport that began the session's transaction: 1 transaction id, 2 root context
 * id, 3 connection id, 4 connection counter in decimal; any other element is empty text. */
ZUL_API int TLM_getPassportElement(uint16_t element, ZUL_UTF16 *out, int size) ZUL_NOTHROW;
ZUL_API int TLM_getPassportElementEx(TLM_SESSION_ID_FUNC session, uint16_t element, ZUL_UTF16 *out,
                                     int size) ZUL_NOTHROW;
/* The identity of the session's transaction in traces; empty when the session has none. */
ZUL_API int TLM_getTraceGuid(ZUL_UTF16 *out, int size) ZUL_NOTHROW;
ZUL_API int TLM_getTraceGuidEx(TLM_SESSION_ID_FUNC session, ZUL_UTF16 *out, int size) ZUL_NOTHROW;
/* The trace level (0 none to 3 high) of the session's transaction; 0 when it has none. */
ZUL_API uint16_t TLM_getTraceLevel(void) ZUL_NOTHROW;
ZUL_API uint16_t TLM_getTraceLevelEx(TLM_SESSION_ID_FUNC session) ZUL_NOTHROW;
/* The trace flag of the session's transaction's passport; 0 when it has none. */
ZUL_API uint16_t TLM_getTraceFlag(void) ZUL_NOTHROW;
ZUL_API uint16_t TLM_getTraceFlagEx(TLM_SESSION_ID_FUNC session) ZUL_NOTHROW;

/* The passport to send on, made from the hexadecimal passport text passport without any session:
 * a new connection id, connection counter 0 and this component as the previous one. 0 when
 * passport isn't a hexadecimal passport. */
ZUL_API int TLM_getPassport2(const ZUL_UTF16 *passport, ZUL_UTF16 *out, int size) ZUL_NOTHROW;
/* A field of the hexadecimal passport text passport, numbered as for TLM_getPassportElement. 0
 * when passport isn't one. */
ZUL_API int TLM_getPassportElement2(const ZUL_UTF16 *passport, uint16_t element, ZUL_UTF16 *out,
                                    int size) ZUL_NOTHROW;
/* The trace level (0 to 3) that the hexadecimal passport text passport asks for; 0 when it isn't
 * one. */
ZUL_API uint16_t TLM_getTraceLevel2(const ZUL_UTF16 *passport) ZUL_NOTHROW;

/* Sets the data sending interval to seconds (at least 15) from the next interval on. */
ZUL_API void TLM_changeDataSendingInterval(uint32_t seconds) ZUL_NOTHROW;
/* Sets the instrument level threshold; 0 switches the library off until it is set again. Applies
 * from the next TLM_startTiming; transactions under way keep the threshold they began with. */
ZUL_API void TLM_changeInstruLevelThreshold(uint16_t level) ZUL_NOTHROW;
/* Sets the instrument level threshold of component name: it applies to the records whose
 * component is name or begins with name and a "|", in the transactions that TLM_initContext
 * begins from now on. The first function serves untraced transactions, the second traced ones. */
ZUL_API void TLM_changeInstruLevelThresholdForComponent(const ZUL_UTF16 *name,
                                                        uint16_t level) ZUL_NOTHROW;
ZUL_API void TLM_changeTraceInstruLevelThresholdForComponent(const ZUL_UTF16 *name,
                                                             uint16_t level) ZUL_NOTHROW;

#endif /* TLM_H */
