/*
 * Helpers of every subsystem: the CRC-32 of files and records, and the intrusive list.
 *
 * Nothing here fails, prints, allocates or keeps state. Threads may call crc32 at any time; a list
 * has no lock, so whoever shares one between threads serialises the calls on it.
 */
#ifndef VXBLADE_COMMON_H
#define VXBLADE_COMMON_H

#include <vxblade/export.h>

VXBLADE_BEGIN

/*
 * The CRC-32 of ISO-HDLC, IEEE 802.3 and zlib (reflected polynomial 0xEDB88320), in running form.
 *
 *   crc     0 to start with, then the result for the data before
 *   data    `length` bytes, only read; any alignment
 *   length  in bytes; for 0 or less `data` is not looked at and `crc` returned
 *
 * Returns the CRC of all data so far: of the digits "123456789" it is 0xCBF43926.
 *
 * Other libraries have a function of this name with other parameters, and a program may have its
 * own. Such a program defines VXBLADE_NO_CRC32 before it includes a header; the layer never calls
 * its function.
 */
#ifndef VXBLADE_NO_CRC32
VXBLADE_API uint32_t crc32(uint32_t crc, const void* data, int length);
#endif

/*
 * Link and head of an intrusive circular doubly linked list. An empty head, and a link on no
 * list, point to themselves: VXLIST_init_listhead makes either. An element embeds its link; the
 * list owns nothing and never frees. No pointer may be null, and nothing is checked: inserting a
 * link that is already on a list corrupts that list.
 */
typedef struct VXLIST {
    struct VXLIST* next;
    struct VXLIST* previous;
} VXLIST;

/* Makes `head` an empty list, or a link one on no list. */
VXBLADE_API void VXLIST_init_listhead(VXLIST* head);
/* Inserts `link`, on no list so far, as the first element of `head`. */
VXBLADE_API void VXLIST_insert_on_list_head(VXLIST* head, VXLIST* link);
/* Inserts `link`, on no list so far, as the last element of `head`. */
VXBLADE_API void VXLIST_insert_on_list_tail(VXLIST* head, VXLIST* link);
/* Takes `link` off whatever list holds it and returns it, on no list then; harmless for a link on
 * none. Not for the head of a list. */
VXBLADE_API VXLIST* VXLIST_remove_from_list(VXLIST* link);
/* Takes off and returns the first link of `head`; null when the list is empty. */
VXBLADE_API VXLIST* VXLIST_remove_from_list_head(VXLIST* head);
/* Takes off and returns the last link of `head`; null when the list is empty. */
VXBLADE_API VXLIST* VXLIST_remove_from_list_tail(VXLIST* head);
/* 1 when the list of `head` is empty, else 0. */
VXBLADE_API int VXLIST_list_mt(const VXLIST* head);

VXBLADE_END

#endif
