#include "tests/support/blade_files.h"

#include <vxblade/brapp.h>

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

// A client of its own length and bytes, until the next one is asked for.
RegisteredClient* clientOf(uint32_t number) {
    static RegisteredClient client;
    client = {};
    client.identityLength = 4 + number % 200;
    std::memcpy(client.identity, &number, sizeof number);
    client.block[127] = static_cast<uint8_t>(number);
    return &client;
}

TEST_F(RecordFiles, ClientsTakeTheSlotThatWasFreedLast) {
    const struct {
        uint32_t number;
        int (*change)(const RegisteredClient*);
        int result, slot; // afterwards, -1: none
    } changes[] = {
        {7, vxpmgr_addRegisteredClient, -1, 7},    // known
        {300, vxpmgr_addRegisteredClient, -2, -1}, // all are taken
        {5, vxpmgr_delRegisteredClient, 0, -1},    {200, vxpmgr_delRegisteredClient, 0, -1},
        {9, vxpmgr_delRegisteredClient, 0, -1},    {9, vxpmgr_delRegisteredClient, -1, -1},
        {300, vxpmgr_addRegisteredClient, 0, 9},   {301, vxpmgr_addRegisteredClient, 0, 200},
    };
    EXPECT_EQ(vxpmgr_addRegisteredClient(clientOf(0)), -2) << "no slot before the file is read";
    ASSERT_EQ(ReadRegisteredClientInfo(), 0);
    for (uint32_t number = 0; number < 256; ++number) {
        EXPECT_EQ(vxpmgr_addRegisteredClient(clientOf(number)), 0);
    }
    auto const at = [](int slot) { return slot < 0 ? nullptr : &RegisteredClients[slot]; };
    for (auto const& [number, change, result, slot] : changes) {
        EXPECT_EQ(change(clientOf(number)), result) << number;
        EXPECT_EQ(findRegisteredClient(clientOf(number)), at(slot)) << number;
    }
    EXPECT_TRUE(prints("data_cfg -> Valid: c3\n", ReadRegisteredClientInfo));
    auto const& counts = pmgr_cb->counts[PSST_LIST_REGISTERED_CLIENTS];
    EXPECT_TRUE(counts.free == 1 && counts.inUse == 255);
    for (auto const& [number, slot] : {std::pair(300U, 9), {301, 200}, {5, -1}, {255, 255}}) {
        EXPECT_EQ(findRegisteredClient(clientOf(number)), at(slot)) << "read again: " << number;
    }
    RegisteredClient out{};
    EXPECT_EQ(vxpmgr_getNextRegisteredClient(&out, -5), 1);
    EXPECT_EQ(vxpmgr_getNextRegisteredClient(&out, 5), 7) << "5 is free";
    EXPECT_EQ(out.block[127], 6);
    EXPECT_EQ(vxpmgr_getNextRegisteredClient(&out, 256), -1);
    for (uint32_t const length : {11U, 257U}) { // the same bytes, and one more; beyond the field
        out.identityLength = length;
        EXPECT_EQ(vxpmgr_delRegisteredClient(&out), -1);
    }
    EXPECT_EQ(vxpmgr_addRegisteredClient(&out), -1);
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
    setByte(primary(41), 4, 0);
    EXPECT_EQ(ReadPhysLunStripeTable(), -1) << "no header";
    EXPECT_EQ(PhysLunStripeTable[1535].record.valid, PSST_SLOT_VALID) << "the table is kept";

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
