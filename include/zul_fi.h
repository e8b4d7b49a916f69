/* Index structures that live entirely inside one memory block supplied by the caller.
 *
 * Every reference inside a block is a 32-bit offset from the block's start, never a pointer, so a
 * block can be copied, or sit in shared memory mapped at different addresses by several
 * processes, and still be searched after a new open or attach. Four kinds:
 *   Fi     a compressed radix tree over fixed-length keys of 16-bit units, several named indexes
 *          in one block;
 *   FiL    a linear list with the same operations, for small sets;
 *   FiHsh  a chained hash table holding copies of keys and records;
 *   Ft     a table of fixed-size slots, for the records that the indexes point to.
 *
 * Fi and FiL don't copy keys: the caller keeps each key in its own record and the index stores
 * the offsets of key and record from a base that the caller gives when it opens the index. A key
 * must stay unchanged at its place for as long as it is in an index.
 *
 * Nothing here locks: the caller holds one lock around all calls on a block. No call allocates
 * memory; a block holds exactly the capacities it was initialised with. The size functions answer
 * the bytes a block needs; blocks must be 8-aligned and may not exceed 0x7FFFFFFF bytes.
 *
 * Results: FI_OK, or one of the codes below. */
#ifndef ZUL_FI_H
#define ZUL_FI_H

#include "zul_base.h"

enum {
  FI_OK = 0,
  FI_NO_SPACE = 2,   /* a capacity is exhausted, or the block would be too large */
  FI_EXISTS = 3,     /* the key, or the index id, is there already */
  FI_NOT_FOUND = 4,  /* no such key, node or index */
  FI_BAD_ARG = 6,    /* invalid argument, handle or block */
  FI_INITIALIZED = 8 /* the block already carries this name, or the index exists */
};

/* Names of Fi and Ft blocks: 16 units, blank padded; a longer name is cut. */
#define FI_NAME_LENGTH 16

/* ---- Tree nodes, shared by Fi and FiL ---------------------------------------------------- */

/* The position of a leaf. */
#define FI_LEAF_POSITION 0x7FFFFFFFu
/* Node flag: one child hangs at the fill unit. */
#define FI_NODE_FILL_CHILD 0x4u

/* One node of a tree; inner nodes and leaves share the layout. All links are block offsets. */
typedef struct FI_NODE {
  uint32_t position;    /* key unit tested by an inner node; FI_LEAF_POSITION for a leaf */
  uint32_t child_count; /* inner nodes */
  uint32_t flags;       /* inner nodes: FI_NODE_FILL_CHILD */
  ZUL_UTF16 edge;       /* the key unit that leads from the parent to this node */
  uint16_t reserved;
  uint32_t parent;
  uint32_t newest_child; /* head of the list of children (inner nodes) */
  uint32_t prev_sibling;
  uint32_t next_sibling;
  uint32_t chain_next; /* next node in the parent's bucket chain */
  uint32_t bucket[16]; /* inner nodes: chains by the low 4 bits of the edge unit */
} FI_NODE;

/* In a leaf the first two bucket words hold the offsets of key and record from the base. */
#define FI_NODE_KEY_OFFSET(node) ((node)->bucket[0])
#define FI_NODE_RECORD_OFFSET(node) ((node)->bucket[1])
/* The record and the key of a leaf, given the base the index was opened with. */
#define FI_NODE_RECORD(base, node) ((void *)((char *)(base) + FI_NODE_RECORD_OFFSET(node)))
#define FI_NODE_KEY(base, node) \
  ((const ZUL_UTF16 *)((const char *)(base) + FI_NODE_KEY_OFFSET(node)))

/* ---- Fi: radix tree indexes ---------------------------------------------------------------- */

/* Flag of FiGetAdmSize and FiInit: as many inner nodes as keys. Without it, more than 999 keys
 * get inner nodes for 60% of them only, and FiInsert may answer FI_NO_SPACE before all keys are
 * in. Any other flag without this one is refused. */
#define FI_FLAG_FULL_INNER 0x2u
/* Mode of FiOpenIndex: keep the handle in one of the block's 256 handle slots instead of the
 * process-wide table of 256. */
#define FI_OPEN_BLOCK_SLOT 4u
/* *cont of FiFind for a search from the root. */
#define FI_FIND_START 0xFFFFFFFFu

/* An open index: id, block, base and index header of one opener. It stays valid until
 * FiDetachIndex, FiCloseIndex or FiDestroy. */
typedef struct FI_HANDLE *FI_HDL;

/* Usage figures of a block. */
typedef struct FI_PSTAT {
  uint32_t max_indexes, indexes;
  uint32_t leaves, free_leaves;
  uint32_t inner_nodes, free_inner_nodes;
  uint32_t record_size;
  uint32_t size; /* bytes of the block */
} FI_PSTAT;

/* Bytes that FiInit needs for these capacities (keys is the number of leaves in all indexes
 * together); 0 when the block would exceed 0x7FFFFFFF bytes or an argument is invalid. */
ZUL_API size_t FiGetAdmSize(uint32_t indexes, uint32_t keys, uint32_t record_size,
                            uint32_t flags) ZUL_NOTHROW;
/* Lays out a block of FiGetAdmSize bytes. fill is the wildcard unit of generic keys (usually
 * ' '); fill2 is kept for the caller. *hdl_out (may be null) gets the block, which the block
 * functions take. FI_BAD_ARG: block not 8-aligned, fewer than 2 keys, no index, no name, or a
 * flag without FI_FLAG_FULL_INNER. FI_INITIALIZED: the block carries this name already.
 * FI_NO_SPACE: the block would be too large. */
ZUL_API int FiInit(void *block, const ZUL_UTF16 *name, uint32_t flags, uint32_t indexes,
                   uint32_t keys, uint32_t record_size, ZUL_UTF16 fill, ZUL_UTF16 fill2,
                   void **hdl_out) ZUL_NOTHROW;
/* Clears the name, so that the block counts as raw; the process-wide handles on it are freed. */
ZUL_API int FiDestroy(void *block) ZUL_NOTHROW;

/* Creates index id with keys of key_length units (1 to 0x7FFFFFFE) and opens it: *hdl_out gets
 * a handle whose keys and records are offsets from base. When the index exists, it is opened with
 * its own key length and the answer is FI_INITIALIZED. FI_NO_SPACE: no index header or no handle
 * left. */
ZUL_API int FiOpenIndex(void *block, uint32_t id, uint32_t mode, const void *base,
                        uint32_t key_length, FI_HDL *hdl_out) ZUL_NOTHROW;
/* Opens an existing index, with a process-wide handle; FI_NOT_FOUND when there is none. */
ZUL_API int FiAttachIndex(void *block, uint32_t id, const void *base, FI_HDL *hdl_out) ZUL_NOTHROW;
/* Frees the handle; the index stays. */
ZUL_API int FiDetachIndex(FI_HDL hdl) ZUL_NOTHROW;
/* Removes the whole index with its tree and frees the handle. Other handles on it go stale and
 * answer FI_BAD_ARG. */
ZUL_API int FiCloseIndex(FI_HDL hdl) ZUL_NOTHROW;

/* Adds key (key_length units, stored at its place as an offset from the base) with its record.
 * *node_out (may be null) gets the new leaf, or with FI_EXISTS the leaf of the equal key.
 * FI_NO_SPACE: no leaf, or no inner node left. FI_BAD_ARG: key or record more than 4 GiB behind
 * the base, or before it. */
ZUL_API int FiInsert(FI_HDL hdl, const ZUL_UTF16 *key, const void *record,
                     FI_NODE **node_out) ZUL_NOTHROW;
/* Removes a leaf of this index; FI_NOT_FOUND for a node that isn't one. */
ZUL_API int FiRemove(FI_HDL hdl, FI_NODE *node) ZUL_NOTHROW;
/* The leaf whose key equals key unit by unit. */
ZUL_API int FiFindExact(FI_HDL hdl, const ZUL_UTF16 *key, FI_NODE **node_out) ZUL_NOTHROW;
/* Leaves whose keys match pattern, where the fill unit, in the pattern or in the stored key,
 * matches any unit. Up to max leaves go to nodes_out and their number to *count_out. With *cont
 * FI_FIND_START the search starts from the root; when max leaves are found *cont becomes 1 and
 * the same call goes on where the search stopped; it is 0 when the search is exhausted. The
 * point of resumption is kept in the block: one search per block at a time, and the index must
 * not change between the calls. FI_NOT_FOUND when no leaf was delivered. */
ZUL_API int FiFind(FI_HDL hdl, const ZUL_UTF16 *pattern, uint32_t max, FI_NODE **nodes_out,
                   uint32_t *count_out, uint32_t *cont) ZUL_NOTHROW;
/* The stored key that best covers the first length units of key (length at most the key
 * length). A stored key is taken when it matches those units and ends there (its next unit is the
 * fill unit, or it has length units), or when the first difference falls on a fill unit of the
 * stored key while key has unit1 or unit2 there (a separator). Exact edges are tried before fill
 * edges, and the first key taken wins. */
ZUL_API int FiFindLongestPath(FI_HDL hdl, const ZUL_UTF16 *key, uint32_t length, ZUL_UTF16 unit1,
                              ZUL_UTF16 unit2, FI_NODE **node_out) ZUL_NOTHROW;
/* FiFindLongestPath with one separator unit. */
ZUL_API int FiFindLongestPathOld(FI_HDL hdl, const ZUL_UTF16 *key, uint32_t length, ZUL_UTF16 unit,
                                 FI_NODE **node_out) ZUL_NOTHROW;

/* Debug printers on standard output. FiAnalyze: the block's capacities and each index's shape.
 * FiDisplay: " PT : %d keys\n", then the tree of the index, one node per line. */
ZUL_API int FiAnalyze(void *block) ZUL_NOTHROW;
ZUL_API int FiDisplay(FI_HDL hdl) ZUL_NOTHROW;
ZUL_API int FiGetPstat(const void *block, FI_PSTAT *stat_out) ZUL_NOTHROW;

/* ---- FiL: linear list ------------------------------------------------------------------------ */

/* The caller's handle of a list: the block and the base of keys and records. A block mapped at
 * another address is reached by setting both fields anew. */
typedef struct FIL_HDL {
  void *block;
  const void *base;
} FIL_HDL;

ZUL_API size_t FiLGetAdmSize(uint32_t capacity) ZUL_NOTHROW;
/* Lays out a list of capacity keys of key_length units and fills *hdl_out. FI_BAD_ARG: block not
 * 8-aligned, capacity or key length 0. */
ZUL_API int FiLInit(void *block, uint32_t capacity, uint32_t key_length, ZUL_UTF16 fill,
                    const void *base, FIL_HDL *hdl_out) ZUL_NOTHROW;
ZUL_API int FiLDestroy(void *block) ZUL_NOTHROW;
/* The first leaf, newest first, whose key matches key with the fill unit on either side. */
ZUL_API int FiLFind(const FIL_HDL *hdl, const ZUL_UTF16 *key, FI_NODE **node_out) ZUL_NOTHROW;
/* As FiInsert; the new key goes to the head of the list. */
ZUL_API int FiLInsert(const FIL_HDL *hdl, const ZUL_UTF16 *key, const void *record,
                      FI_NODE **node_out) ZUL_NOTHROW;
ZUL_API int FiLRemove(const FIL_HDL *hdl, FI_NODE *node) ZUL_NOTHROW;
/* "PTL: %d keys.\n", then the keys, one per line, on standard output. */
ZUL_API int FiLDisplay(const FIL_HDL *hdl) ZUL_NOTHROW;

/* ---- FiHsh: chained hash table ----------------------------------------------------------------
 * The hash of a key: h = 0, then for each unit h = h ^ (h << 5) ^ unit, in 32 bits; its bucket is
 * the signed remainder of h by the bucket count (capacity + 1), so that a hash with its top bit
 * set lands in a negative bucket. The block holds buckets on both sides of zero. The handle is
 * the block. */

/* Iteration state of FiHshFirst and FiHshNext. */
typedef struct FI_HSH_POS {
  int32_t bucket;
  uint32_t next; /* offset of the entry to answer next, 0 for none */
} FI_HSH_POS;

ZUL_API size_t FiHshGetAdmSize(uint32_t capacity, uint32_t key_length,
                               uint32_t record_size) ZUL_NOTHROW;
/* Lays out a table for capacity entries with keys of key_length units and records of
 * record_size bytes; *hdl_out (may be null) gets the block. */
ZUL_API int FiHshInit(void *block, uint32_t id, uint32_t capacity, uint32_t key_length,
                      uint32_t record_size, void **hdl_out) ZUL_NOTHROW;
/* Copies key and record (null: a zeroed record) into a free entry. *record_out (may be null)
 * gets the record in the block, with FI_EXISTS the record of the equal key. */
ZUL_API int FiHshInsert(void *hdl, const ZUL_UTF16 *key, const void *record,
                        void **record_out) ZUL_NOTHROW;
ZUL_API int FiHshRemove(void *hdl, const ZUL_UTF16 *key) ZUL_NOTHROW;
/* The record of key in the block, or null. */
ZUL_API void *FiHshFind(void *hdl, const ZUL_UTF16 *key) ZUL_NOTHROW;
/* The first, then the next record in bucket order, or null at the end; *key_out (may be null)
 * gets its key. The record just answered may be removed before FiHshNext. */
ZUL_API void *FiHshFirst(void *hdl, FI_HSH_POS *pos, const ZUL_UTF16 **key_out) ZUL_NOTHROW;
ZUL_API void *FiHshNext(void *hdl, FI_HSH_POS *pos, const ZUL_UTF16 **key_out) ZUL_NOTHROW;

/* ---- Ft: slot table
 * ------------------------------------------------------------------------------ Each slot holds
 * two 32-bit links and a record of record_size bytes (8-aligned). A free slot links to its
 * neighbours in the free list (first link 0 at the head); a used slot has first link 0xFFFFFFFF and
 * its second link to the next used slot (0 at the end). The handle is the block. */

/* Flag that FtInit refuses with FI_NOT_FOUND. */
#define FT_FLAG_REFUSED 8u

typedef int (*FT_IS_FREE)(void *record);
typedef int (*FT_IS_FREE2)(void *context, void *record);

/* Bytes for count slots; 0 when above 0x7FFFFFFF bytes. flags is not examined. */
ZUL_API size_t FtGetAdmSize(uint32_t flags, uint32_t count, uint32_t record_size) ZUL_NOTHROW;
/* Lays out count slots, all free, in order. FI_INITIALIZED: the block carries this name already;
 * FI_NOT_FOUND: flags FT_FLAG_REFUSED; FI_NO_SPACE: too large; FI_BAD_ARG: not 8-aligned, no
 * slot, no name. */
ZUL_API int FtInit(void *block, const ZUL_UTF16 *name, uint32_t flags, uint32_t count,
                   uint32_t record_size, void **hdl_out) ZUL_NOTHROW;
/* Blanks the name; the block counts as raw. */
ZUL_API int FtDestroy(void *block) ZUL_NOTHROW;
/* Takes the first free slot into the used list; *record_out gets its record. FI_NO_SPACE when
 * all slots are used. */
ZUL_API int FtAlloc(void *block, void **record_out) ZUL_NOTHROW;
/* Returns a used slot to the head of the free list; FI_NOT_FOUND for a record that isn't used. */
ZUL_API int FtFree(void *block, void *record) ZUL_NOTHROW;
/* Rebuild both lists, for instance after a process died while it changed them: each slot in
 * order is asked is_free(record); non-zero puts it at the head of the free list, zero appends it
 * to the used list. */
ZUL_API int FtRebuild(void *block, FT_IS_FREE is_free) ZUL_NOTHROW;
ZUL_API int FtRebuild2(void *block, FT_IS_FREE2 is_free, void *context) ZUL_NOTHROW;
/* The same, deciding from each slot's links: first link other than 0xFFFFFFFF means free,
 * otherwise a second link other than 0xFFFFFFFF means used (a slot with both is taken as free). */
ZUL_API int FtAutoRebuild(void *block) ZUL_NOTHROW;

#endif /* ZUL_FI_H */
