#include "common/shell.h"

#include <vxblade/common.h>

#include <gtest/gtest.h>

#include <numeric>
#include <string>

namespace {

// Half of a command is another command.
TEST(Shell, RunsWholeCommandsOnly) {
    EXPECT_EQ(vx::runShellFormatted(7, "exit %d", 3), 3 << 8);
    EXPECT_EQ(vx::runShellFormatted(6, "exit %d", 3), -1);
    EXPECT_EQ(vx::runShellFormatted(1000, "exit %d", 3), -1);
}

TEST(Crc32, EveryLengthAlignmentAndSplit) {
    EXPECT_EQ(crc32(0, "123456789", 9), 0xCBF43926U);
    EXPECT_EQ(crc32(0x1234, "x", -1), 0x1234U);
    unsigned char data[40];
    std::iota(data, std::end(data), static_cast<unsigned char>(200));
    uint32_t bytewise = 0;
    for (int length = 0; length < 40; bytewise = crc32(bytewise, &data[length++], 1)) {
        for (int split = 0; split <= length; ++split) {
            uint32_t const first = crc32(0, data, split);
            EXPECT_EQ(crc32(first, data + split, length - split), bytewise) << length;
        }
    }
    EXPECT_EQ(crc32(0, data, 40), 0x3E55D6A2U);
}

TEST(List, InsertsAndRemovesAtBothEnds) {
    VXLIST head;
    VXLIST links[3];
    VXLIST_init_listhead(&head);
    VXLIST_insert_on_list_tail(&head, &links[1]);
    VXLIST_insert_on_list_head(&head, &links[0]);
    VXLIST_insert_on_list_tail(&head, &links[2]);
    EXPECT_EQ(VXLIST_list_mt(&head), 0);
    for (bool const again : {false, true}) { // on no list: harmless
        EXPECT_EQ(VXLIST_remove_from_list(&links[1]), &links[1]) << again;
        EXPECT_EQ(VXLIST_list_mt(&links[1]), 1);
    }
    VXLIST_insert_on_list_head(&head, &links[1]);
    for (int const last : {2, 0}) { // of 1, 0, 2
        EXPECT_EQ(VXLIST_remove_from_list_tail(&head), &links[last]);
    }
    EXPECT_EQ(VXLIST_remove_from_list_head(&head), &links[1]);
    EXPECT_EQ(VXLIST_list_mt(&head), 1);
    EXPECT_EQ(VXLIST_remove_from_list_head(&head), nullptr);
    EXPECT_EQ(VXLIST_remove_from_list_tail(&head), nullptr);
}

} // namespace
