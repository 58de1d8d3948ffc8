#include <vxblade/common.h>

void VXLIST_init_listhead(VXLIST* head) {
    head->next = head;
    head->previous = head;
}

void VXLIST_insert_on_list_head(VXLIST* head, VXLIST* link) {
    link->next = head->next;
    link->previous = head;
    head->next->previous = link;
    head->next = link;
}

void VXLIST_insert_on_list_tail(VXLIST* head, VXLIST* link) {
    VXLIST_insert_on_list_head(head->previous, link);
}

VXLIST* VXLIST_remove_from_list(VXLIST* link) {
    link->previous->next = link->next;
    link->next->previous = link->previous;
    VXLIST_init_listhead(link);
    return link;
}

VXLIST* VXLIST_remove_from_list_head(VXLIST* head) {
    return VXLIST_list_mt(head) != 0 ? nullptr : VXLIST_remove_from_list(head->next);
}

VXLIST* VXLIST_remove_from_list_tail(VXLIST* head) {
    return VXLIST_list_mt(head) != 0 ? nullptr : VXLIST_remove_from_list(head->previous);
}

int VXLIST_list_mt(const VXLIST* head) {
    return head->next == head ? 1 : 0;
}
