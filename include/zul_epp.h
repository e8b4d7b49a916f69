/* Passports: small binary records that travel with a request from one system to the next, so that
 * the pieces of one transaction can be joined end to end.
 *
 * A passport is held as an opaque handle (void *). Its fixed core holds the trace flag, names of
 * the calling and called components, user, action, transaction id and, from version 3 on, the
 * client, component, root context id, connection id and connection counter. A version 3 passport
 * can also carry up to two variable parts of small typed items, addressed by part id (0 to 2),
 * application id and key. eppSerialize and eppDeserialize turn a passport into its network form
 * and back: big-endian integers, UTF-8 text blank-padded to fixed widths, and the eyecatcher
 * "*TH*" at both ends.
 *
 * Call eppSetEnvironment once before anything else. Every function answers one of the EPP_RC_
 * codes below; none lets an exception out. Each passport has its own recursive mutex, which every
 * call on it holds for its work; a sequence of calls is not atomic.
 *
 * Memory comes only through the allocation and free functions given to eppSetEnvironment: one
 * block per passport, per variable part and per item. */
#ifndef ZUL_EPP_H
#define ZUL_EPP_H

#include "zul_base.h"

/* Results of every epp function. */
#define EPP_RC_OK 0
#define EPP_RC_ITEM_EXISTS 1    /* an item with this application and key is there already */
#define EPP_RC_NOT_FOUND 2      /* item or variable part not found */
#define EPP_RC_PART_FULL 3      /* the variable part can't take the item (512 bytes) */
#define EPP_RC_VERSION 4        /* the field needs a higher passport version */
#define EPP_RC_AREA_TOO_SMALL 5 /* the output area is too small */
#define EPP_RC_LENGTH 6         /* text or byte length out of range */
#define EPP_RC_INVALID 7        /* invalid handle, variable part id, argument or stream */
#define EPP_RC_NOT_INIT 8       /* library not initialised; allocation or mutex failure */
#define EPP_RC_TOO_MANY_ITEMS 9 /* an application has five items in the part already */
#define EPP_RC_CONVERSION 10    /* a text of the stream could not be converted */

/* Item types. */
#define EPP_ITEM_BYTES 1  /* 1 to 64 bytes */
#define EPP_ITEM_INT 2    /* a 32-bit integer, big-endian on the wire */
#define EPP_ITEM_UUID 3   /* 16 bytes */
#define EPP_ITEM_STRING 4 /* 1 to 64 units of text */

/* Widths of the text fields in units (and of their network fields in bytes). */
#define EPP_COMPONENT_NAME_LEN 32
#define EPP_USER_ID_LEN 32
#define EPP_ACTION_LEN 40
#define EPP_PRE_COMPONENT_NAME_LEN 32
#define EPP_TRANSACTION_ID_LEN 32
#define EPP_CLIENT_LEN 3

/* Bytes of a root context id or connection id. */
#define EPP_UUID_LEN 16

/* Network sizes: version 1, version 2, and version 3 without variable parts. */
#define EPP_NETWORK_SIZE_V1 160
#define EPP_NETWORK_SIZE_V2 185
#define EPP_NETWORK_SIZE_V3 230

typedef void *(*EPP_ALLOC_FUNC)(size_t size);
typedef void (*EPP_FREE_FUNC)(void *block);
/* Receives one finished trace line (at most 254 units, with its own line end). */
typedef void (*EPP_TRACE_FUNC)(const ZUL_UTF16 *text);

/* The trace hook and its level: errors above 0; creation, deletion, clearing and the network
 * functions above 1; access to single fields above 2. Set by eppSetEnvironment and read without a
 * lock. */
ZUL_API EPP_TRACE_FUNC eppTraceFunc;
ZUL_API int32_t eppTraceLevel;

/* ---- Environment ---- */

/* Starts the library, or replaces its settings: component 1 to 9, passport version 1 to 3 for new
 * passports, an allocation function (not null), a free function and trace function (either may be
 * null), and a trace level of 0 or more. Answers 0, or 7 for a bad argument (nothing changes).
 * Call it before other threads use the library. */
ZUL_API uint32_t eppSetEnvironment(uint16_t component, uint8_t version, EPP_ALLOC_FUNC alloc_func,
                                   EPP_FREE_FUNC free_func, EPP_TRACE_FUNC trace_func,
                                   int32_t trace_level) ZUL_NOTHROW;
/* Changes the trace level at run time. */
ZUL_API void eppSetTraceLevel(int32_t level) ZUL_NOTHROW;
/* The library's own trace hook: writes text to the library's trace file at entry level 1 when the
 * component trace level is 1 or more. */
ZUL_API void eppTraceOutput(const ZUL_UTF16 *text) ZUL_NOTHROW;
/* The version new passports get, or 8 before eppSetEnvironment. */
ZUL_API uint8_t eppGetActiveVersion(void) ZUL_NOTHROW;

/* ---- Passports ---- */

/* Creates an empty passport of the active version into *handle; the caller owns it and frees it
 * with eppDelete. The first passport made while there is no default passport becomes the default
 * passport. */
ZUL_API uint32_t eppInit(void **handle) ZUL_NOTHROW;
/* eppInit, then the setter of each argument that is not null or 0, in the order of the arguments;
 * the transaction id only when the active version is above 1, client, root context id, connection
 * id and counter only when it is above 2. Texts come with their lengths in units; trace_flag,
 * root_context_id and connection_id point to 2, 16 and 16 bytes. When a setter fails, its code is
 * the answer and the passport made so far stays in *handle, owned by the caller. */
ZUL_API uint32_t eppInitAndSet(const ZUL_RAW *trace_flag, const ZUL_UTF16 *component_name,
                               uint32_t component_name_length, uint16_t service,
                               const ZUL_UTF16 *user_id, uint32_t user_id_length,
                               const ZUL_UTF16 *action, uint32_t action_length,
                               uint16_t action_type, const ZUL_UTF16 *pre_component_name,
                               uint32_t pre_component_name_length, const ZUL_UTF16 *transaction_id,
                               uint32_t transaction_id_length, const ZUL_UTF16 *client,
                               uint32_t client_length, const ZUL_RAW *root_context_id,
                               const ZUL_RAW *connection_id, uint32_t connection_counter,
                               void **handle) ZUL_NOTHROW;
/* Frees the passport with its variable parts. The default passport is left alone (answer 0): it
 * lives until eppSetDefault replaces it. */
ZUL_API uint32_t eppDelete(void *handle) ZUL_NOTHROW;
/* Frees the variable parts and returns the core to its state after eppInit. */
ZUL_API uint32_t eppClear(void *handle) ZUL_NOTHROW;
/* The default passport (null when there is none); the library owns it. */
ZUL_API uint32_t eppGetDefault(void **handle) ZUL_NOTHROW;
/* Makes a valid passport the default passport. */
ZUL_API uint32_t eppSetDefault(void *handle) ZUL_NOTHROW;
ZUL_API uint32_t eppGetVersion(void *handle, uint8_t *version) ZUL_NOTHROW;
/* Stores any value, unchecked. Versions 0 and 1 serialise in the version 1 layout, 3 and above in
 * the version 3 layout. */
ZUL_API uint32_t eppSetVersion(void *handle, uint8_t version) ZUL_NOTHROW;

/* ---- Network form ---- */

/* The bytes eppSerialize needs: 160 for version 1, 185 for version 2, 0 for version 0, and for
 * version 3 226 + 12 per variable part + 7 per item + the items' lengths (strings in units) + 4. */
ZUL_API uint32_t eppNeededNetworkSize(void *handle, uint32_t *size) ZUL_NOTHROW;
/* Writes the network form into buffer (size bytes) and its length into *used. 5 when the needed
 * size, or the layout of a version 0 passport (160 bytes), is above size. A string item whose
 * UTF-8 form is longer than its length in units is cut to that many bytes, so *used may be below
 * the needed size. */
ZUL_API uint32_t eppSerialize(void *handle, ZUL_RAW *buffer, uint32_t size,
                              uint32_t *used) ZUL_NOTHROW;
/* Parses size bytes of a network form into a new passport in *handle, owned by the caller; on
 * failure *handle is null. Reads nothing outside the size bytes: where the form would lead before
 * the stream (a total length below 4, which includes 0x8000 and above, or a negative offset of the
 * variable parts), it finds no eyecatcher there, and fails with 7. A text field converts as
 * zero-terminated UTF-8 running on past its field until 32 units (3 for the client, 40 for the
 * action) are filled, a zero byte or the stream's end; its blanks stay in the text. A sender's
 * version above 3 is read as version 3. Answers 7 for a malformed stream, 10 for text that doesn't
 * convert, or the code of the item that couldn't be stored. */
ZUL_API uint32_t eppDeserialize(const ZUL_RAW *bytes, uint32_t size, void **handle) ZUL_NOTHROW;

/* ---- Core fields ---- */

/* The trace flag: two bytes, kept and sent in the order given. */
ZUL_API uint32_t eppGetTraceFlag(void *handle, ZUL_RAW *flag) ZUL_NOTHROW;
ZUL_API uint32_t eppSetTraceFlag(void *handle, const ZUL_RAW *flag) ZUL_NOTHROW;

/* Text fields. A setter copies length units (6 when length is above the field's width) and
 * terminates the copy. A getter copies the text into buffer without terminator, gives its length
 * in *length, and fills the rest of the capacity with blanks; 5 when the text is longer than the
 * capacity. The transaction id needs version 2, the client version 3 (else 4). */
ZUL_API uint32_t eppSetComponentName(void *handle, const ZUL_UTF16 *text,
                                     uint32_t length) ZUL_NOTHROW;
ZUL_API uint32_t eppGetComponentName(void *handle, uint32_t capacity, ZUL_UTF16 *buffer,
                                     uint32_t *length) ZUL_NOTHROW;
ZUL_API uint32_t eppSetUserId(void *handle, const ZUL_UTF16 *text, uint32_t length) ZUL_NOTHROW;
ZUL_API uint32_t eppGetUserId(void *handle, uint32_t capacity, ZUL_UTF16 *buffer,
                              uint32_t *length) ZUL_NOTHROW;
ZUL_API uint32_t eppSetAction(void *handle, const ZUL_UTF16 *text, uint32_t length) ZUL_NOTHROW;
ZUL_API uint32_t eppGetAction(void *handle, uint32_t capacity, ZUL_UTF16 *buffer,
                              uint32_t *length) ZUL_NOTHROW;
ZUL_API uint32_t eppSetPreComponentName(void *handle, const ZUL_UTF16 *text,
                                        uint32_t length) ZUL_NOTHROW;
ZUL_API uint32_t eppGetPreComponentName(void *handle, uint32_t capacity, ZUL_UTF16 *buffer,
                                        uint32_t *length) ZUL_NOTHROW;
ZUL_API uint32_t eppSetTransactionId(void *handle, const ZUL_UTF16 *text,
                                     uint32_t length) ZUL_NOTHROW;
ZUL_API uint32_t eppGetTransactionId(void *handle, uint32_t capacity, ZUL_UTF16 *buffer,
                                     uint32_t *length) ZUL_NOTHROW;
ZUL_API uint32_t eppSetClient(void *handle, const ZUL_UTF16 *text, uint32_t length) ZUL_NOTHROW;
ZUL_API uint32_t eppGetClient(void *handle, uint32_t capacity, ZUL_UTF16 *buffer,
                              uint32_t *length) ZUL_NOTHROW;

/* Numbers. eppGetComponent needs version 3. */
ZUL_API uint32_t eppGetService(void *handle, uint16_t *service) ZUL_NOTHROW;
ZUL_API uint32_t eppSetService(void *handle, uint16_t service) ZUL_NOTHROW;
ZUL_API uint32_t eppGetActionType(void *handle, uint16_t *action_type) ZUL_NOTHROW;
ZUL_API uint32_t eppSetActionType(void *handle, uint16_t action_type) ZUL_NOTHROW;
ZUL_API uint32_t eppGetComponent(void *handle, uint16_t *component) ZUL_NOTHROW;
ZUL_API uint32_t eppSetComponent(void *handle, uint16_t component) ZUL_NOTHROW;

/* Version 3 fields (else 4). Identifiers are 16 bytes. eppIncrConnectionCounter adds 1 and gives
 * the new value in *counter when counter isn't null. */
ZUL_API uint32_t eppGetConnectionCounter(void *handle, uint32_t *counter) ZUL_NOTHROW;
ZUL_API uint32_t eppSetConnectionCounter(void *handle, uint32_t counter) ZUL_NOTHROW;
ZUL_API uint32_t eppIncrConnectionCounter(void *handle, uint32_t *counter) ZUL_NOTHROW;
ZUL_API uint32_t eppGetRootContextId(void *handle, ZUL_RAW *id) ZUL_NOTHROW;
ZUL_API uint32_t eppSetRootContextId(void *handle, const ZUL_RAW *id) ZUL_NOTHROW;
ZUL_API uint32_t eppGetConnectionId(void *handle, ZUL_RAW *id) ZUL_NOTHROW;
ZUL_API uint32_t eppSetConnectionId(void *handle, const ZUL_RAW *id) ZUL_NOTHROW;

/* ---- Items of the variable parts (version 3; else 4) ----
 * Part ids are 0 to 2 (else 7); a passport holds at most two parts. Within one part an item is
 * named by application and key; an application has at most five items in a part, and the items of
 * a part may take 512 bytes with the part's 24: 24 + length for bytes, 28 for an integer, 40 for a
 * UUID, 24 + 2 * (length + 1) for a string, 24 for other types. Room once taken in a part stays
 * taken until the part is deleted. */

/* Adds an item; the part is created when it is missing (8 for a third part id). length is bytes
 * for type 1 (1 to 64), units for type 4 (1 to 64), ignored for types 2 (value points to an
 * int32_t) and 3 (16 bytes). Other types are stored without a value. There is no overwriting: an
 * existing item answers 1. A failure leaves the passport as it was. */
ZUL_API uint32_t eppSetItem(void *handle, uint16_t part_id, uint16_t application, uint16_t key,
                            uint8_t type, uint32_t length, const void *value) ZUL_NOTHROW;
/* Gives type and length through the pointers that aren't null, and copies the value into buffer
 * (capacity bytes; 2 * length for a string, which gets no terminator) unless buffer is null. */
ZUL_API uint32_t eppGetItem(void *handle, uint16_t part_id, uint16_t application, uint16_t key,
                            uint32_t capacity, void *buffer, uint8_t *type,
                            uint32_t *length) ZUL_NOTHROW;
/* The number-th item of the part (counted from 1), whatever its application: application is not
 * used. The value is copied only when capacity isn't 0 and buffer isn't null. */
ZUL_API uint32_t eppGetItemWithNumber(void *handle, uint16_t part_id, uint16_t application,
                                      uint32_t number, uint32_t capacity, uint16_t *out_application,
                                      uint16_t *out_key, uint8_t *type, void *buffer,
                                      uint32_t *length) ZUL_NOTHROW;
ZUL_API uint32_t eppGetItemLength(void *handle, uint16_t part_id, uint16_t application,
                                  uint16_t key, uint32_t *length) ZUL_NOTHROW;
ZUL_API uint32_t eppGetItemType(void *handle, uint16_t part_id, uint16_t application, uint16_t key,
                                uint8_t *type) ZUL_NOTHROW;
/* All items of the part, of every application (application is only traced); 0 items and answer 0
 * for a missing part. */
ZUL_API uint32_t eppGetItemCount(void *handle, uint16_t part_id, uint16_t application,
                                 uint16_t *count) ZUL_NOTHROW;
/* Removes an item; the part goes with its last item. */
ZUL_API uint32_t eppClearItem(void *handle, uint16_t part_id, uint16_t application,
                              uint16_t key) ZUL_NOTHROW;
/* Removes a part with its items; answers 0 also when there is none. */
ZUL_API uint32_t eppClearVarPart(void *handle, uint16_t part_id) ZUL_NOTHROW;

/* ---- Printing ---- */

/* The passport as one line of tagged text into buffer (capacity units, terminator included); 5
 * when it doesn't fit, with buffer untouched. */
ZUL_API uint32_t eppPrint(void *handle, ZUL_UTF16 *buffer, uint32_t capacity) ZUL_NOTHROW;
/* 1 when all 16 bytes are zero, else 0. */
ZUL_API int eppIsInitialUuid(const ZUL_RAW *uuid) ZUL_NOTHROW;

#endif /* ZUL_EPP_H */
