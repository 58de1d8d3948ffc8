#include "common/shell.h"

#include <vxblade/common.h>

#include <gtest/gtest.h>

#include <numeric>
#include <string>
#include <vector>

namespace {

// Half of a command is another command.
TEST(Shell, RunsWholeCommandsOnly) {
    EXPECT_EQ(vx::runShellFormatted(7, "exit %d", 3), 3 << 8);
    EXPECT_EQ(vx::runShellFormatted(6, "exit %d", 3), -1);
    EXPECT_EQ(vx::runShellFormatted(1000, "exit %d", 3), -1);
}

uint32_t bitwiseCrc(uint32_t c, unsigned char byte) {
    c = ~c ^ byte;
    for (int bit = 0; bit < 8; ++bit) {
        c = (c & 1) != 0 ? 0xEDB88320U ^ (c >> 1) : c >> 1;
    }
    return ~c;
}

TEST(Crc32, EveryLengthAlignmentAndSplit) {
    EXPECT_EQ(crc32(0, "123456789", 9), 0xCBF43926U);
    EXPECT_EQ(crc32(0x1234, "x", -1), 0x1234U);
    for (int length = 0; length < 40; ++length) {
        std::vector<unsigned char> data(static_cast<std::size_t>(length));
        std::iota(data.begin(), data.end(), static_cast<unsigned char>(7 * length));
        uint32_t const expected = std::accumulate(data.begin(), data.end(), 0U, bitwiseCrc);
        for (int split = 0; split <= length; ++split) {
            uint32_t const first = crc32(0, data.data(), split);
            EXPECT_EQ(crc32(first, data.data() + split, length - split), expected) << length;
        }
    }
}

TEST(List, InsertsAtBothEndsAndRemovesAnywhere) {
    VXLIST head;
    VXLIST links[3];
    // The list's order by link number, the same in both directions.
    auto const expectOrder = [&](const std::string& order) {
        std::string numbers;
        for (VXLIST* at = head.next; at != &head; at = at->next) {
            EXPECT_EQ(at->next->previous, at);
            numbers += std::to_string(at - links);
        }
        EXPECT_EQ(numbers, order);
        EXPECT_EQ(VXLIST_list_mt(&head), order.empty());
    };
    VXLIST_init_listhead(&head);
    EXPECT_EQ(VXLIST_remove_from_list_head(&head), nullptr);
    EXPECT_EQ(VXLIST_remove_from_list_tail(&head), nullptr);
    VXLIST_insert_on_list_tail(&head, &links[1]);
    VXLIST_insert_on_list_head(&head, &links[0]);
    VXLIST_insert_on_list_tail(&head, &links[2]);
    expectOrder("012");
    EXPECT_EQ(VXLIST_remove_from_list(&links[1]), &links[1]);
    EXPECT_EQ(VXLIST_remove_from_list(&links[1]), &links[1]) << "on no list: harmless";
    EXPECT_EQ(VXLIST_list_mt(&links[1]), 1);
    expectOrder("02");
    EXPECT_EQ(VXLIST_remove_from_list_tail(&head), &links[2]);
    EXPECT_EQ(VXLIST_remove_from_list_head(&head), &links[0]);
    expectOrder("");
}

} // namespace
