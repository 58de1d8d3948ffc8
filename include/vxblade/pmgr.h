/*
 * The persistence manager: the store of record files under /mnt/nand1, each with a 64-byte
 * header, a mirror under /mnt/nand2 and a share in one 64-bit sequence number. This header is all
 * of it; each of its parts can be included alone. From the bottom up:
 *
 *   records.h        the layouts of the records
 *   psst_table.h     the files: numbers, names, paths, header
 *   control_block.h  the tables in memory, and what is open
 *   record_io.h      writing and reading records and headers, the sequence number
 *   creators.h       making files
 *   vpd.h            the vital product data and their backup
 *   config_api.h     the configuration records
 *   record_files.h   further record files
 *   mirror_sync.h    whole files and their mirrors
 *   store_init.h     bringing the store into use
 */
#ifndef VXBLADE_PMGR_H
#define VXBLADE_PMGR_H

#include <vxblade/config_api.h>
#include <vxblade/control_block.h>
#include <vxblade/creators.h>
#include <vxblade/mirror_sync.h>
#include <vxblade/psst_table.h>
#include <vxblade/record_files.h>
#include <vxblade/record_io.h>
#include <vxblade/records.h>
#include <vxblade/store_init.h>
#include <vxblade/vpd.h>

#endif
