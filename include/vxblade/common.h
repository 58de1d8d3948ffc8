/* Helpers of every subsystem: the CRC-32 of files and records, and the intrusive list. */
#ifndef VXBLADE_COMMON_H
#define VXBLADE_COMMON_H

#include <vxblade/export.h>

VXBLADE_BEGIN

/*
 * The CRC-32 of ISO-HDLC, IEEE 802.3 and zlib (reflected polynomial 0xEDB88320), running form:
 * start with 0, pass the previous result to continue over further data. `length` is in bytes;
 * 0 or less returns `crc` unchanged.
 */
VXBLADE_API uint32_t crc32(uint32_t crc, const void* data, int length);

/*
 * Link and head of an intrusive circular doubly linked list. An empty head, and a link on no
 * list, point to themselves. Elements embed the link and stay owned by the caller; inserting a
 * link that is already on a list corrupts that list.
 */
typedef struct VXLIST {
    struct VXLIST* next;
    struct VXLIST* previous;
} VXLIST;

/* Makes `head` an empty list. */
VXBLADE_API void VXLIST_init_listhead(VXLIST* head);
/* Inserts `link` as the first element. */
VXBLADE_API void VXLIST_insert_on_list_head(VXLIST* head, VXLIST* link);
/* Inserts `link` as the last element. */
VXBLADE_API void VXLIST_insert_on_list_tail(VXLIST* head, VXLIST* link);
/* Takes `link` off whatever list holds it and returns it; harmless for a link on no list. */
VXBLADE_API VXLIST* VXLIST_remove_from_list(VXLIST* link);
/* Takes off and returns the first link, or null when the list is empty. */
VXBLADE_API VXLIST* VXLIST_remove_from_list_head(VXLIST* head);
/* Takes off and returns the last link, or null when the list is empty. */
VXBLADE_API VXLIST* VXLIST_remove_from_list_tail(VXLIST* head);
/* 1 when the list is empty, else 0. */
VXBLADE_API int VXLIST_list_mt(const VXLIST* head);

VXBLADE_END

#endif
