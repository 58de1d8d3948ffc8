#include "tests/support/blade_files.h"
#include "tests/support/system_calls.h"

#include <vxblade/brapp.h>
#include <vxblade/record_files.h>

#include <algorithm>
#include <cstring>
#include <deque>
#include <map>
#include <numeric>
#include <random>
#include <string>
#include <vector>

namespace {

struct RecordFiles : BladeTest {
    void SetUp() override {
        BladeTest::SetUp();
        makeFiles({32, 33, 36, 40, 41, 43});
        testing::internal::CaptureStdout();
    }
    void TearDown() override {
        testing::internal::GetCapturedStdout();
        BladeTest::TearDown();
    }

    std::string printed() {
        std::string const text = testing::internal::GetCapturedStdout();
        testing::internal::CaptureStdout();
        return text;
    }
};

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
        auto const known = slotOf.find(number);
        if (random() % 3 != 0) {
            int const expected = known != slotOf.end() ? -1 : freeSlots.empty() ? -2 : 0;
            ASSERT_EQ(vxpmgr_addRegisteredClient(&client), expected);
            if (expected == 0) {
                slotOf[number] = freeSlots.front();
                freeSlots.pop_front();
            }
        } else {
            ASSERT_EQ(vxpmgr_delRegisteredClient(&client), known != slotOf.end() ? 0 : -1);
            if (known != slotOf.end()) {
                freeSlots.push_front(known->second);
                slotOf.erase(known);
            }
        }
        ASSERT_EQ(pmgr_cb->counts[PSST_LIST_REGISTERED_CLIENTS].free, freeSlots.size());
        ASSERT_EQ(pmgr_cb->counts[PSST_LIST_REGISTERED_CLIENTS].inUse, slotOf.size());
    }
    // In memory, in the file, and when that is read again.
    Bytes const file = readBytes(primary(33));
    for (uint32_t slot = 0; slot < 256; ++slot) {
        ASSERT_EQ(std::memcmp(&file[64 + 588 * slot], &RegisteredClients[slot].record, 588), 0);
    }
    for (bool const again : {false, true}) {
        ASSERT_EQ(again ? ReadRegisteredClientInfo() : 0, 0);
        for (uint32_t number = 0; number < 400; ++number) {
            RegisteredClient const client = clientOf(number);
            auto const slot = slotOf.find(number);
            EXPECT_EQ(findRegisteredClient(&client),
                      slot == slotOf.end() ? nullptr : &RegisteredClients[slot->second]);
        }
    }
}

TEST_F(RecordFiles, ClientsAreEnumerated) {
    ASSERT_EQ(ReadRegisteredClientInfo(), 0);
    for (uint32_t number : {1U, 2U, 3U}) {
        RegisteredClient const client = clientOf(number);
        ASSERT_EQ(vxpmgr_addRegisteredClient(&client), 0);
    }
    RegisteredClient const second = clientOf(2);
    ASSERT_EQ(vxpmgr_delRegisteredClient(&second), 0);
    printed();
    RegisteredClient out{};
    EXPECT_EQ(vxpmgr_getNextRegisteredClient(&out, -5), 1);
    EXPECT_EQ(out.block[127], 1);
    EXPECT_EQ(vxpmgr_getNextRegisteredClient(&out, 1), 3);
    EXPECT_EQ(out.block[127], 3);
    EXPECT_EQ(vxpmgr_getNextRegisteredClient(&out, 3), -1);
    EXPECT_NE(printed().find("Found Valid pRegClient. next index: 3\n"), std::string::npos);
    RegisteredClientEntry free = RegisteredClients[200]; // a copy, never in use
    free.record.opaque389[0] = 9;
    EXPECT_EQ(WriteRegisteredClientInfo(&free), 0);
    EXPECT_EQ(readBytes(primary(33)).at(64 + 588 * 200 + 389), 9);
    free.prefix.index = 256;
    EXPECT_EQ(WriteRegisteredClientInfo(&free), -1);
    RegisteredClient tooLong = clientOf(4);
    tooLong.identityLength = 257;
    EXPECT_EQ(vxpmgr_addRegisteredClient(&tooLong), -1);
    EXPECT_EQ(vxpmgr_delRegisteredClient(&tooLong), -1);
    RegisteredClient longer = clientOf(1);
    ++longer.identityLength;
    EXPECT_EQ(vxpmgr_delRegisteredClient(&longer), -1) << "the same bytes, and one more";
    ASSERT_EQ(WriteRegisteredClientInfo(findRegisteredClient(&out)), 0);
    ASSERT_EQ(ReadRegisteredClientInfo(), 0);
    std::string const valid = printed();
    EXPECT_EQ(std::ranges::count(valid, '\n'), 2);
    EXPECT_NE(valid.find("data_cfg -> Valid: c3\n"), std::string::npos);
}

TEST_F(RecordFiles, CacheStoreDrives) {
    ASSERT_EQ(ReadCacheStorePhysDrvInfo(), 0);
    EXPECT_EQ(CacheStorePhysDrvInfo[35].prefix.index, 35U) << "free, and known by its number";
    for (uint32_t number = 0; number < 36; ++number) {
        CacheStorePhysDrv const drive{
            0x1234567890ULL + number, 0xABCULL, number * 2ULL, 100 + number, 7, number, 0, {}};
        CacheStorePhysDrvEntry* const entry =
            vxpmgr_helperAllocAndUpdateCacheStorePhysLunInfo(&drive);
        ASSERT_NE(entry, nullptr);
        EXPECT_EQ(entry->prefix.index, number);
        LunInfoTable[number].wwulnLength = 3;
        LunInfoTable[number].wwuln[2] = static_cast<uint8_t>(number);
        if (number != 5) {
            EXPECT_EQ(WriteCacheStorePhysDrvInfo(entry), 0);
        }
    }
    CacheStorePhysDrv one{};
    EXPECT_EQ(vxpmgr_helperAllocAndUpdateCacheStorePhysLunInfo(&one), nullptr) << "all taken";
    EXPECT_NE(printed().find("Not updating the file in this function\n"), std::string::npos);

    uint8_t const name[] = {0, 0, 9};
    EXPECT_EQ(findCacheStorePhysDrvInfo(name, 3), &CacheStorePhysDrvInfo[9]);
    EXPECT_EQ(findCacheStorePhysDrvInfo(name, 2), nullptr);
    EXPECT_EQ(findCacheStorePhysDrvInfoByDriveIndex(135), &CacheStorePhysDrvInfo[35]);
    EXPECT_EQ(findCacheStorePhysDrvInfoByDriveIndex(1), nullptr);
    EXPECT_EQ(vxpmgr_getCacheStorePhysDrvInfoByWwuln(name, 3, &one), 0);
    EXPECT_EQ(one.driveIndex, 109U);
    CacheStorePhysDrvInfo[9].record.LunInfoIndex = 4096; // no such LUN
    EXPECT_EQ(vxpmgr_getCacheStorePhysDrvInfoByWwuln(name, 3, &one), -1);
    CacheStorePhysDrvInfo[2].record.valid = 0;
    printed();
    EXPECT_EQ(findCacheStorePhysDrvInfo(name, 3), nullptr);
    EXPECT_EQ(printed(), "findCacheStorePhysDrvInfo: Error !!!!");

    ASSERT_EQ(ReadCacheStorePhysDrvInfo(), 0);
    std::string const text = printed();
    EXPECT_EQ(std::ranges::count(text, '\n'), 35 * 7);
    EXPECT_NE(text.find("data_cfg -> LunId: 1234567891\n"), std::string::npos);
    EXPECT_EQ(vxpmgr_getNextCacheStorePhysDrvInfo(&one, 5), 7) << "drive 5 was never written";
    EXPECT_EQ(vxpmgr_getNextCacheStorePhysDrvInfo(&one, 6), 7) << "the slot itself counts";
    EXPECT_EQ(one.driveIndex, 106U);
    EXPECT_EQ(vxpmgr_getNextCacheStorePhysDrvInfo(&one, 36), -1);
}

TEST_F(RecordFiles, StripesAndCachedLuns) {
    Bytes stripes(2 * 8200, 0x31);
    stripes[4] = stripes[8200 + 4] = PSST_SLOT_VALID;
    EXPECT_EQ(WritePhysLunStripeTableEx(stripes.data(), 1534, 2), 0);
    EXPECT_NE(printed().find("WritePhysLunStripeTableEx:"), std::string::npos);
    EXPECT_EQ(WritePhysLunStripeTableEx(stripes.data(), 1535, 2), -1);
    EXPECT_EQ(WritePhysLunStripeTableEx(stripes.data(), 0, 0x80000000U), -1);
    PhysLunStripeTable[7].record.opaque5[0] = 0x77;
    EXPECT_EQ(WritePhysLunStripeTable(&PhysLunStripeTable[7]), 0) << "before the first read";
    EXPECT_EQ(readBytes(primary(41)).at(64 + 7 * 8200 + 5), 0x77);
    ASSERT_EQ(ReadPhysLunStripeTable(), 0);
    EXPECT_EQ(pmgr_cb->counts[PSST_LIST_STRIPE_TABLE].inUse, 2U);
    EXPECT_EQ(std::memcmp(&PhysLunStripeTable[1535].record, stripes.data() + 8200, 8200), 0);

    ClusterCachedLun lun{};
    std::memset(lun.driverRecord, 0x44, sizeof lun.driverRecord);
    lun.index = 4095;
    lun.valid = PSST_SLOT_VALID;
    EXPECT_EQ(WriteClusterCachedLunInfo(&lun), 0);
    systemCalls.pushed.clear();
    EXPECT_EQ(ReadClusterCachedLunAndPushToBA(), 0) << "a driver that refuses fails nothing";
    EXPECT_EQ(systemCalls.pushed, std::vector<Bytes>{Bytes(304, 0x44)});
    EXPECT_EQ(XBMGT_SetClusterCachedLun(lun.driverRecord), -1);
    EXPECT_EQ(BrAppHandle, -1);
    lun.index = 4096;
    EXPECT_EQ(WriteClusterCachedLunInfo(&lun), -1);
    lun.index = 4095;
    EXPECT_EQ(pmgr_cb->counts[PSST_LIST_CACHED_LUNS].inUse, 1U);
    EXPECT_EQ(std::memcmp(&ClusterCachedLuns[4095].record, &lun, sizeof lun), 0);
}

TEST_F(RecordFiles, EventNotification) {
    ASSERT_EQ(ReadEventNotifyFile(), 0);
    EventNotifyInfo entry{};
    for (uint32_t client = 0; client < 25; ++client) {
        entry.clientId = client;
        entry.eventMask = client * 3;
        EXPECT_EQ(vxpmgr_UpdateEventNotifyInfo(&entry), 0);
    }
    entry.clientId = 99;
    EXPECT_EQ(vxpmgr_UpdateEventNotifyInfo(&entry), -2) << "25 and no more";
    entry.clientId = 7;
    entry.eventMask = 1000;
    EXPECT_EQ(vxpmgr_UpdateEventNotifyInfo(&entry), 0) << "a known client keeps its place";
    Bytes const file = readBytes(primary(32));
    EXPECT_EQ(file.at(64), 25);
    InitDatabaseLite();
    ASSERT_EQ(CreateEventNotifyPsst(), 0);
    ASSERT_EQ(ReadEventNotifyFile(), 0);
    EXPECT_EQ(std::memcmp(&eventnotify_info.record, file.data() + 64, 93992), 0);
    EXPECT_EQ(vxpmgr_GetEventNotifyInfo(&entry, 7), 0);
    EXPECT_EQ(entry.eventMask, 1000U);
    EXPECT_EQ(vxpmgr_GetEventNotifyInfo(&entry, 99), -1);
    EXPECT_EQ(WriteEventNotifyFile(&eventnotify_info), 0);
}

TEST_F(RecordFiles, MigrationParameters) {
    MigrationParam param{};
    param.JOBUUID = 4711;
    EXPECT_EQ(WriteMigrationParamFile(&param, PSST_PASSWD), -1);
    Bytes bytes = readBytes(primary(36));
    std::fill(bytes.begin() + 64, bytes.end(), 0x5A); // of the migration's own
    writeBytes(primary(36), bytes);
    EXPECT_EQ(vxpmgr_SetMigrationParam(&param), 0);
    std::ranges::copy(Bytes{0x67, 0x12, 0, 0}, bytes.begin() + 64);
    EXPECT_EQ(readBytes(primary(36)), bytes);
    printed();
    migration_param.record.JOBUUID = 0;
    std::memset(&param, 0xEE, sizeof param);
    EXPECT_EQ(vxpmgr_GetMigrationParam(&param), 0);
    EXPECT_TRUE(param.JOBUUID == 4711 && param.opaque4[511] == 0);
    EXPECT_NE(printed().find("error reading file JOBUUID = 4711\n"), std::string::npos);
    close_all_files();
    EXPECT_EQ(vxpmgr_GetMigrationParam(&param), 0) << "whatever the read gave";
    EXPECT_EQ(printed().find("error reading"), std::string::npos);
}

} // namespace
