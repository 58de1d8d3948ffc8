#include "tests/support/blade_files.h"

#include <vxblade/brapp.h>

#include <deque>
#include <map>
#include <numeric>
#include <random>

namespace {

struct RecordFiles : BladeTest {
    void SetUp() override {
        BladeTest::SetUp();
        makeFiles({32, 33, 35, 36, 40, 41, 43});
    }
};

bool prints(const char* words, int (*call)()) {
    return printedBy([&] { EXPECT_EQ(call(), 0); }).find(words) != std::string::npos;
}

RegisteredClient clientOf(uint32_t number) {
    RegisteredClient client{};
    client.identityLength = 4 + number % 200;
    std::memcpy(client.identity, &number, sizeof number);
    client.block[127] = static_cast<uint8_t>(number);
    return client;
}

// The table against a map of slots and a queue of free ones.
TEST_F(RecordFiles, ClientTableFollowsAModel) {
    std::mt19937 random(7);
    std::map<uint32_t, uint32_t> slotOf; // by client
    std::deque<uint32_t> freeSlots(256);
    std::iota(freeSlots.begin(), freeSlots.end(), 0U);
    RegisteredClient const first = clientOf(0);
    EXPECT_EQ(vxpmgr_addRegisteredClient(&first), -2) << "no slot before the file is read";
    ASSERT_EQ(ReadRegisteredClientInfo(), 0);
    for (int step = 0; step < 6000; ++step) {
        uint32_t const number = static_cast<uint32_t>(random() % 400);
        RegisteredClient const client = clientOf(number);
        bool const known = slotOf.contains(number);
        if (random() % 3 != 0) {
            int const expected = known ? -1 : freeSlots.empty() ? -2 : 0;
            ASSERT_EQ(vxpmgr_addRegisteredClient(&client), expected);
            if (expected == 0) {
                slotOf[number] = freeSlots.front();
                freeSlots.pop_front();
            }
        } else {
            ASSERT_EQ(vxpmgr_delRegisteredClient(&client), known ? 0 : -1);
            if (known) {
                freeSlots.push_front(slotOf[number]);
                slotOf.erase(number);
            }
        }
        auto const& counts = pmgr_cb->counts[PSST_LIST_REGISTERED_CLIENTS];
        ASSERT_TRUE(counts.free == freeSlots.size() && counts.inUse == slotOf.size());
    }
    // In memory, and in the file when that is read again.
    for (uint32_t number = 0; number < 800; ++number) {
        EXPECT_TRUE(number != 400 || prints("data_cfg -> Valid: c3\n", ReadRegisteredClientInfo));
        auto const known = slotOf.find(number % 400);
        RegisteredClient const client = clientOf(number % 400);
        EXPECT_EQ(findRegisteredClient(&client),
                  known != slotOf.end() ? &RegisteredClients[known->second] : nullptr);
    }
    std::size_t enumerated = 0;
    RegisteredClient out{};
    for (int next = -5; (next = vxpmgr_getNextRegisteredClient(&out, next)) > 0; ++enumerated) {
        EXPECT_EQ(out.block[127], RegisteredClients[next - 1].record.client.block[127]);
    }
    EXPECT_EQ(enumerated, slotOf.size());
}

TEST_F(RecordFiles, ClientsOfOtherLengthsAndCopies) {
    ASSERT_EQ(ReadRegisteredClientInfo(), 0);
    RegisteredClient one = clientOf(1);
    EXPECT_EQ(vxpmgr_addRegisteredClient(&one), 0);
    for (uint32_t const length : {6U, 257U}) { // the same bytes, and one more; beyond the field
        one.identityLength = length;
        EXPECT_EQ(vxpmgr_delRegisteredClient(&one), -1);
    }
    EXPECT_EQ(vxpmgr_addRegisteredClient(&one), -1);
    RegisteredClientEntry copy{{{}, 0, 200}, {}};
    copy.record.opaque389[0] = 9;
    EXPECT_EQ(WriteRegisteredClientInfo(&copy), 0);
    EXPECT_EQ(readBytes(primary(33)).at(64 + 588 * 200 + 389), 9);
}

TEST_F(RecordFiles, CacheStoreDrives) {
    ASSERT_EQ(ReadCacheStorePhysDrvInfo(), 0);
    CacheStorePhysDrv one{0x1234567890ULL, 0xABCULL, 2, 100, 7, 0, 0, {}};
    for (uint32_t number = 0; number < 36; ++number, ++one.driveIndex, ++one.LunInfoIndex) {
        auto* const entry = vxpmgr_helperAllocAndUpdateCacheStorePhysLunInfo(&one);
        ASSERT_EQ(entry, &CacheStorePhysDrvInfo[number]);
        LunInfoTable[number].wwulnLength = 3;
        LunInfoTable[number].wwuln[2] = static_cast<uint8_t>(number);
        EXPECT_EQ(number == 5 ? 0 : WriteCacheStorePhysDrvInfo(entry), 0);
    }
    EXPECT_EQ(vxpmgr_helperAllocAndUpdateCacheStorePhysLunInfo(&one), nullptr) << "all taken";

    uint8_t const name[] = {0, 0, 9};
    EXPECT_EQ(findCacheStorePhysDrvInfoByDriveIndex(135), &CacheStorePhysDrvInfo[35]);
    EXPECT_EQ(vxpmgr_getCacheStorePhysDrvInfoByWwuln(name, 3, &one), 0);
    EXPECT_EQ(one.driveIndex, 109U);
    CacheStorePhysDrvInfo[9].record.LunInfoIndex = 4096; // no such LUN
    EXPECT_EQ(findCacheStorePhysDrvInfo(name, 3), nullptr);
    EXPECT_TRUE(prints("data_cfg -> LunId: 1234567890\n", ReadCacheStorePhysDrvInfo));
    for (auto const& [index, next] : {std::pair(5, 7), {6, 7}, {36, -1}}) {
        EXPECT_EQ(vxpmgr_getNextCacheStorePhysDrvInfo(&one, index), next) << "5 was never written";
    }
    EXPECT_EQ(one.driveIndex, 106U);
}

TEST_F(RecordFiles, StripesAndCachedLuns) {
    Bytes stripes(2 * 8200, 0x31);
    stripes[4] = stripes[8200 + 4] = PSST_SLOT_VALID;
    EXPECT_EQ(WritePhysLunStripeTableEx(stripes.data(), 1534, 2), 0);
    EXPECT_EQ(WritePhysLunStripeTableEx(stripes.data(), 0, 0x80000000U), -1);
    PhysLunStripeTable[7].record = filled<PhysLunStripe>(0x77);
    EXPECT_EQ(WritePhysLunStripeTable(&PhysLunStripeTable[7]), 0) << "before the first read";
    EXPECT_EQ(readBytes(primary(41)).at(64 + 7 * 8200 + 5), 0x77);
    ASSERT_EQ(ReadPhysLunStripeTable(), 0);
    EXPECT_EQ(std::memcmp(&PhysLunStripeTable[1535].record, &stripes[8200], 8200), 0);

    auto lun = filled<ClusterCachedLun>(0x44);
    lun.valid = PSST_SLOT_VALID;
    lun.index = 4095;
    EXPECT_EQ(WriteClusterCachedLunInfo(&lun), 0);
    EXPECT_EQ(ReadClusterCachedLunAndPushToBA(), 0) << "a driver that refuses fails nothing";
    EXPECT_EQ(systemCalls.pushed, std::vector<Bytes>{Bytes(304, 0x44)});
    EXPECT_EQ(ClusterCachedLuns[4095].record.index, 4095U);
}

TEST_F(RecordFiles, EventNotification) {
    ASSERT_EQ(ReadEventNotifyFile(), 0);
    EventNotifyInfo entry{};
    for (uint32_t i = 0; i < 27; ++i) {
        entry.clientId = i < 25 ? i : i == 25 ? 99 : 7;
        ++entry.eventMask;
        EXPECT_EQ(vxpmgr_UpdateEventNotifyInfo(&entry), i == 25 ? -2 : 0) << "25 and no more";
    }
    EXPECT_EQ(readBytes(primary(32)).at(64), 25) << "a known client keeps its place";
    InitDatabaseLite();
    ASSERT_EQ(CreateEventNotifyPsst() + ReadEventNotifyFile(), 0);
    EXPECT_EQ(vxpmgr_GetEventNotifyInfo(&entry, 99), -1);
    EXPECT_TRUE(vxpmgr_GetEventNotifyInfo(&entry, 7) == 0 && entry.eventMask == 27);
}

TEST_F(RecordFiles, Migration) {
    static ExtMigrationEntry const entry{{{}, 0, 2}, filled<ExtMigrationRecord>(0xAB)};
    EXPECT_EQ(WriteExtMigrationFile(&entry), 0);
    EXPECT_TRUE(equal(onFile<ExtMigrationRecord>(35, 64 + 2 * 1088), entry.record));
    MigrationParam param{0x1267, {}};
    EXPECT_EQ(WriteMigrationParamFile(&param, PSST_PASSWD), -1);
    setByte(primary(36), 64 + 515, 0x5A); // of the migration's own
    EXPECT_EQ(vxpmgr_SetMigrationParam(&param), 0);
    auto const stored = onFile<MigrationParam>(36, 64);
    EXPECT_TRUE(stored.JOBUUID == 0x1267 && stored.opaque4[511] == 0x5A);
    close_all_files();
    param = filled<MigrationParam>(0xEE);
    EXPECT_EQ(vxpmgr_GetMigrationParam(&param), 0) << "whatever the read gave";
    EXPECT_TRUE(param.JOBUUID == 0x1267 && param.opaque4[511] == 0);
}

} // namespace
